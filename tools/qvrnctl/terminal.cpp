#include "tools/qvrnctl/terminal.h"

#include <windows.h>

#include <chrono>
#include <future>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"

namespace qvrn {
namespace {

bool IsTerminal(DWORD stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(stream), &mode) != FALSE;
}

// One line that the next one overwrites.
class ProgressLine {
 public:
  ProgressLine() = default;
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() { Show(L""); }

  void Show(const std::wstring& text) {
    if (text == m_shown) return;
    WriteErrorText(L"\r" + std::wstring(m_shown.size(), L' ') + L"\r" + text);
    m_shown = text;
  }

 private:
  std::wstring m_shown;
};

void ShowProgress(ProgressLine& line, const std::function<std::wstring()>& describe) try {
  line.Show(describe());
} catch (const ClientError&) {
  return;  // a connection that drops for a moment: the action itself tells how it ended
}

}  // namespace

bool CanAsk() { return IsTerminal(STD_INPUT_HANDLE); }

bool Confirm(const std::wstring& question) {
  WriteErrorText(question + L" [y/N] ");
  wchar_t answer[256] = {};
  DWORD length = 0;
  if (!::ReadConsoleW(::GetStdHandle(STD_INPUT_HANDLE), answer, 256, &length, nullptr) || length == 0) return false;
  return answer[0] == L'y' || answer[0] == L'Y';
}

void RunWithProgress(const std::function<void()>& action, const std::function<std::wstring()>& describe) {
  if (!IsTerminal(STD_ERROR_HANDLE)) {
    action();
    return;
  }
  std::future<void> done = std::async(std::launch::async, action);
  {
    ProgressLine line;
    while (done.wait_for(std::chrono::milliseconds(500)) != std::future_status::ready) ShowProgress(line, describe);
  }
  done.get();
}

}  // namespace qvrn
