#include "tools/qvrnctl/requests.h"

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/terminal.h"

namespace qvrn {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRefresh{500};

unsigned timeoutSeconds = kRequestTimeout;
bool abandoned = false;

std::future<HRESULT> Start(const std::function<HRESULT()>& request) {
  std::packaged_task<HRESULT()> task(request);
  std::future<HRESULT> answer = task.get_future();
  std::thread(std::move(task)).detach();
  return answer;
}

std::wstring Elapsed(steady_clock::time_point start) {
  return std::to_wstring(std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start).count()) + L" s";
}

// What the description itself cannot find out leaves the line as it is.
void ShowProgress(ProgressLine& line, const std::function<std::wstring()>& describe) try {
  line.Show(L"qvrnctl: " + describe());
} catch (const ClientError&) {
  return;  // a connection that drops for a moment: the request itself tells how it ended
}

// False when the time is over first.
bool WaitFor(const std::future<HRESULT>& answer, const std::function<std::wstring()>& describe) {
  const auto end = steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  if (!IsConsole(STD_ERROR_HANDLE)) return answer.wait_until(end) == std::future_status::ready;
  auto next = std::min(end, steady_clock::now() + 2 * kRefresh);
  ProgressLine line;
  while (answer.wait_until(next) != std::future_status::ready) {
    if (next == end) return false;
    ShowProgress(line, describe);
    next = std::min(end, steady_clock::now() + kRefresh);
  }
  return true;
}

}  // namespace

void SetRequestTimeout(unsigned seconds) noexcept { timeoutSeconds = seconds; }

HRESULT RunRequest(const std::wstring& subject, const std::function<HRESULT()>& request,
                   const std::function<std::wstring()>& describe) {
  const auto start = steady_clock::now();
  std::future<HRESULT> answer = Start(request);
  const auto describeTime = [&] { return subject + L" (" + Elapsed(start) + L")"; };
  if (!WaitFor(answer, describe ? describe : describeTime)) {
    abandoned = true;
    throw ClientError(kExitFailed,
                      subject + L": " + NameOfCode(static_cast<HRESULT>(WBEM_E_TIMED_OUT)) + L"; no answer within " +
                          std::to_wstring(timeoutSeconds) + L" seconds; what was asked for may still happen",
                      static_cast<HRESULT>(WBEM_E_TIMED_OUT));
  }
  return answer.get();
}

bool AnyRequestAbandoned() noexcept { return abandoned; }

}  // namespace qvrn
