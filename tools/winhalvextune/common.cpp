#include "tools/winhalvextune/common.h"

#include <oleauto.h>
#include <setupapi.h>

#include <memory>
#include <new>

#include "mux/notifyob/notifysupport.h"
#include "platform/assertion.h"
#include "platform/boundedtext.h"
#include "platform/handle.h"

namespace qvrn {

HMODULE g_hResourceModule = nullptr;

namespace {

using Microsoft::WRL::ComPtr;

constexpr char kCommonSource[] = "common";
constexpr wchar_t kErrorCaption[] = L"Error";
constexpr DWORD kNeutralLanguage = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);
constexpr std::size_t kMessageChars = 512;
constexpr std::size_t kHexChars = 12;
constexpr wchar_t kLockClient[] = L"MY CLIENT";
constexpr std::size_t kDeviceNodeChars = 200;

struct LocalFreer {
  void operator()(wchar_t* text) const noexcept { ::LocalFree(text); }
};

// A module's string-table block: 16 entries, each a 16-bit length and that many characters.
struct StringBlock {
  const wchar_t* begin = nullptr;
  const wchar_t* end = nullptr;
};

StringBlock FindStringBlock(HMODULE module, WORD id) noexcept {
  const HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW((id >> 4) + 1), MAKEINTRESOURCEW(6));
  if (resource == nullptr) return {};
  const auto* begin = static_cast<const wchar_t*>(::LockResource(::LoadResource(module, resource)));
  if (begin == nullptr) return {};
  return {begin, begin + ::SizeofResource(module, resource) / sizeof(wchar_t)};
}

// Loads the template and fills in the inserts. False when it cannot be formatted.
bool FormatTemplate(Message id, wchar_t (&text)[kMessageChars], const wchar_t* const* inserts) noexcept {
  Bstr pattern;
  const bool bRet = LoadResourceString(*pattern.Put(), g_hResourceModule, static_cast<WORD>(id));
  QVRN_CHECK(bRet, "bRet == true", kCommonSource);
  const wchar_t* source = bRet ? pattern.Get() : L"";
  auto* arguments = reinterpret_cast<va_list*>(const_cast<wchar_t**>(inserts));
  if (::FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, source, 0, kNeutralLanguage, text,
                       kMessageChars, arguments) != 0) {
    return true;
  }
  ::GetLastError();
  QVRN_CHECK(false, "0", kCommonSource);
  return false;
}

bool WindowStationIsVisible() noexcept {
  USEROBJECTFLAGS flags = {};
  return ::GetUserObjectInformationW(::GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags, nullptr) &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

// One short session under the write lock, with `action` on the component. A dismissed assertion does not end it.
template <typename Action>
void WithNetworkComponent(const wchar_t* instanceId, Action action) noexcept {
  const auto check = [](HRESULT hr) { QVRN_CHECK_HRESULT(hr, kCommonSource); };
  const auto find = [&](INetCfg* netCfg) {
    GUID guid = {};
    ::CLSIDFromString(instanceId, &guid);
    ComPtr<INetCfgComponent> component;
    check(HrFindInstance(netCfg, &guid, &component));
    if (component != nullptr) action(component.Get());
  };
  WithNetCfg(kLockClient, find, check);
}

// The set holds one device; its enumeration result is of no interest, as a device that could not be opened fails below.
bool RequestPropertyChange(HDEVINFO devices) noexcept {
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  ::SetupDiEnumDeviceInfo(devices, 0, &device);

  SP_PROPCHANGE_PARAMS change = {};
  change.ClassInstallHeader.cbSize = sizeof change.ClassInstallHeader;
  change.ClassInstallHeader.InstallFunction = DIF_PROPERTYCHANGE;
  change.StateChange = DICS_PROPCHANGE;
  change.Scope = DICS_FLAG_CONFIGSPECIFIC;
  const bool accepted = ::SetupDiSetClassInstallParamsW(devices, &device, &change.ClassInstallHeader, sizeof change) &&
                        ::SetupDiCallClassInstaller(DIF_PROPERTYCHANGE, devices, &device);
  QVRN_CHECK(accepted, "0", kCommonSource);
  return accepted;
}

}  // namespace

bool LoadResourceString(BSTR& out, HMODULE module, WORD id) noexcept {
  ::SysFreeString(out);
  out = nullptr;
  if (module == nullptr) return false;

  StringBlock block = FindStringBlock(module, id);
  for (int skip = id & 15; block.begin < block.end; --skip) {
    const std::size_t length = *block.begin++;
    if (static_cast<std::size_t>(block.end - block.begin) < length) break;
    if (skip == 0) {
      if (length != 0) out = ::SysAllocStringLen(block.begin, static_cast<UINT>(length));
      break;
    }
    block.begin += length;
  }
  return out != nullptr;
}

bool FormatResourceMessage(Message id, std::wstring& out, const wchar_t* const* inserts) {
  if (g_hResourceModule == nullptr) return true;
  wchar_t text[kMessageChars] = {};
  if (!FormatTemplate(id, text, inserts)) return false;
  out = text;
  return true;
}

