// Splits MOF text into tokens.
#pragma once

#include <cstdint>
#include <string>

#include "lab/schema/schema.h"

namespace lab {

/// Both from 1; columns are UTF-16 units.
struct MofPosition {
  int line = 1;
  int column = 1;
};

enum class MofTokenKind { End, Identifier, Alias, Text, Integer, Real, Punctuation };

struct MofToken {
  MofTokenKind kind = MofTokenKind::End;
  std::wstring text;  ///< as written; of a Text its characters, with adjacent literals joined; of an Alias with its '$'
  std::int64_t integer = 0;
  double real = 0;
  MofPosition position;

  bool Is(wchar_t punctuation) const { return kind == MofTokenKind::Punctuation && text.front() == punctuation; }
};

class MofLexer {
 public:
  MofLexer(std::wstring text, std::string file);

  MofToken Next();

  /// Throws MofError.
  [[noreturn]] void Refuse(MofPosition position, const std::wstring& message) const;

 private:
  bool AtEnd() const { return m_at == m_text.size(); }
  wchar_t Peek(std::size_t ahead = 0) const;
  wchar_t Advance();
  void SkipBlanks();
  void SkipLineComment();
  void SkipBlockComment();
  std::wstring ReadWord();
  MofToken ReadNumber(MofToken token);
  void ReadTextLiteral(std::wstring& text);
  wchar_t ReadEscape();
  wchar_t ReadHexEscape(MofPosition position);

  std::wstring m_text;
  std::string m_file;
  std::size_t m_at = 0;
  MofPosition m_position;
};

/// UTF-8 to UTF-16; throws std::range_error for what is no UTF-8.
std::wstring WideText(std::string_view utf8);
std::string NarrowText(std::wstring_view text);

}  // namespace lab
