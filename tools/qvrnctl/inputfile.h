// A file that the client reads.
#pragma once

#include <windows.h>

#include "platform/handle.h"

#include <string>

namespace qvrn {

/// Opens a file for reading; nobody can change or delete it as long as it is open. Throws ClientError when it cannot be
/// opened, or is a folder or a device.
FileHandle OpenInputFile(const std::wstring& path);

/// All bytes of a file. Throws ClientError when it cannot be read, or has more than 64 MB.
std::string ReadInputFile(const std::wstring& path, HANDLE file);

/// Throws ClientError when `path` is a folder.
void RefuseFolder(const std::wstring& path);

}  // namespace qvrn
