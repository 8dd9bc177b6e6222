#include "tools/qvrnctl/pendingchange.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include "platform/hresult.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/inputfile.h"

namespace qvrn {
namespace {

constexpr wchar_t kPending[] = L"pending.json";
constexpr wchar_t kDeadline[] = L"deadline.txt";
constexpr wchar_t kTakingBack[] = L"taking-back.json";
constexpr wchar_t kKept[] = L"kept.json";
constexpr wchar_t kMaker[] = L"maker.lock";
constexpr wchar_t kTaker[] = L"taking-back.lock";
// The system and administrators; whoever could write here could have an administrator change adapters.
constexpr wchar_t kAccess[] = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

struct LocalFreeDeleter {
  void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};
using LocalMemory = std::unique_ptr<void, LocalFreeDeleter>;

std::wstring ProgramData() {
  wchar_t path[MAX_PATH] = {};
  const DWORD length = ::GetEnvironmentVariableW(L"ProgramData", path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) throw Failed(L"the machine's program data (%ProgramData%) cannot be found");
  return path;
}

bool IsOwnedByCaller(PSID owner) {
  KernelHandle token;
  alignas(TOKEN_USER) char user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
  DWORD bytes = 0;
  return ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Put()) != FALSE &&
         ::GetTokenInformation(token.Get(), TokenUser, user, sizeof user, &bytes) != FALSE &&
         ::EqualSid(owner, reinterpret_cast<TOKEN_USER*>(user)->User.Sid) != FALSE;
}

// Somebody else may have made the folder before, to have an administrator read what stands in it.
void CheckOwner(const std::wstring& folder) {
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD error =
      ::GetNamedSecurityInfoW(const_cast<wchar_t*>(folder.c_str()), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                              nullptr, nullptr, nullptr, &descriptor);
  const LocalMemory memory(descriptor);
  if (error != ERROR_SUCCESS) throw WmiFailed(folder, HrFromWin32(static_cast<LONG>(error)));
  if (::IsWellKnownSid(owner, WinBuiltinAdministratorsSid) || ::IsWellKnownSid(owner, WinLocalSystemSid)) return;
  if (!IsOwnedByCaller(owner)) throw Failed(folder + L" does not belong to an administrator; remove it");
}

void MakeFolder(const std::wstring& folder) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(kAccess, SDDL_REVISION_1, &descriptor, nullptr)) {
    throw WmiFailed(folder, HrFromLastError());
  }
  const LocalMemory memory(descriptor);
  SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor, FALSE};
  ::CreateDirectoryW(folder.substr(0, folder.rfind(L'\\')).c_str(), nullptr);
  if (!::CreateDirectoryW(folder.c_str(), &attributes) && ::GetLastError() != ERROR_ALREADY_EXISTS) {
    throw WmiFailed(folder, HrFromLastError());
  }
  CheckOwner(folder);
}

