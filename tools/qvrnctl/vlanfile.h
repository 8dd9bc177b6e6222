// A file of saved VLANs, read with the provider's own eyes: what it would create, and what it would lose.
//
// The provider removes every VLAN before it looks at the file's content, skips what it cannot create, and stops at the
// first element that has not four children. So a file is checked before it is handed over.
#pragma once

#include <windows.h>

#include "platform/handle.h"

#include <span>
#include <string>
#include <vector>

#include "tools/qvrnctl/vlan.h"
#include "tools/qvrnctl/xmldocument.h"

namespace qvrn {

/// An element `vlan`.
using VlanElement = XmlDocument::Children;

/// What the elements of a file say, and one line for each that the provider would not take as it is meant.
struct VlanFileContent {
  std::vector<Vlan> vlans;  ///< without GUIDs; of the elements without a fault in their form
  std::vector<std::wstring> faults;
};

/// Reads the elements `vlan` in their order. A fault is any form that the provider takes for something else: a number
/// of children other than four, a missing one (the provider would take the value of the element before), a text that is
/// no number, and whatever makes a VLAN impossible on one of `adapters`.
VlanFileContent ReadElements(std::span<const VlanElement> elements, const std::vector<Adapter>& adapters);

/// A file that stays open, so that nobody changes it between the check and the provider's own reading.
class VlanFile {
 public:
  /// Opens and parses. Throws ClientError when it is not a file, is no XML, has a document type, or none of its
  /// elements is a `vlan` and it is no saved file without VLANs either.
  explicit VlanFile(const std::wstring& path);

  const std::vector<VlanElement>& Elements() const noexcept { return m_elements; }

 private:
  FileHandle m_file;
  std::vector<VlanElement> m_elements;
};

}  // namespace qvrn
