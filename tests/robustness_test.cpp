// Where failed checks are reported, and changes at the same time. Short memory, missing objects and other programs at
// the wrong moment are told by scenarios (*/meanwhile.txt, */missing.txt).
#include <condition_variable>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>

#include "lab/wmi/wbemhost.h"
#include "platform/assertion.h"
#include "tests/scenario/requests.h"
#include "tests/support/functiontest.h"
#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"

namespace {

// What was reported, and where.
std::vector<std::string> g_reports;
std::string g_eventSource;

HANDLE WINAPI OpenEventSource(const wchar_t*, const wchar_t* source) {
  g_eventSource = scenario::Utf8(source);
  return reinterpret_cast<HANDLE>(1);
}

BOOL WINAPI RecordEvent(HANDLE, WORD type, WORD, DWORD id, void*, WORD texts, DWORD, const wchar_t** inserts, void*) {
  std::ostringstream report;
  report << g_eventSource << ": " << type << ", 0x" << std::hex << id;
  for (WORD index = 0; index < texts; ++index) report << ", " << scenario::Utf8(inserts[index]);
  g_reports.push_back(report.str());
  return TRUE;
}

BOOL WINAPI CloseEventSource(HANDLE) {
  g_reports.emplace_back("closed");
  return TRUE;
}

void __cdecl RecordRuntimeAssertion(const char* expression, const char* file, unsigned line) {
  g_reports.push_back("_assert(" + std::string(expression) + ", " + file + ", " + std::to_string(line) + ")");
}

}  // namespace

extern "C" {
decltype(&::RegisterEventSourceW) __imp_RegisterEventSourceW = OpenEventSource;
decltype(&::ReportEventW) __imp_ReportEventW = RecordEvent;
decltype(&::DeregisterEventSource) __imp_DeregisterEventSource = CloseEventSource;
void(__cdecl* __imp__assert)(const char*, const char*, unsigned) = RecordRuntimeAssertion;
}

namespace {

using Robustness = tests::FunctionTest;

// The machine chooses when the first report is due.
TEST_F(Robustness, AFailedCheckGoesWhereTheMachineSays) {
  const std::vector<std::string> log = {"QvrnWmiProvider: 1, 0xc0000001, bRet == true, common, 7", "closed"};
  const std::vector<std::string> runtime = {"_assert(bRet == true, common, 7)"};
  Tell("machine");
  for (const char* value : {"log", "", "runtime"}) {
    const bool isLog = std::string(value) == "log";
    Tell("registry-set SOFTWARE\\Quorvane:Assertions \"" + std::string(value) + "\"");
    const qvrn::AssertionReporter before = qvrn::SetAssertionReporter(nullptr);
    lab::RunAsClient(2, [] {
      EXPECT_HRESULT(S_OK, ::CoImpersonateClient());
      qvrn::ReportAssertion("bRet == true", "common", 7);
      EXPECT_EQ(qvrn::GetImpersonationLevel(), qvrn::ImpersonationLevel::Identify) << "still the client";
    });
    EXPECT_EQ(std::exchange(g_reports, {}), isLog ? log : runtime);
    EXPECT_EQ(tests::Events("trace"),
              std::vector<std::string>(isLog ? 1 : 0, "\"Assertion failed: bRet == true, file common, line 7\\n\""));
    Tell("registry-delete SOFTWARE\\Quorvane:Assertions");
    qvrn::ReportAssertion("bRet == true", "common", 7);
    EXPECT_EQ(std::exchange(g_reports, {}), isLog ? log : runtime) << "chosen once";
    qvrn::SetAssertionReporter(before);
  }
}

// Each update comes to where it has read the VLANs before it goes on, unless the other one cannot come.
TEST_F(Robustness, TwoUpdatesAtOnceDoNotGiveTwoVlansOneNumber) {
  Tell("machine adapters; vlan 7 10 Office; vlan 7 20 Voice");
  std::mutex lock;
  std::condition_variable arrived;
  int readers = 0;
  scenario::FailCalls("RegQueryValueExW", "InstalledPath", 0, 0, 2, [&] {
    std::unique_lock<std::mutex> guard(lock);
    ++readers;
    arrived.notify_all();
    arrived.wait_for(guard, std::chrono::milliseconds(500), [&] { return readers == 2; });
  });
  scenario::Service service;
  service.Create(0);
  std::vector<std::thread> clients;
  for (const char* name : {"{A}", "{C}"}) {
    const std::wstring guid = scenario::Wide(m_interpreter.aliases.Expand(name));
    const auto instance = service.Instance(L"QvrnEN_VLAN", {{L"Name", VT_BSTR, guid, 0},
                                                            {L"ParentDeviceID", VT_BSTR, L"7", 0},
                                                            {L"VLANName", VT_BSTR, guid.substr(0, 9), 0},
                                                            {L"VLANNumber", VT_I4, L"", 30}});
    clients.emplace_back([&service, instance] {
      service.Run([&instance](IWbemServices* services, IWbemObjectSink* sink) {
        return services->PutInstanceAsync(instance.Get(), 0, nullptr, sink);
      });
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(readers, 2);
  EXPECT_TRUE(scenario::ForgetFailures().empty());
  const std::string seen = Tell("enumerate QvrnEN_VLAN");
  EXPECT_NE(seen.find("VLANNumber=30"), std::string::npos) << seen;
  EXPECT_EQ(seen.find("VLANNumber=30"), seen.rfind("VLANNumber=30")) << seen;
}

}  // namespace
