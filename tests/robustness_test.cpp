// Where failed checks are reported, and changes at the same time. Short memory, missing objects and other programs at
// the wrong moment are told by scenarios (*/meanwhile.txt, */missing.txt).
#include <condition_variable>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>

#include "lab/wmi/wbemhost.h"
#include "platform/assertion.h"
#include "platform/registrykey.h"
#include "tests/scenario/requests.h"
#include "tests/scenario/sandbox.h"
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

class ConcurrentChanges : public tests::FunctionTest {
 protected:
  using Request = scenario::Service::Request;

  void SetUp() override {
    Tell(
        "machine adapters; vlan 7 10 Office; vlan 7 20 Voice; "
        "method QvrnEN_VLAN SaveVlanConfiguration sFileName=\"<temp>v.xml\"");
    m_service.Create(0);
    qvrn::RegistryKey key;
    std::size_t chars = 0;
    key.Open(HKEY_LOCAL_MACHINE,
             L"SYSTEM\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters\\{00000007-0000-0000-0000-000000000000}",
             KEY_READ);
    ASSERT_EQ(key.ReadMultiString(L"UpperBindings", m_devices, chars), ERROR_SUCCESS);
  }

  /// The instance GUID of the newest VLAN, or of the one before it.
  std::wstring Vlan(int age) const {
    const wchar_t* device = m_devices.data();
    if (age != 0) device += std::wcslen(device) + 1;
    return device + std::wcslen(L"\\Device\\");
  }

  Request UpdateTo30(const std::wstring& guid) {
    const auto instance = m_service.Instance(L"QvrnEN_VLAN", {{L"Name", VT_BSTR, guid, 0},
                                                              {L"ParentDeviceID", VT_BSTR, L"7", 0},
                                                              {L"VLANName", VT_BSTR, guid.substr(0, 9), 0},
                                                              {L"VLANNumber", VT_I4, L"", 30}});
    return [instance](IWbemServices* services, IWbemObjectSink* sink) {
      return services->PutInstanceAsync(instance.Get(), 0, nullptr, sink);
    };
  }
  static Request Delete(const std::wstring& guid) {
    return [path = L"QvrnEN_VLAN.Name=\"" + guid + L"\""](IWbemServices* services, IWbemObjectSink* sink) {
      return services->DeleteInstanceAsync(qvrn::Bstr(path.c_str()).Get(), 0, nullptr, sink);
    };
  }
  Request Restore() {
    const auto file = m_service.InParameters(L"RestoreVlanConfiguration",
                                             {{L"sFileName", VT_BSTR, scenario::Sandbox::Folder() + L"v.xml", 0}});
    return [file](IWbemServices* services, IWbemObjectSink* sink) {
      return services->ExecMethodAsync(qvrn::Bstr(L"QvrnEN_VLAN").Get(), qvrn::Bstr(L"RestoreVlanConfiguration").Get(),
                                       0, nullptr, file.Get(), sink);
    };
  }

  /// Runs both at once. The one that first begins to read the VLANs waits for the other, unless that cannot come; whether
  /// they have met there.
  bool Meet(const Request& one, const Request& other) {
    std::mutex lock;
    std::condition_variable arrived;
    int readers = 0;
    bool met = false;
    scenario::FailCalls("RegQueryValueExW", "InstalledPath", 0, 0, 2, [&] {
      std::unique_lock<std::mutex> guard(lock);
      ++readers;
      arrived.notify_all();
      if (readers == 1) met = arrived.wait_for(guard, std::chrono::seconds(1), [&] { return readers == 2; });
    });
    std::thread first([&] { m_service.Run(one); });
    std::thread second([&] { m_service.Run(other); });
    first.join();
    second.join();
    EXPECT_TRUE(scenario::ForgetFailures().empty()) << "each has read the VLANs";
    return met;
  }

 private:
  scenario::Service m_service;
  std::vector<wchar_t> m_devices;
};

TEST_F(ConcurrentChanges, TwoUpdatesDoNotGiveTwoVlansOneNumber) {
  Meet(UpdateTo30(Vlan(0)), UpdateTo30(Vlan(1)));
  const std::string seen = Tell("enumerate QvrnEN_VLAN");
  EXPECT_NE(seen.find("VLANNumber=30"), std::string::npos) << seen;
  EXPECT_EQ(seen.find("VLANNumber=30"), seen.rfind("VLANNumber=30")) << seen;
}

TEST_F(ConcurrentChanges, ADeletionAndARestoreWaitForOthers) {
  EXPECT_FALSE(Meet(UpdateTo30(Vlan(0)), Delete(Vlan(1))));
  EXPECT_FALSE(Meet(UpdateTo30(Vlan(0)), Restore()));
}

}  // namespace