void ShowMessage(Message id, const wchar_t* const* inserts) noexcept {
  if (g_hResourceModule == nullptr) return;
  wchar_t text[kMessageChars] = {};
  FormatTemplate(id, text, inserts);
  ShowErrorBox(::GetForegroundWindow(), text, MB_TASKMODAL | MB_ICONERROR);
}

void ShowSystemError(Message id, DWORD code) noexcept {
  wchar_t* allocated = nullptr;
  ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                   code, kNeutralLanguage, reinterpret_cast<wchar_t*>(&allocated), 0, nullptr);
  const std::unique_ptr<wchar_t, LocalFreer> text(allocated);
  if (text == nullptr) return ShowHexError(id, code);
  const wchar_t* const inserts[] = {text.get()};
  ShowMessage(id, inserts);
}

bool FailWithSystemError(Message id, LSTATUS code, const char* file, const char* expression, unsigned line) noexcept {
  ShowSystemError(id, static_cast<DWORD>(code));
  ReportAssertion(expression, file, line);
  return false;
}

void ShowHexError(Message id, DWORD code) noexcept {
  wchar_t text[kHexChars] = {};
  const HRESULT hr = FormatText(text, L"%s%X", L"0x", code);
  QVRN_CHECK_HRESULT(hr, kCommonSource);
  const wchar_t* const inserts[] = {text};
  ShowMessage(id, inserts);
}

void ShowFormattedError(Message id, std::initializer_list<const wchar_t*> inserts) noexcept try {
  std::wstring text;
  FormatResourceMessage(id, text, inserts.begin());
  ShowErrorBox(nullptr, text.c_str(), MB_ICONERROR);
} catch (const std::bad_alloc&) {
  ShowErrorBox(nullptr, L"", MB_ICONERROR);
}

bool FailWithMissingValue(const wchar_t* name, const char* file, unsigned line) noexcept {
  ShowFormattedError(Message::RequiredValueMissing, {name});
  ReportAssertion("0", file, line);
  return false;
}

void ShowPlainError(Message id) noexcept {
  Bstr text;
  LoadResourceString(*text.Put(), g_hResourceModule, static_cast<WORD>(id));
  ShowErrorBox(nullptr, text.Get() == nullptr ? L"" : text.Get(), MB_ICONERROR);
}

void ShowErrorBox(HWND owner, const wchar_t* text, UINT style) noexcept {
  if (WindowStationIsVisible()) ::MessageBoxW(owner, text, kErrorCaption, style);
}

LONG IntegerLog2(LONG value) noexcept {
  if (value < 0) return 0;
  LONG result = 0;
  for (const LONG shift : {16, 8, 4, 2, 1}) {
    if (value < PowerOfTwo(shift)) continue;
    value >>= shift;
    result += shift;
  }
  QVRN_CHECK(value < 2, "value < 2", kCommonSource);
  return result;
}

LONG PowerOfTwo(LONG exponent) noexcept { return exponent >= 0 && exponent < 31 ? 1L << exponent : 0; }

bool RenameVlanComponent(const wchar_t* instanceId, const wchar_t* displayName) noexcept {
  WithNetworkComponent(instanceId, [displayName](INetCfgComponent* component) {
    const HRESULT hr = component->SetDisplayName(displayName);
    QVRN_CHECK_HRESULT(hr, kCommonSource);
  });
  return true;
}

bool GetDeviceNodeId(const wchar_t* instanceId, wchar_t* buffer, std::size_t size) noexcept {
  buffer[0] = L'\0';
  WithNetworkComponent(instanceId, [buffer, size](INetCfgComponent* component) {
    TaskText id;
    component->GetPnpDevNodeId(id.Put());
    if (id.Get() == nullptr) return;
    const HRESULT hr = ::StringCchCopyW(buffer, size, id.Get());
    QVRN_CHECK_HRESULT(hr, kCommonSource);
  });
  return true;
}

bool RestartAdapter(const wchar_t* instanceId) noexcept {
  wchar_t deviceNodeId[kDeviceNodeChars] = {};
  bool bRet = GetDeviceNodeId(instanceId, deviceNodeId, kDeviceNodeChars);
  QVRN_CHECK(bRet, "bRet == true", kCommonSource);
  bRet = RestartDevice(deviceNodeId);
  QVRN_CHECK(bRet, "bRet == true", kCommonSource);
  return true;
}

bool RestartDevice(const wchar_t* deviceNodeId) noexcept {
  // The result of opening is of no interest: a device that could not be opened fails below.
  const DeviceInfoList devices(::SetupDiCreateDeviceInfoListExW(nullptr, nullptr, nullptr, nullptr));
  ::SetupDiOpenDeviceInfoW(devices.Get(), deviceNodeId, nullptr, 0, nullptr);
  SP_DEVINFO_LIST_DETAIL_DATA_W detail = {};
  detail.cbSize = sizeof detail;
  return ::SetupDiGetDeviceInfoListDetailW(devices.Get(), &detail) && RequestPropertyChange(devices.Get());
}

}  // namespace qvrn
