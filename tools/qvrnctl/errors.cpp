#include "tools/qvrnctl/errors.h"

#include "platform/boundedtext.h"
#include "platform/hresult.h"

#include <algorithm>
#include <iterator>

namespace qvrn {
namespace {

struct CodeRow {
  // WBEM codes are unsigned, the others are not: both are wide enough here.
  constexpr CodeRow(long long number, const wchar_t* text, const wchar_t* help = nullptr)
      : code(static_cast<HRESULT>(number)), name(text), advice(help) {}

  HRESULT code;
  const wchar_t* name;
  const wchar_t* advice;
};

constexpr wchar_t kReinstall[] =
    L"the classes are not registered; in an elevated prompt, repair the installation or run mofcomp on "
    L"qvrnwmiprovider.mof";
constexpr wchar_t kReload[] =
    L"the provider could not be loaded; in an elevated prompt, repair the installation or run regsvr32 on "
    L"qvrnwmiprovider.dll";
constexpr wchar_t kElevate[] = L"run it as an administrator, in an elevated prompt";
constexpr wchar_t kReach[] = L"check the computer's name, that it is on, and that its firewall lets WMI in";

constexpr CodeRow kCodes[] = {
    {WBEM_E_FAILED, L"WBEM_E_FAILED"},
    {WBEM_E_NOT_FOUND, L"WBEM_E_NOT_FOUND"},
    {WBEM_E_ACCESS_DENIED, L"WBEM_E_ACCESS_DENIED", kElevate},
    {WBEM_E_PROVIDER_FAILURE, L"WBEM_E_PROVIDER_FAILURE"},
    {WBEM_E_TYPE_MISMATCH, L"WBEM_E_TYPE_MISMATCH"},
    {WBEM_E_OUT_OF_MEMORY, L"WBEM_E_OUT_OF_MEMORY"},
    {WBEM_E_INVALID_PARAMETER, L"WBEM_E_INVALID_PARAMETER"},
    {WBEM_E_NOT_AVAILABLE, L"WBEM_E_NOT_AVAILABLE"},
    {WBEM_E_CRITICAL_ERROR, L"WBEM_E_CRITICAL_ERROR"},
    {WBEM_E_NOT_SUPPORTED, L"WBEM_E_NOT_SUPPORTED"},
    {WBEM_E_INVALID_NAMESPACE, L"WBEM_E_INVALID_NAMESPACE"},
    {WBEM_E_INVALID_OBJECT, L"WBEM_E_INVALID_OBJECT"},
    {WBEM_E_INVALID_CLASS, L"WBEM_E_INVALID_CLASS", kReinstall},
    {WBEM_E_PROVIDER_NOT_FOUND, L"WBEM_E_PROVIDER_NOT_FOUND", kReinstall},
    {WBEM_E_INVALID_PROVIDER_REGISTRATION, L"WBEM_E_INVALID_PROVIDER_REGISTRATION", kReinstall},
    {WBEM_E_PROVIDER_LOAD_FAILURE, L"WBEM_E_PROVIDER_LOAD_FAILURE", kReload},
    {WBEM_E_INITIALIZATION_FAILURE, L"WBEM_E_INITIALIZATION_FAILURE"},
    {WBEM_E_TRANSPORT_FAILURE, L"WBEM_E_TRANSPORT_FAILURE", kReach},
    {WBEM_E_INVALID_OPERATION, L"WBEM_E_INVALID_OPERATION"},
    {WBEM_E_INVALID_QUERY, L"WBEM_E_INVALID_QUERY"},
    {WBEM_E_INVALID_OBJECT_PATH, L"WBEM_E_INVALID_OBJECT_PATH"},
    {WBEM_E_INVALID_METHOD, L"WBEM_E_INVALID_METHOD"},
    {WBEM_E_READ_ONLY, L"WBEM_E_READ_ONLY"},
    {WBEM_E_UNEXPECTED, L"WBEM_E_UNEXPECTED"},
    {WBEM_E_SHUTTING_DOWN, L"WBEM_E_SHUTTING_DOWN"},
    {WBEM_E_TIMED_OUT, L"WBEM_E_TIMED_OUT"},
    {WBEM_E_QUOTA_VIOLATION, L"WBEM_E_QUOTA_VIOLATION"},
    {WBEM_E_LOCAL_CREDENTIALS, L"WBEM_E_LOCAL_CREDENTIALS"},
    {WBEM_E_PROVIDER_NOT_CAPABLE, L"WBEM_E_PROVIDER_NOT_CAPABLE"},
    {E_FAIL, L"E_FAIL"},
    {E_NOTIMPL, L"E_NOTIMPL"},
    {E_UNEXPECTED, L"E_UNEXPECTED"},
    {E_OUTOFMEMORY, L"E_OUTOFMEMORY"},
    {E_ACCESSDENIED, L"E_ACCESSDENIED", kElevate},
    {REGDB_E_CLASSNOTREG, L"REGDB_E_CLASSNOTREG", L"WMI itself is not there"},
    {RPC_E_DISCONNECTED, L"RPC_E_DISCONNECTED"},
    {HrFromWin32(ERROR_FILE_NOT_FOUND), L"ERROR_FILE_NOT_FOUND"},
    {HrFromWin32(ERROR_PATH_NOT_FOUND), L"ERROR_PATH_NOT_FOUND"},
    {HrFromWin32(ERROR_SHARING_VIOLATION), L"ERROR_SHARING_VIOLATION", L"another program has the file open"},
    {HrFromWin32(RPC_S_SERVER_UNAVAILABLE), L"RPC_S_SERVER_UNAVAILABLE", kReach},
    {HrFromWin32(RPC_S_CALL_FAILED), L"RPC_S_CALL_FAILED"},
    {HrFromWin32(RPC_S_CALL_FAILED_DNE), L"RPC_S_CALL_FAILED_DNE"},
};

const CodeRow* FindCode(HRESULT code) noexcept {
  const auto* row =
      std::find_if(std::begin(kCodes), std::end(kCodes), [code](const CodeRow& known) { return known.code == code; });
  return row == std::end(kCodes) ? nullptr : row;
}

}  // namespace

ClientError WrongUsage(std::wstring message) { return {kExitWrongUsage, std::move(message)}; }

ClientError Failed(std::wstring message) { return {kExitFailed, std::move(message)}; }

ClientError WmiFailed(const std::wstring& subject, HRESULT code) {
  std::wstring message = subject + L": " + NameOfCode(code);
  const CodeRow* row = FindCode(code);
  if (row != nullptr && row->advice != nullptr) message += std::wstring(L"; ") + row->advice;
  return {kExitFailed, std::move(message), code};
}

ClientError ClassMissing(const std::wstring& className, HRESULT code) {
  return {kExitFailed, L"class " + className + L": " + NameOfCode(code) + L"; " + kReinstall, code};
}

std::wstring NameOfCode(HRESULT code) {
  const std::wstring name = ShortNameOfCode(code);
  return name.empty() ? NumberOfCode(code) : name + L" (" + NumberOfCode(code) + L")";
}

std::wstring ShortNameOfCode(HRESULT code) {
  const CodeRow* row = FindCode(code);
  return row == nullptr ? std::wstring() : row->name;
}

std::wstring NumberOfCode(HRESULT code) {
  wchar_t number[16] = {};
  FormatText(number, L"0x%08X", static_cast<unsigned>(code));
  return number;
}

bool IsConnectionLost(HRESULT code) noexcept {
  return code == static_cast<HRESULT>(WBEM_E_TRANSPORT_FAILURE) || code == RPC_E_DISCONNECTED ||
         code == RPC_E_SERVER_DIED || code == HrFromWin32(RPC_S_SERVER_UNAVAILABLE) ||
         code == HrFromWin32(RPC_S_CALL_FAILED) || code == HrFromWin32(RPC_S_CALL_FAILED_DNE);
}

}  // namespace qvrn
