#include "lab/host/classinstaller.h"

#include "lab/journal.h"
#include "platform/handle.h"
#include "platform/registrykey.h"

namespace {

constexpr wchar_t kRestartsKey[] = L"SOFTWARE\\QvrnLab\\Restarts";

/// Held while a number is chosen and used: two restarts at the same time get two.
class RestartsLock {
 public:
  RestartsLock() : m_mutex(::CreateMutexW(nullptr, FALSE, L"qvrn-lab-restarts")) {
    ::WaitForSingleObject(m_mutex.Get(), INFINITE);
  }
  RestartsLock(const RestartsLock&) = delete;
  RestartsLock& operator=(const RestartsLock&) = delete;
  ~RestartsLock() { ::ReleaseMutex(m_mutex.Get()); }

 private:
  qvrn::KernelHandle m_mutex;
};

LSTATUS CountRestart(const wchar_t* deviceId) {
  const RestartsLock lock;
  qvrn::RegistryKey key;
  DWORD count = 0;
  LSTATUS status = key.Create(HKEY_LOCAL_MACHINE, kRestartsKey, KEY_QUERY_VALUE | KEY_SET_VALUE);
  if (status == ERROR_SUCCESS) status = key.CountValues(count);
  if (status != ERROR_SUCCESS) return status;
  SYSTEMTIME now = {};
  ::GetSystemTime(&now);
  wchar_t name[qvrn::kTextChars];
  wchar_t text[qvrn::kPathChars];
  qvrn::FormatText(name, L"%04lu", count + 1);
  qvrn::FormatText(text, L"%04u-%02u-%02uT%02u:%02u:%02uZ %s", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
                   now.wSecond, deviceId);
  return key.WriteText(name, text);
}

}  // namespace

extern "C" DWORD WINAPI LabClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device) {
  if (function != DIF_PROPERTYCHANGE || device == nullptr) return ERROR_DI_DO_DEFAULT;
  wchar_t deviceId[qvrn::kPathChars] = {};
  if (::SetupDiGetDeviceInstanceIdW(set, device, deviceId, qvrn::kPathChars, nullptr) == FALSE) return ::GetLastError();
  const LSTATUS status = CountRestart(deviceId);
  lab::Record(lab::kRestart, deviceId);
  return status == ERROR_SUCCESS ? NO_ERROR : static_cast<DWORD>(status);
}
