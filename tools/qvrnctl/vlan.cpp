#include "tools/qvrnctl/vlan.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"

namespace qvrn {
namespace {

constexpr std::int64_t kLeastNumber = 1;
constexpr std::int64_t kMostNumber = 4095;
constexpr std::int64_t kMostPriority = 7;
constexpr std::size_t kLongestName = 99;
constexpr std::size_t kMostCandidates = 20;

bool IsBlank(wchar_t unit) { return unit == L' ' || (unit >= L'\t' && unit <= L'\r'); }

bool IsHighSurrogate(wchar_t unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLowSurrogate(wchar_t unit) { return (unit & 0xFC00) == 0xDC00; }

// Whether a unit of UTF-16 is half of a pair without its other half.
bool IsLoneSurrogate(std::wstring_view text, std::size_t i) {
  if (IsHighSurrogate(text[i])) return i + 1 == text.size() || !IsLowSurrogate(text[i + 1]);
  return IsLowSurrogate(text[i]) && (i == 0 || !IsHighSurrogate(text[i - 1]));
}

// What XML has no form for. A tab and a line end have one, but do not come back as they were from every reader.
bool IsCarried(std::wstring_view text, std::size_t i) {
  return text[i] >= L' ' && text[i] != 0xFFFE && text[i] != 0xFFFF && !IsLoneSurrogate(text, i);
}

bool IsCarried(std::wstring_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!IsCarried(text, i)) return false;
  }
  return true;
}

// Sets a field from an option's text, where that is given.
void TakeNumber(const wchar_t* option, const std::wstring& text,
                std::optional<std::wstring> (*findFault)(std::int64_t number), std::int64_t& field) {
  if (text.empty()) return;
  const std::optional<std::int64_t> number = ParseNumber(text);
  const std::optional<std::wstring> fault = number ? findFault(*number) : L"it takes a number";
  if (fault) throw WrongUsage(std::wstring(option) + L" cannot be \"" + text + L"\": " + *fault);
  field = *number;
}

bool IsMeant(const Vlan& vlan, const std::vector<Adapter>& adapters, const std::wstring& wanted) {
  if (EqualText(vlan.guid, wanted) || EqualText(vlan.name, wanted)) return true;
  const std::size_t slash = wanted.rfind(L'/');
  if (slash == std::wstring::npos || ParseNumber(wanted.substr(slash + 1)) != vlan.number) return false;
  return std::ranges::any_of(adapters, [&](const Adapter& adapter) {
    return adapter.id == vlan.adapter && IsNamed(adapter, wanted.substr(0, slash));
  });
}

// The GUID of the adapter below a VLAN, for comparison.
std::wstring ParentGuid(const std::vector<Adapter>& adapters, const Vlan& vlan) {
  const auto parent = std::ranges::find(adapters, vlan.adapter, &Adapter::id);
  std::wstring guid = parent == adapters.end() ? L"" : TextOf(parent->guid);
  std::ranges::transform(guid, guid.begin(), [](wchar_t unit) { return static_cast<wchar_t>(std::towupper(unit)); });
  return guid;
}

std::wstring Labels(std::span<const Vlan> vlans) {
  std::vector<std::wstring> labels;
  for (const Vlan& vlan : vlans.first(std::min(vlans.size(), kMostCandidates))) labels.push_back(Label(vlan));
  if (vlans.size() > kMostCandidates) labels.push_back(std::to_wstring(vlans.size() - kMostCandidates) + L" more");
  return Join(labels);
}

}  // namespace

std::wstring Label(const Vlan& vlan) {
  const std::wstring label = vlan.adapter + L"/" + std::to_wstring(vlan.number) + L" \"" + vlan.name + L"\"";
  return vlan.guid.empty() ? label : label + L" " + vlan.guid;
}

const Vlan* FindSame(std::span<const Vlan> vlans, const Vlan& wanted) {
  const auto found = std::ranges::find_if(vlans, [&](const Vlan& vlan) {
    return vlan.number == wanted.number && vlan.priority == wanted.priority && vlan.adapter == wanted.adapter &&
           vlan.name == wanted.name;
  });
  return found == vlans.end() ? nullptr : &*found;
}

