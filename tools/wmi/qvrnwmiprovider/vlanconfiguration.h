// Saving the VLANs of all served adapters to an XML file, and making them anew from one.
#pragma once

#include "platform/wmi.h"

namespace qvrn {

/// Writes `fileName`: one `vlan` element per VLAN with the children ParentId, Name, Id and Priority. 0;
/// WBEM_E_INVALID_PARAMETER without a file name; E_FAIL when there is no document; the failure of the query or of the
/// document's save.
HRESULT SaveVlanConfiguration(IWbemServices* wmiNamespace, const wchar_t* fileName) noexcept;

/// Removes every VLAN, then creates those of the file in its order. 0, whatever could not be removed or created;
/// WBEM_E_INVALID_PARAMETER without a file name and E_FAIL for a file that cannot be loaded, with no VLAN touched; the
/// failure of reading the document. A `vlan` element without exactly four children ends the restore (kept for
/// files that end their list so), also when it is a comment that makes the fifth.
HRESULT RestoreVlanConfiguration(IWbemServices* wmiNamespace, const wchar_t* fileName) noexcept;

}  // namespace qvrn
