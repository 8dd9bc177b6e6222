#include "lab/schema/moflexer.h"

#include <charconv>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace lab {
namespace {

constexpr bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
constexpr bool IsWordStart(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'_'; }
constexpr bool IsWord(wchar_t c) { return IsWordStart(c) || IsDigit(c); }
constexpr bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

constexpr std::wstring_view kPunctuation = L"#[](){}:;,=";

struct Escape {
  wchar_t written;
  wchar_t meant;
};

constexpr Escape kEscapes[] = {{L'\\', L'\\'}, {L'"', L'"'},  {L'\'', L'\''}, {L'n', L'\n'},
                               {L't', L'\t'},  {L'r', L'\r'}, {L'b', L'\b'},  {L'f', L'\f'}};

int HexDigit(wchar_t c) {
  if (IsDigit(c)) return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

// The whole of `digits` as a number with this sign; false for anything else and for one that has no room.
bool ParseInteger(std::string_view digits, int base, bool negative, std::int64_t& number) {
  std::uint64_t magnitude = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
  const std::uint64_t limit = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) + (negative ? 1 : 0);
  if (error != std::errc() || end != digits.data() + digits.size() || magnitude > limit) return false;
  number = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
  return true;
}

bool ParseReal(std::string_view digits, double& number) {
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size();
}

bool StartsHex(std::string_view digits) { return digits.starts_with("0x") || digits.starts_with("0X"); }

}  // namespace

std::wstring WideText(std::string_view utf8) {
  if (utf8.empty()) return {};
  const int bytes = static_cast<int>(utf8.size());
  const int chars = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), bytes, nullptr, 0);
  if (chars <= 0) throw std::range_error("not UTF-8");
  std::wstring text(static_cast<std::size_t>(chars), L'\0');
  ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), bytes, text.data(), chars);
  return text;
}

std::string NarrowText(std::wstring_view text) {
  const int chars = static_cast<int>(text.size());
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(bytes), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, utf8.data(), bytes, nullptr, nullptr);
  return utf8;
}

MofLexer::MofLexer(std::wstring text, std::string file) : m_text(std::move(text)), m_file(std::move(file)) {}

void MofLexer::Refuse(MofPosition position, const std::wstring& message) const {
  throw MofError(m_file, position.line, position.column, NarrowText(message));
}

MofToken MofLexer::Next() {
  SkipBlanks();
  MofToken token;
  token.position = m_position;
  if (AtEnd()) return token;
  const wchar_t first = Peek();
  if (first == L'"') {
    token.kind = MofTokenKind::Text;
    for (; Peek() == L'"'; SkipBlanks()) ReadTextLiteral(token.text);
  } else if (IsWordStart(first)) {
    token.kind = MofTokenKind::Identifier;
    token.text = ReadWord();
  } else if (first == L'$') {
    token.kind = MofTokenKind::Alias;
    token.text = Advance();
    token.text += ReadWord();
  } else if (IsDigit(first) || first == L'-' || first == L'+' || first == L'.') {
    return ReadNumber(std::move(token));
  } else if (kPunctuation.find(first) != std::wstring_view::npos) {
    token.kind = MofTokenKind::Punctuation;
    token.text = Advance();
  } else {
    Refuse(m_position, L"unexpected character '" + std::wstring(1, first) + L"'");
  }
  return token;
}

wchar_t MofLexer::Peek(std::size_t ahead) const { return m_at + ahead < m_text.size() ? m_text[m_at + ahead] : L'\0'; }

wchar_t MofLexer::Advance() {
  const wchar_t character = m_text[m_at++];
  if (character == L'\n') {
    m_position = {m_position.line + 1, 1};
  } else {
    ++m_position.column;
  }
  return character;
}

void MofLexer::SkipBlanks() {
  for (;;) {
    if (IsBlank(Peek())) {
      Advance();
    } else if (Peek() == L'/' && Peek(1) == L'/') {
      SkipLineComment();
    } else if (Peek() == L'/' && Peek(1) == L'*') {
      SkipBlockComment();
    } else {
      return;
    }
  }
}

void MofLexer::SkipLineComment() {
  while (!AtEnd() && Peek() != L'\n') Advance();
}

void MofLexer::SkipBlockComment() {
  const MofPosition start = m_position;
  Advance();
  Advance();
  while (Peek() != L'*' || Peek(1) != L'/') {
    if (AtEnd()) Refuse(start, L"comment without end");
    Advance();
  }
  Advance();
  Advance();
}

std::wstring MofLexer::ReadWord() {
  std::wstring word;
  while (IsWord(Peek())) word += Advance();
  return word;
}

MofToken MofLexer::ReadNumber(MofToken token) {
  const auto isSign = [this] { return Peek() == L'-' || Peek() == L'+'; };
  if (isSign()) token.text += Advance();
  const std::size_t signChars = token.text.size();
  while (IsWord(Peek()) || Peek() == L'.' || (isSign() && (token.text.back() | 0x20) == L'e')) token.text += Advance();

  const bool negative = token.text.front() == L'-';
  const std::string digits = NarrowText(token.text).substr(signChars);
  const bool hex = StartsHex(digits);
  const bool octal = digits.size() > 1 && digits[0] == '0' && IsDigit(static_cast<wchar_t>(digits[1]));
  token.kind = MofTokenKind::Integer;
  if (ParseInteger(hex ? digits.substr(2) : digits, hex ? 16 : 10, negative, token.integer) && !octal) return token;
  token.kind = MofTokenKind::Real;
  if (!hex && digits.find('.') != std::string::npos && ParseReal(digits, token.real)) {
    if (negative) token.real = -token.real;
    return token;
  }
  Refuse(token.position, L"'" + token.text + L"' is no number that fits");
}

void MofLexer::ReadTextLiteral(std::wstring& text) {
  const MofPosition start = m_position;
  Advance();
  while (Peek() != L'"') {
    if (AtEnd() || Peek() == L'\n') Refuse(start, L"string without end");
    text += Peek() == L'\\' ? ReadEscape() : Advance();
  }
  Advance();
}

wchar_t MofLexer::ReadEscape() {
  const MofPosition start = m_position;
  Advance();
  if (Peek() == L'x' || Peek() == L'X') return ReadHexEscape(start);
  for (const Escape& escape : kEscapes) {
    if (Peek() == escape.written) return Advance(), escape.meant;
  }
  Refuse(start, L"unknown escape");
}

wchar_t MofLexer::ReadHexEscape(MofPosition position) {
  Advance();
  int code = 0;
  int digits = 0;
  for (; digits < 4 && HexDigit(Peek()) >= 0; ++digits) code = code * 16 + HexDigit(Advance());
  if (digits == 0) Refuse(position, L"escape \\x without digits");
  return static_cast<wchar_t>(code);
}

}  // namespace lab
