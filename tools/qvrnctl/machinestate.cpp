#include "tools/qvrnctl/machinestate.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

#include "tools/qvrnctl/vlanclient.h"

namespace qvrn {
namespace {

AdapterState ReadAdapter(const Adapter& adapter, const MachineState& machine,
                         const std::vector<WmiObject>& configurations, const std::vector<Vlan>& vlans) {
  AdapterState state = {adapter, {}, {}, {}};
  const auto isOwn = [&](const WmiObject& instance) { return IdOf(instance.Get()) == adapter.id; };
  const auto own = std::ranges::find_if(configurations, isOwn);
  if (own != configurations.end()) {
    state.configuration = *own;
    state.properties = ReadStates(machine.schema, own->Get());
    std::erase_if(state.properties, [](const PropertyState& property) {
      return property.info.key || !property.info.writable || property.value == Value();
    });
  }
  std::ranges::copy_if(vlans, std::back_inserter(state.vlans),
                       [&](const Vlan& vlan) { return vlan.adapter == adapter.id; });
  return state;
}

Json DescribeAdapter(const AdapterState& state) {
  Json properties = Json::object();
  for (const auto& [info, value] : state.properties) properties[ToUtf8(info.name)] = ToJson(value);
  Json vlans = Json::array();
  for (const Vlan& vlan : state.vlans) {
    vlans.push_back({{"number", vlan.number},
                     {"name", ToJson(vlan.name)},
                     {"priority", vlan.priority},
                     {"guid", ToJson(vlan.guid)}});
  }
  const Adapter& adapter = state.adapter;
  return {{"id", ToJson(adapter.id)},
          {"name", ToJson(adapter.name)},
          {"connection", ToJson(adapter.connection)},
          {"guid", ToJson(adapter.guid)},
          {"pnpDeviceId", ToJson(adapter.pnpDeviceId)},
          {"properties", std::move(properties)},
          {"vlans", std::move(vlans)}};
}

}  // namespace

const AdapterState* MachineState::Find(const std::wstring& adapterId) const {
  const auto found = std::ranges::find_if(states, [&](const AdapterState& s) { return s.adapter.id == adapterId; });
  return found == states.end() ? nullptr : &*found;
}

std::vector<Vlan> MachineState::Vlans() const {
  std::vector<Vlan> all;
  for (const AdapterState& state : states) std::ranges::copy(state.vlans, std::back_inserter(all));
  return all;
}

MachineState ReadMachine(const WmiClient& wmi) {
  MachineState machine;
  machine.schema = DescribeConfiguration(wmi);
  const std::vector<WmiObject> configurations = ListInstances(wmi, kConfigurationClass);
  const std::vector<Vlan> vlans = ListVlans(wmi);
  machine.adapters = JoinAdapters(wmi, configurations, ParentIds(vlans));
  for (const Adapter& adapter : machine.adapters.served) {
    machine.states.push_back(ReadAdapter(adapter, machine, configurations, vlans));
  }
  return machine;
}

Json DescribeMachine(std::span<const AdapterState> states) {
  Json adapters = Json::array();
  for (const AdapterState& state : states) adapters.push_back(DescribeAdapter(state));
  return {{"adapters", std::move(adapters)}};
}

}  // namespace qvrn
