#include "tools/qvrnctl/output.h"

#include <windows.h>

#include "platform/boundedtext.h"

#include <algorithm>
#include <cstddef>

#include "tools/qvrnctl/displaywidth.h"
#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

bool IsHighSurrogate(wchar_t unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLowSurrogate(wchar_t unit) { return (unit & 0xFC00) == 0xDC00; }

std::vector<std::size_t> ColumnWidths(const std::vector<TableRow>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const TableRow& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  return widths;
}

void AppendEscape(std::wstring& json, wchar_t unit) {
  wchar_t escape[8] = {};
  FormatText(escape, L"\\u%04x", static_cast<unsigned>(unit));
  json += escape;
}

std::wstring Quote(std::wstring_view text) {
  std::wstring json = L"\"";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const wchar_t unit = text[i];
    if (unit == L'"' || unit == L'\\') {
      json += {L'\\', unit};
    } else if (unit < 0x20 || IsLoneSurrogate(text, i)) {
      AppendEscape(json, unit);  // a lone surrogate has no UTF-8 form; escaped it reaches the reader as it is
    } else {
      json += unit;
    }
  }
  return json + L"\"";
}

std::wstring FormatJsonValue(const Value& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_wstring(*number);
  if (const auto* text = std::get_if<std::wstring>(&value)) return Quote(*text);
  return L"null";
}

std::wstring FormatJsonObject(const JsonRow& row) {
  std::wstring json;
  for (const auto& [name, value] : row) {
    json += (json.empty() ? L"{" : L", ") + Quote(name) + L": " + FormatJsonValue(value);
  }
  return json + L"}";
}

std::string ToUtf8(std::wstring_view text) {
  const int chars = static_cast<int>(text.size());
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(bytes), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, utf8.data(), bytes, nullptr, nullptr);
  return utf8;
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
  DWORD mode = 0;
  return ::GetConsoleMode(handle, &mode) ? WriteConsole(handle, text) : WriteFileBytes(handle, ToUtf8(text));
}

}  // namespace

bool IsLoneSurrogate(std::wstring_view text, std::size_t i) {
  if (IsHighSurrogate(text[i])) return i + 1 == text.size() || !IsLowSurrogate(text[i + 1]);
  return IsLowSurrogate(text[i]) && (i == 0 || !IsHighSurrogate(text[i - 1]));
}

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
  for (const JsonRow& row : rows) json += (json.empty() ? L"[\n  " : L",\n  ") + FormatJsonObject(row);
  return json.empty() ? L"[]\n" : json + L"\n]\n";
}

std::wstring Join(const std::vector<std::wstring>& texts) {
  std::wstring joined;
  for (const std::wstring& text : texts) joined += (joined.empty() ? L"" : L", ") + text;
  return joined;
}

void WriteOut(std::wstring_view text) {
  if (!Write(STD_OUTPUT_HANDLE, text)) throw Failed(L"the output cannot be written");
}

void WriteErrorText(std::wstring_view text) { Write(STD_ERROR_HANDLE, text); }

void WriteError(std::wstring_view line) {
  std::wstring text = L"qvrnctl: ";
  WriteErrorText(text.append(line).append(L"\n"));
}

}  // namespace qvrn
