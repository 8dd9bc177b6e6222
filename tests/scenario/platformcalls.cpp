#include "tests/scenario/platformcalls.h"

#include <winsock2.h>
// Behind it.
#include <windows.h>

#include <iphlpapi.h>
#include <netcfgx.h>
#include <objbase.h>
#include <oleauto.h>
#include <setupapi.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <string>
#include <type_traits>

#include "lab/netcfg/netcfg.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"

// Two of the functions carry attributes that matter to callers alone.
#pragma GCC diagnostic ignored "-Wignored-attributes"

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
// The attributes that occur.
void Describe(std::string& list, TOKEN_PRIVILEGES* privileges) {
  if (privileges == nullptr) return;
  std::set<DWORD> attributes;
  for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) attributes.insert(privileges->Privileges[i].Attributes);
  std::string text;
  for (const DWORD attribute : attributes) text += (text.empty() ? "" : " ") + Hex(attribute);
  Append(list, text);
}
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

// How a function says that it failed.
template <typename Result>
Result Failed(std::string_view kind, std::uint32_t code) {
  static_cast<void>(kind);
  ::SetLastError(code);
  if constexpr (std::is_void_v<Result>) {
    return;
  } else if constexpr (std::is_same_v<Result, HANDLE>) {
    return kind == "memory" ? nullptr : INVALID_HANDLE_VALUE;
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
      return Failed<Result>(Kind.value, *code);
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

// The platform completes text that lacks its terminator, though it be behind what the caller has given a size for.
LSTATUS WINAPI QueryValue(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* bytes) {
  using Query = Call<"reg", "RegQueryValueExW", "advapi32", decltype(&::RegQueryValueExW)>;
  const LSTATUS status = Query::Observe(key, name, reserved, type, data, bytes);
  if (IsObserved() && status == ERROR_SUCCESS && data != nullptr && *bytes > 1 &&
      (data[*bytes - 2] != 0 || data[*bytes - 1] != 0))
    data[*bytes] = data[*bytes + 1] = 0;
  return status;
}

BOOL WINAPI SetInterruptHandler(PHANDLER_ROUTINE handler, BOOL add) {
  ThePlatform().interruptHandler = add ? handler : nullptr;
  return TRUE;
}

int WINAPI ShowBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT style) {
  const Observation unobserved(false);
  Note("box", "", Quoted(caption) + " " + Quoted(text) + " " + Hex(style) + (owner == nullptr ? "" : " with an owner"));
  return IDOK;
}

// A console writes text as UTF-8 to what stands for it, at most a line's worth at once.
BOOL WINAPI WriteToConsole(HANDLE console, const void* text, DWORD chars, DWORD* written, void*) {
  const Observation unobserved(false);
  const auto* begin = static_cast<const wchar_t*>(text);
  *written = std::min<DWORD>(chars, 60);
  if (*written < chars && IS_HIGH_SURROGATE(begin[*written - 1])) --*written;
  const std::string bytes = Utf8({begin, *written});
  DWORD ignored = 0;
  return ::WriteFile(console, bytes.data(), static_cast<DWORD>(bytes.size()), &ignored, nullptr);
}

BOOL WINAPI AnswerConsoleMode(HANDLE, DWORD*) { return ThePlatform().typed ? TRUE : FALSE; }

BOOL WINAPI ReadFromConsole(HANDLE, void* buffer, DWORD chars, DWORD* read, void*) {
  const std::wstring line = *ThePlatform().typed + L"\r\n";
  *read = std::min(chars, static_cast<DWORD>(line.size()));
  std::copy_n(line.data(), *read, static_cast<wchar_t*>(buffer));
  return TRUE;
}

BOOL WINAPI AnswerUserObject(HANDLE, int, void* information, DWORD, DWORD*) {
  static_cast<USEROBJECTFLAGS*>(information)->dwFlags = ThePlatform().windowStationVisible ? WSF_VISIBLE : 0;
  return TRUE;
}

// There is one where there is somebody to see it.
HWND WINAPI AnswerForegroundWindow() {
  return ThePlatform().windowStationVisible ? reinterpret_cast<HWND>(0x5A) : nullptr;
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
  return code ? Failed<BOOL>("setup", *code) : TRUE;
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

ULONG WINAPI ListAddresses(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* buffer, ULONG* size) {
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

// --- All of them ----------------------------------------------------------------------------------------------------

template <typename Function>
Replacement Row(const char* name, Function function) {
  return {name, reinterpret_cast<void*>(function)};
}

#define OBSERVED(kind, module, function) Row(#function, Call<kind, #function, module, decltype(&::function)>::Observe)
#define REG(function) OBSERVED("reg", "advapi32", function)
#define SETUP(function) OBSERVED("setup", "setupapi", function)
#define FILES(function) OBSERVED("file", "kernel32", function)
#define ANSWERED(function, replacement) Row(#function, replacement)
const std::array kReplacements = ListOf(
    REG(RegOpenKeyExW), REG(RegCreateKeyExW), REG(RegQueryInfoKeyW), REG(RegEnumKeyExW), REG(RegEnumValueW),
    ANSWERED(RegQueryValueExW, QueryValue), REG(RegSetValueExW), REG(RegDeleteValueW), REG(RegDeleteKeyW),
    OBSERVED("close", "advapi32", RegCloseKey), SETUP(SetupDiCreateDeviceInfoListExW), SETUP(SetupDiOpenDeviceInfoW),
    SETUP(SetupDiGetDeviceInfoListDetailW), SETUP(SetupDiEnumDeviceInfo), SETUP(SetupDiCallClassInstaller),
    SETUP(SetupDiDestroyDeviceInfoList), SETUP(SetupOpenInfFileW), SETUP(SetupFindFirstLineW),
    SETUP(SetupGetStringFieldW), SETUP(SetupCloseInfFile), SETUP(SetupCopyOEMInfW),
    OBSERVED("token", "advapi32", OpenThreadToken), OBSERVED("token", "advapi32", GetTokenInformation),
    OBSERVED("token", "advapi32", AdjustTokenPrivileges), OBSERVED("com", "ole32", CoImpersonateClient),
    OBSERVED("com", "ole32", CoRevertToSelf), OBSERVED("com", "ole32", CoInitialize),
    OBSERVED("com", "ole32", CoUninitialize), OBSERVED("com", "ole32", CoInitializeSecurity),
    OBSERVED("com", "ole32", CoSetProxyBlanket), OBSERVED("memory", "ole32", CoTaskMemAlloc),
    OBSERVED("memory", "oleaut32", SysAllocString), OBSERVED("memory", "oleaut32", SysAllocStringLen),
    OBSERVED("name", "kernel32", GetComputerNameW), OBSERVED("message", "kernel32", FormatMessageW), FILES(CreateFileW),
    FILES(GetFileSizeEx), FILES(ReadFile), FILES(WriteFile), FILES(CloseHandle), OBSERVED("memory", "msvcrt", malloc),
    ANSWERED(CoCreateInstance, CreateInstance), ANSWERED(OutputDebugStringW, WriteTrace), ANSWERED(Sleep, Pause),
    ANSWERED(MessageBoxW, ShowBox), ANSWERED(GetUserObjectInformationW, AnswerUserObject),
    ANSWERED(GetForegroundWindow, AnswerForegroundWindow), ANSWERED(GetSystemInfo, AnswerSystemInfo),
    ANSWERED(SetupDiSetClassInstallParamsW, AcceptClassInstallParams), ANSWERED(GetConsoleMode, AnswerConsoleMode),
    ANSWERED(ReadConsoleW, ReadFromConsole), ANSWERED(WriteConsoleW, WriteToConsole),
    ANSWERED(SetConsoleCtrlHandler, SetInterruptHandler), ANSWERED(GetAdaptersAddresses, ListAddresses));

}  // namespace

std::span<const Replacement> Replacements() { return kReplacements; }

Platform& ThePlatform() {
  static Platform platform;
  return platform;
}

}  // namespace scenario
