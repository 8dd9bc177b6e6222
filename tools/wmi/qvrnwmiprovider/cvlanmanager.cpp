#include "tools/wmi/qvrnwmiprovider/cvlanmanager.h"

#include <cstdlib>
#include <cwchar>

#include "platform/assertion.h"
#include "platform/boundedtext.h"
#include "tools/winhalvextune/registrypaths.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"
#include "tools/wmi/qvrnwmiprovider/wmiquery.h"

namespace qvrn {
namespace {

constexpr char kManagerSource[] = "cvlanmanager";
// What people search logs for when a VLAN was created and then not found.
constexpr unsigned kNotCreatedLine = 83;

// Failed removals in a row after which an adapter is given up: the request may hold up others as long as it lasts.
constexpr int kMostFailures = 1000;

constexpr std::size_t kDecimalChars = 12;

struct Decimal {
  wchar_t text[kDecimalChars];

  explicit Decimal(LONG number) noexcept { ::_itow(number, text, 10); }
};

bool IsPendingText(const wchar_t* text) noexcept {
  return text != nullptr && *text != L'\0' && std::wcslen(text) < kTextChars;
}

}  // namespace

std::unique_ptr<CVlanDlg> OpenVlanEngine(DWORD index) {
  if (CheckAdapterIndex(index) != ERROR_SUCCESS) return nullptr;
  wchar_t path[kPathChars];
  FormatText(path, kInstanceKeyFormat, kNetworkClassKey, index);
  auto engine = std::make_unique<CVlanDlg>(path);
  if (!engine->Prepare()) return nullptr;
  engine->List().RefreshLinkStates();
  return engine;
}

CVlanManager::CVlanManager(const wchar_t* deviceId)
    : m_adapterIndex(AdapterIndexOf(deviceId)), m_engine(OpenVlanEngine(m_adapterIndex)) {}

CVlanManager::KeyState CVlanManager::Exists(const wchar_t* key) const noexcept {
  if (key == nullptr || *key == L'\0') return KeyState::NoKey;
  const CVlanList* list = List();
  return list != nullptr && list->Find(key) != nullptr ? KeyState::Found : KeyState::Unknown;
}

bool CVlanManager::SetPending(const wchar_t* key, const VlanTexts& texts) noexcept {
  return IsPendingText(texts.name) && IsPendingText(texts.number) && IsPendingText(texts.priority) &&
         m_engine->SetVlanParams(key, texts);
}

bool CVlanManager::Create(const wchar_t* name, LONG number, LONG priority) noexcept {
  if (m_engine == nullptr) return false;
  const Decimal numberText(number);
  const Decimal priorityText(priority);
  const VlanTexts texts = {numberText.text, name, priorityText.text};
  // Nothing pending and no VLAN being edited: the checks compare the new values with every VLAN of the adapter.
  m_engine->SetVlanParams(L"", {L"", L"", L""});
  if (!m_engine->ValidateVlanInput(texts)) return true;
  if (!SetPending(L"", texts) || !m_engine->AddVlan()) return false;
  if (List()->FindByNumber(texts.number) != nullptr) return true;
  ReportAssertion("0", kManagerSource, kNotCreatedLine);
  return false;
}

bool CVlanManager::Update(const wchar_t* key, const wchar_t* name, LONG number, LONG priority) {
  if (m_engine == nullptr) return false;
  const Decimal numberText(number);
  const Decimal priorityText(priority);
  const VlanTexts texts = {numberText.text, name, priorityText.text};
  CVlanList& list = m_engine->List();
  // The stored values make the checks compare with them and leave this VLAN out.
  return SetPending(key, {list.NumberOf(key), list.NameOf(key), list.PriorityOf(key)}) &&
         m_engine->ValidateVlanInput(texts) && list.Write(key, texts);
}

bool CVlanManager::Remove(const wchar_t* key) noexcept { return m_engine != nullptr && m_engine->RemoveVlan(key); }

bool CVlanManager::RestartAdapter() const noexcept { return m_engine != nullptr && m_engine->RestartAdapter(); }

HRESULT ForEachVlanManager(IWbemServices* wmiNamespace,
                           const std::function<void(CVlanManager&, const wchar_t*)>& visit) {
  return ForEachNetworkAdapter(wmiNamespace, [&visit](const wchar_t* deviceId) {
    if (CheckAdapterIndex(AdapterIndexOf(deviceId)) != ERROR_SUCCESS) return;
    CVlanManager manager(deviceId);
    visit(manager, deviceId);
  });
}

namespace {

// Removes the adapter's VLANs one by one. The engine does not tell a failed removal: its list does not shrink. What
// another client has removed meanwhile is gone from the list that is read after each failure.
HRESULT RemoveVlansOf(CVlanManager& manager, const wchar_t* deviceId) {
  for (int failures = 0; manager.List() != nullptr && manager.List()->Count() != 0;) {
    const CVlanList& list = *manager.List();
    const DWORD before = list.Count();
    manager.Remove(list.InstanceIdAt(0));
    if (list.Count() < before) {
      failures = 0;
      continue;
    }
    if (++failures == kMostFailures) return E_FAIL;
    manager = CVlanManager(deviceId);
    if (manager.List() == nullptr) return E_FAIL;
  }
  return S_OK;
}

}  // namespace

LONG RemoveAllVlans(IWbemServices* wmiNamespace) {
  HRESULT removed = S_OK;
  const HRESULT queried = ForEachVlanManager(wmiNamespace, [&removed](CVlanManager& manager, const wchar_t* deviceId) {
    if (FAILED(RemoveVlansOf(manager, deviceId))) removed = E_FAIL;
    manager.RestartAdapter();
  });
  return SUCCEEDED(queried) && SUCCEEDED(removed) ? 0 : 1;
}

}  // namespace qvrn
