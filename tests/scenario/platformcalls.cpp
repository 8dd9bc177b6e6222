#include "tests/scenario/platformcalls.h"

#include <netcfgx.h>

#include "lab/netcfg/netcfg.h"
#include "tests/scenario/platformhooks.h"

namespace scenario {
namespace {

template <typename Function>
void* Address(Function function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

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

const std::vector<Replacement>& Replacements() {
  static const std::vector<Replacement> all = {
#define ROW(kind, function, module) \
  {#function, Address(&Call<kind, #function, module, decltype(&::function)>::Observe)},
      SCENARIO_OBSERVED(ROW)
#undef ROW
#define ROW(function, replacement) {#function, Address(&replacement)},
          SCENARIO_ANSWERED(ROW)
#undef ROW
              {"GetAdaptersAddresses", Address(&ListAddresses)},
      {"malloc", Address(&Call<"memory", "malloc", "msvcrt", decltype(&::malloc)>::Observe)},
  };
  return all;
}

Platform& ThePlatform() {
  static Platform platform;
  return platform;
}

}  // namespace scenario
