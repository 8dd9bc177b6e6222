#include "lab/wmi/wbemenumerator.h"

#include <algorithm>
#include <utility>

#include "lab/unknown.h"
#include "platform/hresult.h"

namespace lab {
namespace {

class Enumerator final : public Unknown<IEnumWbemClassObject> {
 public:
  explicit Enumerator(Reply reply, std::size_t position = 0) : m_reply(std::move(reply)), m_position(position) {}

  HRESULT STDMETHODCALLTYPE Reset() noexcept override {
    m_position = 0;
    return WBEM_S_NO_ERROR;
  }

  HRESULT STDMETHODCALLTYPE Next(LONG, ULONG count, IWbemClassObject** objects, ULONG* returned) noexcept override {
    if (returned != nullptr) *returned = 0;
    if (objects == nullptr || returned == nullptr || count == 0) return WBEM_E_INVALID_PARAMETER;
    std::fill_n(objects, count, nullptr);
    for (; *returned < count && m_position < m_reply.objects.size(); ++m_position) {
      m_reply.objects[m_position].CopyTo(&objects[(*returned)++]);
    }
    return Result(*returned, count);
  }

  HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG count) noexcept override {
    const std::size_t skipped = std::min<std::size_t>(count, m_reply.objects.size() - m_position);
    m_position += skipped;
    return Result(static_cast<ULONG>(skipped), count);
  }

  HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject** clone) noexcept override try {
    if (clone == nullptr) return WBEM_E_INVALID_PARAMETER;
    *clone = nullptr;
    *clone = new Enumerator(m_reply, m_position);
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return qvrn::HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE NextAsync(ULONG, IWbemObjectSink*) noexcept override { return WBEM_E_NOT_SUPPORTED; }

 private:
  /// A failure is told alone, so that a client never has to release objects beside an error.
  HRESULT Result(ULONG taken, ULONG count) const {
    if (taken == count) return WBEM_S_NO_ERROR;
    return taken == 0 && FAILED(m_reply.status) ? m_reply.status : static_cast<HRESULT>(WBEM_S_FALSE);
  }

  const Reply m_reply;
  std::size_t m_position;
};

}  // namespace

Microsoft::WRL::ComPtr<IEnumWbemClassObject> MakeEnumerator(Reply reply) { return Make<Enumerator>(std::move(reply)); }

}  // namespace lab
