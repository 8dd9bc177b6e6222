// What the lab saw, in order, across processes: one UTF-8 line "kind<TAB>text" per event, appended to the machine's
// journal file (see labkey.h).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lab {

/// Kinds in use.
inline constexpr wchar_t kRestart[] = L"restart";      ///< a device restart: the device id
inline constexpr wchar_t kNetworkCall[] = L"netcfg";   ///< a call on the network configuration, with its result
inline constexpr wchar_t kPrinted[] = L"printed";      ///< text that the provider wrote to standard output
inline constexpr wchar_t kAssertion[] = L"assertion";  ///< expression, file, line
inline constexpr wchar_t kMessageBox[] = L"box";       ///< caption and text

/// Appends an event; line ends and tabs in `text` are written as \n and \t (other backslashes stay as they are). Callers
/// that record often give the JournalPath() that they have looked up once. Never fails the caller.
void Record(std::wstring_view kind, std::wstring_view text, const std::wstring* path = nullptr) noexcept;

/// From now on this process's events go to `listener` instead of the file, with their texts as they are, from whatever
/// thread records them; null: to the file again.
void SetJournalListener(void (*listener)(std::wstring_view kind, std::wstring_view text)) noexcept;

/// Path of the machine's journal; empty when the machine keeps none.
std::wstring JournalPath();

/// Whether an event that is recorded in this journal gets anywhere.
bool IsKept(const std::wstring& path) noexcept;

/// The texts of all events of one kind (all kinds, as "kind<TAB>text", when `kind` is empty), oldest first.
std::vector<std::wstring> Recorded(std::wstring_view kind = {});

/// Empties the journal.
void ClearJournal();

}  // namespace lab
