#include "tests/scenario/events.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <map>
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

const std::map<char, const char*> kEscapes = {{'\n', "\\n"}, {'\t', "\\t"}, {'\r', "\\r"}};

std::mutex g_lock;
std::vector<Event> g_events;
std::vector<Failure> g_failures;
std::atomic<int> g_calls{0};
std::atomic<int> g_failingCall{0};
std::string g_failedCall;
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

void FailCalls(std::string name, std::string part, std::uint32_t code, int skip, int times,
               std::function<void()> action) {
  const std::lock_guard guard(g_lock);
  g_failures.push_back({std::move(name), std::move(part), code, skip, times, std::move(action), false});
}

void FailCallNumber(int number) {
  const std::lock_guard guard(g_lock);
  if (number != 0) g_failedCall.clear();
  g_calls = 0;
  g_failingCall = number;
}

int ObservedCalls() { return g_calls; }

std::string FailedCall() {
  const std::lock_guard guard(g_lock);
  return g_failedCall;
}

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
  if (++g_calls == g_failingCall) {
    g_failedCall = name;
    return name.starts_with("Reg") ? ERROR_ACCESS_DENIED : E_FAIL;
  }
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

std::string Hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(number));
  return text;
}

std::string Quoted(const wchar_t* text) {
  if (text == nullptr) return "(null)";
  std::string quoted = "\"";
  for (const char c : Utf8(text)) {
    const auto escape = kEscapes.find(c);
    quoted += escape == kEscapes.end() ? std::string(1, c) : escape->second;
  }
  return quoted + "\"";
}

}  // namespace scenario
