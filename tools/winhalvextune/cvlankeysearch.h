#pragma once

#include <windows.h>

#include <vector>

#include "platform/boundedtext.h"
#include "platform/registrykey.h"

namespace qvrn {

/// Finds the instance keys of VLAN miniports below the network class key by `NetCfgInstanceId`. Reads the class key
/// once, as far as the look-ups need it, and answers each as a search of its own would, reports and assertions
/// included. For look-ups between which no instance comes or goes.
class CVlanKeySearch {
 public:
  /// The instance's key with full access; none after a report. One instance that cannot be opened with full access ends
  /// the search for all behind it (kept). Throws std::bad_alloc.
  RegistryKey Find(const wchar_t* instanceId);

 private:
  // Why there is nothing more to visit.
  enum class End { NotReached, NoInstances, KeyUnusable, AllVisited };

  struct Instance {
    wchar_t id[kGuidChars];
    wchar_t name[kPathChars];
  };

  const Instance* FindVisited(const wchar_t* instanceId) const noexcept;
  bool OpenClass() noexcept;
  bool VisitNext(RegistryKey& key);
  LSTATUS OpenInstance(const Instance& instance, RegistryKey& key) const noexcept;
  void ReportEnd() const noexcept;

  RegistryKey m_classKey;
  DWORD m_subkeys = 0;
  DWORD m_next = 0;
  End m_end = End::NotReached;
  LSTATUS m_status = ERROR_SUCCESS;
  std::vector<Instance> m_visited;
};

}  // namespace qvrn
