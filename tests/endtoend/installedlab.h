// The lab as ./dev installs it, driven from outside by programs.
#pragma once

#include <windows.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/registrysnapshot.h"

namespace tests {

struct ProgramResult {
  DWORD exitCode = 0;
  std::string output;
  std::string errors;
};

/// Runs a command line and waits for it, at most a minute; a program that is not done by then is ended, with exit code
/// 99.
ProgramResult RunProgram(const std::wstring& commandLine);

/// Runs qvrnctl with the given arguments.
ProgramResult Client(const std::wstring& arguments);

/// Each test starts with the lab's server machine and an empty journal.
class InstalledLab : public ::testing::Test {
 protected:
  InstalledLab();

  static void WriteText(const std::wstring& path, const wchar_t* name, const wchar_t* text);
  static void WriteNumber(const std::wstring& path, const wchar_t* name, DWORD number);
  static void DeleteValue(const std::wstring& path, const wchar_t* name);
  static std::wstring ReadText(const std::wstring& path, const wchar_t* name);

  /// HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Class, where adapters live.
  static Snapshot Adapters();
  static std::wstring InstanceKey(const wchar_t* subkey);
  /// Device restarts recorded since the test began.
  static std::ptrdiff_t Restarts();
  /// Lines of the lab's journal since the test began.
  static std::vector<std::string> Journal();
};

}  // namespace tests
