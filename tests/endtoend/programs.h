// Programs of an installed lab, and what they print.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "platform/handle.h"

namespace endtoend {

/// What a file holds, without what UTF-16 (as wmic writes it) and line ends add.
inline std::string TextOf(const std::wstring& path) {
  std::ifstream file(std::string(path.begin(), path.end()), std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(file), {});
  std::erase_if(text, [](char byte) { return byte == '\0' || byte == '\r'; });
  return text;
}

inline std::wstring NewOutputFile() {
  static int number = 0;
  return L"C:\\qvrn-output-" + std::to_wstring(++number) + L".txt";
}

/// What a command line writes to both its streams (with 2>nul: to its output alone), and its exit status below that
/// unless it is 0. Through a file of its own: what the command leaves running would keep a pipe open for ever.
inline std::string OutputOf(const std::wstring& line) {
  const std::wstring path = NewOutputFile();
  const bool withErrors = line.find(L"2>nul") == std::wstring::npos;
  const std::wstring whole = line + L" >" + path + (withErrors ? L" 2>&1" : L"");
  const int status = ::_wsystem(whole.c_str());
  const std::string text = TextOf(path);
  ::DeleteFileW(path.c_str());
  return status == 0 ? text : text + "exit " + std::to_string(status);
}
inline std::string Client(const std::wstring& arguments) { return OutputOf(L"C:\\qvrn\\qvrnctl.exe " + arguments); }

/// The client at work, in a console of its own that can be cut off.
class RunningClient {
 public:
  explicit RunningClient(const std::wstring& arguments) : m_path(NewOutputFile()) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const qvrn::FileHandle output(::CreateFileW(m_path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                                &inherited, CREATE_ALWAYS, 0, nullptr));
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output.Get();
    PROCESS_INFORMATION process = {};
    std::wstring line = L"qvrnctl " + arguments;
    ::CreateProcessW(L"C:\\qvrn\\qvrnctl.exe", line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &process);
    m_process = qvrn::KernelHandle(process.hProcess);
    ::CloseHandle(process.hThread);
  }
  RunningClient(const RunningClient&) = delete;
  RunningClient& operator=(const RunningClient&) = delete;
  ~RunningClient() {
    Kill();
    ::DeleteFileW(m_path.c_str());
  }

  /// Until it has said this, or has ended; whether it has said it.
  bool Await(const std::string& words) const {
    constexpr int kTries = 5000;
    for (int i = 0; i < kTries && ::WaitForSingleObject(m_process.Get(), 2) == WAIT_TIMEOUT; ++i) {
      if (Text().find(words) != std::string::npos) return true;
    }
    return Text().find(words) != std::string::npos;
  }
  void Kill() {
    ::TerminateProcess(m_process.Get(), 99);
    ::WaitForSingleObject(m_process.Get(), 10000);
  }
  /// Its exit status, within a minute.
  int Wait() {
    DWORD status = STILL_ACTIVE;
    ::WaitForSingleObject(m_process.Get(), 60000);
    ::GetExitCodeProcess(m_process.Get(), &status);
    return static_cast<int>(status);
  }
  DWORD Id() const { return ::GetProcessId(m_process.Get()); }
  std::string Text() const { return TextOf(m_path); }

 private:
  std::wstring m_path;
  qvrn::KernelHandle m_process;
};

}  // namespace endtoend
