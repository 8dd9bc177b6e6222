// qvrnbench [ROUNDS]: what requests to the provider, and commands of the client, cost on the lab's machine, as tables. Each row: the time of a
// request and that of its floor, the provider's platform calls in a bare loop; and how many of them there are. Runs in
// an installed lab; docs/developing/performance.md explains the table.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/commands.h"
#include "bench/recording.h"
#include "platform/boundedtext.h"
#include "platform/registrykey.h"
#include "tests/support/crashexit.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/vlanclient.h"
#include "tools/qvrnctl/wmiclient.h"

namespace {

constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}\\";
constexpr wchar_t kAdapterClass[] = L"QvrnEN_NetworkAdapterConfiguration";
constexpr std::size_t kServedAdapters = 2;
constexpr DWORD kOtherAdapters = 8;
constexpr int kUsualRounds = 15;

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
  void ListAdapters() const {
    Require(qvrn::ListInstances(m_wmi, kAdapterClass).size() == kServedAdapters, "adapters are missing");
  }
  void GetAdapter() const { m_wmi.Fetch(std::wstring(kAdapterClass) + L".SettingID=\"7\"", L"adapter 7"); }
  void ListVlans(std::size_t expected) const {
    Require(qvrn::ListVlans(m_wmi).size() == expected, "VLANs are missing");
  }
  void CreateVlan(LONG number) const {
    const qvrn::Vlan wanted = {L"", L"7", L"VLAN " + std::to_wstring(number), number, 0};
    Require(SUCCEEDED(qvrn::PutVlan(m_wmi, qvrn::PrepareVlan(m_wmi, wanted))), "a VLAN was not created");
  }
  void DeleteVlan(const qvrn::Vlan& vlan) const {
    Require(SUCCEEDED(qvrn::RemoveVlan(m_wmi, vlan)), "a VLAN was not deleted");
  }
  qvrn::Vlan Find(LONG number) const {
    const std::vector<qvrn::Vlan> vlans = qvrn::ListVlans(m_wmi);
    const auto found =
        std::find_if(vlans.begin(), vlans.end(), [=](const auto& vlan) { return vlan.number == number; });
    Require(found != vlans.end(), "a VLAN was not created");
    return *found;
  }

 private:
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

  /// Number of calls whose names start like this.
  std::size_t Count(std::string_view start) const {
    const auto starts = [start](const bench::Call& call) { return call.name.starts_with(start); };
    return static_cast<std::size_t>(std::count_if(recording.begin(), recording.end(), starts));
  }
};

/// Number of calls that differ in name or arguments.
std::size_t CountDistinct(const bench::Recording& recording) {
  std::set<std::pair<std::string, std::wstring>> seen;
  for (const bench::Call& call : recording) seen.emplace(call.name, call.arguments);
  return seen.size();
}

void Print(const Row& row, DWORD keys) {
  const double time = Median(row.times);
  const double floor = Median(row.floors);
  std::printf("| %s | %lu | %.1f | %.1f | %.2f | %zu | %zu | %zu | %zu | %zu |\n", row.request->name.c_str(), keys,
              time, floor, time / floor, row.recording.size(), CountDistinct(row.recording), row.Count("Reg"),
              row.Count("RegEnumKeyExW"), row.Count("INetCfg") + row.Count("IEnumNetCfg"));
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
  std::printf(
      "| request | adapter keys | ms | floor, ms | ratio | calls | needed | registry calls | keys listed | INetCfg "
      "calls |\n");
  std::printf("|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|\n");
  Measure({{"enumerate adapters: 2", [&client] { client.ListAdapters(); }}}, rounds);
  Measure({{"get an adapter", [&client] { client.GetAdapter(); }}}, rounds);
  LONG vlans = 0;
  for (const LONG wanted : {1, 8, 32}) {
    while (vlans < wanted) client.CreateVlan(++vlans);
    const std::string count = std::to_string(vlans);
    Measure({{"enumerate VLANs: " + count, [&] { client.ListVlans(static_cast<std::size_t>(vlans)); }}}, rounds);
    qvrn::Vlan created;
    Measure({{"create one more", [&] { client.CreateVlan(vlans + 1); }},
             {"delete it", [&] { client.DeleteVlan(created); }, [&] { created = client.Find(vlans + 1); }}},
            rounds);
  }
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
  bench::MeasureCommands();
  return 0;
} catch (const qvrn::ClientError& error) {
  std::fprintf(stderr, "qvrnbench: %ls\n", error.Message().c_str());
  return 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "qvrnbench: %s\n", error.what());
  return 1;
}
