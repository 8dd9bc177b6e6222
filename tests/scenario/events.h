// What somebody outside sees of the code under observation, in one ordered list: calls on the platform, on sinks and on
// the namespace, traces, printed lines, assertions, boxes.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "lab/widetext.h"

namespace scenario {

struct Event {
  std::string kind;  ///< what scenarios choose by, e.g. "sink"
  std::string name;  ///< of a call its function, e.g. "INetCfg::Apply"; else empty
  std::string text;  ///< UTF-8
};

/// Appends an event; any thread.
void Note(std::string_view kind, std::string_view name, std::string text);
std::vector<Event> TakeEvents();

/// Whether the calling thread runs code under observation: only its own calls are noted and made to fail.
bool IsObserved() noexcept;

/// While it lives, the calling thread is (or is not) under observation.
class Observation {
 public:
  explicit Observation(bool observed) noexcept;
  ~Observation();
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;

 private:
  bool m_before;
};

/// Lets calls fail: those whose function is `name` and whose noted text contains `part`, after the first `skip`, `times`
/// of them, with `code` (Win32 code, HRESULT; what it means depends on the function). With an action they do not fail;
/// it is done, unobserved, before them: what others do at the wrong moment. Until ForgetFailures.
void FailCalls(std::string name, std::string part, std::uint32_t code, int skip, int times,
               std::function<void()> action = nullptr);
/// The `number`th observed call from now on fails, whatever it is, the way its function fails; 0: none.
void FailCallNumber(int number);
/// The function of the call that failed by its number; empty when none has.
std::string FailedCall();
/// Observed calls since FailCallNumber.
int ObservedCalls();
/// Gives those that have failed no call.
std::vector<std::string> ForgetFailures();
/// The code that this call has to fail with.
std::optional<std::uint32_t> FailureOf(std::string_view name, std::string_view text);

using lab::Utf8;
using lab::Wide;
/// A table of rows.
template <typename... Rows>
std::array<std::common_type_t<Rows...>, sizeof...(Rows)> ListOf(Rows... rows) {
  return {rows...};
}

/// 0x8004A024.
std::string Hex(std::uint32_t number);
/// Text in quotes, control characters escaped; (null) for none.
std::string Quoted(const wchar_t* text);

}  // namespace scenario
