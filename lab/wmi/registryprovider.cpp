#include "lab/wmi/registryprovider.h"

#include <string>

#include "lab/schema/textcompare.h"
#include "lab/wmi/classobject.h"
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

}  // namespace

Reply ExecRegistryMethod(const Method& method, IWbemClassObject* parameters) {
  if (parameters == nullptr) return Reply(WBEM_E_INVALID_METHOD_PARAMETERS);
  qvrn::RegistryKey key;
  wchar_t text[qvrn::kPathChars] = {};
  LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, TextParameter(parameters, L"sSubKeyName").c_str(), KEY_QUERY_VALUE);
  if (status == ERROR_SUCCESS) status = key.ReadText(TextParameter(parameters, L"sValueName").c_str(), text);
  const ComPtr<IWbemClassObject> out = MakeInstance(method.out);
  qvrn::Variant result(static_cast<LONG>(status));
  qvrn::Variant value(text);
  HRESULT hr = out->Put(L"ReturnValue", 0, result.Get(), 0);
  if (SUCCEEDED(hr) && status == ERROR_SUCCESS) hr = out->Put(L"sValue", 0, value.Get(), 0);
  return Reply(hr, {out});
}

}  // namespace lab
