#include "lab/host/clientcontext.h"

#include "platform/handle.h"
#include "platform/hresult.h"

namespace lab {

// ImpersonateSelf has no way to make an anonymous token; a duplicate of the process token covers all four levels.
HRESULT STDMETHODCALLTYPE ClientContext::ImpersonateClient() noexcept {
  const auto level = static_cast<SECURITY_IMPERSONATION_LEVEL>(m_level - 1);
  qvrn::KernelHandle process;
  qvrn::KernelHandle token;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, process.Put()) ||
      !::DuplicateTokenEx(process.Get(), TOKEN_ALL_ACCESS, nullptr, level, TokenImpersonation, token.Put()) ||
      !::SetThreadToken(nullptr, token.Get())) {
    return qvrn::HrFromLastError();
  }
  m_impersonating = true;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE ClientContext::RevertToSelf() noexcept {
  m_impersonating = false;
  return ::SetThreadToken(nullptr, nullptr) ? S_OK : qvrn::HrFromLastError();
}

}  // namespace lab
