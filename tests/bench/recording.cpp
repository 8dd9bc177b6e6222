#include "tests/bench/recording.h"

#include <winsock2.h>

#include <iphlpapi.h>
#include <netcfgx.h>
#include <objbase.h>

#include <algorithm>
#include <future>
#include <stdexcept>
#include <utility>

#include "lab/journal.h"
#include "lab/labkey.h"
#include "platform/registrykey.h"
#include "tests/bench/live.h"
#include "tests/bench/networkcalls.h"

namespace bench {
namespace {

constexpr wchar_t kRecorded[] = L"bench";
constexpr wchar_t kJournal[] = L"C:\\qvrn-journal.txt";

// What the replaced imports saw. One request runs at a time.
Recording g_calls;

// Keeps a call; a line in the lab's journal holds its place among the calls on the network configuration.
LONG Keep(const wchar_t* name, LONG result, std::function<LONG(Live&)> again) {
  lab::Record(kRecorded, std::to_wstring(g_calls.size()));
  g_calls.push_back({name, result, std::move(again)});
  return result;
}

// --- Replacements: each makes the call and keeps it ----------------------------------------------------------------

// A null name of a key or value is the same to the registry as an empty one.
std::wstring Copy(const wchar_t* text) { return text == nullptr ? L"" : text; }

LSTATUS WINAPI OpenKey(HKEY parent, const wchar_t* path, DWORD options, REGSAM access, HKEY* key) {
  const LSTATUS status = ::RegOpenKeyExW(parent, path, options, access, key);
  return Keep(L"RegOpenKeyExW", status, [=, path = Copy(path), opened = *key](Live& live) {
    return ::RegOpenKeyExW(live.Key(parent), path.c_str(), options, access, live.Opened(opened));
  });
}

LSTATUS WINAPI CreateKey(HKEY parent, const wchar_t* path, DWORD, wchar_t*, DWORD options, REGSAM access,
                         SECURITY_ATTRIBUTES*, HKEY* key, DWORD* disposition) {
  const LSTATUS status = ::RegCreateKeyExW(parent, path, 0, nullptr, options, access, nullptr, key, disposition);
  return Keep(L"RegCreateKeyExW", status, [=, path = Copy(path), opened = *key](Live& live) {
    return ::RegCreateKeyExW(live.Key(parent), path.c_str(), 0, nullptr, options, access, nullptr, live.Opened(opened),
                             nullptr);
  });
}

LSTATUS WINAPI CloseKey(HKEY key) {
  return Keep(L"RegCloseKey", ::RegCloseKey(key), [=](Live& live) { return live.Close(key); });
}

LSTATUS WINAPI QueryInfo(HKEY key, wchar_t*, DWORD*, DWORD*, DWORD* subkeys, DWORD*, DWORD*, DWORD* values, DWORD*,
                         DWORD*, DWORD*, FILETIME*) {
  const auto query = [asksKeys = subkeys != nullptr](HKEY asked, DWORD* keyCount, DWORD* valueCount) {
    return ::RegQueryInfoKeyW(asked, nullptr, nullptr, nullptr, asksKeys ? keyCount : nullptr, nullptr, nullptr,
                              asksKeys ? nullptr : valueCount, nullptr, nullptr, nullptr, nullptr);
  };
  return Keep(L"RegQueryInfoKeyW", query(key, subkeys, values), [=](Live& live) {
    DWORD count = 0;
    return query(live.Key(key), &count, &count);
  });
}

LSTATUS WINAPI EnumKey(HKEY key, DWORD index, wchar_t* name, DWORD* chars, DWORD*, wchar_t*, DWORD*, FILETIME*) {
  const DWORD room = *chars;
  const LSTATUS status = ::RegEnumKeyExW(key, index, name, chars, nullptr, nullptr, nullptr, nullptr);
  return Keep(L"RegEnumKeyExW", status, [=](Live& live) {
    DWORD length = room;
    auto* const text = reinterpret_cast<wchar_t*>(live.Room(room * sizeof(wchar_t)));
    return ::RegEnumKeyExW(live.Key(key), index, text, &length, nullptr, nullptr, nullptr, nullptr);
  });
}

LSTATUS WINAPI EnumValue(HKEY key, DWORD index, wchar_t* name, DWORD* chars, DWORD*, DWORD* type, BYTE* data,
                         DWORD* bytes) {
  const DWORD nameRoom = *chars;
  const DWORD dataRoom = *bytes;
  const LSTATUS status = ::RegEnumValueW(key, index, name, chars, nullptr, type, data, bytes);
  return Keep(L"RegEnumValueW", status, [=](Live& live) {
    DWORD nameChars = nameRoom;
    DWORD dataBytes = dataRoom;
    BYTE* const room = live.Room(dataRoom + nameRoom * sizeof(wchar_t));
    return ::RegEnumValueW(live.Key(key), index, reinterpret_cast<wchar_t*>(room), &nameChars, nullptr, nullptr,
                           room + nameRoom * sizeof(wchar_t), &dataBytes);
  });
}

LSTATUS WINAPI QueryValue(HKEY key, const wchar_t* name, DWORD*, DWORD* type, BYTE* data, DWORD* bytes) {
  const DWORD room = *bytes;
  const LSTATUS status = ::RegQueryValueExW(key, name, nullptr, type, data, bytes);
  return Keep(L"RegQueryValueExW", status, [=, name = Copy(name), asksData = data != nullptr](Live& live) {
    DWORD size = room;
    BYTE* const buffer = asksData ? live.Room(room) : nullptr;
    return ::RegQueryValueExW(live.Key(key), name.c_str(), nullptr, nullptr, buffer, &size);
  });
}

LSTATUS WINAPI SetValue(HKEY key, const wchar_t* name, DWORD, DWORD type, const BYTE* data, DWORD bytes) {
  const LSTATUS status = ::RegSetValueExW(key, name, 0, type, data, bytes);
  return Keep(L"RegSetValueExW", status,
              [=, name = Copy(name), copy = std::vector<BYTE>(data, data + bytes)](Live& live) {
                return ::RegSetValueExW(live.Key(key), name.c_str(), 0, type, copy.data(), bytes);
              });
}

LSTATUS WINAPI DeleteValue(HKEY key, const wchar_t* name) {
  return Keep(L"RegDeleteValueW", ::RegDeleteValueW(key, name),
              [=, name = Copy(name)](Live& live) { return ::RegDeleteValueW(live.Key(key), name.c_str()); });
}

LSTATUS WINAPI DeleteKey(HKEY key, const wchar_t* name) {
  return Keep(L"RegDeleteKeyW", ::RegDeleteKeyW(key, name),
              [=, name = Copy(name)](Live& live) { return ::RegDeleteKeyW(live.Key(key), name.c_str()); });
}

HRESULT WINAPI CreateObject(REFCLSID classId, IUnknown* outer, DWORD context, REFIID id, void** object) {
  const HRESULT hr = ::CoCreateInstance(classId, outer, context, id, object);
  if (classId != CLSID_CNetCfg) return hr;
  return Keep(L"CoCreateInstance", hr, [](Live& live) { return live.CreateNetCfg(); });
}

ULONG WINAPI GetAddresses(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* addresses, ULONG* bytes) {
  const ULONG room = *bytes;
  const ULONG status = ::GetAdaptersAddresses(family, flags, nullptr, addresses, bytes);
  return static_cast<ULONG>(Keep(L"GetAdaptersAddresses", static_cast<LONG>(status), [=](Live& live) {
    ULONG size = room;
    auto* const buffer = room == 0 ? nullptr : reinterpret_cast<IP_ADAPTER_ADDRESSES*>(live.Room(room));
    return static_cast<LONG>(::GetAdaptersAddresses(family, flags, nullptr, buffer, &size));
  }));
}

void WINAPI WriteDebugText(const wchar_t* text) {
  Keep(L"OutputDebugStringW", ERROR_SUCCESS, [text = Copy(text)](Live&) {
    ::OutputDebugStringW(text.c_str());
    return ERROR_SUCCESS;
  });
}

// --- Imports -------------------------------------------------------------------------------------------------------

struct Replacement {
  std::string_view function;
  void* with;
};

const Replacement kReplacements[] = {
    {"RegOpenKeyExW", reinterpret_cast<void*>(&OpenKey)},        //
    {"RegCreateKeyExW", reinterpret_cast<void*>(&CreateKey)},    //
    {"RegCloseKey", reinterpret_cast<void*>(&CloseKey)},         //
    {"RegQueryInfoKeyW", reinterpret_cast<void*>(&QueryInfo)},   //
    {"RegEnumKeyExW", reinterpret_cast<void*>(&EnumKey)},        //
    {"RegEnumValueW", reinterpret_cast<void*>(&EnumValue)},      //
    {"RegQueryValueExW", reinterpret_cast<void*>(&QueryValue)},  //
    {"RegSetValueExW", reinterpret_cast<void*>(&SetValue)},      //
    {"RegDeleteValueW", reinterpret_cast<void*>(&DeleteValue)},  //
    {"RegDeleteKeyW", reinterpret_cast<void*>(&DeleteKey)},      //
    {"CoCreateInstance", reinterpret_cast<void*>(&CreateObject)},
    {"GetAdaptersAddresses", reinterpret_cast<void*>(&GetAddresses)},
    {"OutputDebugStringW", reinterpret_cast<void*>(&WriteDebugText)},
};

void* FindReplacement(std::string_view function) {
  for (const Replacement& replacement : kReplacements) {
    if (replacement.function == function) return replacement.with;
  }
  if (!function.starts_with("Reg")) return nullptr;
  throw std::runtime_error("the provider calls what this does not record: " + std::string(function));
}

/// The provider's imports, replaced while this lives.
class ReplacedImports {
 public:
  ReplacedImports() : m_base(reinterpret_cast<BYTE*>(::GetModuleHandleW(L"qvrnwmiprovider.dll"))) {
    if (m_base == nullptr) throw std::runtime_error("the provider is not loaded");
    const auto* const headers = At<IMAGE_NT_HEADERS>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* module = At<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress); module->Name != 0; ++module) {
      ReplaceImportsFrom(*module);
    }
  }
  ReplacedImports(const ReplacedImports&) = delete;
  ReplacedImports& operator=(const ReplacedImports&) = delete;
  ~ReplacedImports() {
    for (const auto& [slot, function] : m_before) Write(slot, function);
  }

