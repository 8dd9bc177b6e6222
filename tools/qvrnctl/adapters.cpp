#include "tools/qvrnctl/adapters.h"

#include <algorithm>
#include <cwchar>
#include <map>
#include <string_view>

#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/properties.h"

namespace qvrn {
namespace {

// All columns are asked for: not every Windows has each of them, and a query that names one too many fails.
std::map<std::wstring, WmiObject> QueryNetworkAdapters(const WmiClient& wmi) {
  std::map<std::wstring, WmiObject> adapters;
  for (WmiObject& adapter : wmi.Query(L"SELECT * FROM Win32_NetworkAdapter")) {
    adapters.emplace(TextOf(ReadProperty(adapter.Get(), L"DeviceID")), adapter);
  }
  return adapters;
}

Adapter Describe(const std::wstring& id, IWbemClassObject* adapter) {
  if (adapter == nullptr) return {id, {}, {}, {}, {}};
  return {id, ReadProperty(adapter, L"Name"), ReadProperty(adapter, L"NetConnectionID"), ReadProperty(adapter, L"GUID"),
          ReadProperty(adapter, L"PNPDeviceID")};
}

// `7 "Local Area Connection" (Adapter Name)`
std::wstring Label(const Adapter& adapter) {
  std::wstring label = adapter.id;
  if (const std::wstring connection = TextOf(adapter.connection); !connection.empty())
    label += L" \"" + connection + L"\"";
  if (const std::wstring name = TextOf(adapter.name); !name.empty()) label += L" (" + name + L")";
  return label;
}

std::wstring Labels(const std::vector<Adapter>& adapters) {
  std::vector<std::wstring> labels;
  for (const Adapter& adapter : adapters) labels.push_back(Label(adapter));
  return Join(labels);
}

// The decimal form without leading zeros: the only one that names an adapter.
bool IsId(const std::wstring& text) {
  const bool digits = !text.empty() && text.find_first_not_of(L"0123456789") == std::wstring::npos;
  return digits && text.size() < 10 && (text == L"0" || text[0] != L'0');
}

}  // namespace

std::vector<Adapter> ListAdapters(const WmiClient& wmi, const std::vector<std::wstring>& others) {
  std::vector<std::wstring> ids;
  for (const WmiObject& configuration : ListInstances(wmi, kConfigurationClass)) {
    ids.push_back(TextOf(ReadProperty(configuration.Get(), L"SettingID")));
  }
  std::copy_if(others.begin(), others.end(), std::back_inserter(ids),
               [&](const std::wstring& id) { return std::ranges::find(ids, id) == ids.end(); });
  std::vector<Adapter> adapters;
  if (ids.empty()) return adapters;
  const std::map<std::wstring, WmiObject> known = QueryNetworkAdapters(wmi);
  for (const std::wstring& id : ids) {
    const auto found = known.find(id);
    adapters.push_back(Describe(id, found == known.end() ? nullptr : found->second.Get()));
  }
  return adapters;
}

bool IsNamed(const Adapter& adapter, const std::wstring& wanted) {
  return !wanted.empty() && (EqualText(adapter.id, wanted) || EqualText(TextOf(adapter.name), wanted) ||
                             EqualText(TextOf(adapter.connection), wanted));
}

const Adapter& MatchAdapter(const std::vector<Adapter>& adapters, const std::wstring& wanted) {
  const auto isMeant = [&](const Adapter& adapter) { return IsNamed(adapter, wanted); };
  const auto found = std::find_if(adapters.begin(), adapters.end(), isMeant);
  if (found == adapters.end()) {
    const std::wstring subject = L"adapter \"" + wanted + L"\" is not served by the provider: ";
    const std::wstring served = adapters.empty() ? L"; it serves none" : L"; it serves " + Labels(adapters);
    throw ClientError(kExitFailed, subject + NameOfCode(kNotFound) + served, kNotFound);
  }
  if (std::find_if(found + 1, adapters.end(), isMeant) != adapters.end()) {
    std::vector<Adapter> meant;
    std::copy_if(found, adapters.end(), std::back_inserter(meant), isMeant);
    throw Failed(L"adapter \"" + wanted + L"\" is ambiguous: " + Labels(meant));
  }
  return *found;
}

WmiObject FetchConfiguration(const WmiClient& wmi, const std::wstring& id) {
  const std::wstring path = std::wstring(kConfigurationClass) + L".SettingID=\"" + id + L"\"";
  return wmi.Fetch(path, L"adapter \"" + id + L"\"");
}

WmiObject FindConfiguration(const WmiClient& wmi, const std::wstring& wanted) {
  if (IsId(wanted)) {
    try {
      return FetchConfiguration(wmi, wanted);
    } catch (const ClientError& error) {
      if (error.Code() != kNotFound) throw;
    }
  }
  return FetchConfiguration(wmi, MatchAdapter(ListAdapters(wmi), wanted).id);
}

AdapterSetting FindSetting(const WmiClient& wmi, const std::wstring& id) {
  // The service may put computer and namespace in front.
  const std::wstring element = L"Win32_NetworkAdapter.DeviceID=\"" + id + L"\"";
  for (const WmiObject& object : wmi.Query(L"SELECT * FROM QvrnEN_NetworkAdapterSetting")) {
    AdapterSetting found{TextOf(ReadProperty(object.Get(), L"Element")),
                         TextOf(ReadProperty(object.Get(), L"Setting"))};
    if (found.element.ends_with(element)) return found;
  }
  throw Failed(L"no QvrnEN_NetworkAdapterSetting links adapter \"" + id + L"\" to its properties");
}

int RunAdapters(const Arguments& arguments) {
  const std::vector<Adapter> adapters = ListAdapters(WmiClient(arguments));
  if (adapters.empty()) WriteError(L"the provider serves no adapter");
  std::vector<TableRow> table = {{L"ID", L"CONNECTION", L"NAME", L"GUID"}};
  std::vector<JsonRow> json;
  for (const Adapter& a : adapters) {
    table.push_back({a.id, TextOf(a.connection), TextOf(a.name), TextOf(a.guid)});
    json.push_back({{L"id", a.id},
                    {L"name", a.name},
                    {L"connection", a.connection},
                    {L"guid", a.guid},
                    {L"pnpDeviceId", a.pnpDeviceId}});
  }
  if (arguments.json) {
    WriteOut(FormatJson(json));
  } else if (!adapters.empty()) {
    WriteOut(FormatTable(table));
  }
  return kExitDone;
}

}  // namespace qvrn
