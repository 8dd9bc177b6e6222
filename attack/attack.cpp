// qvrnattack [--minutes M] [--seed S] [--repeat WHAT]: attacks the real DLL in the lab, in its own process, from four
// sides: each platform call of each kind of request fails once; hostile paths, values, registry contents and files;
// mixed requests on eight threads while provider objects come and go; and the same work again and again, to see what
// grows. Every failure prints the word that repeats it alone.
#include <netcfgx.h>
#include <objbase.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "attack/holdings.h"
#include "attack/hostile.h"
#include "lab/host/importpatch.h"
#include "lab/netcfg/netcfg.h"
#include "lab/wmi/wbemhost.h"
#include "tests/scenario/events.h"
#include "tests/scenario/interpreter.h"
#include "tests/scenario/platformcalls.h"
#include "tests/support/crashexit.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace attack {
namespace {

using Clock = std::chrono::steady_clock;
using scenario::Interpreter;

struct Figures {
  int positions = 0;
  int inputs = 0;
  std::atomic<int> requests{0};
  int rounds = 0;
  std::atomic<int> failures{0};
};
Figures g_figures;
std::string g_current;
std::atomic<Clock::rep> g_begun{0};

void Complain(const std::string& what) {
  ++g_figures.failures;
  std::printf("FAILURE: %s\n  again with: ./dev attack --repeat \"%s\"\n", what.c_str(), g_current.c_str());
  std::fflush(stdout);
}

// Says what is under attack, so that a crash or a hang is told with it.
void Begin(const std::string& what) {
  g_current = what;
  g_begun = Clock::now().time_since_epoch().count();
}

// Ends the process when one request takes longer than any may.
void WatchForHangs() {
  std::thread([] {
    constexpr std::chrono::seconds kLongest(120);
    for (;;) {
      ::Sleep(1000);
      if (Clock::now().time_since_epoch() - Clock::duration(g_begun) < kLongest) continue;
      Complain("a request does not end");
      ::TerminateProcess(::GetCurrentProcess(), 4);
    }
  }).detach();
}

LONG WINAPI TellCrash(EXCEPTION_POINTERS* exception) {
  char text[80];
  std::snprintf(text, sizeof text, "exception 0x%lX at %p", exception->ExceptionRecord->ExceptionCode,
                exception->ExceptionRecord->ExceptionAddress);
  Complain(text);
  ::TerminateProcess(::GetCurrentProcess(), 3);
  return EXCEPTION_EXECUTE_HANDLER;
}

// --- Requests ------------------------------------------------------------------------------------------------------

// What is seen of these commands, without the commands.
std::string Seen(Interpreter& interpreter, const std::string& commands) {
  std::istringstream lines(interpreter.Replay(commands));
  std::string seen;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("> ")) seen += line + "\n";
  }
  return seen;
}

constexpr char kMachine[] =
    "> machine adapters\n"
    "> parameter 7 *JumboPacket type=int min=1514 max=9014 default=1514\n"
    "> parameter 7 *FlowControl type=enum default=3 enum 0 1 2 3\n";
constexpr char kVlans[] = "> vlan 7 10 Office\n> vlan 7 20 Voice\n> vlan 12 30 Backup\n";

