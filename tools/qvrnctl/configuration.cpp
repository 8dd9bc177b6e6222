#include "tools/qvrnctl/configuration.h"

#include <algorithm>

namespace qvrn {
namespace {

// The decimal form without leading zeros: the only one that names an adapter.
bool IsId(const std::wstring& text) {
  const bool digits = !text.empty() && text.find_first_not_of(L"0123456789") == std::wstring::npos;
  return digits && text.size() < 10 && (text == L"0" || text[0] != L'0');
}

// Nothing when one of the ids is none.
std::vector<WmiObject> FetchByIds(const WmiClient& wmi, std::span<const std::wstring> ids,
                                  DriverRegistry& drivers) try {
  std::vector<WmiObject> configurations;
  for (const std::wstring& id : ids) {
    const auto isSame = [&](const WmiObject& other) { return IdOf(other.Get()) == id; };
    if (std::ranges::none_of(configurations, isSame)) configurations.push_back(FetchConfiguration(wmi, id, drivers));
  }
  return configurations;
} catch (const ClientError& error) {
  if (error.Code() != kNotFound) throw;
  return {};
}

}  // namespace

std::vector<PropertyInfo> DescribeConfiguration(const WmiClient& wmi) {
  return DescribeClass(FetchClass(wmi, kConfigurationClass).Get());
}

std::vector<PropertyState> ReadStates(const std::vector<PropertyInfo>& properties, IWbemClassObject* instance) {
  std::vector<PropertyState> states;
  for (const PropertyInfo& info : properties) states.push_back({info, ReadProperty(instance, info.name)});
  return states;
}

std::wstring IdOf(IWbemClassObject* configuration) { return FormatValue(ReadProperty(configuration, L"SettingID")); }

WmiObject FetchConfiguration(const WmiClient& wmi, const std::wstring& id, DriverRegistry& drivers) {
  const std::wstring path = std::wstring(kConfigurationClass) + L".SettingID=\"" + id + L"\"";
  try {
    return wmi.Fetch(path, L"adapter \"" + id + L"\"");
  } catch (const ClientError& error) {
    const bool isLeftOut = error.Code() == static_cast<HRESULT>(WBEM_E_FAILED);
    const std::wstring why = isLeftOut ? drivers.WhyLeftOut(id) : L"";
    if (why.empty()) throw;
    throw ClientError(kExitFailed, error.Message() + L"; the provider leaves it out: " + why, error.Code());
  }
}

std::vector<WmiObject> FindConfigurations(const WmiClient& wmi, std::span<const std::wstring> wanted,
                                          DriverRegistry& drivers,
                                          const std::function<ClientError(const std::wstring& text)>& explain) {
  std::vector<WmiObject> configurations;
  if (std::ranges::all_of(wanted, &IsId)) configurations = FetchByIds(wmi, wanted, drivers);
  if (!configurations.empty()) return configurations;
  const std::vector<WmiObject> instances = ListInstances(wmi, kConfigurationClass);
  const AdapterList adapters = JoinAdapters(wmi, instances, {});
  const auto find = [&](const std::wstring& text) {
    try {
      return MatchAdapters(wmi, adapters, {&text, 1});
    } catch (const ClientError& error) {
      if (explain && &text != &wanted.front() && error.Code() == kNotFound) throw explain(text);
      throw;
    }
  };
  // What is wrong usage is told before what is not there.
  for (const std::wstring& text : wanted.subspan(1)) find(text);
  std::vector<std::wstring> ids;
  for (const std::wstring& text : wanted) {
    for (const Adapter& adapter : find(text)) {
      if (std::ranges::find(ids, adapter.id) == ids.end()) ids.push_back(adapter.id);
    }
  }
  for (const std::wstring& id : ids) {
    const auto listed =
        std::ranges::find(instances, id, [](const WmiObject& instance) { return IdOf(instance.Get()); });
    configurations.push_back(listed == instances.end() ? FetchConfiguration(wmi, id, drivers) : *listed);
  }
  return configurations;
}

}  // namespace qvrn
