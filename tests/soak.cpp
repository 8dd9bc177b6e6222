// qvrnsoak enumerations|vlans ROUNDS: enumerates, or creates and deletes a VLAN, again and again, and compares what the
// process holds after the first fifty rounds with what it holds at the end: handles, live COM objects, busy bytes of
// every heap; and what the registry says.
#include <objbase.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "lab/labkey.h"
#include "lab/netcfg/netcfg.h"
#include "lab/wmi/classobject.h"
#include "mux/notifyob/cmuxvlanminiport.h"
#include "tests/support/crashexit.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/vlanmachine.h"

namespace {

constexpr int kWarmUpRounds = 50;
// Some of a heap's bytes belong to whatever thread ran last; a leak of one byte a round is more than this.
constexpr std::size_t kHeapTolerance = 256;
constexpr std::uintptr_t kHighestHandle = 0x8000;
// A lock gets a handle of its own when two threads first meet at it, which may be late. A leak is one per round.
constexpr DWORD kHandleTolerance = 4;

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

// Handles that are open. The platform's own count is 0 on the test bed, so every number that a handle may have is
// tried; free numbers are used again, lowest first.
DWORD OpenHandles() {
  DWORD open = 0;
  DWORD flags = 0;
  for (std::uintptr_t number = 4; number < kHighestHandle; number += 4) {
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(number), &flags)) ++open;
  }
  return open;
}

Holdings Measure() {
  Holdings holdings;
  holdings.handles = OpenHandles();
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

// What a round may leave behind by design.
struct Allowance {
  long objects;
  std::size_t bytes;
};

// A kind of work, prepared by its constructor.
class Scenario {
 public:
  virtual ~Scenario() = default;
  virtual tests::Machine& Machine() = 0;
  virtual void Round() = 0;
  virtual Allowance PerRound() const = 0;
};

class Enumerations final : public Scenario {
 public:
  Enumerations() {
    m_machine.AddUsualAdapter(7);
    m_machine.AddUsualAdapter(12);
  }
  tests::Machine& Machine() override { return m_machine; }
  void Round() override {
    if (m_provider.Enumerate(L"QvrnEN_NetworkAdapterConfiguration").sink.objects.size() != 2) std::exit(1);
  }
  Allowance PerRound() const override { return {0, 0}; }

 private:
  tests::Machine m_machine;
  tests::Provider m_provider;
};

class Vlans final : public Scenario {
 public:
  tests::Machine& Machine() override { return m_machine; }
  void Round() override {
    m_client.Put({L"7", L"Soak", 10});
    const std::wstring key = m_client.KeyOf(10);
    if (key.empty() || m_client.provider.Delete(tests::VlanClient::Path(key).c_str()).result.value != S_OK)
      std::exit(1);
  }
  // Each add keeps its miniport object, and that the network configuration object that it was made with.
  Allowance PerRound() const override { return {1, sizeof(qvrn::CMuxVlanMiniport) + 384}; }

 private:
  tests::VlanMachine m_machine;
  tests::VlanClient m_client;
};

void RunRounds(Scenario& scenario, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    scenario.Round();
    tests::TestNamespace::Instance().Reset();
    tests::TakeDebugOutput();
    tests::TakeClassInstallParams();
  }
}

// Whether the process and the machine hold no more after `rounds` than before, but for what is kept by design.
bool RunsWithoutGrowth(Scenario& scenario, int rounds) {
  tests::Machine& machine = scenario.Machine();
  machine.WriteText(lab::kLabKey, L"Journal", L"");
  RunRounds(scenario, kWarmUpRounds);
  const tests::Snapshot registry = machine.Registry();
  const Holdings before = Measure();
  RunRounds(scenario, rounds);
  const Holdings after = Measure();
  Print("after the first fifty", before);
  Print("at the end", after);
  const Allowance allowance = scenario.PerRound();
  return after.handles <= before.handles + kHandleTolerance &&
         after.objects <= before.objects + allowance.objects * rounds &&
         after.heapBytes <= before.heapBytes + allowance.bytes * static_cast<std::size_t>(rounds) + kHeapTolerance &&
         machine.Registry() == registry;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc > 1 ? argv[1] : "";
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 0;
  if (rounds <= 0 || (kind != "enumerations" && kind != "vlans")) {
    std::fprintf(stderr, "usage: qvrnsoak enumerations|vlans ROUNDS\n");
    return 2;
  }
  tests::EndOnCrash();
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  DWORD registration = 0;
  ::CoRegisterClassObject(CLSID_CNetCfg, lab::NetCfgClassFactory(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &registration);
  std::unique_ptr<Scenario> scenario;
  if (kind == "vlans") {
    scenario = std::make_unique<Vlans>();
  } else {
    scenario = std::make_unique<Enumerations>();
  }
  const bool steady = RunsWithoutGrowth(*scenario, rounds);
  std::printf("%d rounds of %s %s growth\n", rounds, kind.c_str(), steady ? "without" : "with");
  return steady ? 0 : 1;
}
