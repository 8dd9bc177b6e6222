#include "tools/qvrnctl/vlanclient.h"

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

std::int64_t NumberOf(const Value& value) {
  const auto* number = std::get_if<std::int64_t>(&value);
  return number == nullptr ? 0 : *number;
}

Vlan ReadVlan(IWbemClassObject* instance) {
  return {TextOf(ReadProperty(instance, L"Name")), TextOf(ReadProperty(instance, L"ParentDeviceID")),
          TextOf(ReadProperty(instance, L"VLANName")), NumberOf(ReadProperty(instance, L"VLANNumber")),
          NumberOf(ReadProperty(instance, L"VLANPriority"))};
}

void WriteVlan(IWbemClassObject* instance, const Vlan& vlan) {
  WriteProperty(instance, L"ParentDeviceID", vlan.adapter);
  WriteProperty(instance, L"VLANName", vlan.name);
  WriteProperty(instance, L"VLANNumber", vlan.number);
  WriteProperty(instance, L"VLANPriority", vlan.priority);
}

std::wstring PathOf(const Vlan& vlan) { return std::wstring(kVlanClass) + L".Name=\"" + vlan.guid + L"\""; }

}  // namespace

std::vector<Vlan> ListVlans(const WmiClient& wmi) {
  std::vector<Vlan> vlans;
  for (const WmiObject& instance : ListInstances(wmi, kVlanClass)) vlans.push_back(ReadVlan(instance.Get()));
  return vlans;
}

std::vector<Adapter> ListParents(const WmiClient& wmi, const std::vector<Vlan>& vlans) {
  std::vector<std::wstring> parents;
  for (const Vlan& vlan : vlans) {
    if (parents.empty() || parents.back() != vlan.adapter) parents.push_back(vlan.adapter);
  }
  return ListAdapters(wmi, parents);
}

HRESULT CreateVlan(const WmiClient& wmi, const Vlan& wanted) {
  WmiObject instance;
  const HRESULT hr = FetchClass(wmi, kVlanClass)->SpawnInstance(0, instance.GetAddressOf());
  if (FAILED(hr)) throw WmiFailed(std::wstring(L"class ") + kVlanClass, hr);
  WriteVlan(instance.Get(), wanted);
  // Not with WBEM_FLAG_CREATE_ONLY: an instance without a key is created anyway.
  return wmi.Put(instance.Get(), WBEM_FLAG_CREATE_OR_UPDATE);
}

HRESULT ChangeVlan(const WmiClient& wmi, const Vlan& wanted) {
  const WmiObject instance = wmi.Fetch(PathOf(wanted), L"VLAN " + Label(wanted));
  WriteVlan(instance.Get(), wanted);
  return wmi.Put(instance.Get(), WBEM_FLAG_UPDATE_ONLY);
}

HRESULT RemoveVlan(const WmiClient& wmi, const Vlan& vlan) { return wmi.Delete(PathOf(vlan)); }

HRESULT CallWithFile(const WmiClient& wmi, const wchar_t* method, const std::wstring& file) try {
  wmi.Call(kVlanClass, method, {{L"sFileName", file}});
  return S_OK;
} catch (const ClientError& error) {
  if (SUCCEEDED(error.Code())) throw;
  return error.Code();
}

}  // namespace qvrn
