// The platform's XML reader, set up as the provider does it: both see the same elements and texts.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace qvrn {

/// What a document holds.
struct XmlDocument {
  /// The child nodes of an element, comments included: name and text.
  using Children = std::vector<std::pair<std::wstring, std::wstring>>;

  std::vector<std::wstring> names;  ///< of all elements, the root first
  std::vector<Children> vlans;      ///< of the elements `vlan`, wherever they are
};

/// Loads a file by its absolute name. Throws ClientError when it is not well-formed, or has a document type.
XmlDocument LoadXml(const std::wstring& path);

}  // namespace qvrn
