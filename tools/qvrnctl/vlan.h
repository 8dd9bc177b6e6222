// A VLAN as the client knows it: what it may be, which one the user means, and what became of it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "tools/qvrnctl/adapters.h"
#include "tools/qvrnctl/arguments.h"
#include "tools/qvrnctl/properties.h"

namespace qvrn {

struct Vlan {
  std::wstring guid;  ///< of its virtual adapter, in braces; empty for one that is not there yet
  std::wstring adapter;
  std::wstring name;
  std::int64_t number = 0;
  std::int64_t priority = 0;
  WmiObject object = nullptr;  ///< the instance that was listed; null for one that is not there yet

  /// The same values, whatever the objects.
  bool operator==(const Vlan& other) const {
    return std::tie(guid, adapter, name, number, priority) ==
           std::tie(other.guid, other.adapter, other.name, other.number, other.priority);
  }
};

/// `7/10 "Office" {guid}`: the first and the last are operands that name it.
std::wstring Label(const Vlan& vlan);

/// The first with the same adapter, name, number and priority; null when there is none.
const Vlan* FindSame(std::span<const Vlan> vlans, const Vlan& wanted);
/// The one with this GUID; null when there is none.
const Vlan* FindGuid(std::span<const Vlan> vlans, const std::wstring& guid);

/// Why a value cannot be that of a VLAN that is to be created, saved or restored; none when it can.
std::optional<std::wstring> NumberFault(std::int64_t number);
std::optional<std::wstring> PriorityFault(std::int64_t priority);
std::optional<std::wstring> NameFault(const std::wstring& name);
/// All three in one line.
std::optional<std::wstring> VlanFault(const Vlan& vlan);

/// Which of `others`, itself (by its GUID) not counted, has its number or its name, in one line: an adapter takes both
/// only once, and does not tell names apart that differ in case only.
std::optional<std::wstring> FindClash(const Vlan& vlan, std::span<const Vlan> others);

/// `vlan` with the values of --id, --name and --priority where they are given. Throws ClientError (wrong usage) on a
/// value that no VLAN can have.
Vlan WithOptions(Vlan vlan, const Arguments& arguments);

/// The VLAN that `wanted` names: by GUID, as ADAPTER/NUMBER, or by a name that no other one has, all without regard to
/// case. Throws ClientError, naming the candidates, when it names none or more than one.
const Vlan& MatchVlan(std::span<const Vlan> vlans, const std::vector<Adapter>& adapters, const std::wstring& wanted);

/// Puts VLANs into an order in which each can be found by its path when its turn comes: the provider's search for the
/// adapter below a VLAN ends with the adapter of the highest GUID that had VLANs, which must have one until the end.
void SortForRemoval(std::vector<Vlan>& vlans, const std::vector<Adapter>& adapters);

/// What a change of a VLAN may touch, as properties: number, name, priority.
std::vector<PropertyState> StatesOf(const Vlan& vlan);
/// Those three as requests.
std::vector<Request> RequestsFor(const Vlan& wanted);

}  // namespace qvrn
