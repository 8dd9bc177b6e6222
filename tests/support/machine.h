// A machine of a test's own: HKEY_LOCAL_MACHINE is redirected to a fresh key for as long as it lives, and lab and
// product see nothing else.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/assertion.h"
#include "platform/registrykey.h"
#include "tests/support/registrysnapshot.h"

namespace tests {

class Machine {
 public:
  Machine();
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  static constexpr wchar_t kServed[] = L"qvx4\\halvex_eth";

  /// An instance of the network class; `present` ones have a device that the network configuration knows.
  void AddAdapter(DWORD index, const wchar_t* componentId = kServed, bool present = true);
  /// An adapter as most tests want one: MaxFrameSize (1514..9014), FlowControl (0, 1, 2, 3), no values stored.
  void AddUsualAdapter(DWORD index);

  using Values = std::vector<std::pair<const wchar_t*, const wchar_t*>>;
  /// A \Ndi\config descriptor with the given values, such as ParamDesc and type.
  void AddDescriptor(DWORD index, const wchar_t* keyword, const Values& values);
  void AddInteger(DWORD index, const wchar_t* keyword, const wchar_t* minimum, const wchar_t* maximum,
                  const wchar_t* defaultText);
  /// Settings of an enumeration, each its own description.
  void AddEnumeration(DWORD index, const wchar_t* keyword, const std::vector<const wchar_t*>& settings,
                      const wchar_t* defaultText);

  void Store(DWORD index, const wchar_t* name, const wchar_t* text);
  /// The text of an instance key's value; none when absent.
  std::optional<std::wstring> Stored(DWORD index, const wchar_t* name) const;

  /// Writes a REG_SZ value; an empty `name` only makes the key.
  void WriteText(const std::wstring& path, const wchar_t* name, const wchar_t* text);
  void WriteBytes(const std::wstring& path, const wchar_t* name, DWORD type, const void* data, std::size_t bytes);
  void WriteNumber(const std::wstring& path, const wchar_t* name, DWORD number);
  void DeleteValue(const std::wstring& path, const wchar_t* name);

  /// The next `times` calls of the named INetCfg method fail.
  void FailCall(const wchar_t* call, HRESULT hr, int times = 1);

  /// Device ids of the restarts so far.
  std::vector<std::wstring> Restarts() const;
  /// Calls on the network configuration so far, and forgets them.
  std::vector<std::wstring> TakeNetworkCalls() const;

  /// Everything but the lab's own key and the devices' keys, which the setup API writes as it likes.
  Snapshot Registry() const;

  static std::wstring InstanceId(DWORD index);
  static std::wstring DeviceId(DWORD index);
  static std::wstring InstanceKey(DWORD index);

 private:
  std::wstring m_path;
  qvrn::RegistryKey m_root;
};

/// Records assertions while it lives, and lets the code run on.
class AssertionRecorder {
 public:
  AssertionRecorder();
  ~AssertionRecorder();
  AssertionRecorder(const AssertionRecorder&) = delete;
  AssertionRecorder& operator=(const AssertionRecorder&) = delete;

  /// "EXPRESSION, FILE" each, since the last call.
  std::vector<std::string> Take();

 private:
  qvrn::AssertionReporter m_before;
};

}  // namespace tests
