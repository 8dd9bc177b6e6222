#include "tests/endtoend/installedlab.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "lab/labkey.h"
#include "platform/handle.h"
#include "platform/registrykey.h"

namespace tests {
namespace {

using qvrn::RegistryKey;

constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}";
constexpr wchar_t kJournal[] = L"C:\\qvrn-journal.txt";
constexpr DWORD kTimeoutMs = 60000;
constexpr DWORD kTimedOut = 99;

std::wstring TemporaryFile() {
  wchar_t folder[MAX_PATH] = {};
  wchar_t path[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  ::GetTempFileNameW(folder, L"qvr", 0, path);
  return path;
}

qvrn::FileHandle InheritableFile(const std::wstring& path) {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  return qvrn::FileHandle(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                        CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::string TakeFile(const std::wstring& path) {
  std::string narrow(path.begin(), path.end());
  std::string text;
  {
    std::ifstream file(narrow, std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(file), {});
  }
  ::DeleteFileW(path.c_str());
  return text;
}

// wmic writes UTF-16; every text here is plain ASCII.
std::string WithoutZerosAndReturns(std::string text) {
  std::erase_if(text, [](char character) { return character == '\0' || character == '\r'; });
  return text;
}

}  // namespace

ProgramResult RunProgram(const std::wstring& commandLine) {
  const std::wstring outputPath = TemporaryFile();
  const std::wstring errorsPath = TemporaryFile();
  ProgramResult result;
  {
    const qvrn::FileHandle output = InheritableFile(outputPath);
    const qvrn::FileHandle errors = InheritableFile(errorsPath);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output.Get();
    startup.hStdError = errors.Get();
    PROCESS_INFORMATION process = {};
    std::wstring writable = commandLine;
    EXPECT_TRUE(
        ::CreateProcessW(nullptr, writable.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process));
    const qvrn::KernelHandle processHandle(process.hProcess);
    const qvrn::KernelHandle threadHandle(process.hThread);
    if (::WaitForSingleObject(process.hProcess, kTimeoutMs) != WAIT_OBJECT_0) {
      ::TerminateProcess(process.hProcess, kTimedOut);
    }
    ::GetExitCodeProcess(process.hProcess, &result.exitCode);
  }
  result.output = WithoutZerosAndReturns(TakeFile(outputPath));
  result.errors = WithoutZerosAndReturns(TakeFile(errorsPath));
  return result;
}

ProgramResult Client(const std::wstring& arguments) { return RunProgram(L"C:\\qvrn\\qvrnctl.exe " + arguments); }

InstalledLab::InstalledLab() {
  EXPECT_EQ(RunProgram(L"regedit /S C:\\qvrn\\machines\\server.reg").exitCode, 0u);
  ::DeleteFileW(kJournal);
}

void InstalledLab::WriteText(const std::wstring& path, const wchar_t* name, const wchar_t* text) {
  RegistryKey key;
  ASSERT_EQ(key.Create(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WRITE), ERROR_SUCCESS);
  ASSERT_EQ(key.WriteText(name, text), ERROR_SUCCESS);
}

void InstalledLab::WriteNumber(const std::wstring& path, const wchar_t* name, DWORD number) {
  RegistryKey key;
  ASSERT_EQ(key.Create(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WRITE), ERROR_SUCCESS);
  ASSERT_EQ(key.WriteBytes(name, REG_DWORD, &number, sizeof number), ERROR_SUCCESS);
}

void InstalledLab::DeleteValue(const std::wstring& path, const wchar_t* name) {
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WRITE), ERROR_SUCCESS);
  ASSERT_EQ(key.DeleteValue(name), ERROR_SUCCESS);
}

std::wstring InstalledLab::ReadText(const std::wstring& path, const wchar_t* name) {
  RegistryKey key;
  wchar_t text[qvrn::kPathChars] = {};
  key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ);
  key.ReadText(name, text);
  return text;
}

Snapshot InstalledLab::Adapters() {
  RegistryKey key;
  key.Open(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Class", KEY_READ);
  return TakeSnapshot(key.Get());
}

std::wstring InstalledLab::InstanceKey(const wchar_t* subkey) { return kClassKey + (L"\\" + std::wstring(subkey)); }

std::ptrdiff_t InstalledLab::Restarts() {
  const std::vector<std::string> events = Journal();
  return std::count_if(events.begin(), events.end(), [](const auto& event) { return event.starts_with("restart\t"); });
}

std::vector<std::string> InstalledLab::Journal() {
  std::ifstream file("C:\\qvrn-journal.txt");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

}  // namespace tests
