// What people and programs read: tables, JSON, and the two streams.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/qvrnctl/propertyinfo.h"

namespace qvrn {

using TableRow = std::vector<std::wstring>;

/// Rows in columns as wide as their widest cell is on a screen, two blanks apart, no blanks at the end of a line. The
/// first row is the heading; every row has as many cells as the first.
std::wstring FormatTable(const std::vector<TableRow>& rows);

/// The members of one JSON object, in order.
using JsonRow = std::vector<std::pair<const wchar_t*, Value>>;

/// An array of flat objects, one per line.
std::wstring FormatJson(const std::vector<JsonRow>& rows);

/// "a, b, c".
std::wstring Join(const std::vector<std::wstring>& texts);

/// Whether one of the standard handles, STD_OUTPUT_HANDLE and its like, is a console.
bool IsConsole(unsigned long stream);

/// Begins a command: nothing is written yet.
void StartOutput() noexcept;
/// Whether the command has written to standard output.
bool HasOutput() noexcept;

/// To standard output: as it is on a console, in UTF-8 anywhere else. Throws ClientError when it cannot be written.
void WriteOut(std::wstring_view text);
/// To standard error, as it is. Never fails the caller.
void WriteErrorText(std::wstring_view text);
/// One line to standard error, after the program's name. Never fails the caller.
void WriteError(std::wstring_view line);

}  // namespace qvrn
