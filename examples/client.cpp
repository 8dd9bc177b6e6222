// A WMI client in one file: lists Quorvane adapters and VLANs, changes a property, creates and removes a VLAN, and
// reads back what has become of it.
//
//   client list
//   client set ADAPTER PROPERTY NUMBER
//   client add ADAPTER NUMBER NAME
//   client remove GUID
//
// Visual C++:  cl /EHsc /std:c++17 client.cpp wbemuuid.lib
// MinGW:       x86_64-w64-mingw32-g++ -municode -static client.cpp -lwbemuuid -lole32 -loleaut32
//
// Run it in an elevated prompt. The exit status is 0 where it did what it was asked, 1 elsewhere.
#include <windows.h>

#include <comdef.h>
#include <wbemidl.h>
#include <wrl/client.h>

#include <cstdio>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kConfigurationClass[] = L"QvrnEN_NetworkAdapterConfiguration";
constexpr wchar_t kVlanClass[] = L"QvrnEN_VLAN";

void Check(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  char message[160];
  std::snprintf(message, sizeof message, "%s ended with 0x%08lX", what, static_cast<unsigned long>(result));
  throw std::runtime_error(message);
}

using Instance = ComPtr<IWbemClassObject>;

_variant_t Value(const Instance& instance, const wchar_t* property) {
  _variant_t value;
  Check(instance->Get(property, 0, &value, nullptr, nullptr), "Reading a property");
  return value;
}

/// Empty where the property is NULL.
std::wstring Text(const Instance& instance, const wchar_t* property) {
  const _variant_t value = Value(instance, property);
  return value.vt == VT_BSTR ? std::wstring(value.bstrVal) : std::wstring();
}

/// -1 where the property is NULL, as one is that the adapter's driver does not have.
long Number(const Instance& instance, const wchar_t* property) {
  const _variant_t value = Value(instance, property);
  return value.vt == VT_I4 ? value.lVal : -1;
}

void Set(const Instance& instance, const wchar_t* property, _variant_t value) {
  Check(instance->Put(property, 0, &value, 0), "Setting a property");
}

class Namespace {
 public:
  Namespace() {
    ComPtr<IWbemLocator> locator;
    Check(::CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&locator)), "WMI");
    Check(locator->ConnectServer(_bstr_t(L"root\\cimv2"), nullptr, nullptr, nullptr, 0, nullptr, nullptr, &m_services),
          "Connecting to root\\cimv2");
  }

  /// All instances of a class. "Not found" is how the provider tells that there are none.
  std::vector<Instance> List(const wchar_t* className) const {
    std::vector<Instance> instances;
    ComPtr<IEnumWbemClassObject> enumerator;
    const std::wstring query = std::wstring(L"SELECT * FROM ") + className;
    HRESULT result = m_services->ExecQuery(_bstr_t(L"WQL"), _bstr_t(query.c_str()),
                                           WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &enumerator);
    while (result == WBEM_S_NO_ERROR) {
      Instance instance;
      ULONG count = 0;
      result = enumerator->Next(WBEM_INFINITE, 1, &instance, &count);
      if (count == 1) instances.push_back(std::move(instance));
    }
    if (result != static_cast<HRESULT>(WBEM_E_NOT_FOUND)) Check(result, "Listing a class");
    return instances;
  }

  Instance New(const wchar_t* className) const {
    Instance definition;
    Check(m_services->GetObject(_bstr_t(className), 0, nullptr, &definition, nullptr), "Getting a class");
    Instance instance;
    Check(definition->SpawnInstance(0, &instance), "Making an instance");
    return instance;
  }

  /// The status is for messages only: what is there afterwards tells what has happened.
  HRESULT Put(const Instance& instance) const {
    return m_services->PutInstance(instance.Get(), WBEM_FLAG_CREATE_OR_UPDATE, nullptr, nullptr);
  }
  HRESULT Delete(const std::wstring& path) const {
    return m_services->DeleteInstance(_bstr_t(path.c_str()), 0, nullptr, nullptr);
  }

 private:
  ComPtr<IWbemServices> m_services;
};

void PrintVlan(const char* before, const Instance& vlan) {
  std::printf("%s%ls/%ld \"%ls\" %ls\n", before, Text(vlan, L"ParentDeviceID").c_str(), Number(vlan, L"VLANNumber"),
              Text(vlan, L"VLANName").c_str(), Text(vlan, L"Name").c_str());
}

