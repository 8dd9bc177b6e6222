#include "lab/schema/mofparser.h"

#include <utility>

#include "lab/schema/cimtypes.h"
#include "lab/schema/textcompare.h"

namespace lab {
namespace {

std::wstring Found(const MofToken& token) {
  return token.kind == MofTokenKind::End ? L"the file's end" : L"'" + token.text + L"'";
}

std::size_t ListSize(const Qualifier& qualifier) { return std::get<std::vector<Scalar>>(qualifier.value).size(); }

}  // namespace

MofParser::MofParser(std::wstring text, std::string file) : m_lexer(std::move(text), std::move(file)) { Take(); }

MofToken MofParser::Take() { return std::exchange(m_current, m_lexer.Next()); }

bool MofParser::Accept(wchar_t punctuation) {
  const bool found = m_current.Is(punctuation);
  if (found) Take();
  return found;
}

void MofParser::Expect(wchar_t punctuation) {
  if (Accept(punctuation)) return;
  Refuse(m_current.position, std::wstring(L"expected '") + punctuation + L"' instead of " + Found(m_current));
}

bool MofParser::AcceptWord(std::wstring_view word) {
  const bool found = m_current.kind == MofTokenKind::Identifier && SameText(m_current.text, word);
  if (found) Take();
  return found;
}

MofToken MofParser::Expect(MofTokenKind kind, const std::wstring& what) {
  if (m_current.kind == kind) return Take();
  Refuse(m_current.position, L"expected " + what + L" instead of " + Found(m_current));
}

void MofParser::Refuse(MofPosition position, const std::wstring& message) const { m_lexer.Refuse(position, message); }

void MofParser::Refuse(const MofToken& token, const std::wstring& before, const std::wstring& after) const {
  Refuse(token.position, before + L" '" + token.text + L"'" + (after.empty() ? L"" : L" ") + after);
}

MofValue MofParser::ReadValue() {
  const MofPosition position = m_current.position;
  if (!Accept(L'{')) {
    return {std::visit([](auto&& held) { return Value(std::forward<decltype(held)>(held)); }, ReadScalar()), position};
  }
  std::vector<Scalar> list;
  if (Accept(L'}')) return {std::move(list), position};
  do {
    list.push_back(ReadScalar());
  } while (Accept(L','));
  Expect(L'}');
  return {std::move(list), position};
}

Value MofParser::ReadValueOf(CIMTYPE type, const std::wstring& what) {
  MofValue read = ReadValue();
  if (!Fits(read.value, type)) Refuse(read.position, what + L" has a value of another type or out of range");
  return std::move(read.value);
}

Scalar MofParser::ReadScalar() {
  if (AcceptWord(L"true")) return true;
  if (AcceptWord(L"false")) return false;
  if (AcceptWord(L"null")) return {};
  if (m_current.kind == MofTokenKind::Integer) return Take().integer;
  if (m_current.kind == MofTokenKind::Real) return Take().real;
  return Expect(MofTokenKind::Text, L"a value").text;
}

MofType MofParser::ReadType() {
  const MofToken word = Expect(MofTokenKind::Identifier, L"a type");
  if (SameText(word.text, L"void")) return {CIM_EMPTY, {}, word.position};
  if (const CimType* known = FindCimType(word.text)) return {known->type, {}, word.position};
  if (AcceptWord(L"ref")) return {CIM_REFERENCE, word.text, word.position};
  Refuse(word.position, L"unknown type '" + word.text + L"'");
}

MofQualifiers MofParser::ReadQualifiers() {
  MofQualifiers qualifiers;
  if (!Accept(L'[')) return qualifiers;
  do {
    ReadQualifier(qualifiers);
  } while (Accept(L','));
  Expect(L']');
  CheckValueMap(qualifiers);
  return qualifiers;
}

void MofParser::ReadQualifier(MofQualifiers& qualifiers) {
  const MofToken name = Expect(MofTokenKind::Identifier, L"a qualifier");
  const QualifierRule* rule = FindQualifierRule(name.text);
  if (rule == nullptr) Refuse(name.position, L"unknown qualifier '" + name.text + L"'");
  if (FindQualifier(qualifiers.items, name.text) != nullptr) {
    Refuse(name.position, L"qualifier '" + name.text + L"' is given twice");
  }
  qualifiers.items.push_back({name.text, ReadQualifierValue(*rule, name.position)});
  qualifiers.positions.push_back(name.position);
  SkipFlavors();
}

Value MofParser::ReadQualifierValue(const QualifierRule& rule, MofPosition position) {
  const std::wstring what = std::wstring(L"qualifier '") + rule.name + L"'";
  Value value = true;
  if (m_current.Is(L'{')) {
    value = ReadValueOf(rule.type, what);
  } else if (Accept(L'(')) {
    value = ReadValueOf(rule.type, what);
    Expect(L')');
  } else if (rule.type != CIM_BOOLEAN) {
    Refuse(position, what + L" needs a value");
  }
  // A qualifier that is there counts as true for some readers of a schema, whatever its value.
  if (value == Value(false)) Refuse(position, what + L" is never FALSE: leave it out");
  return value;
}

void MofParser::SkipFlavors() {
  if (!Accept(L':')) return;
  do {
    const MofToken flavor = Expect(MofTokenKind::Identifier, L"a flavor");
    if (!IsFlavor(flavor.text)) Refuse(flavor.position, L"unknown flavor '" + flavor.text + L"'");
  } while (m_current.kind == MofTokenKind::Identifier);
}

void MofParser::CheckValueMap(const MofQualifiers& qualifiers) const {
  const Qualifier* values = FindQualifier(qualifiers.items, L"values");
  const Qualifier* map = FindQualifier(qualifiers.items, L"valuemap");
  if (values == nullptr || map == nullptr || ListSize(*values) == ListSize(*map)) return;
  Refuse(qualifiers.positions[static_cast<std::size_t>(values - qualifiers.items.data())],
         L"Values and ValueMap differ in length");
}

std::vector<Qualifier> MofParser::InScope(MofQualifiers qualifiers, MofScope scope) const {
  for (std::size_t index = 0; index < qualifiers.items.size(); ++index) {
    const std::wstring& name = qualifiers.items[index].name;
    if ((FindQualifierRule(name)->scopes & scope) != 0) continue;
    Refuse(qualifiers.positions[index], L"qualifier '" + name + L"' does not belong here");
  }
  return std::move(qualifiers.items);
}

}  // namespace lab
