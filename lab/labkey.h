// The lab's settings: HKEY_LOCAL_MACHINE\SOFTWARE\QvrnLab. They belong to a machine, so they live in its
// registry, where every process of the lab, a .reg file and a test with a redirected HKEY_LOCAL_MACHINE find them.
//
//   Journal             REG_SZ     file that Record appends to; default "C:\qvrn-journal.txt"
//   Machine             REG_SZ     name of the machine's write lock; default "lab"
//   ImpersonationLevel  REG_DWORD  client's level in provider calls, 1 Anonymous .. 4 Delegate; default 3
//   LockWait            REG_DWORD  cap in milliseconds on waits for a held write lock; absent: the caller's own timeout
//   ForeignLock         REG_SZ     name of a client outside this machine's programs that holds the write lock
//   Failures\           one REG_SZ per call, e.g. "INetCfg::Apply" = "0x80004005 1": the HRESULT and how many of the next
//                       calls fail with it; optionally a third number: how many calls succeed first. The name "*" counts
//                       every call that the journal shows, so "0x80004005 1 N" fails the one after the next N. A
//                       session looks once whether there are any, when its INetCfg is made.
#pragma once

#include <string>

#include "platform/registrykey.h"

namespace lab {

inline constexpr wchar_t kLabKey[] = L"SOFTWARE\\QvrnLab";

/// A text value of any key below HKEY_LOCAL_MACHINE; `fallback` when it is absent.
std::wstring MachineText(const std::wstring& path, const wchar_t* name, const wchar_t* fallback = L"");

/// The same for a REG_DWORD.
DWORD MachineNumber(const std::wstring& path, const wchar_t* name, DWORD fallback);

/// A text setting; `fallback` when it is absent.
std::wstring LabText(const wchar_t* name, const wchar_t* fallback);
/// A number setting; `fallback` when it is absent or no REG_DWORD.
DWORD LabNumber(const wchar_t* name, DWORD fallback);

}  // namespace lab
