// qvrnbench [ROUNDS]: what requests to the provider cost on the lab's machine, as a table. Each row: the time of a
// request and that of its floor, the same calls on the registry and on the network configuration in a bare loop; and
// how many of them there are. Runs in an installed lab; docs/performance.md explains the table.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/boundedtext.h"
#include "platform/registrykey.h"
#include "tests/bench/recording.h"
#include "tests/support/crashexit.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/wmiclient.h"

namespace {

using qvrn::WmiObject;

constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}\\";
constexpr wchar_t kAdapterClass[] = L"QvrnEN_NetworkAdapterConfiguration";
constexpr wchar_t kVlanClass[] = L"QvrnEN_VLAN";
constexpr std::size_t kServedAdapters = 2;
constexpr DWORD kOtherAdapters = 8;
constexpr int kUsualRounds = 9;

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// --- The machine ---------------------------------------------------------------------------------------------------

/// Network adapters of another maker, as every machine has them: what the system makes for dial-up and tunnels.
void AddOtherAdapters() {
  for (DWORD index = 0; index < kOtherAdapters; ++index) {
    wchar_t text[qvrn::kTextChars];
    qvrn::RegistryKey key;
    qvrn::FormatText(text, L"%s%04u", kClassKey, 100 + index);
    key.Create(HKEY_LOCAL_MACHINE, text, KEY_WRITE);
    qvrn::FormatText(text, L"{%08X-0000-0000-0000-000000000000}", 100 + index);
    key.WriteText(L"NetCfgInstanceId", text);
    key.WriteText(L"ComponentId", L"oth3\\miniport");
    key.WriteText(L"DeviceInstanceID", L"ROOT\\OTH3_MINIPORT\\0000");
  }
}

DWORD AdapterKeys() {
  qvrn::RegistryKey key;
  DWORD keys = 0;
  key.Open(HKEY_LOCAL_MACHINE, kClassKey, KEY_READ);
  key.CountSubkeys(keys);
  return keys;
}

// --- Requests ------------------------------------------------------------------------------------------------------

/// What a client asks for. Each request is checked, so that no row shows what failed early.
class Client {
 public:
  void ListAdapters() const { Require(List(kAdapterClass) == kServedAdapters, "adapters are missing"); }
  void GetAdapter() const { m_wmi.Fetch(std::wstring(kAdapterClass) + L".SettingID=\"7\"", L"adapter 7"); }
  void ListVlans(std::size_t expected) const { Require(List(kVlanClass) == expected, "VLANs are missing"); }

  void CreateVlan(LONG number) const {
    WmiObject instance;
    qvrn::FetchClass(m_wmi, kVlanClass)->SpawnInstance(0, &instance);
    qvrn::WriteProperty(instance.Get(), L"ParentDeviceID", L"7");
    qvrn::WriteProperty(instance.Get(), L"VLANName", L"VLAN " + std::to_wstring(number));
    qvrn::WriteProperty(instance.Get(), L"VLANNumber", number);
    Require(SUCCEEDED(m_wmi.Put(instance.Get(), WBEM_FLAG_CREATE_OR_UPDATE)), "a VLAN was not created");
  }
  void DeleteVlan(const std::wstring& path) const { Require(SUCCEEDED(m_wmi.Delete(path)), "a VLAN was not deleted"); }
  /// Path of the VLAN with this number.
  std::wstring Find(LONG number) const {
    for (const WmiObject& vlan : qvrn::ListInstances(m_wmi, kVlanClass)) {
      if (qvrn::ReadProperty(vlan.Get(), L"VLANNumber") != qvrn::Value(std::int64_t{number})) continue;
      return kVlanClass + (L".Name=\"" + std::get<std::wstring>(qvrn::ReadProperty(vlan.Get(), L"Name"))) + L"\"";
    }
    throw std::runtime_error("a VLAN was not created");
  }

 private:
  std::size_t List(const wchar_t* className) const { return qvrn::ListInstances(m_wmi, className).size(); }