void List(const Namespace& wmi) {
  for (const Instance& adapter : wmi.List(kConfigurationClass)) {
    std::printf("adapter %ls: MaxFrameSize %ld\n", Text(adapter, L"SettingID").c_str(),
                Number(adapter, L"MaxFrameSize"));
  }
  for (const Instance& vlan : wmi.List(kVlanClass)) PrintVlan("VLAN ", vlan);
}

Instance FindAdapter(const Namespace& wmi, const std::wstring& id) {
  for (Instance& adapter : wmi.List(kConfigurationClass)) {
    if (Text(adapter, L"SettingID") == id) return std::move(adapter);
  }
  throw std::runtime_error("There is no such adapter, or the prompt is not elevated");
}

// A put of properties that was applied ends with "not found"; a value that the driver does not take is ignored.
void SetProperty(const Namespace& wmi, const std::wstring& id, const wchar_t* property, long wanted) {
  const Instance adapter = FindAdapter(wmi, id);
  Set(adapter, property, wanted);
  const HRESULT status = wmi.Put(adapter);
  const long now = Number(FindAdapter(wmi, id), property);
  if (now == wanted) {
    std::printf("%ls is %ld\n", property, now);
    return;
  }
  char message[120];
  std::snprintf(message, sizeof message, "The property is still %ld (status 0x%08lX)", now,
                static_cast<unsigned long>(status));
  throw std::runtime_error(message);
}

// A put that creates nothing, because name or number is taken, succeeds.
void AddVlan(const Namespace& wmi, const std::wstring& id, long number, const wchar_t* name) {
  for (const Instance& vlan : wmi.List(kVlanClass)) {
    if (Text(vlan, L"ParentDeviceID") == id && Number(vlan, L"VLANNumber") == number) {
      throw std::runtime_error("The adapter has a VLAN with this number");
    }
  }
  const Instance wanted = wmi.New(kVlanClass);
  Set(wanted, L"Name", L"");  // an empty key creates
  Set(wanted, L"ParentDeviceID", id.c_str());
  Set(wanted, L"VLANName", name);
  Set(wanted, L"VLANNumber", number);
  Set(wanted, L"VLANPriority", 0L);
  wmi.Put(wanted);
  for (const Instance& vlan : wmi.List(kVlanClass)) {
    if (Text(vlan, L"ParentDeviceID") != id || Number(vlan, L"VLANNumber") != number) continue;
    return PrintVlan("created ", vlan);
  }
  throw std::runtime_error("The VLAN was not created");
}

// A delete that failed succeeds, too.
void RemoveVlan(const Namespace& wmi, const std::wstring& guid) {
  const HRESULT status = wmi.Delete(std::wstring(kVlanClass) + L".Name=\"" + guid + L"\"");
  for (const Instance& vlan : wmi.List(kVlanClass)) {
    if (Text(vlan, L"Name") == guid) throw std::runtime_error("The VLAN was not removed");
  }
  Check(status, "Removing");  // there was none
  std::printf("removed %ls\n", guid.c_str());
}

bool Run(const std::vector<std::wstring>& words) {
  const std::wstring command = words.empty() ? L"" : words[0];
  if (command == L"list" && words.size() == 1) {
    List(Namespace());
  } else if (command == L"set" && words.size() == 4) {
    SetProperty(Namespace(), words[1], words[2].c_str(), std::wcstol(words[3].c_str(), nullptr, 10));
  } else if (command == L"add" && words.size() == 4) {
    AddVlan(Namespace(), words[1], std::wcstol(words[2].c_str(), nullptr, 10), words[3].c_str());
  } else if (command == L"remove" && words.size() == 2) {
    RemoveVlan(Namespace(), words[1]);
  } else {
    return false;
  }
  return true;
}

}  // namespace

int wmain(int count, wchar_t** words) {
  try {
    Check(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), "COM");
    // Lets the provider act in this program's name. At a lower level it refuses.
    Check(::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE,
                                 nullptr, EOAC_NONE, nullptr),
          "Setting the program's security");
    if (Run({words + 1, words + count})) return 0;
    std::fputs("usage: client list | set ADAPTER PROPERTY NUMBER | add ADAPTER NUMBER NAME | remove GUID\n", stderr);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "client: %s\n", error.what());
  } catch (const _com_error& error) {
    std::fprintf(stderr, "client: 0x%08lX\n", static_cast<unsigned long>(error.Error()));
  }
  return 1;
}
