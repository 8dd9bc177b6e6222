#include "tests/scenario/platformcalls.h"

#include <windows.h>
#include <winsock2.h>

#include <iphlpapi.h>
#include <netcfgx.h>
#include <objbase.h>
#include <oleauto.h>
#include <setupapi.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

#include "lab/netcfg/netcfg.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"

namespace scenario {
namespace {

template <std::size_t Size>
struct Text {
  char value[Size];
  constexpr Text(const char (&text)[Size]) { std::copy_n(text, Size, value); }  // NOLINT(google-explicit-constructor)
};

// --- Arguments as text ---------------------------------------------------------------------------------------------

void Append(std::string& list, const std::string& argument) { list += (list.empty() ? "" : ", ") + argument; }

void Describe(std::string& list, const wchar_t* text) { Append(list, Quoted(text)); }
void Describe(std::string& list, REFGUID guid) { Append(list, GuidName(guid)); }
// A size that the call may change: what it is before.
void Describe(std::string& list, DWORD* number) {
  if (number != nullptr) Append(list, std::to_string(*number));
}
template <typename Type>
void Describe(std::string& list, Type argument) {
  if constexpr (std::is_same_v<Type, const SP_CLASSINSTALL_HEADER*> || std::is_same_v<Type, SP_CLASSINSTALL_HEADER*>) {
    const auto* change = reinterpret_cast<const SP_PROPCHANGE_PARAMS*>(argument);
    for (const DWORD number :
         {argument->cbSize, DWORD{argument->InstallFunction}, change->StateChange, change->Scope, change->HwProfile})
      Append(list, std::to_string(number));
  } else if constexpr (std::is_integral_v<Type> || std::is_enum_v<Type>) {
    const auto number = static_cast<std::uint32_t>(argument);
    Append(list, number < 4096 ? std::to_string(number) : Hex(number));
  } else if constexpr (std::is_same_v<Type, const GUID*>) {
    Append(list, argument == nullptr ? "(null)" : GuidName(*argument));
  }
}

// --- Calls ---------------------------------------------------------------------------------------------------------

// How a function says that it failed: one that allocates gives null where one that opens gives no handle.
template <typename Result>
Result Failed(std::uint32_t code, bool allocates = false) {
  ::SetLastError(code);
  if constexpr (std::is_void_v<Result>) {
    return;
  } else if constexpr (std::is_same_v<Result, HANDLE>) {
    return allocates ? nullptr : INVALID_HANDLE_VALUE;
  } else if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else if constexpr (std::is_same_v<Result, BOOL>) {
    return FALSE;
  } else {
    return static_cast<Result>(code);
  }
}

template <typename Result>
std::string ResultText(Result result, DWORD error) {
  if constexpr (std::is_same_v<Result, BOOL>) return result ? "" : " = FALSE " + Hex(error);
  if constexpr (std::is_integral_v<Result> && !std::is_same_v<Result, BOOL>)
    return result == 0 ? "" : " = " + (result > 0 && result < 4096 ? std::to_string(result) : Hex(result));
  return "";
}

// BOOL and HRESULT are of different types (int and long), as are LSTATUS and HRESULT not: their results read alike.
template <Text Kind, Text Name, Text Module, typename Function>
struct Call;
template <Text Kind, Text Name, Text Module, typename Result, typename... Types>
struct Call<Kind, Name, Module, Result(WINAPI*)(Types...)> {
  static Result Real(Types... arguments) {
    static const auto real = reinterpret_cast<Result(WINAPI*)(Types...)>(
        reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryA(Module.value), Name.value)));
    return real(arguments...);
  }
  static Result WINAPI Observe(Types... arguments) {
    if (!IsObserved()) return Real(arguments...);
    const Observation unobserved(false);
    std::string text;
    (Describe(text, arguments), ...);
    text = std::string(Name.value) + "(" + text + ")";
    if (const auto code = FailureOf(Name.value, text)) {
      Note(Kind.value, Name.value, text + " fails");
      return Failed<Result>(*code, std::string_view(Kind.value) == "memory");
    }
    ::SetLastError(0);
    if constexpr (std::is_void_v<Result>) {
      Note(Kind.value, Name.value, text);
      Real(arguments...);
    } else {
      const Result result = Real(arguments...);
      const DWORD error = ::GetLastError();
      Note(Kind.value, Name.value, text + ResultText(result, error));
      ::SetLastError(error);
      return result;
    }
  }
};

// --- Functions with an answer of their own -------------------------------------------------------------------------

void WINAPI WriteTrace(const wchar_t* text) {
  const Observation unobserved(false);
  Note("trace", "", Quoted(text));
}

