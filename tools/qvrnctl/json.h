// JSON as the client reads and writes it: UTF-8 inside, the platform's texts outside.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

#include "tools/qvrnctl/propertyinfo.h"

namespace qvrn {

/// Members keep their order. Whoever makes or reads one includes <nlohmann/json.hpp>, which takes long to compile.
using Json = nlohmann::ordered_json;

/// Halves of characters become U+FFFD: UTF-8 has no form for them.
std::string ToUtf8(std::wstring_view text);
/// What is no UTF-8 becomes U+FFFD.
std::wstring FromUtf8(std::string_view utf8);

Json ToJson(const std::wstring& text);
/// NULL is null.
Json ToJson(const Value& value);

/// On one line, with blanks behind colons and commas.
std::wstring FormatOnOneLine(const Json& json);
/// A member or element on each line. For a file or a pipe in ASCII with escapes, as shells change the encoding of what
/// they redirect.
std::wstring FormatOnLines(const Json& json, bool asciiOnly);

}  // namespace qvrn
