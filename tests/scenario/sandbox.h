// A machine of a scenario's own: HKEY_LOCAL_MACHINE is redirected to a fresh key while it lives; lab and product see
// nothing else.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/registrykey.h"

namespace scenario {

/// A registry value as it is stored.
struct StoredValue {
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
  bool operator==(const StoredValue&) const = default;
};

/// "KEY:NAME" to value; a key itself is "KEY:" with REG_NONE.
using Snapshot = std::map<std::wstring, StoredValue>;

class Sandbox {
 public:
  Sandbox();
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  /// Writes a value; makes the key, and nothing more when `name` is empty and `value` has no type.
  void Write(const std::wstring& key, const std::wstring& name, const StoredValue& value) const;
  /// Deletes a value, or the key with all that is below it when `name` is empty.
  void Delete(const std::wstring& key, const std::wstring& name) const;

  /// Everything but the lab's own key and the devices' keys, which the setup API writes as it likes.
  Snapshot Registry() const;
  /// Where the machine is, below HKEY_CURRENT_USER.
  const std::wstring& Path() const { return m_path; }

  /// A folder of this program's own for files, ending in a backslash; emptied by each machine.
  static const std::wstring& Folder();

 private:
  std::wstring m_path;
  qvrn::RegistryKey m_root;
};

/// REG_SZ with its terminator; REG_MULTI_SZ with both.
StoredValue TextValue(const std::wstring& text);
StoredValue MultiStringValue(const std::vector<std::wstring>& texts);

/// E.g. `REG_SZ 200 "10"`: type, bytes, and the text up to its end; entries of a REG_MULTI_SZ; else bytes in
/// hexadecimal. What a proper text would not have stands behind it: "unterminated", "then ..." with the rest.
std::string ValueText(const StoredValue& value);

/// Everything below a key.
Snapshot TakeSnapshot(HKEY root);
/// What changed, one line each: "+KEY:NAME VALUE", "-KEY:NAME", "KEY:NAME VALUE".
std::vector<std::string> Changes(const Snapshot& before, const Snapshot& after);

}  // namespace scenario
