#include "tests/support/imports.h"

#include <winsock2.h>

#include <iphlpapi.h>
#include <oleauto.h>
#include <setupapi.h>

#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <mutex>
#include <new>
#include <utility>

namespace {

std::mutex g_lock;
std::vector<std::wstring> g_debugOutput;
std::vector<std::wstring> g_messageBoxes;
std::vector<std::wstring> g_classInstallParams;
std::atomic<bool> g_visible{false};
std::atomic<std::size_t> g_failingBytes{0};
std::wstring g_failingText;
std::atomic<const wchar_t*> g_failingValue{nullptr};
std::atomic<int> g_failingTextSkip{-1};
std::vector<std::pair<std::string, bool>> g_interfaces;
std::atomic<ULONG> g_addressesStatus{ERROR_SUCCESS};

template <typename Function>
Function RealFunction(const wchar_t* module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(module), name)));
}

void Append(std::vector<std::wstring>& list, std::wstring text) {
  const std::lock_guard<std::mutex> guard(g_lock);
  list.push_back(std::move(text));
}

std::vector<std::wstring> Take(std::vector<std::wstring>& list) {
  const std::lock_guard<std::mutex> guard(g_lock);
  return std::exchange(list, {});
}

void WINAPI RecordDebugOutput(const wchar_t* text) { Append(g_debugOutput, text); }

int WINAPI RecordMessageBox(HWND, const wchar_t* text, const wchar_t* caption, UINT style) {
  Append(g_messageBoxes, std::wstring(caption) + L"|" + text + L"|" + std::to_wstring(style));
  return IDOK;
}

BOOL WINAPI AnswerUserObject(HANDLE, int, void* information, DWORD, DWORD*) {
  static_cast<USEROBJECTFLAGS*>(information)->dwFlags = g_visible ? WSF_VISIBLE : 0;
  return TRUE;
}

// The platform of the test bed has no such function: it answers FALSE with last error 0.
BOOL WINAPI AcceptClassInstallParams(HDEVINFO, SP_DEVINFO_DATA*, SP_CLASSINSTALL_HEADER* header, DWORD size) {
  const auto* change = reinterpret_cast<const SP_PROPCHANGE_PARAMS*>(header);
  std::wstring text = std::to_wstring(size) + L":";
  for (const DWORD number :
       {header->cbSize, DWORD{header->InstallFunction}, change->StateChange, change->Scope, change->HwProfile}) {
    text += L" " + std::to_wstring(number);
  }
  Append(g_classInstallParams, std::move(text));
  return TRUE;
}

BSTR WINAPI AllocateText(const wchar_t* text) {
  static const auto real = RealFunction<decltype(&::SysAllocString)>(L"oleaut32.dll", "SysAllocString");
  if (g_failingTextSkip >= 0 && text != nullptr && g_failingText == text && g_failingTextSkip-- == 0) return nullptr;
  return real(text);
}

LSTATUS WINAPI SetRegistryValue(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                                DWORD bytes) {
  static const auto real = RealFunction<decltype(&::RegSetValueExW)>(L"advapi32.dll", "RegSetValueExW");
  const wchar_t* failing = g_failingValue;
  if (failing != nullptr && std::wcscmp(failing, name == nullptr ? L"" : name) == 0) return ERROR_ACCESS_DENIED;
  return real(key, name, reserved, type, data, bytes);
}

}  // namespace

extern "C" {
decltype(&::OutputDebugStringW) __imp_OutputDebugStringW = RecordDebugOutput;
decltype(&::MessageBoxW) __imp_MessageBoxW = RecordMessageBox;
decltype(&::GetUserObjectInformationW) __imp_GetUserObjectInformationW = AnswerUserObject;
decltype(&::SetupDiSetClassInstallParamsW) __imp_SetupDiSetClassInstallParamsW = AcceptClassInstallParams;
decltype(&::RegSetValueExW) __imp_RegSetValueExW = SetRegistryValue;
decltype(&::SysAllocString) __imp_SysAllocString = AllocateText;
}

// Called through the function itself, as its header does not import it.
extern "C" ULONG WINAPI GetAdaptersAddresses(ULONG, ULONG, void*, IP_ADAPTER_ADDRESSES* buffer, ULONG* size) {
  if (g_addressesStatus != ERROR_SUCCESS) return g_addressesStatus;
  const ULONG needed = static_cast<ULONG>(g_interfaces.size() * sizeof *buffer);
  if (*size < needed) {
    *size = needed + sizeof *buffer;
    return ERROR_BUFFER_OVERFLOW;
  }
  for (std::size_t index = 0; index < g_interfaces.size(); ++index) {
    buffer[index] = {};
    buffer[index].AdapterName = g_interfaces[index].first.data();
    buffer[index].OperStatus = g_interfaces[index].second ? IfOperStatusUp : IfOperStatusDown;
    buffer[index].Next = index + 1 < g_interfaces.size() ? buffer + index + 1 : nullptr;
  }
  return ERROR_SUCCESS;
}

void* operator new(std::size_t bytes) {
  void* memory = bytes == g_failingBytes ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace tests {

std::vector<std::wstring> TakeDebugOutput() { return Take(g_debugOutput); }
std::vector<std::wstring> TakeMessageBoxes() { return Take(g_messageBoxes); }
std::vector<std::wstring> TakeClassInstallParams() { return Take(g_classInstallParams); }
void SetWindowStationVisible(bool visible) { g_visible = visible; }

FailingAllocation::FailingAllocation(std::size_t bytes) noexcept { g_failingBytes = bytes; }
FailingAllocation::~FailingAllocation() { g_failingBytes = 0; }

FailingText::FailingText(const wchar_t* text, int skip) {
  g_failingText = text;
  g_failingTextSkip = skip;
}
FailingText::~FailingText() { g_failingTextSkip = -1; }

FailingRegistryWrite::FailingRegistryWrite(const wchar_t* name) noexcept {
  g_failingValue = name == nullptr ? L"" : name;
}
FailingRegistryWrite::~FailingRegistryWrite() { g_failingValue = nullptr; }

void AnswerAddresses(std::vector<std::pair<std::string, bool>> interfaces, ULONG status) {
  g_interfaces = std::move(interfaces);
  g_addressesStatus = status;
}

}  // namespace tests
