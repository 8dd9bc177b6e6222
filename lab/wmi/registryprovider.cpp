#include "lab/wmi/registryprovider.h"

#include <string>
#include <vector>

#include "lab/schema/textcompare.h"
#include "lab/wmi/classobject.h"
#include "lab/wmi/wbemvalue.h"
#include "platform/comtext.h"
#include "platform/registrykey.h"

using Microsoft::WRL::ComPtr;

namespace lab {
namespace {

/// A text in-parameter; empty when it is NULL.
std::wstring TextParameter(IWbemClassObject* parameters, const wchar_t* name) {
  qvrn::Variant value;
  return SUCCEEDED(parameters->Get(name, 0, value.Put(), nullptr, nullptr)) && value.IsText() ? value.Text() : L"";
}

/// The names of all subkeys (RegEnumKeyExW) or values (RegEnumValueW) of a key.
template <typename Enumerate>
std::vector<std::wstring> Names(Enumerate enumerate, HKEY key) {
  std::vector<std::wstring> names;
  wchar_t name[qvrn::kPathChars] = {};
  for (DWORD i = 0, length = qvrn::kPathChars;; ++i, length = qvrn::kPathChars) {
    if (enumerate(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) return names;
    names.emplace_back(name, length);
  }
}

/// Puts what a method tells of an open key into its out-parameters.
LSTATUS Answer(const std::wstring& method, const qvrn::RegistryKey& key, IWbemClassObject* in, IWbemClassObject* out) {
  qvrn::Variant value;
  if (method == L"GetStringValue") {
    wchar_t text[qvrn::kPathChars] = {};
    const LSTATUS status = key.ReadText(TextParameter(in, L"sValueName").c_str(), text);
    if (status != ERROR_SUCCESS) return status;
    StoreValue(std::wstring(text), *value.Get());
    out->Put(L"sValue", 0, value.Get(), 0);
    return status;
  }
  StoreValue(method == L"EnumKey" ? Names(&::RegEnumKeyExW, key.Get()) : Names(&::RegEnumValueW, key.Get()),
             *value.Get());
  out->Put(L"sNames", 0, value.Get(), 0);
  return ERROR_SUCCESS;
}

}  // namespace

Reply ExecRegistryMethod(const Method& method, IWbemClassObject* parameters) {
  if (parameters == nullptr) return Reply(WBEM_E_INVALID_METHOD_PARAMETERS);
  const ComPtr<IWbemClassObject> out = MakeInstance(method.out);
  qvrn::RegistryKey key;
  LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, TextParameter(parameters, L"sSubKeyName").c_str(), KEY_READ);
  if (status == ERROR_SUCCESS) status = Answer(method.name, key, parameters, out.Get());
  qvrn::Variant result(static_cast<LONG>(status));
  return Reply(out->Put(L"ReturnValue", 0, result.Get(), 0), {out});
}

}  // namespace lab
