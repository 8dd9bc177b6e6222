// How the network configuration engine speaks and waits. What it prints and how it waits can be replaced for the
// process, by whoever hosts it without a console or without the time.
#pragma once

#include <windows.h>

namespace qvrn {

inline constexpr int kTraceError = 2;
inline constexpr int kTraceProgress = 4;
inline constexpr int kTraceFunction = 5;  ///< entry and exit

/// Formats by the platform's wide rules (%s takes wide text) into at most 4095 characters and hands the text to
/// OutputDebugStringW. Levels from 6 on are dropped; nothing else filters.
void NotifyTrace(int level, const wchar_t* format, ...) noexcept;

/// Writes to standard output by the platform's narrow rules (%S takes wide text). Everything that the system prints
/// goes through here.
void PrintMessage(const char* format, ...) noexcept;

/// Waits; the only waits of the system besides those for the write lock.
void Pause(DWORD milliseconds) noexcept;

using Printer = void (*)(const char* text);
using Sleeper = void (*)(DWORD milliseconds);

/// Replace the runtime's vprintf (which null stands for) and the platform's Sleep; each gives the one that it replaced.
Printer SetPrinter(Printer printer) noexcept;
Sleeper SetSleeper(Sleeper sleeper) noexcept;

}  // namespace qvrn
