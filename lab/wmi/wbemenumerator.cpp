#include "lab/wmi/wbemenumerator.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "lab/unknown.h"
#include "lab/wmi/clientsecurity.h"
#include "platform/hresult.h"

using Microsoft::WRL::ComPtr;
using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

class Enumerator final : public Unknown<IEnumWbemClassObject> {
 public:
  Enumerator(std::shared_ptr<const Reply> reply, bool forwardOnly, std::size_t position = 0)
      : m_reply(std::move(reply)), m_forwardOnly(forwardOnly), m_position(position) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    return id == IID_IClientSecurity ? GetClientSecurity(object) : Unknown::QueryInterface(id, object);
  }

  HRESULT STDMETHODCALLTYPE Reset() noexcept override {
    if (m_forwardOnly) return WBEM_E_INVALID_OPERATION;
    const std::lock_guard lock(m_mutex);
    m_position = 0;
    return WBEM_S_NO_ERROR;
  }

  HRESULT STDMETHODCALLTYPE Next(LONG, ULONG count, IWbemClassObject** objects, ULONG* returned) noexcept override {
    if (returned != nullptr) *returned = 0;
    if (objects == nullptr || returned == nullptr || count == 0) return WBEM_E_INVALID_PARAMETER;
    std::fill_n(objects, count, nullptr);
    const std::lock_guard lock(m_mutex);
    for (; *returned < count && m_position < m_reply->objects.size(); ++m_position) {
      m_reply->objects[m_position].CopyTo(&objects[(*returned)++]);
    }
    return Result(*returned, count);
  }

  HRESULT STDMETHODCALLTYPE NextAsync(ULONG count, IWbemObjectSink* sink) noexcept override try {
    if (sink == nullptr || count == 0) return WBEM_E_INVALID_PARAMETER;
    ComPtr<IWbemClassObject> object;
    ULONG taken = 0;
    ULONG returned = 0;
    for (; taken < count && SUCCEEDED(Next(0, 1, object.ReleaseAndGetAddressOf(), &returned)) && returned == 1;
         ++taken) {
      sink->Indicate(1, object.GetAddressOf());
    }
    sink->SetStatus(WBEM_STATUS_COMPLETE, Result(taken, count), nullptr, nullptr);
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject** clone) noexcept override try {
    if (clone == nullptr) return WBEM_E_INVALID_PARAMETER;
    *clone = nullptr;
    if (m_forwardOnly) return WBEM_E_INVALID_OPERATION;
    const std::lock_guard lock(m_mutex);
    *clone = new Enumerator(m_reply, m_forwardOnly, m_position);
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG count) noexcept override {
    const std::lock_guard lock(m_mutex);
    const std::size_t skipped = std::min<std::size_t>(count, m_reply->objects.size() - m_position);
    m_position += skipped;
    return Result(static_cast<ULONG>(skipped), count);
  }

 private:
  /// A failure is told alone, so that a client never has to release objects beside an error.
  HRESULT Result(ULONG taken, ULONG count) const {
    if (taken == count) return WBEM_S_NO_ERROR;
    return taken == 0 && FAILED(m_reply->status) ? m_reply->status : static_cast<HRESULT>(WBEM_S_FALSE);
  }

  const std::shared_ptr<const Reply> m_reply;
  const bool m_forwardOnly;
  std::mutex m_mutex;
  std::size_t m_position;
};

}  // namespace

ComPtr<IEnumWbemClassObject> MakeEnumerator(Reply reply, LONG flags) {
  const bool forwardOnly = (flags & WBEM_FLAG_FORWARD_ONLY) != 0;
  return Make<Enumerator>(std::make_shared<const Reply>(std::move(reply)), forwardOnly);
}

}  // namespace lab
