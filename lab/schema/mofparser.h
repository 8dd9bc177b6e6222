// The parts that all MOF statements are made of: names, values, types and qualifiers.
#pragma once

#include <string>
#include <vector>

#include "lab/schema/moflexer.h"
#include "lab/schema/mofrules.h"

namespace lab {

struct MofValue {
  Value value;
  MofPosition position;
};

struct MofType {
  CIMTYPE type = CIM_EMPTY;  ///< CIM_EMPTY for "void"
  std::wstring reference;    ///< of CIM_REFERENCE the class
  MofPosition position;
};

/// Qualifiers as read; where they stand is known only once what follows them has been read.
struct MofQualifiers {
  std::vector<Qualifier> items;
  std::vector<MofPosition> positions;  ///< one per item
};

class MofParser {
 public:
  MofParser(std::wstring text, std::string file);

  const MofToken& Current() const { return m_current; }
  MofToken Take();
  bool Accept(wchar_t punctuation);
  void Expect(wchar_t punctuation);
  bool AcceptWord(std::wstring_view word);
  MofToken Expect(MofTokenKind kind, const std::wstring& what);
  [[noreturn]] void Refuse(MofPosition position, const std::wstring& message) const;
  /// The same, about a token: "before 'token' after".
  [[noreturn]] void Refuse(const MofToken& token, const std::wstring& before, const std::wstring& after = {}) const;

  /// A literal or a list of literals; an alias is refused.
  MofValue ReadValue();
  /// A value that has to fit `type`; `what` names its place in the message.
  Value ReadValueOf(CIMTYPE type, const std::wstring& what);
  /// A type name, "void", or a class name with "ref" behind it.
  MofType ReadType();
  /// What stands in brackets before a declaration; empty when there are none.
  MofQualifiers ReadQualifiers();
  /// The qualifiers, all of which may stand in this scope.
  std::vector<Qualifier> InScope(MofQualifiers qualifiers, MofScope scope) const;

 private:
  Scalar ReadScalar();
  void ReadQualifier(MofQualifiers& qualifiers);
  Value ReadQualifierValue(const QualifierRule& rule, MofPosition position);
  void SkipFlavors();
  void CheckValueMap(const MofQualifiers& qualifiers) const;

  MofLexer m_lexer;
  MofToken m_current;
};

}  // namespace lab
