#include "tools/qvrnctl/vlanclient.h"

#include <algorithm>

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

std::int64_t NumberOf(const Value& value) {
  const auto* number = std::get_if<std::int64_t>(&value);
  return number == nullptr ? 0 : *number;
}

Vlan ReadVlan(const WmiObject& instance) {
  const auto read = [&](const wchar_t* name) { return ReadProperty(instance.Get(), name); };
  return {TextOf(read(L"Name")),         TextOf(read(L"ParentDeviceID")), TextOf(read(L"VLANName")),
          NumberOf(read(L"VLANNumber")), NumberOf(read(L"VLANPriority")), instance};
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
  for (const WmiObject& instance : ListInstances(wmi, kVlanClass)) vlans.push_back(ReadVlan(instance));
  return vlans;
}

AdapterList ListParents(const WmiClient& wmi, const std::vector<Vlan>& vlans) {
  return ListAdapters(wmi, ParentIds(vlans));
}

std::vector<std::wstring> ParentIds(const std::vector<Vlan>& vlans) {
  std::vector<std::wstring> ids;
  for (const Vlan& vlan : vlans) {
    if (std::ranges::find(ids, vlan.adapter) == ids.end()) ids.push_back(vlan.adapter);
  }
  return ids;
}

Vlan PrepareVlan(const WmiClient& wmi, Vlan wanted) {
  if (wanted.guid.empty()) {
    const HRESULT hr = FetchClass(wmi, kVlanClass)->SpawnInstance(0, wanted.object.ReleaseAndGetAddressOf());
    if (FAILED(hr)) throw WmiFailed(std::wstring(L"class ") + kVlanClass, hr);
    // Empty: the service may refuse a key without a value before the provider sees it.
    WriteProperty(wanted.object.Get(), L"Name", L"");
  }
  WriteVlan(wanted.object.Get(), wanted);
  return wanted;
}

HRESULT PutVlan(const WmiClient& wmi, const Vlan& prepared) {
  const bool isNew = prepared.guid.empty();
  // Not with WBEM_FLAG_CREATE_ONLY: an instance without a key is created anyway.
  return wmi.Put(prepared.object, isNew ? WBEM_FLAG_CREATE_OR_UPDATE : WBEM_FLAG_UPDATE_ONLY,
                 (isNew ? L"creating VLAN " : L"changing VLAN ") + Label(prepared));
}

HRESULT RemoveVlan(const WmiClient& wmi, const Vlan& vlan) {
  return wmi.Delete(PathOf(vlan), L"removing VLAN " + Label(vlan));
}

HRESULT CallWithFile(const WmiClient& wmi, const wchar_t* method, const std::wstring& file,
                     const std::function<std::wstring()>& describe) try {
  wmi.Call(kVlanClass, method, {{L"sFileName", file}}, describe);
  return S_OK;
} catch (const ClientError& error) {
  if (SUCCEEDED(error.Code())) throw;
  return error.Code();
}

}  // namespace qvrn