  qvrn::WmiClient m_wmi{L"", L"root\\cimv2"};
};

// --- Measuring -----------------------------------------------------------------------------------------------------

using Action = std::function<void()>;

struct Request {
  std::string name;
  Action send;
  Action prepare = [] {};  ///< outside of what is measured
};

double Milliseconds(const Action& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

struct Row {
  const Request* request;
  bench::Recording recording;
  std::vector<double> times;
  std::vector<double> floors;
};

void Print(const Row& row, DWORD keys) {
  const double time = Median(row.times);
  const double floor = Median(row.floors);
  std::printf("| %s | %lu | %.1f | %.1f | %.2f | %zu | %zu | %zu |\n", row.request->name.c_str(), keys, time, floor,
              time / floor, bench::Count(row.recording, L"Reg"), bench::Count(row.recording, L"RegEnumKeyExW"),
              bench::Count(row.recording, L"INetCfg") + bench::Count(row.recording, L"IEnumNetCfg"));
  std::fflush(stdout);
}

/// Measures requests that together leave the machine as it was, and prints a row for each. The first round, in which
/// the provider is loaded and everything comes into caches, does not count.
void Measure(const std::vector<Request>& cycle, int rounds) {
  const DWORD keys = AdapterKeys();
  std::vector<Row> rows;
  for (const Request& request : cycle) {
    request.prepare();
    request.send();
  }
  for (const Request& request : cycle) {
    request.prepare();
    rows.push_back({&request, bench::Record(request.send), {}, {}});
  }
  for (int round = 0; round < rounds; ++round) {
    for (Row& row : rows) {
      row.request->prepare();
      row.times.push_back(Milliseconds(row.request->send));
    }
    for (Row& row : rows) row.floors.push_back(Milliseconds([&row] { bench::Replay(row.recording); }));
  }
  for (const Row& row : rows) Print(row, keys);
}

void MeasureAll(int rounds) {
  const Client client;
  std::wstring path;
  const auto createAndDelete = [&](const char* which, LONG number) {
    Measure({{std::string("create ") + which, [&client, number] { client.CreateVlan(number); }},
             {std::string("delete ") + which, [&client, &path] { client.DeleteVlan(path); },
              [&client, &path, number] { path = client.Find(number); }}},
            rounds);
  };
  std::printf("| request | adapter keys | ms | floor, ms | ratio | registry calls | keys listed | INetCfg calls |\n");
  std::printf("|---|--:|--:|--:|--:|--:|--:|--:|\n");
  Measure({{"enumerate 2 adapters", [&client] { client.ListAdapters(); }}}, rounds);
  Measure({{"get 1 adapter", [&client] { client.GetAdapter(); }}}, rounds);
  createAndDelete("the only VLAN", 1);
  LONG vlans = 0;
  for (const LONG wanted : {1, 8, 32}) {
    while (vlans < wanted) client.CreateVlan(++vlans);
    const auto list = [&client, vlans] { client.ListVlans(static_cast<std::size_t>(vlans)); };
    Measure({{"enumerate VLANs: " + std::to_string(vlans), list}}, rounds);
  }
  createAndDelete("a 33rd VLAN", 33);
}

}  // namespace

int main(int argc, char** argv) try {
  tests::EndOnCrash();
  const int rounds = argc > 1 ? std::atoi(argv[1]) : kUsualRounds;
  if (rounds <= 0) {
    std::fprintf(stderr, "usage: qvrnbench [ROUNDS]\n");
    return 2;
  }
  const qvrn::ComRuntime com;
  bench::SwitchJournal(false);
  AddOtherAdapters();
  MeasureAll(rounds);
  return 0;
} catch (const qvrn::ClientError& error) {
  std::fprintf(stderr, "qvrnbench: %ls\n", error.Message().c_str());
  return 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "qvrnbench: %s\n", error.what());
  return 1;
}
