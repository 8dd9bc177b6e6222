#include "tools/winhalvextune/cvlandlg.h"

#include <cstdlib>
#include <cwchar>
#include <new>
#include <vector>

#include "mux/notifyob/muxinstall.h"
#include "mux/notifyob/muxregistry.h"
#include "mux/notifyob/notify.h"
#include "mux/notifyob/notifylock.h"
#include "platform/assertion.h"
#include "platform/hresult.h"
#include "platform/lock.h"
#include "tools/winhalvextune/common.h"
#include "tools/winhalvextune/cvlankeysearch.h"
#include "tools/winhalvextune/registrypaths.h"

namespace qvrn {

void (*g_helpHook)(const wchar_t* topic) = nullptr;

namespace {

constexpr char kEngineSource[] = "cvlandlg";
// Joined to the installation folder as it stands, which therefore ends in a backslash.
constexpr wchar_t kPackageFolder[] = L"Vlan_lbfo";
constexpr std::size_t kDevicePrefixChars = 8;
constexpr DWORD kTransports = 2;
constexpr LONG kLeastNumber = 1;
constexpr LONG kMostNumber = 4095;

// Tells the help hook, where there is one, of the begin and the end of a change.
class HelpTopic {
 public:
  explicit HelpTopic(const wchar_t* topic) noexcept { Tell(topic); }
  HelpTopic(const HelpTopic&) = delete;
  HelpTopic& operator=(const HelpTopic&) = delete;
  ~HelpTopic() { Tell(L"VlanHelp"); }

 private:
  static void Tell(const wchar_t* topic) noexcept {
    if (g_helpHook != nullptr) g_helpHook(topic);
  }
};

void DebugTrace(const wchar_t* line) noexcept { ::OutputDebugStringW(line); }

bool Fits(const wchar_t* text) noexcept { return std::wcslen(text) < kTextChars; }

bool OpenForQuery(RegistryKey& key, const wchar_t* path) noexcept {
  const LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path, KEY_QUERY_VALUE);
  if (status == ERROR_SUCCESS) return true;
  return FailWithSystemError(Message::RegistryKeyUnusable, status, kEngineSource);
}

template <std::size_t Size>
bool ReadRequired(const RegistryKey& key, const wchar_t* name, wchar_t (&field)[Size]) noexcept {
  if (key.ReadText(name, field) == ERROR_SUCCESS) return true;
  ShowFormattedError(Message::RequiredValueMissing, {name});
  return false;
}

Lock g_changes;

}  // namespace

VlanChangeGate::VlanChangeGate() noexcept { g_changes.lock(); }
VlanChangeGate::~VlanChangeGate() { g_changes.unlock(); }

CVlanDlg::CVlanDlg(const wchar_t* instanceKeyPath) { CopyText(m_instanceKeyPath, instanceKeyPath); }

CVlanDlg::~CVlanDlg() {
  if (!m_mutex) return;
  m_mutex.Reset();
  DebugTrace(L"Mutex is Closed \n");
}

bool CVlanDlg::Prepare() noexcept try {
  if (!ReadInstanceId() || !ReadPackageDirectory()) return false;
  RegistryKey adapters;
  const LSTATUS status = adapters.Open(HKEY_LOCAL_MACHINE, kDriverAdaptersKey, KEY_QUERY_VALUE);
  m_isDriverInstalled = status == ERROR_SUCCESS;
  QVRN_CHECK(m_isDriverInstalled || status == ERROR_FILE_NOT_FOUND, "0", kEngineSource);
  adapters.Close();
  return m_isDriverInstalled ? ReadBindings() : status == ERROR_FILE_NOT_FOUND;
} catch (const std::bad_alloc&) {
  QVRN_CHECK(false, "0", kEngineSource);
  return false;
}

bool CVlanDlg::ReadInstanceId() noexcept {
  RegistryKey key;
  return OpenForQuery(key, m_instanceKeyPath) && ReadRequired(key, kNetCfgInstanceId, m_instanceId);
}

bool CVlanDlg::ReadPackageDirectory() noexcept {
  RegistryKey key;
  if (!OpenForQuery(key, kProductKey) || !ReadRequired(key, kInstalledPath, m_packageDirectory)) return false;
  const HRESULT hr = AppendText(m_packageDirectory, kPackageFolder);
  QVRN_CHECK_HRESULT(hr, kEngineSource);
  return true;
}

// The VLANs above the adapter; none where the driver does not know it. Throws std::bad_alloc.
bool CVlanDlg::ReadBindings() {
  wchar_t path[kPathChars];
  FormatText(path, L"%s%s", kDriverAdaptersKey, m_instanceId);
  RegistryKey adapter;
  if (adapter.Open(HKEY_LOCAL_MACHINE, path, KEY_QUERY_VALUE) != ERROR_SUCCESS) return true;
  DWORD bytes = 0;
  LSTATUS status = adapter.ValueBytes(kUpperBindings, bytes);
  if (status == ERROR_FILE_NOT_FOUND) return true;
  QVRN_CHECK(bytes > 0, "DataSize > 0", kEngineSource);
  std::vector<wchar_t> strings;
  std::size_t chars = 0;
  if (status == ERROR_SUCCESS) status = adapter.ReadMultiString(kUpperBindings, bytes, strings, chars);
  // Another client has removed the last VLAN since.
  if (status == ERROR_FILE_NOT_FOUND) return true;
  if (status != ERROR_SUCCESS) return FailWithMissingValue(kUpperBindings, kEngineSource);
  adapter.Close();
  QVRN_CHECK(bytes != 0, "DataSize != 0", kEngineSource);
  m_isBound = true;
  AddBoundVlans(strings.data(), static_cast<LONG>(chars));
  return true;
}

