#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"

#include <cstring>

#include "platform/boundedtext.h"
#include "platform/handle.h"

namespace qvrn {
namespace {

// Standard rights and every token right up to TOKEN_ADJUST_DEFAULT.
constexpr DWORD kTokenAccess = 0xF00FF;

TOKEN_PRIVILEGES* AsTokenPrivileges(SavedPrivileges& block) noexcept {
  return reinterpret_cast<TOKEN_PRIVILEGES*>(&block);
}

bool OpenToken(DWORD access, KernelHandle& token) noexcept {
  return ::OpenThreadToken(::GetCurrentThread(), access, TRUE, token.Put());
}

bool Adjust(HANDLE token, SavedPrivileges& privileges) noexcept {
  return ::AdjustTokenPrivileges(token, FALSE, AsTokenPrivileges(privileges), 0, nullptr, nullptr);
}

}  // namespace

ImpersonationLevel GetImpersonationLevel() noexcept {
  KernelHandle token;
  if (!OpenToken(TOKEN_QUERY, token)) {
    const DWORD error = ::GetLastError();
    const bool noToken = error == ERROR_NO_IMPERSONATION_TOKEN || error == ERROR_NO_TOKEN;
    return noToken ? ImpersonationLevel::Delegate : ImpersonationLevel::Anonymous;
  }
  SECURITY_IMPERSONATION_LEVEL level = SecurityAnonymous;
  DWORD returned = 0;
  if (!::GetTokenInformation(token.Get(), TokenImpersonationLevel, &level, sizeof level, &returned)) {
    return ImpersonationLevel::Anonymous;
  }
  switch (level) {
    case SecurityIdentification:
      return ImpersonationLevel::Identify;
    case SecurityImpersonation:
      return ImpersonationLevel::Impersonate;
    case SecurityDelegation:
      return ImpersonationLevel::Delegate;
    default:
      return ImpersonationLevel::Anonymous;
  }
}

HRESULT EnableAllPrivileges(SavedPrivileges& block) noexcept {
  KernelHandle token;
  if (!OpenToken(kTokenAccess, token)) return E_FAIL;
  SavedPrivileges work;
  DWORD returned = 0;
  if (!::GetTokenInformation(token.Get(), TokenPrivileges, &work, sizeof work, &returned)) return E_FAIL;
  if (work.count > block.count) {
    block.count = work.count;
    return E_OUTOFMEMORY;
  }
  std::memcpy(&block, &work, returned);
  for (DWORD index = 0; index < work.count; ++index) {
    LUID_AND_ATTRIBUTES& entry = work.entries[index];
    wchar_t name[kPathChars];
    DWORD length = kPathChars;
    ::LookupPrivilegeNameW(nullptr, &entry.Luid, name, &length);
    entry.Attributes |= SE_PRIVILEGE_ENABLED | SE_PRIVILEGE_ENABLED_BY_DEFAULT;
  }
  return Adjust(token.Get(), work) ? S_OK : E_FAIL;
}

HRESULT RestorePrivileges(SavedPrivileges& block) noexcept {
  KernelHandle token;
  return OpenToken(kTokenAccess, token) && Adjust(token.Get(), block) ? S_OK : E_FAIL;
}

}  // namespace qvrn
