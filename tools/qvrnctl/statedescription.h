// The state of a machine as a file describes it, as far as its form goes.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/qvrnctl/json.h"
#include "tools/qvrnctl/propertyinfo.h"

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

/// The text in UTF-8, whatever Windows' editors and shells made of it: UTF-8 or UTF-16, with or without a byte order mark.
std::string DecodeText(const std::string& bytes);

/// The JSON of a text in UTF-8. Throws ClientError, with `path`, line and column, where it is none, or where an object has
/// a key twice.
Json ParseJson(const std::wstring& path, const std::string& text);

}  // namespace qvrn