 private:
  template <typename Type>
  Type* At(ULONGLONG offset) const {
    return reinterpret_cast<Type*>(m_base + offset);
  }

  static void Write(ULONGLONG* slot, ULONGLONG function) {
    DWORD protection = 0;
    ::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    *slot = function;
    ::VirtualProtect(slot, sizeof *slot, protection, &protection);
  }

  void ReplaceImportsFrom(const IMAGE_IMPORT_DESCRIPTOR& module) {
    const auto* name = At<IMAGE_THUNK_DATA>(module.OriginalFirstThunk);
    auto* slot = At<IMAGE_THUNK_DATA>(module.FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      void* const with = FindReplacement(At<IMAGE_IMPORT_BY_NAME>(name->u1.AddressOfData)->Name);
      if (with == nullptr) continue;
      m_before.emplace_back(&slot->u1.Function, slot->u1.Function);
      Write(&slot->u1.Function, reinterpret_cast<ULONGLONG>(with));
    }
  }

  BYTE* m_base;
  std::vector<std::pair<ULONGLONG*, ULONGLONG>> m_before;
};

// The kept calls and those of the journal, in the journal's order.
Recording TakeCalls() {
  Recording recording;
  for (const std::wstring& event : lab::Recorded()) {
    const std::size_t tab = event.find(L'\t');
    const std::wstring kind = event.substr(0, tab);
    const std::wstring text = event.substr(tab + 1);
    if (kind == kRecorded) recording.push_back(std::move(g_calls.at(std::stoul(text))));
    if (kind == lab::kNetworkCall) recording.push_back(NetworkCall(text));
  }
  g_calls.clear();
  return recording;
}

}  // namespace

Recording Record(const std::function<void()>& request) {
  SwitchJournal(true);
  lab::ClearJournal();
  {
    const ReplacedImports replaced;
    request();
  }
  Recording recording = TakeCalls();
  lab::ClearJournal();
  SwitchJournal(false);
  return recording;
}

void Replay(const Recording& recording) {
  const auto replay = [&recording] {
    Live live;
    for (const Call& call : recording) {
      if (call.again(live) == call.result) continue;
      throw std::runtime_error("not the same result again: " + std::string(call.name.begin(), call.name.end()));
    }
  };
  std::async(std::launch::async, replay).get();
}

std::size_t Count(const Recording& recording, std::wstring_view start) {
  return static_cast<std::size_t>(std::count_if(recording.begin(), recording.end(),
                                                [start](const Call& call) { return call.name.starts_with(start); }));
}

void SwitchJournal(bool on) {
  qvrn::RegistryKey key;
  key.Create(HKEY_LOCAL_MACHINE, lab::kLabKey, KEY_WRITE);
  key.WriteText(L"Journal", on ? kJournal : L"");
}

}  // namespace bench
