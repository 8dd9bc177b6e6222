// How calls on the platform are observed: a replacement of each function's own, made from its type.
#pragma once

#include <windows.h>
#include <winsock2.h>

#include <iphlpapi.h>
#include <objbase.h>
#include <oleauto.h>
#include <setupapi.h>

#include <algorithm>
#include <set>
#include <string>
#include <type_traits>

#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"

namespace scenario {

template <std::size_t Size>
struct Text {
  char value[Size];
  constexpr Text(const char (&text)[Size]) { std::copy_n(text, Size, value); }  // NOLINT(google-explicit-constructor)
};

// --- Arguments as text ---------------------------------------------------------------------------------------------

inline void Append(std::string& list, const std::string& argument) { list += (list.empty() ? "" : ", ") + argument; }

inline void Describe(std::string& list, const wchar_t* text) { Append(list, Quoted(text)); }
inline void Describe(std::string& list, REFGUID guid) { Append(list, GuidName(guid)); }
// The attributes that occur.
inline void Describe(std::string& list, TOKEN_PRIVILEGES* privileges) {
  if (privileges == nullptr) return;
  std::set<DWORD> attributes;
  for (DWORD i = 0; i < privileges->PrivilegeCount; ++i) attributes.insert(privileges->Privileges[i].Attributes);
  std::string text;
  for (const DWORD attribute : attributes) text += (text.empty() ? "" : " ") + Hex(attribute);
  Append(list, text);
}
// A size that the call may change: what it is before.
inline void Describe(std::string& list, DWORD* number) {
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

void WINAPI WriteTrace(const wchar_t* text);
void WINAPI Pause(DWORD milliseconds);
int WINAPI ShowBox(HWND owner, const wchar_t* text, const wchar_t* caption, UINT style);
BOOL WINAPI AnswerConsoleMode(HANDLE, DWORD*);
BOOL WINAPI ReadFromConsole(HANDLE, void* buffer, DWORD chars, DWORD* read, void*);
BOOL WINAPI WriteToConsole(HANDLE console, const void* text, DWORD chars, DWORD* written, void*);
BOOL WINAPI AnswerUserObject(HANDLE, int, void* information, DWORD, DWORD*);
HWND WINAPI AnswerForegroundWindow();
void WINAPI AnswerSystemInfo(SYSTEM_INFO* information);
BOOL WINAPI AcceptClassInstallParams(HDEVINFO, SP_DEVINFO_DATA*, SP_CLASSINSTALL_HEADER* header, DWORD size);
HRESULT WINAPI CreateInstance(REFCLSID id, IUnknown* outer, DWORD context, REFIID wanted, void** object);
ULONG WINAPI ListAddresses(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* buffer, ULONG* size);

}  // namespace scenario

// Two of the functions carry attributes that matter to callers alone.
#pragma GCC diagnostic ignored "-Wignored-attributes"

/// X(kind of the events, function, its module) for each function that is only observed.
#define SCENARIO_OBSERVED(X)                              \
  X("reg", RegOpenKeyExW, "advapi32")                     \
  X("reg", RegCreateKeyExW, "advapi32")                   \
  X("reg", RegQueryInfoKeyW, "advapi32")                  \
  X("reg", RegEnumKeyExW, "advapi32")                     \
  X("reg", RegEnumValueW, "advapi32")                     \
  X("reg", RegQueryValueExW, "advapi32")                  \
  X("reg", RegSetValueExW, "advapi32")                    \
  X("reg", RegDeleteValueW, "advapi32")                   \
  X("reg", RegDeleteKeyW, "advapi32")                     \
  X("close", RegCloseKey, "advapi32")                     \
  X("setup", SetupDiCreateDeviceInfoListExW, "setupapi")  \
  X("setup", SetupDiOpenDeviceInfoW, "setupapi")          \
  X("setup", SetupDiGetDeviceInfoListDetailW, "setupapi") \
  X("setup", SetupDiEnumDeviceInfo, "setupapi")           \
  X("setup", SetupDiCallClassInstaller, "setupapi")       \
  X("setup", SetupDiDestroyDeviceInfoList, "setupapi")    \
  X("setup", SetupOpenInfFileW, "setupapi")               \
  X("setup", SetupFindFirstLineW, "setupapi")             \
  X("setup", SetupGetStringFieldW, "setupapi")            \
  X("setup", SetupCloseInfFile, "setupapi")               \
  X("setup", SetupCopyOEMInfW, "setupapi")                \
  X("token", OpenThreadToken, "advapi32")                 \
  X("token", GetTokenInformation, "advapi32")             \
  X("token", AdjustTokenPrivileges, "advapi32")           \
  X("com", CoImpersonateClient, "ole32")                  \
  X("com", CoRevertToSelf, "ole32")                       \
  X("com", CoInitialize, "ole32")                         \
  X("com", CoUninitialize, "ole32")                       \
  X("memory", CoTaskMemAlloc, "ole32")                    \
  X("memory", SysAllocString, "oleaut32")                 \
  X("memory", SysAllocStringLen, "oleaut32")              \
  X("name", GetComputerNameW, "kernel32")                 \
  X("message", FormatMessageW, "kernel32")

/// The same for what the command-line client alone calls.
#define SCENARIO_OBSERVED_OF_CLIENT(X)    \
  X("com", CoInitializeSecurity, "ole32") \
  X("com", CoSetProxyBlanket, "ole32")    \
  X("file", CreateFileW, "kernel32")      \
  X("file", GetFileSizeEx, "kernel32")    \
  X("file", ReadFile, "kernel32")         \
  X("file", WriteFile, "kernel32")        \
  X("file", CloseHandle, "kernel32")

/// X(function, replacement) for those that have an answer of their own.
#define SCENARIO_ANSWERED(X)                     \
  X(CoCreateInstance, CreateInstance)            \
  X(OutputDebugStringW, WriteTrace)              \
  X(Sleep, Pause)                                \
  X(MessageBoxW, ShowBox)                        \
  X(GetUserObjectInformationW, AnswerUserObject) \
  X(GetForegroundWindow, AnswerForegroundWindow) \
  X(GetSystemInfo, AnswerSystemInfo)             \
  X(SetupDiSetClassInstallParamsW, AcceptClassInstallParams)

/// The same for what the command-line client alone calls.
#define SCENARIO_ANSWERED_OF_CLIENT(X) \
  X(GetConsoleMode, AnswerConsoleMode) \
  X(ReadConsoleW, ReadFromConsole)     \
  X(WriteConsoleW, WriteToConsole)
