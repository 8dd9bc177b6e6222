// A machine for VLANs, and the VLAN class as a client of the provider sees it.
#pragma once

#include <windows.h>

#include <wrl/client.h>

#include <string>
#include <vector>

#include "mux/notifyob/notifytrace.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"

namespace tests {

/// The served adapters 7 and 12, one of another maker (8), a transport, and the driver's files, but no driver. What the
/// product prints is dropped and it does not wait.
class VlanMachine : public Machine {
 public:
  VlanMachine();
  ~VlanMachine();

  static constexpr wchar_t kProductKey[] = L"SOFTWARE\\Quorvane";
  static constexpr wchar_t kNameKey[] = L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ActiveComputerName";
  static constexpr wchar_t kComputerName[] = L"TESTBED";
  static constexpr wchar_t kDriverKey[] = L"SYSTEM\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters";

 private:
  qvrn::Printer m_printer;
  qvrn::Sleeper m_sleeper;
};

/// What a put may carry; null texts leave the property NULL.
struct VlanValues {
  const wchar_t* parent = L"7";
  const wchar_t* name = nullptr;
  LONG number = 0;
  LONG priority = 0;
  const wchar_t* key = nullptr;
};

class VlanClient {
 public:
  static constexpr wchar_t kClass[] = L"QvrnEN_VLAN";

  /// A new instance with these values.
  static Microsoft::WRL::ComPtr<IWbemClassObject> Instance(const VlanValues& values);
  /// `QvrnEN_VLAN.Name="KEY"`.
  static std::wstring Path(const std::wstring& key);

  Outcome Put(const VlanValues& values, LONG flags = 0) const { return provider.Put(Instance(values).Get(), flags); }
  /// Runs a method with this file name.
  Outcome Call(const wchar_t* method, const std::wstring& fileName) const;
  /// "PARENT/NUMBER NAME (PRIORITY)" of each VLAN, in the order of the enumeration.
  std::vector<std::wstring> List() const;
  /// Key of the VLAN with this number on any adapter; empty when there is none.
  std::wstring KeyOf(LONG number) const;

  Provider provider;
};

}  // namespace tests
