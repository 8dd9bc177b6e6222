#include "lab/journal.h"

#include <windows.h>

#include <atomic>
#include <mutex>

#include "lab/labkey.h"
#include "platform/handle.h"

namespace lab {
namespace {

std::atomic<void (*)(std::wstring_view, std::wstring_view)> g_listener{nullptr};

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::string Utf8(std::wstring_view text) {
  const int chars = static_cast<int>(text.size());
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(bytes), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, out.data(), bytes, nullptr, nullptr);
  return out;
}

std::wstring Wide(std::string_view text) {
  const int bytes = static_cast<int>(text.size());
  const int chars = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  std::wstring out(static_cast<std::size_t>(chars), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, out.data(), chars);
  return out;
}

std::wstring OneLine(std::wstring_view kind, std::wstring_view text) {
  std::wstring line(kind);
  line += L'\t';
  for (const wchar_t c : text) {
    if (c == L'\n') {
      line += L"\\n";
    } else if (c == L'\t') {
      line += L"\\t";
    } else if (c != L'\r') {
      line += c;
    }
  }
  return line += L'\n';
}

/// The one journal that this process has open; another path replaces it.
class OpenJournal {
 public:
  void Append(const std::wstring& path, const std::string& line) {
    const std::lock_guard guard(m_mutex);
    if (!m_file || path != m_path) Open(path);
    if (!m_file) return;
    // Appending alone is not atomic between processes on every platform that this runs on; the lock beyond the end of
    // the file is.
    OVERLAPPED beyond = {};
    beyond.OffsetHigh = 0x7FFFFFFF;
    const bool locked = ::LockFileEx(m_file.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &beyond) != FALSE;
    DWORD written = 0;
    ::WriteFile(m_file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    if (locked) ::UnlockFileEx(m_file.Get(), 0, 1, 0, &beyond);
  }

  void Close() {
    const std::lock_guard guard(m_mutex);
    m_file.Reset();
  }

 private:
  void Open(const std::wstring& path) {
    m_file.Reset(::CreateFileW(path.c_str(), FILE_READ_DATA | FILE_APPEND_DATA, kShareAll, nullptr, OPEN_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr));
    m_path = path;
  }

  std::mutex m_mutex;
  std::wstring m_path;
  qvrn::FileHandle m_file;
};

OpenJournal& TheJournal() {
  static OpenJournal journal;
  return journal;
}

std::string ReadWhole(const std::wstring& path) {
  const qvrn::FileHandle file(
      ::CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size = {};
  if (!file || ::GetFileSizeEx(file.Get(), &size) == FALSE) return {};
  std::string text(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD bytes = 0;
  if (::ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &bytes, nullptr) == FALSE) return {};
  text.resize(bytes);
  return text;
}

}  // namespace

void SetJournalListener(void (*listener)(std::wstring_view kind, std::wstring_view text)) noexcept {
  g_listener = listener;
}

bool IsKept(const std::wstring& path) noexcept { return g_listener.load() != nullptr || !path.empty(); }

std::wstring JournalPath() { return LabText(L"Journal", L"C:\\qvrn-journal.txt"); }

void RecordIn(const std::wstring& path, std::wstring_view kind, std::wstring_view text) noexcept try {
  if (const auto listener = g_listener.load()) return listener(kind, text);
  if (!path.empty()) TheJournal().Append(path, Utf8(OneLine(kind, text)));
} catch (...) {
  // An event that cannot be recorded is lost; what the caller does goes on.
}

void Record(std::wstring_view kind, std::wstring_view text) noexcept try {
  RecordIn(g_listener.load() == nullptr ? JournalPath() : std::wstring(), kind, text);
} catch (...) {
  // As above.
}

std::vector<std::wstring> Recorded(std::wstring_view kind) {
  std::vector<std::wstring> events;
  const std::wstring journal = Wide(ReadWhole(JournalPath()));
  const std::wstring prefix = kind.empty() ? std::wstring() : std::wstring(kind) + L'\t';
  for (std::size_t start = 0, end; (end = journal.find(L'\n', start)) != std::wstring::npos; start = end + 1) {
    const std::wstring line = journal.substr(start, end - start);
    if (line.starts_with(prefix)) events.push_back(line.substr(prefix.size()));
  }
  return events;
}

void ClearJournal() {
  TheJournal().Close();
  const qvrn::FileHandle emptied(::CreateFileW(JournalPath().c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                               TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace lab
