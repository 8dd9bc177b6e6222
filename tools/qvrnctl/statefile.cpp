#include "tools/qvrnctl/statefile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tools/qvrnctl/inputfile.h"
#include "tools/qvrnctl/vlanfile.h"

namespace qvrn {
namespace {

StateDescription ReadSavedVlans(const std::wstring& path, const std::vector<Adapter>& adapters) {
  const VlanFileContent content = ReadElements(VlanFile(path).Elements(), adapters);
  StateDescription description;
  description.faults = content.faults;
  for (const Vlan& vlan : content.vlans) {
    auto& all = description.adapters;
    auto parent =
        std::ranges::find_if(all, [&](const DescribedAdapter& a) { return a.names[0].second == vlan.adapter; });
    if (parent == all.end()) {
      all.push_back({L"ParentId " + vlan.adapter, {{L"id", vlan.adapter}}, {}, std::vector<DescribedVlan>()});
      parent = std::prev(all.end());
    }
    parent->vlans->push_back({L"vlan element " + Label(vlan), vlan.number, vlan.name, vlan.priority});
  }
  return description;
}

bool IsXml(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  return start != std::string_view::npos && text[start] == '<';
}

}  // namespace

StateDescription ReadStateFile(const std::wstring& path, const std::vector<Adapter>& adapters) {
  const std::string text = DecodeText(ReadInputFile(path, OpenInputFile(path).Get()));
  return IsXml(text) ? ReadSavedVlans(path, adapters) : ReadDescription(ParseJson(path, text));
}

}  // namespace qvrn
