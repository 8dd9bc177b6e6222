// What ends a command early, and the names of the codes that WMI answers with.
#pragma once

#include "platform/wmi.h"

#include <exception>
#include <string>
#include <vector>

namespace qvrn {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitWrongUsage = 2;
inline constexpr int kExitDifferences = 3;

/// WBEM_E_NOT_FOUND as the HRESULT that it is.
inline constexpr HRESULT kNotFound = static_cast<HRESULT>(WBEM_E_NOT_FOUND);

/// Ends the command: the line to show, the exit status, and the code behind it (S_OK when there is none).
class ClientError : public std::exception {
 public:
  ClientError(int exitStatus, std::wstring message, HRESULT code = S_OK)
      : m_exitStatus(exitStatus), m_code(code), m_message(std::move(message)) {}

  const char* what() const noexcept override { return "qvrnctl: command ended"; }
  int ExitStatus() const noexcept { return m_exitStatus; }
  HRESULT Code() const noexcept { return m_code; }
  const std::wstring& Message() const noexcept { return m_message; }

  /// What has led to it, a line each.
  const std::vector<std::wstring>& Faults() const noexcept { return m_faults; }
  ClientError& Because(std::vector<std::wstring> faults) {
    m_faults = std::move(faults);
    return *this;
  }

 private:
  int m_exitStatus;
  HRESULT m_code;
  std::wstring m_message;
  std::vector<std::wstring> m_faults;
};

/// The command line asks for something that cannot be.
ClientError WrongUsage(std::wstring message);
/// The command line is right, but the work could not be done.
ClientError Failed(std::wstring message);
/// WMI answered `code`: "subject: NAME (0x...)", with what to do about it where that is known.
ClientError WmiFailed(const std::wstring& subject, HRESULT code);
/// The class is not in the namespace; `code` is what WMI answered.
ClientError ClassMissing(const std::wstring& className, HRESULT code);

/// "WBEM_E_NOT_FOUND (0x80041002)"; only the number for a code without a known name.
std::wstring NameOfCode(HRESULT code);

/// The same as a program reads it: the name, empty for a code without a known one.
std::wstring ShortNameOfCode(HRESULT code);
/// "0x80041002".
std::wstring NumberOfCode(HRESULT code);

/// The connection to another computer broke: what was asked may have been done, and asking again later may work.
bool IsConnectionLost(HRESULT code) noexcept;

}  // namespace qvrn
