#include "lab/wmi/wql.h"

#include "lab/schema/lexer.h"
#include "lab/schema/textcompare.h"
#include "platform/comtext.h"

namespace lab {
namespace {

bool TakeName(Lexer& lexer, std::wstring& name) {
  const Token token = lexer.Take();
  name = token.text;
  return token.kind == TokenKind::kName;
}

bool TakeLiteral(Lexer& lexer, std::wstring& value) {
  const Token token = lexer.Take();
  value = token.kind == TokenKind::kNumber ? std::to_wstring(token.number) : token.text;
  if (token.kind == TokenKind::kName) return SameText(value, L"TRUE") || SameText(value, L"FALSE");
  return token.kind == TokenKind::kNumber || token.kind == TokenKind::kText;
}

bool TakeCondition(Lexer& lexer, std::optional<Query::Condition>& condition) {
  if (!lexer.Accept(L"WHERE")) return true;
  Query::Condition& taken = condition.emplace();
  return TakeName(lexer, taken.property) && lexer.Accept(L'=') && TakeLiteral(lexer, taken.value);
}

bool TakeProperties(Lexer& lexer, std::vector<std::wstring>& properties) {
  if (lexer.Accept(L'*')) return true;
  do {
    if (!TakeName(lexer, properties.emplace_back())) return false;
  } while (lexer.Accept(L','));
  return true;
}

}  // namespace

std::optional<Query> ParseQuery(std::wstring_view text) {
  Lexer lexer(text, L"'\"");
  Query query;
  const bool isRead = lexer.Accept(L"SELECT") && TakeProperties(lexer, query.properties) && lexer.Accept(L"FROM") &&
                      TakeName(lexer, query.className) && TakeCondition(lexer, query.condition) && lexer.IsAtEnd();
  return isRead ? std::optional(std::move(query)) : std::nullopt;
}

bool Matches(const Query::Condition& condition, IWbemClassObject* object) {
  qvrn::Variant actual;
  if (FAILED(object->Get(condition.property.c_str(), 0, actual.Put(), nullptr, nullptr))) return false;
  if (actual.IsText()) return SameText(condition.value, actual.Text());
  if (actual.IsInteger()) return condition.value == std::to_wstring(actual.Integer());
  return actual.Get()->vt == VT_BOOL && SameText(condition.value, actual.Get()->boolVal ? L"TRUE" : L"FALSE");
}

}  // namespace lab
