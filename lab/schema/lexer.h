// What MOF, WQL and object paths are made of: names, numbers, quoted texts and single characters.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lab {

enum class TokenKind { kEnd, kName, kNumber, kText, kCharacter, kBad };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::wstring text;         ///< of a text its characters without quotes and escapes; of a bad token what is wrong
  std::int64_t number = 0;   ///< of a number
  int line = 1, column = 1;  ///< both from 1

  bool Is(wchar_t character) const { return kind == TokenKind::kCharacter && text.front() == character; }
};

/// Gives the tokens of a text, which has to outlive it. Blanks and comments (from // to the end of the line) separate.
class Lexer {
 public:
  /// `quotes` are the characters that may enclose a text; within one, a backslash escapes them and itself.
  Lexer(std::wstring_view text, std::wstring_view quotes) : m_text(text), m_quotes(quotes) { Take(); }

  const Token& Current() const { return m_current; }
  bool IsAtEnd() const { return m_current.kind == TokenKind::kEnd; }
  /// The current token, and on to the next.
  Token Take();
  /// On to the next one if the current token is this character, or this word in any case.
  bool Accept(wchar_t character);
  bool Accept(std::wstring_view word);

 private:
  wchar_t Peek(std::size_t ahead = 0) const { return m_at + ahead < m_text.size() ? m_text[m_at + ahead] : L'\0'; }
  wchar_t Advance();
  void SkipBlanks();
  Token Read();
  void ReadNumber(Token& token);
  void ReadText(Token& token);

  std::wstring_view m_text;
  std::wstring_view m_quotes;
  std::size_t m_at = 0;
  int m_line = 1, m_column = 1;
  Token m_current;
};

}  // namespace lab
