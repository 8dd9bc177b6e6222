#include "lab/wmi/objectpathtext.h"

#include <windows.h>

#include <algorithm>
#include <cwctype>

#include "lab/schema/textcompare.h"

namespace lab {
namespace {

constexpr std::wstring_view kOurNamespace = L"root\\cimv2";

/// Reads the keys of an instance path from left to right.
class KeyReader {
 public:
  explicit KeyReader(std::wstring_view text) : m_rest(text) {}

  /// True when the whole text was a list of keys.
  bool Read(ObjectPath& path) {
    do {
      std::wstring name = Name();
      std::wstring value;
      if (!Take(L'=') || !ReadValue(value)) return false;
      path.keys.emplace_back(std::move(name), std::move(value));
    } while (Take(L','));
    return m_rest.empty();
  }

 private:
  bool Take(wchar_t character) {
    if (m_rest.empty() || m_rest.front() != character) return false;
    m_rest.remove_prefix(1);
    return true;
  }

  std::wstring Name() {
    std::wstring name(m_rest.substr(0, m_rest.find_first_of(L"=,\"")));
    m_rest.remove_prefix(name.size());
    return name;
  }

  bool ReadValue(std::wstring& value) {
    if (Take(L'"')) return ReadQuoted(value);
    value = m_rest.substr(0, m_rest.find(L','));
    m_rest.remove_prefix(value.size());
    return !value.empty() && std::none_of(value.begin(), value.end(), [](wchar_t c) { return c == L'"' || c == L'='; });
  }

  bool ReadQuoted(std::wstring& value) {
    while (!Take(L'"')) {
      Take(L'\\');
      if (m_rest.empty()) return false;
      value += m_rest.front();
      m_rest.remove_prefix(1);
    }
    return true;
  }

  std::wstring_view m_rest;
};

bool IsClassName(std::wstring_view name) {
  return !name.empty() &&
         std::all_of(name.begin(), name.end(), [](wchar_t c) { return c == L'_' || std::iswalnum(c); });
}

bool ReadInstancePart(std::wstring_view part, ObjectPath& path) {
  path.isInstance = true;
  if (part == L"=@") return true;
  if (part.front() == L'.') part.remove_prefix(1);
  return KeyReader(part).Read(path);
}

bool IsThisComputer(std::wstring_view server) {
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ::GetComputerNameW(name, &length);
  return server == L"." || SameText(server, L"localhost") || SameText(server, name);
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
  path.className = text.substr(0, text.find_first_of(L".="));
  if (!IsClassName(path.className)) return std::nullopt;
  text.remove_prefix(path.className.size());
  if (!text.empty() && !ReadInstancePart(text, path)) return std::nullopt;
  return path;
}

NamespaceMatch MatchNamespace(std::wstring_view name) {
  std::wstring text(name);
  std::replace(text.begin(), text.end(), L'/', L'\\');
  std::wstring_view rest = text;
  if (rest.starts_with(L"\\\\")) {
    rest.remove_prefix(2);
    const std::wstring_view server = rest.substr(0, rest.find(L'\\'));
    if (!IsThisComputer(server)) return NamespaceMatch::kOtherComputer;
    rest.remove_prefix(std::min(server.size() + 1, rest.size()));
  }
  return rest.empty() || SameText(rest, kOurNamespace) ? NamespaceMatch::kOurs : NamespaceMatch::kOtherNamespace;
}

}  // namespace lab