// Each string is a device name: a prefix and the miniport's instance GUID. The data ends in a terminator of its own, or
// the walk ends with an assertion; it never leaves the data, behind which two more terminators lie. Throws
// std::bad_alloc.
void CVlanDlg::AddBoundVlans(const wchar_t* strings, LONG chars) {
  std::vector<const wchar_t*> instanceIds;
  while (chars > 1) {
    const std::size_t length = std::wcslen(strings);
    if (length >= kDevicePrefixChars) instanceIds.push_back(strings + kDevicePrefixChars);
    strings += length + 1;
    chars -= static_cast<LONG>(length + 1);
  }
  CVlanKeySearch search(instanceIds);
  for (const wchar_t* instanceId : instanceIds) m_list.Add(instanceId, search);
  QVRN_CHECK(chars == 1, "DataLen == 1", kEngineSource);
}

bool CVlanDlg::SetVlanParams(const wchar_t* editedInstanceId, const VlanTexts& texts) noexcept {
  if (!Fits(texts.name) || !Fits(texts.number) || !Fits(texts.priority)) return false;
  CopyText(m_editedInstanceId, editedInstanceId);
  CopyText(m_vlanName, texts.name);
  CopyText(m_number, texts.number);
  CopyText(m_priority, texts.priority);
  return true;
}

bool CVlanDlg::IsPending(const VlanTexts& texts) const noexcept {
  return SameText(texts.number, m_number) && SameText(texts.name, m_vlanName) && SameText(texts.priority, m_priority);
}

bool CVlanDlg::ValidateVlanInput(const VlanTexts& texts) noexcept {
  if (*texts.name == L'\0' || *texts.number == L'\0') {
    ShowPlainError(Message::VlanTextMissing);
    return false;
  }
  if (!IsPending(texts)) {
    m_isModified = true;
    const bool isNameTaken = m_list.IsNameTaken(texts.name, m_editedInstanceId);
    if (m_list.IsNumberTaken(texts.number, m_editedInstanceId)) {
      ShowPlainError(isNameTaken ? Message::VlanNameAndNumberTaken : Message::VlanNumberTaken);
      return false;
    }
    if (isNameTaken) {
      ShowPlainError(Message::VlanNameTaken);
      return false;
    }
  }
  const LONG number = ::_wtoi(texts.number);
  if (number >= kLeastNumber && number <= kMostNumber) return true;
  ShowFormattedError(Message::VlanNumberOutOfRange, {L"1", L"4095"});
  return false;
}

bool CVlanDlg::AddVlan() noexcept {
  const HelpTopic topic(L"AddVlan");
  DebugTrace(L"Try install vlan driver\n");
  if (!InstallDriver()) return true;
  DebugTrace(L"Finish install vlan driver\n");
  DebugTrace(L"Start -Adding new VLAN\n");
  wchar_t newInstanceId[kGuidChars] = {};
  if (FAILED(ConfigureVlanMiniport(m_instanceId, newInstanceId, true, m_number, m_vlanName, m_priority))) {
    ShowFormattedError(Message::VlanNotAdded);
    return true;
  }
  DebugTrace(L"Finish -Adding new VLAN\n");
  bool bRet = m_list.Add(newInstanceId, {m_number, m_vlanName, m_priority});
  QVRN_CHECK(bRet, "bRet == true", kEngineSource);
  bRet = RestartAdapter();
  QVRN_CHECK(bRet, "bRet == true", kEngineSource);
  return true;
}

// On every add: the installer finds out by itself that the driver is there.
bool CVlanDlg::InstallDriver() const noexcept {
  const HRESULT hr = InstallMuxDriver(m_packageDirectory, kTransports);
  if (SUCCEEDED(hr)) return true;
  if (hr == kNoWriteLock) {
    ShowFormattedError(Message::NetworkConfigurationLocked);
  } else if (hr == HrFromWin32(ERROR_FILE_NOT_FOUND)) {
    ShowFormattedError(Message::DriverInstallFailed, {L"Missing INF file...."});
  } else {
    ShowSystemError(Message::DriverInstallFailed, static_cast<DWORD>(hr));
  }
  return false;
}

bool CVlanDlg::RemoveVlan(const wchar_t* instanceId) noexcept {
  const HelpTopic topic(L"RemoveVlan");
  // A copy: the caller's text may be that of the entry which goes, and the notify core takes a buffer. Longer text than
  // a GUID names nothing, cut or not.
  wchar_t removed[kGuidChars];
  CopyText(removed, instanceId);
  if (ConfigureVlanMiniport(m_instanceId, removed, false, L"", L"", L"") != S_OK) {
    ShowFormattedError(Message::VlanNotRemoved);
    return true;
  }
  bool bRet = m_list.Remove(removed);
  QVRN_CHECK(bRet, "bRet == true", kEngineSource);
  if (m_list.Count() != 0) return true;
  // Only the last VLAN's end changes what is bound to the adapter itself.
  bRet = RestartAdapter();
  QVRN_CHECK(bRet, "bRet == true", kEngineSource);
  return true;
}

bool CVlanDlg::RestartAdapter() const noexcept { return qvrn::RestartAdapter(m_instanceId); }

}  // namespace qvrn
