// Runs every test in the multithreaded apartment, as the WMI service runs a provider, with the lab's network
// configuration as COM's.
#include <netcfgx.h>
#include <objbase.h>

#include <gmock/gmock.h>

#include "lab/netcfg/netcfg.h"
#include "tests/support/crashexit.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  tests::EndOnCrash();
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  DWORD registration = 0;
  ::CoRegisterClassObject(CLSID_CNetCfg, lab::NetCfgClassFactory(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &registration);
  return RUN_ALL_TESTS();
}
