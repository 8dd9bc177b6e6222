#include "bench/recording.h"

#include <winsock2.h>

#include <iphlpapi.h>
#include <objbase.h>
#include <setupapi.h>

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <future>
#include <map>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "lab/host/importpatch.h"
#include "lab/journal.h"
#include "lab/labkey.h"
#include "platform/registrykey.h"

namespace bench {
namespace {

constexpr wchar_t kRecorded[] = L"bench";
constexpr std::size_t kRoomBytes = 65536;

// What the replaced imports saw. One request runs at a time.
Recording g_calls;
// What a key that is open is known by: the call that opened it.
std::map<HKEY, std::wstring> g_keys;

std::string NameOf(const void* replacement);

// Keeps a call; a line in the lab's journal holds its place among the calls on the network configuration.
void Keep(const void* replacement, const std::wstring& arguments, LONG result, std::function<LONG(Live&)> again) {
  lab::Record(kRecorded, std::to_wstring(g_calls.size()));
  g_calls.push_back({NameOf(replacement), arguments, result, std::move(again)});
}

// --- Arguments: what is kept of one, what is given again, and what tells it from another ----------------------------

template <typename Type>
struct Argument {
  Type value;
  Type Again(Live&) const { return value; }
  std::wstring Text() const { return std::to_wstring(value); }
};

/// What goes in no further than the call, or comes out; room for what nobody looks at.
template <typename Type>
struct Argument<Type*> {
  Type* given;
  Type* Again(Live&) const {
    alignas(Type*) static std::array<BYTE, kRoomBytes> room;
    return given == nullptr ? nullptr : reinterpret_cast<Type*>(room.data());
  }
  std::wstring Text() const { return {}; }
};

template <>
struct Argument<const wchar_t*> {
  explicit Argument(const wchar_t* given) : isNull(given == nullptr), text(isNull ? L"" : given) {}
  bool isNull;
  std::wstring text;
  const wchar_t* Again(Live&) const { return isNull ? nullptr : text.c_str(); }
  std::wstring Text() const { return text; }
};

/// A size that the call changes, or a number that it gives.
template <>
struct Argument<DWORD*> {
  explicit Argument(DWORD* given) : isWanted(given != nullptr), before(isWanted ? *given : 0) {}
  bool isWanted;
  DWORD before;
  mutable DWORD after = 0;
  DWORD* Again(Live&) const {
    after = before;
    return isWanted ? &after : nullptr;
  }
  std::wstring Text() const { return {}; }
};

template <>
struct Argument<HKEY> {
  HKEY key;
  HKEY Again(Live& live) const { return live.Key(key); }
  std::wstring Text() const {
    const auto known = g_keys.find(key);
    return known == g_keys.end() ? std::to_wstring(reinterpret_cast<std::uintptr_t>(key)) : known->second;
  }
};

template <>
struct Argument<HKEY*> {
  HKEY* given;
  HKEY opened = nullptr;
  HKEY* Again(Live& live) const { return live.Opened(opened); }
  std::wstring Text() const { return {}; }
};

/// An INF file or a set of devices.
template <>
struct Argument<void*> {
  void* handle;
  void* Again(Live& live) const { return handle == nullptr ? nullptr : live.handles[handle]; }
  std::wstring Text() const { return {}; }
};

template <>
struct Argument<INFCONTEXT*> {
  INFCONTEXT* given;
  INFCONTEXT* Again(Live& live) const { return &live.line; }
  std::wstring Text() const { return {}; }
};

template <>
struct Argument<SP_DEVINFO_DATA*> {
  SP_DEVINFO_DATA* given;
  SP_DEVINFO_DATA* Again(Live& live) const { return given == nullptr ? nullptr : &live.device; }
  std::wstring Text() const { return {}; }
};

template <>
struct Argument<SP_DEVINFO_LIST_DETAIL_DATA_W*> {
  SP_DEVINFO_LIST_DETAIL_DATA_W* given;
  SP_DEVINFO_LIST_DETAIL_DATA_W* Again(Live& live) const { return &live.detail; }
  std::wstring Text() const { return {}; }
};

// What an argument can tell only after the call.
void Settle(Argument<HKEY*>& argument, const std::wstring& call) {
  argument.opened = *argument.given;
  g_keys[argument.opened] = call;
}
template <typename Type>
void Settle(Argument<Type>&, const std::wstring&) {}

// --- Replacements: each makes the call and keeps it ----------------------------------------------------------------

template <typename Function>
void* Address(Function function) {
  return reinterpret_cast<void*>(function);
}

LONG Number(void* handle) { return handle != INVALID_HANDLE_VALUE ? 1 : 0; }
template <typename Result>
LONG Number(Result result) {
  return static_cast<LONG>(result);
}

template <auto Function>
struct Recorder;
template <typename Result, typename... Types, Result(WINAPI* Function)(Types...)>
struct Recorder<Function> {
  /// What the provider calls when nobody records: the platform's function, or the lab's.
  static inline Result(WINAPI* before)(Types...) = nullptr;

