// The call context of a client: what CoImpersonateClient acts upon.
#pragma once

#include <windows.h>

#include "lab/unknown.h"

namespace lab {

/// Impersonates the process itself at the given level, 1 Anonymous .. 4 Delegate.
class ClientContext final : public Unknown<IServerSecurity> {
 public:
  explicit ClientContext(DWORD level) noexcept : m_level(level) {}

  HRESULT STDMETHODCALLTYPE QueryBlanket(DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**, DWORD*) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE ImpersonateClient() noexcept override;
  HRESULT STDMETHODCALLTYPE RevertToSelf() noexcept override;
  BOOL STDMETHODCALLTYPE IsImpersonating() noexcept override { return m_impersonating ? TRUE : FALSE; }

 private:
  DWORD m_level;
  bool m_impersonating = false;
};

}  // namespace lab
