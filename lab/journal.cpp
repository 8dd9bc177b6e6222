#include "lab/journal.h"

#include <windows.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "lab/labkey.h"
#include "lab/widetext.h"
#include "platform/handle.h"

namespace lab {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::atomic<void (*)(std::wstring_view, std::wstring_view)> g_listener{nullptr};

std::wstring OneLine(std::wstring_view kind, std::wstring_view text) {
  std::wstring line(kind);
  line += L'\t';
  for (const wchar_t c : text) {
    if (c == L'\r') continue;
    line += c == L'\n' ? L"\\n" : c == L'\t' ? L"\\t" : std::wstring(1, c);
  }
  return line += L'\n';
}

void Append(const std::wstring& path, const std::string& line) {
  const qvrn::FileHandle file(::CreateFileW(path.c_str(), FILE_READ_DATA | FILE_APPEND_DATA, kShareAll, nullptr,
                                            OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  // Appending alone is not atomic between processes on every platform that this runs on; the lock beyond the end of
  // the file is, until the file is closed.
  OVERLAPPED beyond = {};
  beyond.OffsetHigh = 0x7FFFFFFF;
  DWORD written = 0;
  if (!file) return;
  ::LockFileEx(file.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &beyond);
  ::WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

}  // namespace

void SetJournalListener(void (*listener)(std::wstring_view kind, std::wstring_view text)) noexcept {
  g_listener = listener;
}

bool IsKept(const std::wstring& path) noexcept { return g_listener.load() != nullptr || !path.empty(); }

std::wstring JournalPath() { return LabText(L"Journal", L"C:\\qvrn-journal.txt"); }

void Record(std::wstring_view kind, std::wstring_view text, const std::wstring* path) noexcept try {
  if (const auto listener = g_listener.load()) return listener(kind, text);
  const std::wstring file = path == nullptr ? JournalPath() : *path;
  if (!file.empty()) Append(file, Utf8(OneLine(kind, text)));
} catch (...) {
  // An event that cannot be recorded is lost; what the caller does goes on.
}

std::vector<std::wstring> Recorded(std::wstring_view kind) {
  std::vector<std::wstring> events;
  std::ifstream file(std::filesystem::path(JournalPath()), std::ios::binary);
  const std::wstring prefix = kind.empty() ? std::wstring() : std::wstring(kind) + L'\t';
  for (std::string line; std::getline(file, line);) {
    const std::wstring event = Wide(line);
    if (event.starts_with(prefix)) events.push_back(event.substr(prefix.size()));
  }
  return events;
}

void ClearJournal() {
  const qvrn::FileHandle emptied(::CreateFileW(JournalPath().c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                               TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace lab
