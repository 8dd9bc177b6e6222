#include "platform/assertion.h"

#include <atomic>

// The runtime's report, declared by hand: <assert.h> says that it never returns, and a compiler that believes that
// drops the code behind a dismissed report.
extern "C" __declspec(dllimport) void __cdecl _assert(const char* expression, const char* file, unsigned line);

namespace qvrn {
namespace {

void ReportToRuntime(const char* expression, const char* file, unsigned line) { _assert(expression, file, line); }

std::atomic<AssertionReporter> g_reporter{ReportToRuntime};

}  // namespace

AssertionReporter SetAssertionReporter(AssertionReporter reporter) noexcept { return g_reporter.exchange(reporter); }

void ReportAssertion(const char* expression, const char* file, unsigned line) noexcept {
  g_reporter.load()(expression, file, line);
}

}  // namespace qvrn
