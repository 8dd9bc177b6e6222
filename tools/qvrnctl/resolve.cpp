#include <algorithm>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/plan.h"

namespace qvrn {
namespace {

// A file with more of them is of another kind; nobody reads them all.
constexpr std::size_t kMostFaults = 1000;

bool HasName(const Adapter& adapter, const std::wstring& key, const std::wstring& text) {
  const Value name = key == L"id"           ? Value(adapter.id)
                     : key == L"name"       ? adapter.name
                     : key == L"connection" ? adapter.connection
                     : key == L"guid"       ? adapter.guid
                                            : adapter.pnpDeviceId;
  return name != Value() && EqualText(TextOf(name), text);
}

class Resolver {
 public:
  Resolver(const MachineState& machine, const WmiClient& wmi, DriverRegistry& drivers)
      : m_machine(machine), m_wmi(wmi), m_drivers(drivers) {}

  DesiredState Resolve(const StateDescription& description) {
    m_desired.faults = description.faults;
    for (const DescribedAdapter& described : description.adapters) {
      if (m_desired.faults.size() >= kMostFaults) break;
      if (described.names.empty()) continue;
      if (const Adapter* const adapter = FindAdapter(described)) ResolveAdapter(described, *adapter);
    }
    return std::move(m_desired);
  }

 private:
  void Refuse(const std::wstring& place, const std::wstring& why) { m_desired.faults.push_back(place + L": " + why); }

  // Null after a fault.
  const Adapter* FindAdapter(const DescribedAdapter& described) {
    std::vector<const Adapter*> meant;
    for (const auto& [key, text] : described.names) {
      const std::vector<const Adapter*> named = FindNamed(key, text);
      const std::wstring quoted = described.place + L"." + key + L" \"" + text + L"\"";
      if (named.empty()) {
        Refuse(quoted, L"the provider serves no such adapter" + Served());
        return nullptr;
      }
      if (&key != &described.names.front().first) {
        std::erase_if(meant, [&](const Adapter* a) { return std::ranges::find(named, a) == named.end(); });
      } else {
        meant = named;
      }
      if (meant.empty()) {
        Refuse(quoted, L"means another adapter (" + Label(*named.front()) + L") than the names before it");
        return nullptr;
      }
    }
    if (meant.size() > 1) {
      Refuse(described.place, L"more than one adapter has this name: " + Label(*meant[0]) + L", " + Label(*meant[1]));
      return nullptr;
    }
    return meant.front();
  }

  std::wstring Served() const {
    const std::vector<Adapter>& served = m_machine.adapters.served;
    return served.empty() ? L"; it serves none" : L"; it serves " + Labels(served);
  }

  std::vector<const Adapter*> FindNamed(const std::wstring& key, const std::wstring& text) const {
    std::vector<const Adapter*> named;
    for (const Adapter& adapter : m_machine.adapters.served) {
      if (HasName(adapter, key, text)) named.push_back(&adapter);
    }
    if (!named.empty()) return named;
    for (const Adapter& adapter : m_machine.adapters.others) {
      if (HasName(adapter, key, text) && IsProvidersOwn(m_wmi, adapter)) named.push_back(&adapter);
    }
    return named;
  }

  void ResolveAdapter(const DescribedAdapter& described, const Adapter& adapter) {
    const auto isSame = [&](const DesiredAdapter& other) { return other.adapter.id == adapter.id; };
    if (std::ranges::any_of(m_desired.adapters, isSame)) {
      return Refuse(described.place, L"adapter " + Label(adapter) + L" is described twice");
    }
    const AdapterState* const state = m_machine.Find(adapter.id);
    DesiredAdapter desired = {adapter, {}, {}};
    ResolveProperties(described, state, desired);
    if (described.vlans) {
      desired.vlans = ResolveVlans(*described.vlans, adapter, state == nullptr ? std::vector<Vlan>() : state->vlans);
    }
    m_desired.adapters.push_back(std::move(desired));
  }

  void ResolveProperties(const DescribedAdapter& described, const AdapterState* state, DesiredAdapter& desired) {
    if (described.properties.empty()) return;
    const std::wstring place = described.place + L".properties";
    if (state == nullptr || state->configuration == nullptr) {
      const std::wstring why = m_drivers.WhyLeftOut(desired.adapter.id);
      return Refuse(place, L"adapter " + Label(desired.adapter) + L" has no configuration that can be used" +
                               (why.empty() ? why : L": " + why));
    }
    for (const auto& [name, value] : described.properties) try {
        const Request request = ResolveProperty(name, value, *state);
        CheckSupported(state->properties, {request});
        const auto refusals = FindRefusals(state->properties, {request}, m_drivers.ReaderFor(desired.adapter.id));
        if (refusals.empty()) {
          desired.properties.push_back(request);
        } else {
          Refuse(place, refusals.front());
        }
      } catch (const ClientError& error) {
        Refuse(place, error.Message());
      }
  }

  Request ResolveProperty(const std::wstring& name, const Value& value, const AdapterState& state) {
    const PropertyInfo& info = FindProperty(m_machine.schema, name);
    if (info.key || !info.writable) throw Failed(info.name + L" cannot be set");
    return qvrn::Resolve({info, FormatValue(value)}, m_drivers.ReaderFor(state.adapter.id));
  }

  // None after a fault: what a list lacks would be removed.
  std::optional<std::vector<Vlan>> ResolveVlans(const std::vector<DescribedVlan>& described, const Adapter& adapter,
                                                const std::vector<Vlan>& now) {
    const std::size_t faults = m_desired.faults.size();
    std::vector<Vlan> vlans;
    for (const auto& [place, number, name, priority] : described) {
      Vlan vlan = {L"", adapter.id, name, number, 0};
      const auto there = std::ranges::find(now, number, &Vlan::number);
      if (there != now.end()) vlan.priority = there->priority;
      vlan.priority = priority.value_or(vlan.priority);
      // One that is there as it is described needs not be one that could be created.
      std::optional<std::wstring> fault = FindSame(now, vlan) == nullptr ? VlanFault(vlan) : std::nullopt;
      if (!fault) fault = FindClash(vlan, vlans);
      if (fault) Refuse(place, *fault);
      vlans.push_back(std::move(vlan));
    }
    return m_desired.faults.size() == faults ? std::optional(std::move(vlans)) : std::nullopt;
  }

  const MachineState& m_machine;
  const WmiClient& m_wmi;
  DriverRegistry& m_drivers;
  DesiredState m_desired;
};

}  // namespace

DesiredState Resolve(const StateDescription& description, const MachineState& machine, const WmiClient& wmi,
                     DriverRegistry& drivers) {
  return Resolver(machine, wmi, drivers).Resolve(description);
}

}  // namespace qvrn
