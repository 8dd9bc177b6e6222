#include "tools/qvrnctl/requests.h"

#include <algorithm>
#include <exception>
#include <memory>

#include "platform/handle.h"
#include "platform/hresult.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/terminal.h"

namespace qvrn {
namespace {

constexpr ULONGLONG kRefreshMs = 500;

unsigned timeoutSeconds = kRequestTimeout;
bool abandoned = false;
RequestRunner runRequest = [](const std::function<void()>& work) { work(); };

// A request at work; its thread and whoever waits for it own it together.
struct Work {
  std::function<HRESULT()> request;
  HRESULT answer = E_UNEXPECTED;
  std::exception_ptr failure;

  void Run() noexcept {
    try {
      answer = request();
    } catch (...) {
      failure = std::current_exception();
    }
  }
};

DWORD WINAPI RunWork(void* parameter) {
  const std::unique_ptr<std::shared_ptr<Work>> work(static_cast<std::shared_ptr<Work>*>(parameter));
  runRequest([&work] { (*work)->Run(); });
  return 0;
}

// Whoever waits for the thread itself, and not for a word of it, finds nothing of it at work afterwards.
KernelHandle Start(const std::shared_ptr<Work>& work) {
  auto owned = std::make_unique<std::shared_ptr<Work>>(work);
  KernelHandle thread(::CreateThread(nullptr, 0, &RunWork, owned.get(), 0, nullptr));
  if (!thread) throw WmiFailed(L"a thread cannot be started", HrFromLastError());
  static_cast<void>(owned.release());  // the thread's own
  return thread;
}

// What the description itself cannot find out leaves the line as it is.
void ShowProgress(ProgressLine& line, const std::function<std::wstring()>& describe) try {
  line.Show(L"qvrnctl: " + describe());
} catch (const ClientError&) {
  return;  // a connection that drops for a moment: the request itself tells how it ended
}

bool WaitUntil(HANDLE thread, ULONGLONG end) {
  const ULONGLONG now = ::GetTickCount64();
  return ::WaitForSingleObject(thread, static_cast<DWORD>(end > now ? end - now : 0)) == WAIT_OBJECT_0;
}

// False when the time is over first.
bool WaitFor(HANDLE thread, ULONGLONG start, const std::function<std::wstring()>& describe) {
  const ULONGLONG end = start + ULONGLONG{timeoutSeconds} * 1000;
  if (!IsConsole(STD_ERROR_HANDLE)) return WaitUntil(thread, end);
  ULONGLONG next = std::min(end, start + 2 * kRefreshMs);
  ProgressLine line;
  while (!WaitUntil(thread, next)) {
    if (next == end) return false;
    ShowProgress(line, describe);
    next = std::min(end, ::GetTickCount64() + kRefreshMs);
  }
  return true;
}

}  // namespace

void SetRequestTimeout(unsigned seconds) noexcept { timeoutSeconds = seconds; }

void SetRequestRunner(RequestRunner runner) noexcept { runRequest = runner; }

HRESULT RunRequest(const std::wstring& subject, const std::function<HRESULT()>& request,
                   const std::function<std::wstring()>& describe) {
  const ULONGLONG start = ::GetTickCount64();
  const auto work = std::make_shared<Work>();
  work->request = request;
  const KernelHandle thread = Start(work);
  const auto describeTime = [&] {
    return subject + L" (" + std::to_wstring((::GetTickCount64() - start) / 1000) + L" s)";
  };
  if (!WaitFor(thread.Get(), start, describe ? describe : describeTime)) {
    abandoned = true;
    constexpr auto kTimedOut = static_cast<HRESULT>(WBEM_E_TIMED_OUT);
    throw ClientError(kExitFailed,
                      subject + L": " + NameOfCode(kTimedOut) + L"; no answer within " +
                          std::to_wstring(timeoutSeconds) + L" seconds; what was asked for may still happen",
                      kTimedOut);
  }
  if (work->failure) std::rethrow_exception(work->failure);
  return work->answer;
}

bool AnyRequestAbandoned() noexcept { return abandoned; }

}  // namespace qvrn
