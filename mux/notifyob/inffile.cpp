#include "mux/notifyob/inffile.h"

#include <objbase.h>

#include "platform/handle.h"
#include "platform/hresult.h"

namespace qvrn {
namespace {

struct InfFileTraits {
  using Value = HINF;
  static Value None() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Value value) noexcept { ::SetupCloseInfFile(value); }
};
using InfFile = UniqueHandle<InfFileTraits>;

}  // namespace

HRESULT ReadInfComponentId(const wchar_t* infPath, TaskText& componentId) noexcept {
  const InfFile inf(::SetupOpenInfFileW(infPath, nullptr, INF_STYLE_WIN4, nullptr));
  if (!inf) return HrFromLastError();
  TaskText models;
  const HRESULT hr = ReadInfStringField(inf.Get(), L"Manufacturer", nullptr, 1, models);
  return FAILED(hr) ? hr : ReadInfStringField(inf.Get(), models.Get(), nullptr, 2, componentId);
}

HRESULT ReadInfStringField(HINF inf, const wchar_t* section, const wchar_t* key, DWORD fieldIndex,
                           TaskText& value) noexcept {
  value.Reset();
  INFCONTEXT line = {};
  DWORD chars = 0;
  if (!::SetupFindFirstLineW(inf, section, key, &line) ||
      !::SetupGetStringFieldW(&line, fieldIndex, nullptr, 0, &chars)) {
    return HrFromLastError();
  }
  auto* text = static_cast<wchar_t*>(::CoTaskMemAlloc(chars * sizeof(wchar_t)));
  if (text == nullptr) return HrFromWin32(ERROR_NOT_ENOUGH_MEMORY);
  *value.Put() = text;
  if (::SetupGetStringFieldW(&line, fieldIndex, text, chars, &chars)) return S_OK;
  const HRESULT hr = HrFromLastError();
  value.Reset();
  return hr;
}

}  // namespace qvrn
