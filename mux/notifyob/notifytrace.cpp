#include "mux/notifyob/notifytrace.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace qvrn {
namespace {

constexpr int kFirstDroppedLevel = 6;
constexpr std::size_t kTraceChars = 4096;

void SleepByPlatform(DWORD milliseconds) { ::Sleep(milliseconds); }

std::atomic<Printer> g_printer{nullptr};
std::atomic<Sleeper> g_sleeper{SleepByPlatform};

}  // namespace

void NotifyTrace(int level, const wchar_t* format, ...) noexcept {
  if (level >= kFirstDroppedLevel) return;
  // On the stack, so that traces of concurrent requests cannot mix.
  wchar_t text[kTraceChars];
  va_list arguments;
  va_start(arguments, format);
  ::_vsnwprintf(text, kTraceChars - 1, format, arguments);
  va_end(arguments);
  text[kTraceChars - 1] = L'\0';
  ::OutputDebugStringW(text);
}

void PrintMessage(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  if (const Printer printer = g_printer) {
    char text[kTraceChars];
    ::_vsnprintf(text, kTraceChars - 1, format, arguments);
    text[kTraceChars - 1] = '\0';
    printer(text);
  } else {
    // The runtime's own function: the compiler's replacement would read %S in another way.
    ::__ms_vprintf(format, arguments);
  }
  va_end(arguments);
}

void Pause(DWORD milliseconds) noexcept { g_sleeper.load()(milliseconds); }

Printer SetPrinter(Printer printer) noexcept { return g_printer.exchange(printer); }
Sleeper SetSleeper(Sleeper sleeper) noexcept { return g_sleeper.exchange(sleeper); }

}  // namespace qvrn
