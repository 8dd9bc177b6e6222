// qvrnsoak ROUNDS: enumerates again and again, and compares what the process holds after the first fifty rounds with what
// it holds at the end: handles, live COM objects, busy bytes of every heap.
#include <netcfgx.h>
#include <objbase.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "lab/classobject.h"
#include "lab/labkey.h"
#include "lab/netcfg.h"
#include "tests/support/crashexit.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"

namespace {

constexpr int kWarmUpRounds = 50;
// Some of a heap's bytes belong to whatever thread ran last; a leak of one byte a round is more than this.
constexpr std::size_t kHeapTolerance = 256;

struct Holdings {
  DWORD handles = 0;
  long objects = 0;
  std::size_t heapBytes = 0;
};

std::size_t BusyBytes(HANDLE heap) {
  std::size_t bytes = 0;
  PROCESS_HEAP_ENTRY entry = {};
  ::HeapLock(heap);
  while (::HeapWalk(heap, &entry)) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  }
  ::HeapUnlock(heap);
  return bytes;
}

Holdings Measure() {
  Holdings holdings;
  ::GetProcessHandleCount(::GetCurrentProcess(), &holdings.handles);
  holdings.objects = lab::LiveClassObjects() + lab::LiveNetCfgObjects();
  HANDLE heaps[64];
  const DWORD count = std::min<DWORD>(::GetProcessHeaps(64, heaps), 64);
  for (DWORD index = 0; index < count; ++index) holdings.heapBytes += BusyBytes(heaps[index]);
  return holdings;
}

void Print(const char* when, const Holdings& holdings) {
  std::printf("%s: %lu handles, %ld objects, %zu bytes\n", when, holdings.handles, holdings.objects,
              holdings.heapBytes);
}

void RunRounds(const tests::Provider& provider, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    if (provider.Enumerate(L"QvrnEN_NetworkAdapterConfiguration").sink.objects.size() != 2) std::exit(1);
    tests::TakeDebugOutput();
    tests::TestNamespace::Instance().Reset();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 300;
  tests::EndOnCrash();
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  DWORD registration = 0;
  ::CoRegisterClassObject(CLSID_CNetCfg, lab::NetCfgClassFactory(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &registration);
  tests::Machine machine;
  machine.WriteText(lab::kLabKey, L"Journal", L"");
  machine.AddUsualAdapter(7);
  machine.AddUsualAdapter(12);
  const tests::Provider provider;
  RunRounds(provider, kWarmUpRounds);
  const Holdings before = Measure();
  RunRounds(provider, rounds);
  const Holdings after = Measure();
  Print("after the first fifty", before);
  Print("at the end", after);
  if (after.handles > before.handles || after.objects > before.objects ||
      after.heapBytes > before.heapBytes + kHeapTolerance) {
    std::printf("%d rounds with growth\n", rounds);
    return 1;
  }
  std::printf("%d rounds without growth\n", rounds);
  return 0;
}
