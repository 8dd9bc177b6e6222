#include "tests/support/sink.h"

#include <gtest/gtest.h>

namespace tests {

RecordingSink::~RecordingSink() { EXPECT_EQ(m_references, 0u) << "somebody keeps the sink"; }

HRESULT RecordingSink::QueryInterface(REFIID riid, void** ppv) noexcept {
  *ppv = nullptr;
  if (riid != IID_IUnknown && riid != IID_IWbemObjectSink) return E_NOINTERFACE;
  *ppv = static_cast<IWbemObjectSink*>(this);
  AddRef();
  return S_OK;
}

HRESULT RecordingSink::Indicate(LONG count, IWbemClassObject** objects) noexcept {
  calls.wellFormed = calls.wellFormed && count == 1 && calls.statuses.empty();
  for (LONG index = 0; index < count; ++index) calls.objects.emplace_back(objects[index]);
  return WBEM_S_NO_ERROR;
}

HRESULT RecordingSink::SetStatus(LONG flags, HRESULT result, BSTR text, IWbemClassObject* object) noexcept {
  calls.wellFormed = calls.wellFormed && flags == WBEM_STATUS_COMPLETE && text == nullptr && object == nullptr;
  calls.statuses.push_back({result});
  return WBEM_S_NO_ERROR;
}

}  // namespace tests
