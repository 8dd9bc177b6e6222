// The texts in a machine's registry, read through WMI as everything else, so that it works for remote machines too.
#pragma once

#include <optional>
#include <string>

#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {

/// The class StdRegProv of the machine that the arguments name: in root\cimv2 on current Windows, else in root\default.
class StoredTexts {
 public:
  /// Throws ClientError when the class is in neither place.
  explicit StoredTexts(const Arguments& arguments);

  /// A REG_SZ below HKEY_LOCAL_MACHINE; none when it is not there. Throws ClientError when it cannot be asked for.
  std::optional<std::wstring> Read(const std::wstring& key, const std::wstring& name) const;

 private:
  WmiClient m_wmi;
};

}  // namespace qvrn
