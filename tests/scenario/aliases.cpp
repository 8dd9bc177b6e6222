#include "tests/scenario/aliases.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <regex>

#include "lab/labkey.h"
#include "lab/modulepath.h"
#include "tests/scenario/events.h"
#include "tests/scenario/sandbox.h"

namespace scenario {
std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

Aliases::Aliases()
    : m_paths{{"<class>", "SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}"},
              {"<transports>", "SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E975-E325-11CE-BFC1-08002bE10318}"},
              {"<MUXP>", "SYSTEM\\CurrentControlSet\\Services\\MUXP\\Parameters\\Adapters"},
              {"<muxp>", "System\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters"},
              {"<adapters>", "SYSTEM\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters"},
              {"<lab>", Utf8(lab::kLabKey)},
              {"<bin>", Utf8(lab::ModuleFolder())},
              {"<temp>", Utf8(Sandbox::Folder())}} {}

const std::string& Aliases::NameOf(const std::string& guid) {
  const auto [entry, isNew] = m_names.try_emplace(guid);
  if (!isNew) return entry->second;
  if (guid.ends_with("-0000-0000-0000-000000000000")) {
    entry->second = std::to_string(std::stoul(guid.substr(0, 8), nullptr, 16));
  } else {
    entry->second = std::string(1, m_next++);
  }
  m_guids[entry->second] = guid;
  return entry->second;
}

std::string Aliases::Shorten(std::string text) {
  for (const auto& [name, path] : m_paths) text = Replaced(text, path, name);
  static const std::regex guid(
      R"(\{?([0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4})(-?)([0-9A-Fa-f]{12})\}?)");
  std::string shortened;
  auto from = text.cbegin();
  for (std::sregex_iterator found(text.cbegin(), text.cend(), guid), end; found != end; ++found) {
    const std::smatch& match = *found;
    shortened.append(from, match[0].first);
    from = match[0].second;
    std::string canonical = match[1].str() + "-" + match[3].str();
    std::transform(canonical.begin(), canonical.end(), canonical.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const std::string& name = NameOf(canonical);
    if (match[0].str().front() == '{') {
      shortened += "{" + name + "}";
    } else {
      shortened += "<" + name + (match[2].length() == 0 ? "->" : ">");
    }
  }
  return shortened.append(from, text.cend());
}

std::string Aliases::Expand(std::string text) const {
  for (const auto& [name, path] : m_paths) text = Replaced(text, name, path);
  static const std::regex adapter(R"(\{(\d{1,8})\})");
  std::smatch match;
  while (std::regex_search(text, match, adapter)) {
    char guid[48];
    std::snprintf(guid, sizeof guid, "{%08lX-0000-0000-0000-000000000000}", std::stoul(match[1].str()));
    text = match.prefix().str() + guid + match.suffix().str();
  }
  for (const auto& [name, guid] : m_guids) text = Replaced(text, "{" + name + "}", "{" + guid + "}");
  return text;
}

}  // namespace scenario
