#include "tools/qvrnctl/filename.h"

#include <windows.h>

#include <cwctype>

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

bool IsSlash(wchar_t unit) { return unit == L'\\' || unit == L'/'; }

bool IsAbsolute(const std::wstring& name) {
  if (name.size() < 3) return false;
  return (IsSlash(name[0]) && IsSlash(name[1])) || (std::iswalpha(name[0]) != 0 && name[1] == L':' && IsSlash(name[2]));
}

// The provider hands the name to the platform's XML reader, which takes it for an address where it looks like one.
const wchar_t* Objection(const std::wstring& name) {
  if (name.empty()) return L"it is empty";
  if (name.starts_with(L"\\\\.\\")) return L"that is a device";
  if (name.find(L'%') != std::wstring::npos) return L"the XML reader would take % for the escape of a character";
  if (name.find_first_of(L"\"<>|*?") != std::wstring::npos) return L"no file name holds any of \" < > | * ?";
  return nullptr;
}

}  // namespace

std::wstring FullFileName(const std::wstring& name, bool onOtherComputer) {
  std::wstring full = name;
  if (!onOtherComputer && !name.empty()) {
    full.resize(::GetFullPathNameW(name.c_str(), 0, nullptr, nullptr));
    full.resize(::GetFullPathNameW(name.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  }
  if (const wchar_t* objection = Objection(full)) {
    throw WrongUsage(L"the file cannot be \"" + name + L"\": " + objection);
  }
  if (IsAbsolute(full)) return full;
  throw WrongUsage(L"the file cannot be \"" + name + L"\": with --computer it takes a whole path of that computer");
}

}  // namespace qvrn
