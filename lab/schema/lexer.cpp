#include "lab/schema/lexer.h"

#include <cwctype>
#include <limits>
#include <utility>

#include "lab/schema/textcompare.h"

namespace lab {
namespace {

bool IsWord(wchar_t c) { return c == L'_' || (c < 128 && std::iswalnum(c)); }
bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

int DigitValue(wchar_t c) { return IsDigit(c) ? c - L'0' : static_cast<int>(std::towlower(c)) - L'a' + 10; }

}  // namespace

Token Lexer::Take() { return std::exchange(m_current, Read()); }

bool Lexer::Accept(wchar_t character) {
  const bool found = m_current.Is(character);
  if (found) Take();
  return found;
}

bool Lexer::Accept(std::wstring_view word) {
  const bool found = m_current.kind == TokenKind::kName && SameText(m_current.text, word);
  if (found) Take();
  return found;
}

wchar_t Lexer::Advance() {
  const wchar_t character = m_text[m_at++];
  m_column = character == L'\n' ? 1 : m_column + 1;
  if (character == L'\n') ++m_line;
  return character;
}

void Lexer::SkipBlanks() {
  for (;;) {
    const bool isComment = Peek() == L'/' && Peek(1) == L'/';
    if (!isComment && !IsBlank(Peek())) return;
    do {
      Advance();
    } while (isComment && m_at < m_text.size() && Peek() != L'\n');
  }
}

Token Lexer::Read() {
  SkipBlanks();
  Token token{TokenKind::kEnd, {}, 0, m_line, m_column};
  if (m_at == m_text.size()) return token;
  if (m_quotes.find(Peek()) != std::wstring_view::npos) {
    ReadText(token);
  } else if (IsWord(Peek())) {
    token.kind = TokenKind::kName;
    while (IsWord(Peek())) token.text += Advance();
    if (IsDigit(token.text.front())) ReadNumber(token);
  } else {
    token.kind = TokenKind::kCharacter;
    token.text = Advance();
  }
  return token;
}

// Decimal, or hexadecimal behind 0x. A zero in front would mean octal to some.
void Lexer::ReadNumber(Token& token) {
  const bool isHex = token.text.size() > 2 && SameText(token.text.substr(0, 2), L"0x");
  const int base = isHex ? 16 : 10;
  token.kind = TokenKind::kNumber;
  for (const wchar_t c : token.text.substr(isHex ? 2 : 0)) {
    const int digit = DigitValue(c);
    const bool fits = token.number <= (std::numeric_limits<std::int64_t>::max() - base) / base;
    if (digit < 0 || digit >= base || !fits) token.kind = TokenKind::kBad;
    if (token.kind == TokenKind::kNumber) token.number = token.number * base + digit;
  }
  if (!isHex && token.text.size() > 1 && token.text.front() == L'0') token.kind = TokenKind::kBad;
  if (token.kind == TokenKind::kBad) token.text = L"'" + token.text + L"' is no number that fits";
}

void Lexer::ReadText(Token& token) {
  token.kind = TokenKind::kText;
  const wchar_t quote = Advance();
  while (m_at < m_text.size() && Peek() != quote && Peek() != L'\n') {
    const bool isEscape = Peek() == L'\\';
    if (isEscape) Advance();
    if (isEscape && Peek() != L'\\' && m_quotes.find(Peek()) == std::wstring_view::npos) break;
    token.text += Advance();
  }
  if (Peek() == quote) {
    Advance();
  } else {
    token = {TokenKind::kBad, L"text with an unknown escape or without an end", 0, token.line, token.column};
  }
}

}  // namespace lab
