#include "tools/winhalvextune/cvlankeysearch.h"

#include <algorithm>
#include <cwchar>

#include "platform/assertion.h"
#include "tools/winhalvextune/common.h"
#include "tools/winhalvextune/registrypaths.h"

namespace qvrn {
namespace {

// Reports as the list whose look-ups these are.
constexpr char kSource[] = "cvlanlist";

void ReportUnusableKey(LSTATUS status) noexcept {
  ShowSystemError(Message::RegistryKeyUnusable, static_cast<DWORD>(status));
  QVRN_CHECK(false, "0", kSource);
}

}  // namespace

RegistryKey CVlanKeySearch::Find(const wchar_t* instanceId) {
  RegistryKey key;
  if (const Instance* visited = FindVisited(instanceId)) {
    const LSTATUS status = OpenInstance(*visited, key);
    if (status != ERROR_SUCCESS) ReportUnusableKey(status);
    return key;
  }
  while (VisitNext(key)) {
    if (SameText(m_visited.back().id, instanceId)) return key;
  }
  ReportEnd();
  return {};
}

const CVlanKeySearch::Instance* CVlanKeySearch::FindVisited(const wchar_t* instanceId) const noexcept {
  const auto found = std::find_if(m_visited.begin(), m_visited.end(),
                                  [instanceId](const Instance& instance) { return SameText(instance.id, instanceId); });
  return found == m_visited.end() ? nullptr : &*found;
}

bool CVlanKeySearch::OpenClass() noexcept {
  if (m_classKey) return true;
  m_status = m_classKey.Open(HKEY_LOCAL_MACHINE, kNetworkClassKey, KEY_READ);
  if (m_status != ERROR_SUCCESS) {
    m_end = End::KeyUnusable;
    return false;
  }
  m_classKey.CountSubkeys(m_subkeys);
  if (m_subkeys == 0) m_end = End::NoInstances;
  return m_subkeys != 0;
}

// Visits instances up to the next that has an id, and opens it. False at the end.
bool CVlanKeySearch::VisitNext(RegistryKey& key) {
  if (m_end != End::NotReached || !OpenClass()) return false;
  while (m_next < m_subkeys) {
    Instance& instance = m_visited.emplace_back();
    m_classKey.SubkeyName(m_next++, instance.name);
    m_status = OpenInstance(instance, key);
    if (m_status == ERROR_SUCCESS && key.ReadText(kNetCfgInstanceId, instance.id) == ERROR_SUCCESS) return true;
    m_visited.pop_back();
    if (m_status == ERROR_SUCCESS) continue;
    m_end = End::KeyUnusable;
    return false;
  }
  m_end = End::AllVisited;
  return false;
}

LSTATUS CVlanKeySearch::OpenInstance(const Instance& instance, RegistryKey& key) const noexcept {
  return key.Open(m_classKey.Get(), instance.name, KEY_ALL_ACCESS);
}

void CVlanKeySearch::ReportEnd() const noexcept {
  if (m_end == End::KeyUnusable) ReportUnusableKey(m_status);
  if (m_end == End::AllVisited) QVRN_CHECK(false, "0", kSource);
}

}  // namespace qvrn
