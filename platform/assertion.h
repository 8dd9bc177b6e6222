// Assertions that stay active in the shipped build. Each reports a literal expression text and a literal source name
// that people search logs for; neither follows from how the code happens to be written.
#pragma once

#include <cstdint>

namespace qvrn {

/// Receives a failed assertion. May return: the code after every check goes on as if the check had passed.
using AssertionReporter = void (*)(const char* expression, const char* file, unsigned line);

/// Replaces the reporter of the process, and gives the one that it replaced. Null, as at first: the machine chooses
/// when the next report is due. That is the runtime's _assert, which ends the process unless somebody dismisses it, or,
/// where the REG_SZ value `Assertions` below HKLM\SOFTWARE\Quorvane is "log", the application event log and the
/// debugger.
AssertionReporter SetAssertionReporter(AssertionReporter reporter) noexcept;

/// The event source, and the event that stands for a report; its text is in the message table of the DLL.
inline constexpr wchar_t kEventSource[] = L"QvrnWmiProvider";
inline constexpr std::uint32_t kAssertionEvent = 0xC0000001;

/// Reports a failed assertion to the reporter in force.
void ReportAssertion(const char* expression, const char* file, unsigned line) noexcept;

/// What a failed HRESULT is reported as.
inline constexpr char kHresultExpression[] = "(((HRESULT)(hr)) >= 0)";

}  // namespace qvrn

/// Reports `text` from source `file` (without extension) unless `condition` holds.
#define QVRN_CHECK(condition, text, file) \
  ((condition) ? static_cast<void>(0) : ::qvrn::ReportAssertion((text), (file), __LINE__))

/// Reports the standard text for a failed HRESULT.
#define QVRN_CHECK_HRESULT(hr, file) QVRN_CHECK((hr) >= 0, ::qvrn::kHresultExpression, (file))