// Observed code does not really wait.
void WINAPI Pause(DWORD milliseconds) {
  if (!IsObserved()) return Call<"sleep", "Sleep", "kernel32", decltype(&::Sleep)>::Real(milliseconds);
  const Observation unobserved(false);
  Note("sleep", "", std::to_string(milliseconds));
}

int WINAPI ShowBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT style) {
  const Observation unobserved(false);
  Note("box", "", Quoted(caption) + " " + Quoted(text) + " " + Hex(style) + (owner == nullptr ? "" : " with an owner"));
  return IDOK;
}

BOOL WINAPI AnswerUserObject(HANDLE, int, void* information, DWORD, DWORD*) {
  static_cast<USEROBJECTFLAGS*>(information)->dwFlags = ThePlatform().windowStationVisible ? WSF_VISIBLE : 0;
  return TRUE;
}

void WINAPI AnswerSystemInfo(SYSTEM_INFO* information) {
  *information = {};
  information->dwNumberOfProcessors = ThePlatform().processors;
}

// The platform of the test bed has no such function: it answers FALSE with last error 0.
BOOL WINAPI AcceptClassInstallParams(HDEVINFO, SP_DEVINFO_DATA*, SP_CLASSINSTALL_HEADER* header, DWORD size) {
  const Observation unobserved(false);
  std::string text;
  Describe(text, header);
  Describe(text, size);
  const auto code = FailureOf("SetupDiSetClassInstallParamsW", text);
  Note("setup", "SetupDiSetClassInstallParamsW", "SetupDiSetClassInstallParamsW(" + text + (code ? ") fails" : ")"));
  return code ? Failed<BOOL>(*code) : TRUE;
}

using Creation = Call<"com", "CoCreateInstance", "ole32", decltype(&::CoCreateInstance)>;

// The lab's network configuration serves every apartment: a thread that has left its own may come back in another.
template <>
HRESULT Creation::Real(REFCLSID id, IUnknown* outer, DWORD context, REFIID wanted, void** object) {
  if (id == CLSID_CNetCfg) return lab::NetCfgClassFactory()->CreateInstance(outer, wanted, object);
  static const auto real = reinterpret_cast<decltype(&::CoCreateInstance)>(
      reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryA("ole32"), "CoCreateInstance")));
  return real(id, outer, context, wanted, object);
}

HRESULT WINAPI CreateInstance(REFCLSID id, IUnknown* outer, DWORD context, REFIID wanted, void** object) {
  const bool observed = IsObserved();
  const HRESULT hr = Creation::Observe(id, outer, context, wanted, object);
  if (observed && SUCCEEDED(hr)) *object = Wrap(static_cast<IUnknown*>(*object), wanted);
  return hr;
}

// --- Memory --------------------------------------------------------------------------------------------------------

std::atomic<long> g_liveBlocks{0};

struct alignas(16) BlockHeader {
  std::size_t bytes;
  bool observed;
};
constexpr unsigned char kNew = 0xCD;
constexpr unsigned char kBehind = 0xA5;
constexpr std::size_t kGuardBytes = 32;

void* Allocate(std::size_t bytes) {
  const bool observed = IsObserved();
  if (observed && FailureOf("new", std::to_string(bytes))) return nullptr;
  auto* header = static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + bytes + kGuardBytes));
  if (header == nullptr) return nullptr;
  *header = {bytes, observed};
  if (observed) ++g_liveBlocks;
  auto* block = reinterpret_cast<unsigned char*>(header + 1);
  std::memset(block, kNew, bytes);
  std::memset(block + bytes, kBehind, kGuardBytes);
  return block;
}

void Free(void* memory) noexcept {
  if (memory == nullptr) return;
  BlockHeader* header = static_cast<BlockHeader*>(memory) - 1;
  const auto* behind = static_cast<unsigned char*>(memory) + header->bytes;
  if (std::any_of(behind, behind + kGuardBytes, [](unsigned char byte) { return byte != kBehind; })) {
    std::fputs("something was written behind a block of memory\n", stderr);
    std::abort();
  }
  if (header->observed) --g_liveBlocks;
  std::memset(memory, kNew, header->bytes);
  std::free(header);
}

}  // namespace

Platform& ThePlatform() {
  static Platform platform;
  return platform;
}

long LiveBlocks() noexcept { return g_liveBlocks; }

}  // namespace scenario

