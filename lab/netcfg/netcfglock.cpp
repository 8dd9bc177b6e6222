#include "lab/netcfg/netcfglock.h"

#include <algorithm>

#include "lab/labkey.h"
#include "platform/boundedtext.h"
#include "platform/hresult.h"

namespace lab {
namespace {

constexpr DWORD kPollMilliseconds = 10;

std::wstring LockPath() {
  wchar_t folder[MAX_PATH + 1] = {};
  ::GetTempPathW(MAX_PATH + 1, folder);
  return folder + (L"qvrn-" + LabText(L"Machine", L"lab") + L".lock");
}

/// The name that the holder wrote; empty when it has not come to that yet, or has just let go.
std::wstring HolderName(const std::wstring& path) {
  const qvrn::FileHandle file(::CreateFileW(path.c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  wchar_t name[qvrn::kPathChars] = {};
  DWORD bytes = 0;
  if (file) ::ReadFile(file.Get(), name, sizeof(name) - sizeof(wchar_t), &bytes, nullptr);
  return name;
}

bool IsHeldByAnother(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED || error == ERROR_DELETE_PENDING;
}

}  // namespace

HRESULT WriteLock::TryTake(const std::wstring& client, std::wstring& holder) {
  holder = LabText(L"ForeignLock", L"");
  if (!holder.empty()) return S_FALSE;
  const std::wstring path = LockPath();
  m_file.Reset(::CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                             FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  if (!m_file) {
    const DWORD error = ::GetLastError();
    holder = HolderName(path);
    return IsHeldByAnother(error) ? S_FALSE : qvrn::HrFromWin32(static_cast<LONG>(error));
  }
  DWORD written = 0;
  ::SetEndOfFile(m_file.Get());
  ::WriteFile(m_file.Get(), client.data(), static_cast<DWORD>(client.size() * sizeof(wchar_t)), &written, nullptr);
  return S_OK;
}

HRESULT WriteLock::Acquire(DWORD timeout, const std::wstring& client, std::wstring& holder) {
  if (IsHeld()) return S_OK;
  const ULONGLONG start = ::GetTickCount64();
  const ULONGLONG wait = std::min(timeout, LabNumber(L"LockWait", timeout));
  for (;;) {
    const HRESULT hr = TryTake(client, holder);
    const ULONGLONG waited = ::GetTickCount64() - start;
    if (hr != S_FALSE || waited >= wait) return hr;
    ::Sleep(static_cast<DWORD>(std::min<ULONGLONG>(kPollMilliseconds, wait - waited)));
  }
}

}  // namespace lab