struct Kind {
  const char* name;
  bool withVlans;
  bool changes;
  const char* commands;
};
const Kind kKinds[] = {
    {"list-adapters", false, false, "> enumerate QvrnEN_NetworkAdapterConfiguration\n"},
    {"get-adapter", false, false, "> get QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"\n"},
    {"change-adapter", false, true, "> change QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\" MaxFrameSize=4000\n"},
    {"list-settings", false, false, "> enumerate QvrnEN_NetworkAdapterSetting\n"},
    {"get-setting", false, false,
     "> get QvrnEN_NetworkAdapterSetting.Element=\"Win32_NetworkAdapter.DeviceID=\\\"7\\\"\",Setting=\"\"\n"},
    {"list-vlans", true, false, "> enumerate QvrnEN_VLAN\n"},
    {"get-vlan", true, false, "> get QvrnEN_VLAN.Name=\"{A}\"\n"},
    {"first-vlan", false, true, "> put QvrnEN_VLAN ParentDeviceID=\"7\" VLANName=\"New\" VLANNumber=40\n"},
    {"another-vlan", true, true, "> put QvrnEN_VLAN ParentDeviceID=\"7\" VLANName=\"New\" VLANNumber=40\n"},
    {"change-vlan", true, true,
     "> put QvrnEN_VLAN Name=\"{A}\" ParentDeviceID=\"7\" VLANName=\"New\" VLANNumber=40 VLANPriority=3\n"},
    {"delete-vlan", true, true, "> delete QvrnEN_VLAN.Name=\"{A}\"\n"},
    {"save", true, false, "> method QvrnEN_VLAN SaveVlanConfiguration sFileName=\"<temp>saved.xml\"\n"},
    {"restore", true, true,
     "> file <temp>vlans.xml <r><vlan><ParentId>7</ParentId><Name>A</Name><Id>5</Id><Priority>1</Priority></vlan></r>\n"
     "> method QvrnEN_VLAN RestoreVlanConfiguration sFileName=\"<temp>vlans.xml\"\n"},
};

// After anything at all: a clean listing, the removal of all VLANs, and a VLAN that can be made again.
void CheckMachine(Interpreter& interpreter) {
  Seen(interpreter, "> enumerate QvrnEN_VLAN\n");
  Seen(interpreter,
       "> file <temp>none.xml <none/>\n"
       "> method QvrnEN_VLAN RestoreVlanConfiguration sFileName=\"<temp>none.xml\"\n");
  const std::string none = Seen(interpreter, "> enumerate QvrnEN_VLAN\n");
  if (none.find("indicate") != std::string::npos) Complain("a VLAN outlives the removal of all:\n" + none);
}

// A VLAN can be created and is listed.
void CheckCreation(Interpreter& interpreter) {
  Seen(interpreter, "> put QvrnEN_VLAN ParentDeviceID=\"12\" VLANName=\"After\" VLANNumber=77\n");
  const std::string listed = Seen(interpreter, "> enumerate QvrnEN_VLAN\n");
  if (listed.find("VLANNumber=77") == std::string::npos) Complain("no VLAN can be made any more:\n" + listed);
}

// --- Each call fails once ------------------------------------------------------------------------------------------

void PrepareKind(Interpreter& interpreter, const Kind& kind) {
  Seen(interpreter, kMachine);
  if (kind.withVlans) Seen(interpreter, kVlans);
}

int CountCalls(const Kind& kind) {
  Interpreter interpreter;
  PrepareKind(interpreter, kind);
  scenario::FailCallNumber(0);
  Seen(interpreter, kind.commands);
  return scenario::ObservedCalls();
}

// Where the network configuration cannot be left, its write lock stays with the object that a created VLAN keeps (kept:
// the lock is given back only after that): the machine takes no changes then.
bool KeepsLock() {
  const std::string failed = scenario::FailedCall();
  return failed == "INetCfg::Uninitialize" || failed == "INetCfg::QueryInterface" ||
         failed == "INetCfgLock::ReleaseWriteLock";
}

// A request that changes nothing can be made again on the same machine; after others the machine is looked at and made
// anew.
void FailCalls(const Kind& kind, int first, int last, Clock::time_point end) {
  Interpreter interpreter;
  // What a process opens once is open before handles are counted.
  PrepareKind(interpreter, kind);
  Seen(interpreter, kind.commands);
  CheckMachine(interpreter);
  CheckCreation(interpreter);
  PrepareKind(interpreter, kind);
  const DWORD handles = OpenHandles();
  DWORD locks = 0;
  for (int number = first; number <= last && Clock::now() < end; ++number) {
    Begin("call " + std::string(kind.name) + " " + std::to_string(number));
    ++g_figures.positions;
    scenario::FailCallNumber(number);
    Seen(interpreter, kind.commands);
    scenario::FailCallNumber(0);
    if (KeepsLock()) {
      ++locks;
    } else if (kind.changes || number == last) {
      CheckMachine(interpreter);
      CheckCreation(interpreter);
    }
    if ((kind.changes || KeepsLock()) && number < last) PrepareKind(interpreter, kind);
  }
  // A stretch of a dozen calls that begins cold leaves six more open.
  if (OpenHandles() > handles + 2 * kHandleTolerance + 2 * locks) Complain("handles are lost");
}

/// Calls of one kind of request, by their numbers.
struct Stretch {
  const Kind* kind;
  int first;
  int last;
};

std::vector<Stretch> CountEachCall() {
  constexpr int kAtOnce = 12;
  std::vector<Stretch> stretches;
  int calls = 0;
  for (const Kind& kind : kKinds) {
    const int own = CountCalls(kind);
    std::printf("%s makes %d calls\n", kind.name, own);
    for (int first = 1; first <= own; first += kAtOnce)
      stretches.push_back({&kind, first, std::min(first + kAtOnce - 1, own)});
    calls += own;
  }
  std::printf("%d calls in all\n", calls);
  return stretches;
}

// --- Hostile inputs ------------------------------------------------------------------------------------------------

void SendHostileInputs(unsigned seed) {
  Begin("input " + std::to_string(seed));
  Hostile hostile(seed);
  Interpreter interpreter;
  Seen(interpreter, std::string(kMachine) + kVlans);
  for (int i = 0; i < 20; ++i) {
    const std::string command = hostile.Command();
    ++g_figures.inputs;
    const std::string seen = Seen(interpreter, command);
    if (seen.find("error: a word") != std::string::npos) Complain("not understood: " + command + seen);
  }
  // What the registry calls a team is removed by nobody.
  Seen(interpreter, "> registry-delete <adapters>\\{7}:TeamDeviceName\n");
  CheckMachine(interpreter);
}

// --- Threads -------------------------------------------------------------------------------------------------------

void RunThreads(unsigned seed, Clock::time_point end) {
  Begin("threads " + std::to_string(seed));
  Interpreter machine;
  Seen(machine, std::string(kMachine) + kVlans);
  std::vector<std::thread> threads;
  for (unsigned number = 0; number < 8; ++number) {
    threads.emplace_back([number, seed, end] {
      std::mt19937 random(seed + number);
      scenario::Service service;
      while (Clock::now() < end) {
        g_begun = Clock::now().time_since_epoch().count();
        // Each has provider objects of its own, which come and go.
        if (random() % 4 == 0) service.ReleaseAll();
        RunSomeRequest(service, random);
        ++g_figures.requests;
        scenario::TakeEvents();
      }
      service.ReleaseAll();
    });
  }
  for (std::thread& thread : threads) thread.join();
  CheckMachine(machine);
  CheckCreation(machine);
}

// --- Again and again -----------------------------------------------------------------------------------------------

void RunRounds(int rounds) {
  Begin("rounds " + std::to_string(rounds));
  constexpr int kWarmUp = 20;
  Interpreter interpreter;
  Seen(interpreter, kMachine);
  // The key of the VLAN is in what the listing shows.
  const auto round = [&] {
    std::string commands;
    for (const Kind& kind : kKinds) {
      if (std::string(kind.name).starts_with("list") || std::string(kind.name) == "first-vlan")
        commands += kind.commands;
    }
    Seen(interpreter, commands);
    CheckMachine(interpreter);
    ++g_figures.rounds;
  };
  for (int i = 0; i < kWarmUp; ++i) round();
  const Holdings before = Measure();
  for (int i = 0; i < rounds; ++i) round();
  const Holdings after = Measure();
  std::printf("%d rounds: handles %lu -> %lu, objects %ld -> %ld, bytes %zu -> %zu\n", rounds, before.handles,
              after.handles, before.objects, after.objects, before.heapBytes, after.heapBytes);
  // Each creation keeps its miniport object, and with it a network configuration object.
  if (after.handles > before.handles + kHandleTolerance || after.objects > before.objects + rounds ||
      after.heapBytes > before.heapBytes + kBytesPerCreation * static_cast<std::size_t>(rounds) + kHeapTolerance)
    Complain("something grows");
}

// --- The program ---------------------------------------------------------------------------------------------------

// Short names of GUIDs follow from all that is seen, printed lines included.
int NotePrinted(const char* format, va_list arguments) {
  const scenario::Observation unobserved(false);
  char text[512] = {};
  const int length = ::_vsnprintf(text, sizeof text - 1, format, arguments);
  scenario::Note("printed", "", text);
  return length;
}

void LoadProvider() {
  const HMODULE module = ::LoadLibraryW(L"qvrnwmiprovider.dll");
  if (module == nullptr) {
    std::fputs("qvrnwmiprovider.dll cannot be loaded\n", stderr);
    std::exit(1);
  }
  lab::PatchProviderImports(module);
  for (const scenario::Replacement& replacement : scenario::Replacements())
    lab::PatchImport(module, replacement.function, replacement.with);
  lab::PatchImport(module, "vprintf", reinterpret_cast<void*>(&NotePrinted));
  lab::PatchImport(module, "_assert", reinterpret_cast<void*>(+[](const char*, const char*, unsigned) {}));
  scenario::Service::getClassObject = reinterpret_cast<decltype(scenario::Service::getClassObject)>(
      reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
  IClassFactory* factory = nullptr;
  DWORD registration = 0;
  scenario::Service::getClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory));
  ::CoRegisterClassObject(qvrn::kProviderClassId, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &registration);
  ::CoRegisterClassObject(CLSID_CNetCfg, lab::NetCfgClassFactory(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                          &registration);
}

void Repeat(const std::string& what) {
  std::istringstream words(what);
  std::string side;
  std::string name;
  words >> side;
  if (side == "call") {
    int number = 0;
    words >> name >> number;
    for (const Kind& kind : kKinds) {
      if (name == kind.name) FailCalls(kind, number, number, Clock::time_point::max());
    }
  } else {
    unsigned seed = 0;
    words >> seed;
    if (side == "input") SendHostileInputs(seed);
    if (side == "threads") RunThreads(seed, Clock::now() + std::chrono::seconds(30));
    if (side == "rounds") RunRounds(static_cast<int>(seed));
  }
}

// Shares the time: half to failing calls, a quarter to inputs, the rest to threads and rounds.
void AttackFor(double minutes, unsigned seed) {
  std::mt19937 random(seed);
  std::printf("seed %u, %.1f minutes\n", seed, minutes);
  std::vector<Stretch> stretches = CountEachCall();
  std::shuffle(stretches.begin(), stretches.end(), random);
  const auto begin = Clock::now();
  const auto at = [&](double share) {
    return begin + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(60 * minutes * share));
  };
  for (const auto& [kind, first, last] : stretches) {
    if (Clock::now() > at(0.5)) break;
    FailCalls(*kind, first, last, at(0.5));
  }
  while (Clock::now() < at(0.75)) SendHostileInputs(random());
  RunThreads(random(), at(0.9));
  RunRounds(minutes < 5 ? 30 : 300);
  std::printf("%d positions, %d inputs, %d requests on 8 threads, %d rounds: %d failures\n", g_figures.positions,
              g_figures.inputs, g_figures.requests.load(), g_figures.rounds, g_figures.failures.load());
}

int Run(int count, char** words) {
  double minutes = 2;
  unsigned seed = std::random_device()();
  std::string repeat;
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string option = words[i];
    if (option == "--minutes") minutes = std::stod(words[i + 1]);
    if (option == "--seed") seed = static_cast<unsigned>(std::stoul(words[i + 1]));
    if (option == "--repeat") repeat = words[i + 1];
  }
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  LoadProvider();
  // Hostile names of files without a folder end up here.
  wchar_t folder[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  ::SetCurrentDirectoryW(folder);
  ::SetUnhandledExceptionFilter(TellCrash);
  Begin("start");
  WatchForHangs();
  if (repeat.empty()) {
    AttackFor(minutes, seed);
  } else {
    Repeat(repeat);
  }
  std::puts(g_figures.failures == 0 ? "The attack found nothing." : "The attack found something.");
  std::fflush(stdout);
  // The DLL is not unloaded under threads that may still be ending.
  ::TerminateProcess(::GetCurrentProcess(), g_figures.failures == 0 ? 0 : 1);
  return 0;
}

}  // namespace
}  // namespace attack

// The module under attack has memory of its own.
long scenario::LiveBlocks() noexcept { return 0; }

int main(int count, char** words) { return attack::Run(count, words); }
