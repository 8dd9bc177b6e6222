// The texts in a machine's registry, read through WMI as everything else, so that it works for remote machines too.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {

/// The class StdRegProv of the machine that the arguments name: in root\cimv2 on current Windows, else in root\default.
class StoredTexts {
 public:
  /// Throws ClientError when the class is in neither place.
  explicit StoredTexts(const Arguments& arguments);

  /// A REG_SZ below HKEY_LOCAL_MACHINE; none when it is not there. Throws ClientError when it cannot be asked for.
  std::optional<std::wstring> Read(const std::wstring& key, const std::wstring& name) const;

  /// The names of a key's values, and of its subkeys; none when it is not there. Throw ClientError as above.
  std::vector<std::wstring> ValueNames(const std::wstring& key) const;
  std::vector<std::wstring> SubkeyNames(const std::wstring& key) const;

 private:
  WmiObject Ask(const wchar_t* method, const std::wstring& key, const wchar_t* name) const;
  std::vector<std::wstring> Names(const wchar_t* method, const std::wstring& key) const;

  WmiClient m_wmi;
};

}  // namespace qvrn
