#include "tools/qvrnctl/output.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <algorithm>
#include <cstddef>

#include "tools/qvrnctl/displaywidth.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/json.h"

namespace qvrn {
namespace {

// On standard output, by the command that runs.
bool hasOutput = false;

std::vector<std::size_t> ColumnWidths(const std::vector<TableRow>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const TableRow& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  return widths;
}

bool WriteConsole(HANDLE console, std::wstring_view text) {
  constexpr std::size_t kMostAtOnce = 8192;  // older consoles refuse more than 64 KB in one call
  while (!text.empty()) {
    DWORD written = 0;
    const auto chars = static_cast<DWORD>(std::min(text.size(), kMostAtOnce));
    if (!::WriteConsoleW(console, text.data(), chars, &written, nullptr) || written == 0) return false;
    text.remove_prefix(written);
  }
  return true;
}

bool WriteFileBytes(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    if (!::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

bool Write(DWORD stream, std::wstring_view text) {
  const HANDLE handle = ::GetStdHandle(stream);
  return IsConsole(stream) ? WriteConsole(handle, text) : WriteFileBytes(handle, ToUtf8(text));
}

}  // namespace

std::wstring FormatTable(const std::vector<TableRow>& rows) {
  const std::vector<std::size_t> widths = ColumnWidths(rows);
  std::wstring table;
  for (const TableRow& row : rows) {
    std::wstring line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i] + std::wstring(widths[i] - DisplayWidth(row[i]) + 2, L' ');
    }
    line.erase(line.find_last_not_of(L' ') + 1);
    table += line + L"\n";
  }
  return table;
}

std::wstring FormatJson(const std::vector<JsonRow>& rows) {
  std::wstring json;
  for (const JsonRow& row : rows) {
    Json object = Json::object();
    for (const auto& [name, value] : row) object[ToUtf8(name)] = ToJson(value);
    json += (json.empty() ? L"[\n  " : L",\n  ") + FormatOnOneLine(object);
  }
  return json.empty() ? L"[]\n" : json + L"\n]\n";
}

std::wstring Join(const std::vector<std::wstring>& texts) {
  std::wstring joined;
  for (const std::wstring& text : texts) joined += (joined.empty() ? L"" : L", ") + text;
  return joined;
}

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(stream), &mode) != FALSE;
}

void StartOutput() noexcept { hasOutput = false; }

bool HasOutput() noexcept { return hasOutput; }

void WriteOut(std::wstring_view text) {
  hasOutput = true;
  if (!Write(STD_OUTPUT_HANDLE, text)) throw Failed(L"the output cannot be written");
}

void WriteErrorText(std::wstring_view text) { Write(STD_ERROR_HANDLE, text); }

void WriteError(std::wstring_view line) {
  std::wstring text = L"qvrnctl: ";
  WriteErrorText(text.append(line).append(L"\n"));
}

}  // namespace qvrn
