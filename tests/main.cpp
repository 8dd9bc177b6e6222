// Runs every test in the multithreaded apartment, as the WMI service runs a provider, with the lab's network
// configuration and this program's own copy of the provider as COM's classes.
#include <objbase.h>
#include <olectl.h>
#include <netcfgx.h>

#include <gmock/gmock.h>

#include <wrl/client.h>

#include "lab/netcfg.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace {

// A crash must not end with exit status 0.
LONG WINAPI EndOnCrash(EXCEPTION_POINTERS*) {
  ::TerminateProcess(::GetCurrentProcess(), 3);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  ::SetUnhandledExceptionFilter(EndOnCrash);
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  CO_MTA_USAGE_COOKIE usage = nullptr;
  ::CoIncrementMTAUsage(&usage);
  DWORD registration = 0;
  ::CoRegisterClassObject(CLSID_CNetCfg, lab::NetCfgClassFactory(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &registration);
  Microsoft::WRL::ComPtr<IClassFactory> provider;
  ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&provider));
  ::CoRegisterClassObject(qvrn::kProviderClassId, provider.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &registration);
  return RUN_ALL_TESTS();
}
