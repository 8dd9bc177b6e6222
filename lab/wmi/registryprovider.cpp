#include "lab/wmi/registryprovider.h"

#include <string>

#include "lab/schema/textcompare.h"
#include "lab/wmi/classobject.h"
#include "platform/comtext.h"
#include "platform/registrykey.h"

using Microsoft::WRL::ComPtr;

namespace lab {
namespace {

constexpr LONG kLocalMachine = static_cast<LONG>(0x80000002);

/// A text in-parameter; empty when it is NULL.
std::wstring TextParameter(IWbemClassObject* parameters, const wchar_t* name) {
  qvrn::Variant value;
  return SUCCEEDED(parameters->Get(name, 0, value.Put(), nullptr, nullptr)) && value.IsText() ? value.Text() : L"";
}

/// HKEY_LOCAL_MACHINE is the default.
bool IsLocalMachine(IWbemClassObject* parameters) {
  qvrn::Variant hive;
  return FAILED(parameters->Get(L"hDefKey", 0, hive.Put(), nullptr, nullptr)) || !hive.IsInteger() ||
         hive.Integer() == kLocalMachine;
}

LSTATUS ReadString(IWbemClassObject* parameters, std::wstring& text) {
  if (!IsLocalMachine(parameters)) return ERROR_INVALID_HANDLE;
  const std::wstring path = TextParameter(parameters, L"sSubKeyName");
  const std::wstring name = TextParameter(parameters, L"sValueName");
  qvrn::RegistryKey key;
  LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE);
  if (status != ERROR_SUCCESS) return status;
  DWORD bytes = 0;
  status = ::RegGetValueW(key.Get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, nullptr, &bytes);
  if (status != ERROR_SUCCESS) return status;
  std::wstring buffer(bytes / sizeof(wchar_t) + 1, L'\0');
  bytes = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
  status = ::RegGetValueW(key.Get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, buffer.data(), &bytes);
  if (status == ERROR_SUCCESS) text.assign(buffer, 0, buffer.find(L'\0'));
  return status;
}

}  // namespace

Reply ExecRegistryMethod(const Method& method, IWbemClassObject* parameters) {
  if (!SameText(method.name, L"GetStringValue")) return Reply(WBEM_E_METHOD_NOT_IMPLEMENTED);
  if (parameters == nullptr) return Reply(WBEM_E_INVALID_METHOD_PARAMETERS);
  std::wstring text;
  const LSTATUS status = ReadString(parameters, text);
  const ComPtr<IWbemClassObject> out = MakeInstance(method.out);
  qvrn::Variant result(static_cast<LONG>(status));
  HRESULT hr = out->Put(L"ReturnValue", 0, result.Get(), 0);
  if (SUCCEEDED(hr) && status == ERROR_SUCCESS) {
    qvrn::Variant value(text.c_str());
    hr = out->Put(L"sValue", 0, value.Get(), 0);
  }
  return Reply(hr, {out});
}

}  // namespace lab
