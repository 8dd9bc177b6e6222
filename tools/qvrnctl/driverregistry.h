// What the registry of a machine tells of its adapters' drivers: what they take, and why an adapter is left out.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "tools/qvrnctl/properties.h"
#include "tools/qvrnctl/storedtext.h"

namespace qvrn {

/// Connects when it is first asked, and reads each parameter once. Where the registry cannot be read through WMI, it
/// knows nothing.
class DriverRegistry {
 public:
  /// Keeps the reference.
  explicit DriverRegistry(const Arguments& arguments) : m_arguments(arguments) {}

  /// Null where the registry cannot be read.
  const StoredTexts* Texts();
  /// None where the registry cannot be read, or the property stands for no keyword of the driver's.
  std::optional<DriverParameter> Parameter(const std::wstring& adapterId, const PropertyInfo& info);
  /// For the functions that think about values. Valid as long as this object.
  ParameterReader ReaderFor(const std::wstring& adapterId);

  /// The meaning of a property's value: the schema's, or else the driver's; NULL when neither names one.
  Value Meaning(const std::wstring& adapterId, const PropertyState& state);

  /// Which of the driver's parameters keeps the provider from serving the adapter, in one line; empty where none is
  /// found.
  std::wstring WhyLeftOut(const std::wstring& adapterId);

 private:
  std::optional<DriverParameter> ReadParameter(const std::wstring& key) const;

  const Arguments& m_arguments;
  bool m_connected = false;
  std::optional<StoredTexts> m_texts;
  std::map<std::pair<std::wstring, std::wstring>, std::optional<DriverParameter>> m_parameters;
};

}  // namespace qvrn