// Beside its place first: nobody sees half a file. Does not replace a file unless that is asked for.
void WriteWhole(const std::wstring& path, const std::string& bytes, bool replace) {
  const std::wstring draft = path + L"." + std::to_wstring(::GetCurrentProcessId());
  DWORD written = 0;
  {
    const FileHandle file(::CreateFileW(draft.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    if (!file || !::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
        !::FlushFileBuffers(file.Get())) {
      throw WmiFailed(path + L" cannot be written", HrFromLastError());
    }
  }
  if (::MoveFileExW(draft.c_str(), path.c_str(), replace ? MOVEFILE_REPLACE_EXISTING : 0)) return;
  const HRESULT hr = HrFromLastError();
  ::DeleteFileW(draft.c_str());
  throw WmiFailed(path + L" cannot be written", hr);
}

Json ReadJson(const std::wstring& path) try {
  return Json::parse(ReadInputFile(path, OpenInputFile(path).Get()));
} catch (const Json::exception&) {
  throw Failed(path + L" is damaged; the state from before stands in it as far as it can be read");
}

[[noreturn]] void RefuseAsSecond() {
  throw Failed(
      L"another change waits for its confirmation: `qvrnctl confirm --status` shows it, `qvrnctl confirm` keeps it, "
      L"`qvrnctl rollback` takes it back; nothing was changed");
}

}  // namespace

PendingChange::PendingChange() : m_folder(ProgramData() + L"\\Quorvane\\qvrnctl") {}

bool PendingChange::Exists(const wchar_t* name) const {
  return ::GetFileAttributesW(File(name).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool PendingChange::Rename(const wchar_t* from, const wchar_t* to) const {
  return ::MoveFileExW(File(from).c_str(), File(to).c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
}

void PendingChange::Delete(const wchar_t* name) const { ::DeleteFileW(File(name).c_str()); }

// Gone with the process, however that ends.
FileHandle PendingChange::Hold(const wchar_t* lock) const {
  return FileHandle(::CreateFileW(File(lock).c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                                  FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

bool PendingChange::IsHeld(const wchar_t* lock) const {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const FileHandle file(::CreateFileW(File(lock).c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  return !file && ::GetLastError() == ERROR_SHARING_VIOLATION;
}

PendingStage PendingChange::Stage() const {
  if (Exists(kTakingBack)) return IsHeld(kTaker) ? PendingStage::kTakingBack : PendingStage::kStuck;
  if (!Exists(kPending)) return PendingStage::kNone;
  return Exists(kDeadline) || !IsHeld(kMaker) ? PendingStage::kWaiting : PendingStage::kChanging;
}

Json PendingChange::Record() const { return ReadJson(File(Exists(kTakingBack) ? kTakingBack : kPending)); }

std::int64_t PendingChange::Deadline() const {
  if (!Exists(kDeadline)) return 0;
  const std::wstring path = File(kDeadline);
  return std::atoll(ReadInputFile(path, OpenInputFile(path).Get()).c_str());
}

void PendingChange::RefuseSecond() const {
  if (Stage() != PendingStage::kNone) RefuseAsSecond();
}

void PendingChange::Begin(const Json& record) {
  MakeFolder(m_folder);
  m_maker = Hold(kMaker);
  if (!m_maker) RefuseAsSecond();
  RefuseSecond();
  Delete(kDeadline);
  m_id = record.at("id").get<std::string>();
  WriteWhole(File(kPending), record.dump(2), false);
}

void PendingChange::StartToWait(unsigned seconds) {
  WriteWhole(File(kDeadline), std::to_string(std::time(nullptr) + seconds), true);
  m_maker.Reset();
}

bool PendingChange::Guard() {
  m_guard = Hold(L"guard.lock");
  return static_cast<bool>(m_guard);
}

bool PendingChange::Keep() {
  const bool kept = Rename(kPending, kKept) || (!IsHeld(kTaker) && Rename(kTakingBack, kKept));
  if (kept) Delete(kDeadline);
  return kept;
}

bool PendingChange::StartToTakeBack() {
  m_taker = Hold(kTaker);
  if (!m_taker) return false;
  if (Exists(kTakingBack) || Rename(kPending, kTakingBack)) return true;
  m_taker.Reset();
  return false;
}

void PendingChange::Finish() {
  Delete(kTakingBack);
  Delete(kDeadline);
  m_taker.Reset();
}

bool PendingChange::WasKept() const { return Exists(kKept) && ReadJson(File(kKept)).value("id", "") == m_id; }

void PendingChange::Log(const std::wstring& line) const {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  char time[32] = {};
  std::snprintf(time, sizeof time, "%04u-%02u-%02u %02u:%02u:%02u ", now.wYear, now.wMonth, now.wDay, now.wHour,
                now.wMinute, now.wSecond);
  const std::string text = time + ToUtf8(line) + "\r\n";
  const FileHandle file(::CreateFileW(LogFile().c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_ALWAYS, 0, nullptr));
  DWORD written = 0;
  if (file) ::WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace qvrn
