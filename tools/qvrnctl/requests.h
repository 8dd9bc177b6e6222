// A WMI request that ends in time, and that a person sees working.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace qvrn {

/// In seconds, where nobody says how long to wait.
inline constexpr unsigned kRequestTimeout = 3600;

/// From here on a request is given up after so many seconds.
void SetRequestTimeout(unsigned seconds) noexcept;

/// Runs `request` on a thread of its own and gives what it gives. Meanwhile, where standard error is a terminal, one line
/// shows after a second what `describe` gives, or else `subject` and the time that has passed.
///
/// Throws ClientError (WBEM_E_TIMED_OUT) when the time is over. The request cannot be called back: it goes on, and what
/// it asked for may still happen. So it must own all that it touches.
HRESULT RunRequest(const std::wstring& subject, const std::function<HRESULT()>& request,
                   const std::function<std::wstring()>& describe = {});

/// What runs a request on its thread. Whoever watches requests puts something of its own in place, which calls `work`.
using RequestRunner = void (*)(const std::function<void()>& work);
void SetRequestRunner(RequestRunner runner) noexcept;

/// Whether a request that was given up may still be at work in this process.
bool AnyRequestAbandoned() noexcept;

}  // namespace qvrn
