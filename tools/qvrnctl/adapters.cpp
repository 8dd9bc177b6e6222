#include "tools/qvrnctl/adapters.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>

#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/elevation.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/properties.h"

namespace qvrn {
namespace {

// All columns are asked for: not every Windows has each of them, and a query that names one too many fails.
constexpr wchar_t kNetworkAdapters[] = L"SELECT * FROM Win32_NetworkAdapter";

Adapter Describe(IWbemClassObject* adapter) {
  return {TextOf(ReadProperty(adapter, L"DeviceID")), ReadProperty(adapter, L"Name"),
          ReadProperty(adapter, L"NetConnectionID"), ReadProperty(adapter, L"GUID"),
          ReadProperty(adapter, L"PNPDeviceID")};
}

bool IsPattern(const std::wstring& text) { return text.find_first_of(L"*?") != std::wstring::npos; }

bool IsSame(wchar_t left, wchar_t right) { return EqualText(std::wstring(1, left), std::wstring(1, right)); }

// * for any characters, ? for one; without regard to case. Goes back to the last star only, so that no pattern takes
// long.
bool Fits(std::wstring_view text, std::wstring_view pattern) {
  std::size_t at = 0;
  std::size_t next = 0;                        // of the pattern
  std::size_t star = std::wstring_view::npos;  // the last one in the pattern
  std::size_t resume = 0;                      // where the text behind it begins
  while (at < text.size()) {
    if (next < pattern.size() && pattern[next] == L'*') {
      star = next++;
      resume = at;
    } else if (next < pattern.size() && (pattern[next] == L'?' || IsSame(pattern[next], text[at]))) {
      ++next;
      ++at;
    } else if (star != std::wstring_view::npos) {
      next = star + 1;
      at = ++resume;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of(L'*', next) == std::wstring_view::npos;
}

template <typename Predicate>
bool HasName(const Adapter& adapter, Predicate predicate) {
  return predicate(adapter.id) || predicate(TextOf(adapter.name)) || predicate(TextOf(adapter.connection)) ||
         predicate(TextOf(adapter.guid)) || predicate(TextOf(adapter.pnpDeviceId));
}

std::vector<Adapter> Select(const std::vector<Adapter>& adapters, const std::function<bool(const Adapter&)>& isMeant) {
  std::vector<Adapter> meant;
  std::ranges::copy_if(adapters, std::back_inserter(meant), isMeant);
  return meant;
}

}  // namespace

std::wstring Label(const Adapter& adapter) {
  std::wstring label = adapter.id;
  if (const std::wstring connection = TextOf(adapter.connection); !connection.empty())
    label += L" \"" + connection + L"\"";
  if (const std::wstring name = TextOf(adapter.name); !name.empty()) label += L" (" + name + L")";
  return label;
}

std::wstring Labels(std::span<const Adapter> adapters) {
  std::vector<std::wstring> labels;
  for (const Adapter& adapter : adapters) labels.push_back(Label(adapter));
  return Join(labels);
}

AdapterList ListAdapters(const WmiClient& wmi, const std::vector<std::wstring>& parents) {
  return JoinAdapters(wmi, ListInstances(wmi, kConfigurationClass), parents);
}

AdapterList JoinAdapters(const WmiClient& wmi, const std::vector<WmiObject>& configurations,
                         const std::vector<std::wstring>& parents) {
  AdapterList list;
  const auto serve = [&list](const std::wstring& id) {
    if (std::ranges::find(list.served, id, &Adapter::id) == list.served.end())
      list.served.push_back({id, {}, {}, {}, {}});
  };
  for (const WmiObject& configuration : configurations) serve(TextOf(ReadProperty(configuration.Get(), L"SettingID")));
  std::ranges::for_each(parents, serve);
  for (const WmiObject& object : wmi.Query(kNetworkAdapters)) {
    const Adapter adapter = Describe(object.Get());
    const auto known = std::ranges::find(list.served, adapter.id, &Adapter::id);
    if (known != list.served.end()) {
      *known = adapter;
    } else {
      list.others.push_back(adapter);
    }
  }
  return list;
}

bool IsNamed(const Adapter& adapter, const std::wstring& wanted) {
  return !wanted.empty() && HasName(adapter, [&](const std::wstring& name) { return EqualText(name, wanted); });
}

bool IsProvidersOwn(const WmiClient& wmi, const Adapter& adapter) try {
  wmi.Fetch(L"QvrnEN_NetworkAdapterSetting.Element=\"Win32_NetworkAdapter.DeviceID=\\\"" + adapter.id +
                L"\\\"\",Setting=\"" + kConfigurationClass + L".SettingID=\\\"" + adapter.id + L"\\\"\"",
            Label(adapter));
  return true;
} catch (const ClientError&) {
  return false;
}

Adapter MatchAdapter(const WmiClient& wmi, const AdapterList& adapters, const std::wstring& wanted) {
  const auto isMeant = [&](const Adapter& adapter) { return IsNamed(adapter, wanted); };
  std::vector<Adapter> meant = Select(adapters.served, isMeant);
  if (meant.empty()) {
    meant = Select(adapters.others, [&](const Adapter& other) { return isMeant(other) && IsProvidersOwn(wmi, other); });
  }
  if (meant.empty()) {
    const std::wstring subject = L"adapter \"" + wanted + L"\" is not served by the provider: ";
    const std::wstring served =
        adapters.served.empty() ? L"; it serves none" : L"; it serves " + Labels(adapters.served);
    throw ClientError(kExitFailed, subject + NameOfCode(kNotFound) + served, kNotFound);
  }
  if (meant.size() > 1) throw Failed(L"adapter \"" + wanted + L"\" is ambiguous: " + Labels(meant));
  return meant.front();
}

std::vector<Adapter> MatchAdapters(const WmiClient& wmi, const AdapterList& adapters,
                                   std::span<const std::wstring> wanted) {
  std::vector<Adapter> meant;
  for (const std::wstring& text : wanted) {
    const bool isName = std::ranges::any_of(adapters.served, [&](const Adapter& a) { return IsNamed(a, text); });
    std::vector<Adapter> found;
    if (IsPattern(text) && !isName) {
      found = Select(adapters.served, [&](const Adapter& adapter) {
        return HasName(adapter, [&](const std::wstring& name) { return Fits(name, text); });
      });
    }
    if (found.empty()) found = {MatchAdapter(wmi, adapters, text)};
    for (const Adapter& adapter : found) {
      if (std::ranges::find(meant, adapter.id, &Adapter::id) == meant.end()) meant.push_back(adapter);
    }
  }
  return meant;
}

std::wstring NothingServed(const Arguments& arguments) {
  const std::wstring none = L"the provider serves no adapter";
  if (!arguments.computer.empty())
    return none + L"; it takes an administrator of " + arguments.computer + L" to see one";
  if (!IsElevated()) {
    return none +
           L": this prompt has not the rights of an administrator, without which lists are empty; open an "
           L"elevated one (Run as administrator)";
  }
  return none + L": there is none that it knows, or its configuration cannot be used";
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
  const std::vector<Adapter> adapters = ListAdapters(WmiClient(arguments)).served;
  if (adapters.empty()) WriteError(NothingServed(arguments));
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