void* operator new(std::size_t bytes) {
  void* memory = scenario::Allocate(bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { scenario::Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { scenario::Free(memory); }

// Two of the functions carry attributes that matter to callers alone.
#pragma GCC diagnostic ignored "-Wignored-attributes"
#define OBSERVE(kind, function, module) \
  decltype(&::function) __imp_##function = scenario::Call<kind, #function, module, decltype(&::function)>::Observe;

extern "C" {
OBSERVE("reg", RegOpenKeyExW, "advapi32")
OBSERVE("reg", RegCreateKeyExW, "advapi32")
OBSERVE("reg", RegQueryInfoKeyW, "advapi32")
OBSERVE("reg", RegEnumKeyExW, "advapi32")
OBSERVE("reg", RegEnumValueW, "advapi32")
OBSERVE("reg", RegQueryValueExW, "advapi32")
OBSERVE("reg", RegSetValueExW, "advapi32")
OBSERVE("reg", RegDeleteValueW, "advapi32")
OBSERVE("reg", RegDeleteKeyW, "advapi32")
OBSERVE("setup", SetupDiCreateDeviceInfoListExW, "setupapi")
OBSERVE("setup", SetupDiOpenDeviceInfoW, "setupapi")
OBSERVE("setup", SetupDiGetDeviceInfoListDetailW, "setupapi")
OBSERVE("setup", SetupDiEnumDeviceInfo, "setupapi")
OBSERVE("setup", SetupDiCallClassInstaller, "setupapi")
OBSERVE("setup", SetupDiDestroyDeviceInfoList, "setupapi")
OBSERVE("setup", SetupOpenInfFileW, "setupapi")
OBSERVE("setup", SetupFindFirstLineW, "setupapi")
OBSERVE("setup", SetupGetStringFieldW, "setupapi")
OBSERVE("setup", SetupCloseInfFile, "setupapi")
OBSERVE("setup", SetupCopyOEMInfW, "setupapi")
OBSERVE("token", OpenThreadToken, "advapi32")
OBSERVE("token", GetTokenInformation, "advapi32")
OBSERVE("token", AdjustTokenPrivileges, "advapi32")
OBSERVE("com", CoImpersonateClient, "ole32")
OBSERVE("com", CoRevertToSelf, "ole32")
OBSERVE("com", CoInitialize, "ole32")
OBSERVE("com", CoUninitialize, "ole32")
OBSERVE("memory", CoTaskMemAlloc, "ole32")
OBSERVE("memory", SysAllocString, "oleaut32")
OBSERVE("memory", SysAllocStringLen, "oleaut32")
OBSERVE("name", GetComputerNameW, "kernel32")
OBSERVE("message", FormatMessageW, "kernel32")
OBSERVE("message", GetForegroundWindow, "user32")
decltype(&::CoCreateInstance) __imp_CoCreateInstance = scenario::CreateInstance;
decltype(&::OutputDebugStringW) __imp_OutputDebugStringW = scenario::WriteTrace;
decltype(&::Sleep) __imp_Sleep = scenario::Pause;
decltype(&::MessageBoxW) __imp_MessageBoxW = scenario::ShowBox;
decltype(&::GetUserObjectInformationW) __imp_GetUserObjectInformationW = scenario::AnswerUserObject;
decltype(&::GetSystemInfo) __imp_GetSystemInfo = scenario::AnswerSystemInfo;
decltype(&::SetupDiSetClassInstallParamsW) __imp_SetupDiSetClassInstallParamsW = scenario::AcceptClassInstallParams;

// Called through the function itself, as its header does not import it.
ULONG WINAPI GetAdaptersAddresses(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* buffer, ULONG* size) {
  using namespace scenario;
  const Observation unobserved(false);
  const auto& interfaces = ThePlatform().interfaces;
  const std::string text = "GetAdaptersAddresses(" + std::to_string(family) + ", " + std::to_string(flags) + ", " +
                           (buffer == nullptr ? "no buffer" : std::to_string(*size)) + ")";
  Note("addresses", "GetAdaptersAddresses", text);
  if (const auto code = FailureOf("GetAdaptersAddresses", text)) {
    if (*code == ERROR_BUFFER_OVERFLOW) *size = sizeof *buffer;
    return *code;
  }
  const ULONG needed = static_cast<ULONG>(interfaces.size() * sizeof *buffer);
  if (buffer == nullptr || *size < needed) {
    *size = needed + sizeof *buffer;
    return ERROR_BUFFER_OVERFLOW;
  }
  for (std::size_t index = 0; index < interfaces.size(); ++index) {
    buffer[index] = {};
    buffer[index].AdapterName = const_cast<char*>(interfaces[index].first.c_str());
    buffer[index].OperStatus = interfaces[index].second ? IfOperStatusUp : IfOperStatusDown;
    buffer[index].Next = index + 1 < interfaces.size() ? buffer + index + 1 : nullptr;
  }
  return ERROR_SUCCESS;
}
}
