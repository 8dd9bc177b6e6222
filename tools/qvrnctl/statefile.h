// A file that describes the state of a machine: JSON as `qvrnctl show` prints it, or VLANs as `qvrnctl save` saves them.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/qvrnctl/adapters.h"
#include "tools/qvrnctl/json.h"

namespace qvrn {

/// A VLAN as a file has it.
struct DescribedVlan {
  std::wstring place;  ///< in the file, for people
  std::int64_t number = 0;
  std::wstring name;
  std::optional<std::int64_t> priority;
};

/// An adapter as a file has it. What is not mentioned is not there.
struct DescribedAdapter {
  std::wstring place;
  std::vector<std::pair<std::wstring, std::wstring>> names;  ///< "id", "name", "connection", "guid", "pnpDeviceId"
  std::vector<std::pair<std::wstring, Value>> properties;    ///< a number, or a text as it is written
  std::optional<std::vector<DescribedVlan>> vlans;
};

struct StateDescription {
  std::vector<DescribedAdapter> adapters;  ///< as far as they have the right form
  std::vector<std::wstring> faults;        ///< of form, each with its place
};

/// What a JSON value describes.
StateDescription ReadDescription(const Json& json);

/// What a file describes: UTF-8, or UTF-16, with or without a byte order mark. `adapters` are those that saved VLANs may
/// belong to. Throws ClientError when the file cannot be read, or is neither JSON (with line and column) nor a file of
/// saved VLANs.
StateDescription ReadStateFile(const std::wstring& path, const std::vector<Adapter>& adapters);

}  // namespace qvrn
