#include "tools/qvrnctl/terminal.h"

#include <windows.h>

#include <atomic>

#include "tools/qvrnctl/displaywidth.h"
#include "tools/qvrnctl/output.h"

namespace qvrn {
namespace {

std::atomic<bool> interrupted = false;

BOOL WINAPI TakeInterrupt(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  return interrupted.exchange(true) ? FALSE : TRUE;
}

}  // namespace

bool CanAsk() { return IsConsole(STD_INPUT_HANDLE); }

bool Confirm(const std::wstring& question) {
  WriteErrorText(question + L" [y/N] ");
  wchar_t answer[256] = {};
  DWORD length = 0;
  if (!::ReadConsoleW(::GetStdHandle(STD_INPUT_HANDLE), answer, 256, &length, nullptr) || length == 0) return false;
  return answer[0] == L'y' || answer[0] == L'Y';
}

ProgressLine::~ProgressLine() { Show(L""); }

void ProgressLine::Show(const std::wstring& text) {
  if (text == m_shown) return;
  WriteErrorText(L"\r" + std::wstring(DisplayWidth(m_shown), L' ') + L"\r" + text);
  m_shown = text;
}

InterruptWatch::InterruptWatch() {
  interrupted = false;
  ::SetConsoleCtrlHandler(&TakeInterrupt, TRUE);
}

InterruptWatch::~InterruptWatch() { ::SetConsoleCtrlHandler(&TakeInterrupt, FALSE); }

bool InterruptWatch::IsInterrupted() noexcept { return interrupted; }

}  // namespace qvrn
