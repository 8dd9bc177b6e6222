#include "tests/scenario/events.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <utility>

namespace scenario {
namespace {

struct Failure {
  std::string name;
  std::string part;
  std::uint32_t code;
  int skip;
  int times;
  std::function<void()> action;  ///< instead of the failure
  bool used = false;
};

std::mutex g_lock;
std::vector<Event> g_events;
std::vector<Failure> g_failures;
std::atomic<int> g_calls{0};
std::atomic<int> g_failingCall{0};
thread_local bool t_observed = false;

}  // namespace

void Note(std::string_view kind, std::string_view name, std::string text) {
  const Observation unobserved(false);
  const std::lock_guard guard(g_lock);
  g_events.push_back({std::string(kind), std::string(name), std::move(text)});
}

std::vector<Event> TakeEvents() {
  const std::lock_guard guard(g_lock);
  return std::exchange(g_events, {});
}

bool IsObserved() noexcept { return t_observed; }

Observation::Observation(bool observed) noexcept : m_before(std::exchange(t_observed, observed)) {}
Observation::~Observation() { t_observed = m_before; }

void FailCalls(std::string name, std::string part, std::uint32_t code, int skip, int times) {
  const std::lock_guard guard(g_lock);
  g_failures.push_back({std::move(name), std::move(part), code, skip, times, nullptr, false});
}

void BeforeCalls(std::string name, std::string part, int skip, int times, std::function<void()> action) {
  const std::lock_guard guard(g_lock);
  g_failures.push_back({std::move(name), std::move(part), 0, skip, times, std::move(action), false});
}

void FailCallNumber(int number) {
  g_calls = 0;
  g_failingCall = number;
}

int ObservedCalls() { return g_calls; }

std::vector<std::string> ForgetFailures() {
  const std::lock_guard guard(g_lock);
  std::vector<std::string> unused;
  for (const Failure& failure : g_failures) {
    if (!failure.used) unused.push_back(failure.name + " " + failure.part);
  }
  g_failures.clear();
  return unused;
}

std::optional<std::uint32_t> FailureOf(std::string_view name, std::string_view text) {
  // Functions of the registry fail with Win32 codes, the others with what is a failure for all of them.
  if (++g_calls == g_failingCall) return name.starts_with("Reg") ? ERROR_ACCESS_DENIED : E_FAIL;
  std::unique_lock guard(g_lock);
  for (Failure& failure : g_failures) {
    if (failure.name != name || text.find(failure.part) == std::string_view::npos) continue;
    if (failure.skip-- > 0 || failure.times <= 0) continue;
    --failure.times;
    failure.used = true;
    if (!failure.action) return failure.code;
    const std::function<void()> action = failure.action;
    guard.unlock();
    action();
    return std::nullopt;
  }
  return std::nullopt;
}

std::string Utf8(std::wstring_view text) {
  const int chars = static_cast<int>(text.size());
  std::string utf8(text.size() * 3, '\0');
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), chars, utf8.data(), static_cast<int>(utf8.size()),
                                          nullptr, nullptr);
  utf8.resize(static_cast<std::size_t>(bytes));
  return utf8;
}

std::wstring Wide(std::string_view utf8) {
  const int bytes = static_cast<int>(utf8.size());
  std::wstring text(utf8.size(), L'\0');
  const int chars = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, text.data(), bytes);
  text.resize(static_cast<std::size_t>(chars));
  return text;
}

std::string Hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(number));
  return text;
}

std::string Quoted(const wchar_t* text) {
  if (text == nullptr) return "(null)";
  std::string quoted = "\"";
  for (const char c : Utf8(text)) {
    if (c == '\n') {
      quoted += "\\n";
    } else if (c == '\t' || c == '\r') {
      quoted += c == '\t' ? "\\t" : "\\r";
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

}  // namespace scenario
