#include "tools/qvrnctl/inputfile.h"

#include "platform/hresult.h"

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

// What all VLANs of dozens of adapters take, many times over.
constexpr LONGLONG kLargestFile = 64LL << 20;

}  // namespace

void RefuseFolder(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return;
  throw Failed(path + L" is a folder; it takes the name of a file");
}

FileHandle OpenInputFile(const std::wstring& path) {
  RefuseFolder(path);
  // No sharing of writing and deleting: it stays what it is.
  FileHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) throw WmiFailed(path + L" cannot be opened", HrFromLastError());
  if (::GetFileType(file.Get()) != FILE_TYPE_DISK) throw Failed(path + L" is not a file");
  return file;
}

std::string ReadInputFile(const std::wstring& path, HANDLE file) {
  LARGE_INTEGER size = {};
  if (!::GetFileSizeEx(file, &size) || size.QuadPart > kLargestFile) throw Failed(path + L" is too large");
  std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD read = 0;
  if (!::ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
    throw WmiFailed(path + L" cannot be read", HrFromLastError());
  }
  bytes.resize(read);
  return bytes;
}

}  // namespace qvrn
