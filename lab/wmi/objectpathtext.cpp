#include "lab/wmi/objectpathtext.h"

#include <windows.h>

#include <algorithm>

#include "lab/schema/lexer.h"
#include "lab/schema/textcompare.h"

namespace lab {
namespace {

/// What stands behind the class: .Name=value,Name=value, or =value for the only key.
bool TakeKeys(Lexer& lexer) {
  bool isNamed = lexer.Accept(L'.');
  do {
    if (isNamed && lexer.Take().kind != TokenKind::kName) return false;
    if (!lexer.Accept(L'=')) return false;
    const TokenKind value = lexer.Take().kind;
    if (value != TokenKind::kText && value != TokenKind::kNumber) return false;
  } while (isNamed && lexer.Accept(L','));
  return lexer.IsAtEnd();
}

}  // namespace

std::optional<ObjectPath> ParseObjectPath(std::wstring_view text) {
  ObjectPath path;
  const std::size_t colon = text.substr(0, text.find(L'"')).find(L':');
  if (colon != text.npos) {
    path.space = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  path.relative = text;
  Lexer lexer(text, L"\"");
  const Token name = lexer.Take();
  path.className = name.text;
  path.isInstance = !lexer.IsAtEnd();
  const bool isPath = name.kind == TokenKind::kName && (!path.isInstance || TakeKeys(lexer));
  return isPath ? std::optional(std::move(path)) : std::nullopt;
}

NamespaceMatch MatchNamespace(std::wstring_view name) {
  std::wstring text(name);
  std::replace(text.begin(), text.end(), L'/', L'\\');
  std::wstring_view rest = text;
  if (rest.starts_with(L"\\\\")) {
    rest.remove_prefix(2);
    const std::wstring_view server = rest.substr(0, rest.find(L'\\'));
    if (server != L"." && !SameText(server, L"localhost") && !SameText(server, ComputerName())) {
      return NamespaceMatch::kOtherComputer;
    }
    rest.remove_prefix(std::min(server.size() + 1, rest.size()));
  }
  return rest.empty() || SameText(rest, L"root\\cimv2") ? NamespaceMatch::kOurs : NamespaceMatch::kOtherNamespace;
}

std::wstring ComputerName() {
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ::GetComputerNameW(name, &length);
  return name;
}

}  // namespace lab
