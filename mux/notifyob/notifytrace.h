#pragma once

namespace qvrn {

inline constexpr int kTraceError = 2;
inline constexpr int kTraceProgress = 4;
inline constexpr int kTraceFunction = 5;  ///< entry and exit

/// Formats by the platform's wide rules (%s takes wide text) into at most 4095 characters and hands the text to
/// OutputDebugStringW. Levels from 6 on are dropped; nothing else filters.
void NotifyTrace(int level, const wchar_t* format, ...) noexcept;

}  // namespace qvrn
