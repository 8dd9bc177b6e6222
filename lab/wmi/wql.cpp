#include "lab/wmi/wql.h"

#include <algorithm>
#include <charconv>
#include <cwctype>
#include <iterator>

#include "lab/schema/textcompare.h"
#include "platform/comtext.h"

namespace lab {
namespace {

enum class TokenKind { kEnd, kWord, kText, kNumber, kSymbol, kBad };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::wstring text;  ///< a text without its quotes and escapes
};

bool IsWordCharacter(wchar_t c) { return c == L'_' || std::iswalnum(c); }
bool IsNumberCharacter(wchar_t c) { return std::iswalnum(c) || c == L'.' || c == L'-' || c == L'+'; }

class Lexer {
 public:
  explicit Lexer(std::wstring_view text) : m_rest(text) {}

  Token Next() {
    while (!m_rest.empty() && std::iswspace(m_rest.front())) m_rest.remove_prefix(1);
    if (m_rest.empty()) return {};
    const wchar_t first = m_rest.front();
    if (first == L'\'' || first == L'"') return QuotedText(first);
    if (std::iswdigit(first) || first == L'-') return {TokenKind::kNumber, TakeWhile(IsNumberCharacter)};
    if (IsWordCharacter(first)) return {TokenKind::kWord, TakeWhile(IsWordCharacter)};
    m_rest.remove_prefix(1);
    return {TokenKind::kSymbol, std::wstring(1, first)};
  }

 private:
  std::wstring TakeWhile(bool (*accepts)(wchar_t)) {
    const auto end = std::find_if_not(m_rest.begin(), m_rest.end(), accepts);
    std::wstring text(m_rest.begin(), end);
    m_rest.remove_prefix(text.size());
    return text;
  }

  Token QuotedText(wchar_t quote) {
    Token token{TokenKind::kText, {}};
    for (std::size_t i = 1; i < m_rest.size(); ++i) {
      if (m_rest[i] == quote) {
        m_rest.remove_prefix(i + 1);
        return token;
      }
      if (m_rest[i] == L'\\' && ++i == m_rest.size()) break;
      token.text += m_rest[i];
    }
    m_rest = {};
    return {TokenKind::kBad, {}};
  }

  std::wstring_view m_rest;
};

/// Reads the whole of `text` as a number of one type.
template <typename Number>
bool ReadNumber(const std::wstring& text, Scalar& value) {
  std::string narrow;
  std::transform(text.begin(), text.end(), std::back_inserter(narrow),
                 [](wchar_t c) { return c < 128 ? static_cast<char>(c) : '?'; });
  Number number = {};
  const auto [end, error] = std::from_chars(narrow.data(), narrow.data() + narrow.size(), number);
  if (error != std::errc() || end != narrow.data() + narrow.size()) return false;
  value = number;
  return true;
}

class Parser {
 public:
  explicit Parser(std::wstring_view text) : m_lexer(text) { Advance(); }

  std::optional<Query> Read() {
    Query query;
    const bool read = Keyword(L"SELECT") && ReadProperties(query.properties) && Keyword(L"FROM") &&
                      Word(query.className) && ReadCondition(query.condition) && m_token.kind == TokenKind::kEnd;
    return read ? std::optional(std::move(query)) : std::nullopt;
  }

 private:
  void Advance() { m_token = m_lexer.Next(); }

  bool Keyword(std::wstring_view keyword) {
    const bool isIt = m_token.kind == TokenKind::kWord && SameText(m_token.text, keyword);
    if (isIt) Advance();
    return isIt;
  }

  bool Symbol(wchar_t symbol) {
    const bool isIt = m_token.kind == TokenKind::kSymbol && m_token.text.front() == symbol;
    if (isIt) Advance();
    return isIt;
  }

  bool Word(std::wstring& word) {
    if (m_token.kind != TokenKind::kWord) return false;
    word = m_token.text;
    Advance();
    return true;
  }

  bool ReadProperties(std::vector<std::wstring>& properties) {
    if (Symbol(L'*')) return true;
    do {
      if (!Word(properties.emplace_back())) return false;
    } while (Symbol(L','));
    return true;
  }

  bool ReadCondition(std::optional<Query::Condition>& condition) {
    if (!Keyword(L"WHERE")) return true;
    Query::Condition& read = condition.emplace();
    return Word(read.property) && Symbol(L'=') && ReadLiteral(read.value);
  }

  bool ReadLiteral(Scalar& value) {
    const Token literal = m_token;
    Advance();
    switch (literal.kind) {
      case TokenKind::kText:
        value = literal.text;
        return true;
      case TokenKind::kNumber:
        return ReadNumber<std::int64_t>(literal.text, value) || ReadNumber<double>(literal.text, value);
      case TokenKind::kWord:
        value = SameText(literal.text, L"TRUE");
        return SameText(literal.text, L"TRUE") || SameText(literal.text, L"FALSE");
      default:
        return false;
    }
  }

  Lexer m_lexer;
  Token m_token;
};

/// A literal as the VARIANT of its own kind.
struct LiteralToVariant {
  VARIANT& variant;

  void operator()(std::monostate) const { variant.vt = VT_NULL; }
  void operator()(bool value) const {
    variant.vt = VT_BOOL;
    variant.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  }
  void operator()(std::int64_t value) const {
    variant.vt = VT_I8;
    variant.llVal = value;
  }
  void operator()(double value) const {
    variant.vt = VT_R8;
    variant.dblVal = value;
  }
  void operator()(const std::wstring& value) const {
    variant.bstrVal = qvrn::Bstr(value.c_str()).Release();
    variant.vt = VT_BSTR;
  }
};

/// A value as text, the same for equal numbers of any type; false for NULL and what has no text.
bool AsText(qvrn::Variant& value) {
  const VARTYPE type = value.Get()->vt;
  return type != VT_NULL && type != VT_EMPTY &&
         SUCCEEDED(::VariantChangeTypeEx(value.Get(), value.Get(), LOCALE_INVARIANT, VARIANT_ALPHABOOL, VT_BSTR)) &&
         value.IsText();
}

}  // namespace

std::optional<Query> ParseQuery(std::wstring_view text) { return Parser(text).Read(); }

bool NamesKnownProperties(const Query& query, IWbemClassObject* classObject) {
  const auto isKnown = [classObject](const std::wstring& name) {
    return SUCCEEDED(classObject->Get(name.c_str(), 0, nullptr, nullptr, nullptr));
  };
  return std::all_of(query.properties.begin(), query.properties.end(), isKnown) &&
         (!query.condition || isKnown(query.condition->property));
}

bool Matches(const Query::Condition& condition, IWbemClassObject* object) {
  qvrn::Variant actual;
  qvrn::Variant wanted;
  if (FAILED(object->Get(condition.property.c_str(), 0, actual.Put(), nullptr, nullptr))) return false;
  std::visit(LiteralToVariant{*wanted.Get()}, condition.value);
  return AsText(actual) && AsText(wanted) && SameText(actual.Text(), wanted.Text());
}

}  // namespace lab
