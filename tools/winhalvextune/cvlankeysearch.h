#pragma once

#include <windows.h>

#include <utility>
#include <vector>

#include "platform/boundedtext.h"
#include "platform/registrykey.h"

namespace qvrn {

/// The list and its look-ups report as one.
inline constexpr char kVlanListSource[] = "cvlanlist";

/// Finds the instance keys of VLAN miniports below the network class key by `NetCfgInstanceId`. Reads the class key
/// once, as far as the look-ups need it, and answers each as a search of its own would, reports and assertions
/// included. For look-ups between which no instance comes or goes.
class CVlanKeySearch {
 public:
  CVlanKeySearch() noexcept = default;
  /// For look-ups of these instance GUIDs, borrowed: what is passed on the way to another of them stays open for its
  /// turn.
  explicit CVlanKeySearch(std::vector<const wchar_t*> wanted) noexcept : m_wanted(std::move(wanted)) {}

  /// The instance's key with full access; none after a report. One instance that cannot be opened with full access ends
  /// the search for all behind it (kept for administrators who lock instances away). Throws std::bad_alloc.
  RegistryKey Find(const wchar_t* instanceId);

 private:
  // Why there is nothing more to visit.
  enum class End { NotReached, NoInstances, KeyUnusable, AllVisited };

  struct Instance {
    wchar_t instanceId[kGuidChars];
    wchar_t name[kPathChars];
    RegistryKey key;  // open while the instance is wanted and has not been handed out
  };

  Instance* FindVisited(const wchar_t* instanceId) noexcept;
  bool IsWanted(const wchar_t* instanceId) const noexcept;
  bool OpenClass() noexcept;
  bool VisitNext();
  LSTATUS OpenInstance(Instance& instance) const noexcept;
  void ReportEnd() const noexcept;

  std::vector<const wchar_t*> m_wanted;
  RegistryKey m_classKey;
  DWORD m_subkeys = 0;
  DWORD m_next = 0;
  End m_end = End::NotReached;
  LSTATUS m_status = ERROR_SUCCESS;
  std::vector<Instance> m_visited;
};

}  // namespace qvrn
