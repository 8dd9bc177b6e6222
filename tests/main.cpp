// Runs every test in the multithreaded apartment, as the WMI service runs a provider, with the lab's network
// configuration as COM's.
#include <objbase.h>
#include <netcfgx.h>

#include <gmock/gmock.h>

#include "lab/netcfg.h"

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
  DWORD registration = 0;
  ::CoRegisterClassObject(CLSID_CNetCfg, lab::NetCfgClassFactory(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &registration);
  return RUN_ALL_TESTS();
}
