#include "bench/recording.h"

#include <winsock2.h>

#include <iphlpapi.h>
#include <objbase.h>

#include <array>
#include <future>
#include <stdexcept>
#include <string_view>
#include <tuple>
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

std::string NameOf(const void* replacement);

// Keeps a call; a line in the lab's journal holds its place among the calls on the network configuration.
LONG Keep(const void* replacement, LONG result, std::function<LONG(Live&)> again) {
  lab::Record(kRecorded, std::to_wstring(g_calls.size()));
  g_calls.push_back({NameOf(replacement), result, std::move(again)});
  return result;
}

// --- Arguments: what is kept of one, and what is given again -------------------------------------------------------

template <typename Type>
struct Argument {
  Type value;
  Type Again(Live&) const { return value; }
};

/// Room for what nobody looks at.
template <typename Type>
struct Argument<Type*> {
  Type* given;
  Type* Again(Live&) const {
    alignas(Type*) static std::array<BYTE, kRoomBytes> room;
    return given == nullptr ? nullptr : reinterpret_cast<Type*>(room.data());
  }
};

/// A name or text; to the registry none is the same as an empty one.
template <>
struct Argument<const wchar_t*> {
  explicit Argument(const wchar_t* given) : text(given == nullptr ? L"" : given) {}
  std::wstring text;
  const wchar_t* Again(Live&) const { return text.c_str(); }
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
};

template <>
struct Argument<HKEY> {
  HKEY key;
  HKEY Again(Live& live) const { return live.Key(key); }
};

template <>
struct Argument<HKEY*> {
  HKEY* given;
  HKEY opened = nullptr;
  HKEY* Again(Live& live) const { return live.Opened(opened); }
};

// What an argument can tell only after the call.
void Settle(Argument<HKEY*>& argument) { argument.opened = *argument.given; }
template <typename Type>
void Settle(Argument<Type>&) {}

// --- Replacements: each makes the call and keeps it ----------------------------------------------------------------

template <typename Function>
void* Address(Function function) {
  return reinterpret_cast<void*>(function);
}

template <auto Function>
struct Recorder;
template <typename Result, typename... Types, Result(WINAPI* Function)(Types...)>
struct Recorder<Function> {
  static Result WINAPI Call(Types... given) {
    std::tuple<Argument<Types>...> arguments(Argument<Types>{given}...);
    const Result result = Function(given...);
    std::apply([](auto&... argument) { (Settle(argument), ...); }, arguments);
    Keep(Address(&Call), static_cast<LONG>(result), [arguments](Live& live) {
      const auto call = [&live](const auto&... argument) { return Function(argument.Again(live)...); };
      return static_cast<LONG>(std::apply(call, arguments));
    });
    return result;
  }
};

// The data is gone when the call is made again.
LSTATUS WINAPI SetValue(HKEY key, const wchar_t* name, DWORD, DWORD type, const BYTE* data, DWORD bytes) {
  const auto set = [=, name = std::wstring(name), copy = std::vector<BYTE>(data, data + bytes)](HKEY opened) {
    return ::RegSetValueExW(opened, name.c_str(), 0, type, copy.data(), bytes);
  };
  return Keep(Address(&SetValue), set(key), [=](Live& live) { return set(live.Key(key)); });
}

HRESULT WINAPI CreateObject(REFCLSID classId, IUnknown* outer, DWORD context, REFIID id, void** object) {
  const HRESULT hr = ::CoCreateInstance(classId, outer, context, id, object);
  if (classId != CLSID_CNetCfg) return hr;
  return Keep(Address(&CreateObject), hr, [](Live& live) { return live.CreateNetCfg(); });
}

LONG WINAPI WriteDebugText(const wchar_t* text) {
  ::OutputDebugStringW(text);
  return ERROR_SUCCESS;
}

// --- Imports -------------------------------------------------------------------------------------------------------

struct Replacement {
  std::string_view function;
  void* with;
};

const Replacement kReplacements[] = {
    {"RegOpenKeyExW", Address(&Recorder<&::RegOpenKeyExW>::Call)},
    {"RegCreateKeyExW", Address(&Recorder<&::RegCreateKeyExW>::Call)},
    {"RegCloseKey", Address(&Recorder<&::RegCloseKey>::Call)},
    {"RegQueryInfoKeyW", Address(&Recorder<&::RegQueryInfoKeyW>::Call)},
    {"RegEnumKeyExW", Address(&Recorder<&::RegEnumKeyExW>::Call)},
    {"RegEnumValueW", Address(&Recorder<&::RegEnumValueW>::Call)},
    {"RegQueryValueExW", Address(&Recorder<&::RegQueryValueExW>::Call)},
    {"RegSetValueExW", Address(&SetValue)},
    {"RegDeleteValueW", Address(&Recorder<&::RegDeleteValueW>::Call)},
    {"RegDeleteKeyW", Address(&Recorder<&::RegDeleteKeyW>::Call)},
    {"CoCreateInstance", Address(&CreateObject)},
    {"GetAdaptersAddresses", Address(&Recorder<&::GetAdaptersAddresses>::Call)},
    {"OutputDebugStringW", Address(&Recorder<&WriteDebugText>::Call)},
};

std::string NameOf(const void* replacement) {
  for (const Replacement& candidate : kReplacements) {
    if (candidate.with == replacement) return std::string(candidate.function);
  }
  return {};
}

void* FindReplacement(std::string_view function) {
  for (const Replacement& candidate : kReplacements) {
    if (candidate.function == function) return candidate.with;
  }
  if (!function.starts_with("Reg")) return nullptr;
  throw std::runtime_error("the provider calls what this does not record: " + std::string(function));
}

/// The provider's imports, replaced while this lives.
class ReplacedImports {
 public:
  ReplacedImports() : m_provider(::GetModuleHandleW(L"qvrnwmiprovider.dll")) {
    if (m_provider == nullptr) throw std::runtime_error("the provider is not loaded");
    for (const std::string& function : lab::ImportedFunctions(m_provider)) {
      void* const with = FindReplacement(function);
      if (with != nullptr) m_before.emplace_back(function, lab::PatchImport(m_provider, function, with));
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
