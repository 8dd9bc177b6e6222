#include "tools/qvrnctl/json.h"

#include <nlohmann/json.hpp>

#include <windows.h>

namespace qvrn {
namespace {

std::string Dump(const Json& json, int indent, bool asciiOnly) {
  return json.dump(indent, ' ', asciiOnly, Json::error_handler_t::replace);
}

std::string OneLine(const Json& json) {
  if (!json.is_structured()) return Dump(json, -1, false);
  std::string line;
  for (const auto& [key, value] : json.items()) {
    line += (line.empty() ? "" : ", ") + (json.is_object() ? Dump(key, -1, false) + ": " : "") + OneLine(value);
  }
  return json.is_object() ? "{" + line + "}" : "[" + line + "]";
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  const int chars = static_cast<int>(text.size());
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(bytes), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, utf8.data(), bytes, nullptr, nullptr);
  return utf8;
}

std::wstring FromUtf8(std::string_view utf8) {
  const int bytes = static_cast<int>(utf8.size());
  std::wstring text(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0)), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, text.data(), static_cast<int>(text.size()));
  return text;
}

Json ToJson(const std::wstring& text) { return ToUtf8(text); }

Json ToJson(const Value& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return *number;
  if (const auto* text = std::get_if<std::wstring>(&value)) return ToJson(*text);
  return nullptr;
}

std::wstring FormatOnOneLine(const Json& json) { return FromUtf8(OneLine(json)); }

std::wstring FormatOnLines(const Json& json, bool asciiOnly) { return FromUtf8(Dump(json, 2, asciiOnly)) + L"\n"; }

}  // namespace qvrn
