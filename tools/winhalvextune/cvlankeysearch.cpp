#include "tools/winhalvextune/cvlankeysearch.h"

#include <algorithm>
#include <cwchar>

#include "platform/assertion.h"
#include "tools/winhalvextune/common.h"
#include "tools/winhalvextune/registrypaths.h"

namespace qvrn {
namespace {

void ReportUnusableKey(LSTATUS status) noexcept {
  FailWithSystemError(Message::RegistryKeyUnusable, status, kVlanListSource);
}

}  // namespace

RegistryKey CVlanKeySearch::Find(const wchar_t* instanceId) {
  if (Instance* visited = FindVisited(instanceId)) {
    const LSTATUS status = visited->key ? ERROR_SUCCESS : OpenInstance(*visited);
    if (status != ERROR_SUCCESS) ReportUnusableKey(status);
    return std::move(visited->key);
  }
  while (VisitNext()) {
    Instance& instance = m_visited.back();
    if (SameText(instance.instanceId, instanceId)) return std::move(instance.key);
    if (!IsWanted(instance.instanceId)) instance.key.Close();
  }
  ReportEnd();
  return {};
}

CVlanKeySearch::Instance* CVlanKeySearch::FindVisited(const wchar_t* instanceId) noexcept {
  const auto found = std::find_if(m_visited.begin(), m_visited.end(), [instanceId](const Instance& instance) {
    return SameText(instance.instanceId, instanceId);
  });
  return found == m_visited.end() ? nullptr : &*found;
}

bool CVlanKeySearch::IsWanted(const wchar_t* instanceId) const noexcept {
  return std::any_of(m_wanted.begin(), m_wanted.end(),
                     [instanceId](const wchar_t* wanted) { return SameText(wanted, instanceId); });
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
bool CVlanKeySearch::VisitNext() {
  if (m_end != End::NotReached || !OpenClass()) return false;
  while (m_next < m_subkeys) {
    Instance& instance = m_visited.emplace_back();
    m_classKey.SubkeyName(m_next++, instance.name);
    m_status = OpenInstance(instance);
    if (m_status == ERROR_SUCCESS && instance.key.ReadText(kNetCfgInstanceId, instance.instanceId) == ERROR_SUCCESS)
      return true;
    m_visited.pop_back();
    if (m_status == ERROR_SUCCESS) continue;
    m_end = End::KeyUnusable;
    return false;
  }
  m_end = End::AllVisited;
  return false;
}

LSTATUS CVlanKeySearch::OpenInstance(Instance& instance) const noexcept {
  return instance.key.Open(m_classKey.Get(), instance.name, KEY_ALL_ACCESS);
}

void CVlanKeySearch::ReportEnd() const noexcept {
  if (m_end == End::KeyUnusable) ReportUnusableKey(m_status);
  if (m_end == End::AllVisited) QVRN_CHECK(false, "0", kVlanListSource);
}

}  // namespace qvrn