const Vlan* FindGuid(std::span<const Vlan> vlans, const std::wstring& guid) {
  const auto found = std::ranges::find(vlans, guid, &Vlan::guid);
  return found == vlans.end() ? nullptr : &*found;
}

std::optional<std::wstring> NumberFault(std::int64_t number) {
  if (number >= kLeastNumber && number <= kMostNumber) return std::nullopt;
  return L"a VLAN number is 1 to 4095";
}

std::optional<std::wstring> PriorityFault(std::int64_t priority) {
  if (priority >= 0 && priority <= kMostPriority) return std::nullopt;
  return L"a priority is 0 to 7";
}

std::optional<std::wstring> NameFault(const std::wstring& name) {
  if (name.empty()) return L"a name has at least one character";
  if (name.size() > kLongestName) return L"a name has at most 99 characters";
  if (IsBlank(name.front()) || IsBlank(name.back())) {
    return L"a saved file does not keep blanks at the beginning and the end of a name";
  }
  if (!IsCarried(name)) return L"a saved file cannot hold control characters and halves of characters";
  return std::nullopt;
}

std::optional<std::wstring> VlanFault(const Vlan& vlan) {
  std::vector<std::wstring> faults;
  for (const auto& fault : {NumberFault(vlan.number), NameFault(vlan.name), PriorityFault(vlan.priority)}) {
    if (fault) faults.push_back(*fault);
  }
  if (faults.empty()) return std::nullopt;
  return Join(faults);
}

std::optional<std::wstring> FindClash(const Vlan& vlan, std::span<const Vlan> others) {
  for (const Vlan& other : others) {
    if (other.adapter != vlan.adapter || (!vlan.guid.empty() && other.guid == vlan.guid)) continue;
    if (other.number == vlan.number) return L"the number is that of " + Label(other);
    // The comparison of the network engine itself.
    if (::_wcsicmp(other.name.c_str(), vlan.name.c_str()) == 0) return L"the name is that of " + Label(other);
  }
  return std::nullopt;
}

Vlan WithOptions(Vlan vlan, const Arguments& arguments) {
  TakeNumber(L"--id", arguments.vlanId, &NumberFault, vlan.number);
  TakeNumber(L"--priority", arguments.priority, &PriorityFault, vlan.priority);
  if (arguments.vlanName.empty()) return vlan;
  if (const auto fault = NameFault(arguments.vlanName)) throw WrongUsage(L"--name cannot be that: " + *fault);
  vlan.name = arguments.vlanName;
  return vlan;
}

const Vlan& MatchVlan(std::span<const Vlan> vlans, const std::vector<Adapter>& adapters, const std::wstring& wanted) {
  const auto isMeant = [&](const Vlan& vlan) { return IsMeant(vlan, adapters, wanted); };
  const auto found = std::ranges::find_if(vlans, isMeant);
  const std::wstring subject = L"VLAN \"" + wanted + L"\" ";
  if (found == vlans.end()) {
    const std::wstring known = vlans.empty() ? L"there are no VLANs" : L"there are " + Labels(vlans);
    throw ClientError(kExitFailed, subject + L"is not there: " + NameOfCode(kNotFound) + L"; " + known, kNotFound);
  }
  std::vector<Vlan> meant;
  std::copy_if(found, vlans.end(), std::back_inserter(meant), isMeant);
  if (meant.size() > 1) throw Failed(subject + L"is ambiguous: " + Labels(meant));
  return *found;
}

void SortForRemoval(std::vector<Vlan>& vlans, const std::vector<Adapter>& adapters) {
  std::ranges::stable_sort(vlans, {}, [&adapters](const Vlan& vlan) { return ParentGuid(adapters, vlan); });
}

std::vector<PropertyState> StatesOf(const Vlan& vlan) {
  std::vector<PropertyState> states(3);
  states[0].info.name = L"number";
  states[0].value = vlan.number;
  states[1].info.name = L"name";
  states[1].value = vlan.name;
  states[2].info.name = L"priority";
  states[2].value = vlan.priority;
  return states;
}

std::vector<Request> RequestsFor(const Vlan& wanted) {
  std::vector<Request> requests;
  for (const PropertyState& state : StatesOf(wanted)) requests.push_back({state.info, state.value});
  return requests;
}

}  // namespace qvrn
