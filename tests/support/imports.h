// Imports of the platform that this test program answers itself: the libraries under test are linked in, so their
// import pointers can be defined here. What is not told otherwise goes to the platform.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace tests {

/// What went to OutputDebugStringW since the last call.
std::vector<std::wstring> TakeDebugOutput();

/// Class-install parameters since the last call, each "SIZE: HEADER SIZE, FUNCTION, STATE, SCOPE, PROFILE".
std::vector<std::wstring> TakeClassInstallParams();

/// Message boxes since the last call, each "CAPTION|TEXT|STYLE"; none is ever shown.
std::vector<std::wstring> TakeMessageBoxes();

/// Whether the process's window station counts as visible; reset to false by each machine.
void SetWindowStationVisible(bool visible);

/// While it lives, every operator new of exactly this many bytes fails.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t bytes) noexcept;
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
};

/// While it lives, SysAllocString of this text fails, once `skip` calls of it have passed.
class FailingText {
 public:
  explicit FailingText(const wchar_t* text, int skip = 0);
  ~FailingText();
  FailingText(const FailingText&) = delete;
  FailingText& operator=(const FailingText&) = delete;
};

/// While it lives, RegSetValueExW of a value with this name fails with ERROR_ACCESS_DENIED (null: the default value).
class FailingRegistryWrite {
 public:
  explicit FailingRegistryWrite(const wchar_t* name) noexcept;
  ~FailingRegistryWrite();
  FailingRegistryWrite(const FailingRegistryWrite&) = delete;
  FailingRegistryWrite& operator=(const FailingRegistryWrite&) = delete;
};

/// From now on GetAdaptersAddresses lists these interfaces by name, each up or down, or fails with `status`.
void AnswerAddresses(std::vector<std::pair<std::string, bool>> interfaces, ULONG status = ERROR_SUCCESS);

}  // namespace tests
