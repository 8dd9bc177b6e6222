#include "mux/notifyob/notifytrace.h"

#include <windows.h>

#include <cstdarg>
#include <cwchar>
#include <iterator>

namespace qvrn {
namespace {

constexpr int kFirstDroppedLevel = 6;
constexpr std::size_t kTraceChars = 4096;

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

}  // namespace qvrn
