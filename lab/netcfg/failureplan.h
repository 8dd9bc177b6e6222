// Calls that the machine's settings want to fail: see lab/labkey.h.
#pragma once

#include <windows.h>

#include <optional>
#include <set>
#include <string>

namespace lab {

/// Which names there are is read once; counts live in the registry, so that they are the same for all processes.
class FailurePlan {
 public:
  FailurePlan();
  /// The HRESULT that this call is to fail with, counted down; none when it is to be served.
  std::optional<HRESULT> Next(const wchar_t* method) const;

 private:
  std::optional<HRESULT> Count(const wchar_t* name) const;

  std::set<std::wstring, std::less<>> m_methods;
};

}  // namespace lab