  static Result WINAPI Call(Types... given) {
    std::tuple<Argument<Types>...> arguments(Argument<Types>{given}...);
    std::wstring text;
    std::apply([&text](const auto&... argument) { ((text += L',' + argument.Text()), ...); }, arguments);
    if constexpr (std::is_void_v<Result>) {
      before(given...);
      Keep(Address(&Call), text, 0, [arguments](Live& live) {
        std::apply([&live](const auto&... argument) { before(argument.Again(live)...); }, arguments);
        return 0;
      });
    } else {
      const Result result = before(given...);
      std::apply([&text](auto&... argument) { (Settle(argument, text), ...); }, arguments);
      Keep(Address(&Call), text, Number(result), [arguments, result](Live& live) {
        const auto call = [&live](const auto&... argument) { return before(argument.Again(live)...); };
        const Result again = std::apply(call, arguments);
        if constexpr (std::is_pointer_v<Result>) {
          live.handles[result] = again;
        } else {
          static_cast<void>(result);
        }
        return Number(again);
      });
      return result;
    }
  }
};

// The data is gone when the call is made again.
LSTATUS WINAPI SetValue(HKEY key, const wchar_t* name, DWORD, DWORD type, const BYTE* data, DWORD bytes) {
  const auto set = [=, name = std::wstring(name), copy = std::vector<BYTE>(data, data + bytes)](HKEY opened) {
    return ::RegSetValueExW(opened, name.c_str(), 0, type, copy.data(), bytes);
  };
  const LSTATUS status = set(key);
  Keep(Address(&SetValue), Argument<HKEY>{key}.Text() + L',' + name, status,
       [=](Live& live) { return set(live.Key(key)); });
  return status;
}

HRESULT WINAPI CreateObject(REFCLSID classId, IUnknown* outer, DWORD context, REFIID id, void** object) {
  const HRESULT hr = ::CoCreateInstance(classId, outer, context, id, object);
  if (classId == CLSID_CNetCfg) Keep(Address(&CreateObject), {}, hr, [](Live& live) { return live.CreateNetCfg(); });
  return hr;
}

int(__cdecl* g_print)(const char* format, va_list arguments) = nullptr;

int PrintText(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = g_print(format, arguments);
  va_end(arguments);
  return length;
}

// The runtime's own formatting, as the lab's.
int __cdecl Print(const char* format, va_list arguments) {
  std::array<char, kRoomBytes> text = {};
  ::_vsnprintf(text.data(), text.size() - 1, format, arguments);
  const std::string printed = text.data();
  const int length = PrintText("%s", printed.c_str());
  Keep(Address(&Print), std::wstring(printed.begin(), printed.end()), length,
       [printed](Live&) { return PrintText("%s", printed.c_str()); });
  return length;
}

LONG WINAPI WriteDebugText(const wchar_t* text) {
  ::OutputDebugStringW(text);
  return ERROR_SUCCESS;
}

// --- Imports -------------------------------------------------------------------------------------------------------

struct Replacement {
  std::string_view function;
  void* with;
  void** before;  ///< where what it replaces goes; null when that is of no interest
};

template <auto Function>
Replacement Row(std::string_view function) {
  return {function, Address(&Recorder<Function>::Call), reinterpret_cast<void**>(&Recorder<Function>::before)};
}

const Replacement kReplacements[] = {
    Row<&::RegOpenKeyExW>("RegOpenKeyExW"),
    Row<&::RegCreateKeyExW>("RegCreateKeyExW"),
    Row<&::RegCloseKey>("RegCloseKey"),
    Row<&::RegQueryInfoKeyW>("RegQueryInfoKeyW"),
    Row<&::RegEnumKeyExW>("RegEnumKeyExW"),
    Row<&::RegEnumValueW>("RegEnumValueW"),
    Row<&::RegQueryValueExW>("RegQueryValueExW"),
    Row<&::RegDeleteValueW>("RegDeleteValueW"),
    Row<&::RegDeleteKeyW>("RegDeleteKeyW"),
    Row<&::GetAdaptersAddresses>("GetAdaptersAddresses"),
    Row<&::SetupOpenInfFileW>("SetupOpenInfFileW"),
    Row<&::SetupCloseInfFile>("SetupCloseInfFile"),
    Row<&::SetupFindFirstLineW>("SetupFindFirstLineW"),
    Row<&::SetupGetStringFieldW>("SetupGetStringFieldW"),
    Row<&::SetupCopyOEMInfW>("SetupCopyOEMInfW"),
    Row<&::SetupDiCreateDeviceInfoListExW>("SetupDiCreateDeviceInfoListExW"),
    Row<&::SetupDiDestroyDeviceInfoList>("SetupDiDestroyDeviceInfoList"),
    Row<&::SetupDiOpenDeviceInfoW>("SetupDiOpenDeviceInfoW"),
    Row<&::SetupDiGetDeviceInfoListDetailW>("SetupDiGetDeviceInfoListDetailW"),
    Row<&::SetupDiEnumDeviceInfo>("SetupDiEnumDeviceInfo"),
    Row<&::SetupDiSetClassInstallParamsW>("SetupDiSetClassInstallParamsW"),
    Row<&::SetupDiCallClassInstaller>("SetupDiCallClassInstaller"),
    Row<&WriteDebugText>("OutputDebugStringW"),
    {"RegSetValueExW", Address(&SetValue), nullptr},
    {"CoCreateInstance", Address(&CreateObject), nullptr},
    {"vprintf", Address(&Print), reinterpret_cast<void**>(&g_print)},
};

std::string NameOf(const void* replacement) {
  for (const Replacement& candidate : kReplacements) {
    if (candidate.with == replacement) return std::string(candidate.function);
  }
  return {};
}

const Replacement* FindReplacement(std::string_view function) {
  for (const Replacement& candidate : kReplacements) {
    if (candidate.function == function) return &candidate;
  }
  const bool isRegistry = function.starts_with("Reg") && function != "RegisterEventSourceW";
  if (!isRegistry && !function.starts_with("Setup")) return nullptr;
  throw std::runtime_error("the provider calls what this does not record: " + std::string(function));
}

/// The provider's imports, replaced while this lives.
class ReplacedImports {
 public:
  ReplacedImports() : m_provider(::GetModuleHandleW(L"qvrnwmiprovider.dll")) {
    if (m_provider == nullptr) throw std::runtime_error("the provider is not loaded");
    for (const std::string& function : lab::ImportedFunctions(m_provider)) {
      const Replacement* const found = FindReplacement(function);
      if (found == nullptr) continue;
      void* const before = lab::PatchImport(m_provider, function, found->with);
      m_before.emplace_back(function, before);
      if (found->before != nullptr) *found->before = before;
    }
  }
  ReplacedImports(const ReplacedImports&) = delete;
  ReplacedImports& operator=(const ReplacedImports&) = delete;
  ~ReplacedImports() {
    for (const auto& [function, original] : m_before) lab::PatchImport(m_provider, function, original);
  }

 private:
  HMODULE m_provider;
  std::vector<std::pair<std::string, void*>> m_before;
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
  g_keys.clear();
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
      if (call.again(live) != call.result) throw std::runtime_error("not the same result again: " + call.name);
    }
  };
  std::async(std::launch::async, replay).get();
}

void SwitchJournal(bool on) {
  qvrn::RegistryKey key;
  key.Create(HKEY_LOCAL_MACHINE, lab::kLabKey, KEY_WRITE);
  if (on) {
    key.DeleteValue(L"Journal");
  } else {
    key.WriteText(L"Journal", L"");
  }
}

}  // namespace bench
