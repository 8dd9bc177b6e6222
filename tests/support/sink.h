#pragma once

#include <wrl/client.h>

#include <vector>

#include "platform/wmi.h"
#include "tests/support/hresult.h"

namespace tests {

/// What a sink was told, in order.
struct SinkCalls {
  std::vector<Microsoft::WRL::ComPtr<IWbemClassObject>> objects;
  std::vector<Code> statuses;
  bool wellFormed = true;  ///< every Indicate had one object, every SetStatus flags 0 and no text or object
};

/// A sink on the caller's stack; nobody may keep a reference beyond its life.
class RecordingSink final : public IWbemObjectSink {
 public:
  ~RecordingSink();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return --m_references; }
  HRESULT STDMETHODCALLTYPE Indicate(LONG count, IWbemClassObject** objects) noexcept override;
  HRESULT STDMETHODCALLTYPE SetStatus(LONG flags, HRESULT result, BSTR text,
                                      IWbemClassObject* object) noexcept override;

  SinkCalls calls;

 private:
  ULONG m_references = 0;
};

}  // namespace tests
