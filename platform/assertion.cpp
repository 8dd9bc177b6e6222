#include "platform/assertion.h"

#include <windows.h>

#include <atomic>

#include "platform/boundedtext.h"
#include "platform/handle.h"
#include "platform/registrykey.h"

// The runtime's report, declared by hand: <assert.h> says that it never returns, and a compiler that believes that
// drops the code behind a dismissed report.
extern "C" __declspec(dllimport) void __cdecl _assert(const char* expression, const char* file, unsigned line);

namespace qvrn {
namespace {

constexpr wchar_t kMachineKey[] = L"SOFTWARE\\Quorvane";

std::atomic<AssertionReporter> g_reporter{nullptr};

// The process's own identity for a while: what the client of this thread may do has no say in reports.
class OwnIdentity {
 public:
  OwnIdentity() noexcept {
    if (::OpenThreadToken(::GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, m_client.Put())) ::RevertToSelf();
  }
  OwnIdentity(const OwnIdentity&) = delete;
  OwnIdentity& operator=(const OwnIdentity&) = delete;
  ~OwnIdentity() {
    if (m_client) ::SetThreadToken(nullptr, m_client.Get());
  }

 private:
  KernelHandle m_client;
};

void ReportToRuntime(const char* expression, const char* file, unsigned line) { _assert(expression, file, line); }

void ReportToLog(const char* expression, const char* file, unsigned line) {
  wchar_t texts[3][kPathChars];
  FormatText(texts[0], L"%S", expression);
  FormatText(texts[1], L"%S", file);
  FormatText(texts[2], L"%u", line);
  wchar_t message[4 * kPathChars];
  FormatText(message, L"Assertion failed: %s, file %s, line %s\n", texts[0], texts[1], texts[2]);
  ::OutputDebugStringW(message);

  const OwnIdentity identity;
  const HANDLE log = ::RegisterEventSourceW(nullptr, kEventSource);
  if (log == nullptr) return;
  const wchar_t* inserts[] = {texts[0], texts[1], texts[2]};
  ::ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, kAssertionEvent, nullptr, 3, 0, inserts, nullptr);
  ::DeregisterEventSource(log);
}

bool MachineWantsLog() noexcept {
  const OwnIdentity identity;
  RegistryKey key;
  wchar_t text[kTextChars];
  return key.Open(HKEY_LOCAL_MACHINE, kMachineKey, KEY_QUERY_VALUE) == ERROR_SUCCESS &&
         key.ReadText(L"Assertions", text) == ERROR_SUCCESS && SameText(text, L"log");
}

}  // namespace

AssertionReporter SetAssertionReporter(AssertionReporter reporter) noexcept { return g_reporter.exchange(reporter); }

void ReportAssertion(const char* expression, const char* file, unsigned line) noexcept {
  AssertionReporter reporter = g_reporter;
  if (reporter == nullptr) {
    const AssertionReporter wanted = MachineWantsLog() ? ReportToLog : ReportToRuntime;
    if (g_reporter.compare_exchange_strong(reporter, wanted)) reporter = wanted;
  }
  reporter(expression, file, line);
}

}  // namespace qvrn
