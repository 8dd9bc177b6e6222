#include "lab/host/importpatch.h"

#include <setupapi.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "lab/journal.h"

namespace lab {
namespace {

std::wstring Widen(const std::string& text) {
  std::wstring wide(text.size(), L'\0');
  const int length = static_cast<int>(text.size());
  const int written = ::MultiByteToWideChar(CP_ACP, 0, text.c_str(), length, wide.data(), length);
  wide.resize(static_cast<std::size_t>(written));
  return wide;
}

BOOL WINAPI AcceptClassInstallParams(HDEVINFO, PSP_DEVINFO_DATA, PSP_CLASSINSTALL_HEADER, DWORD) { return TRUE; }

// The runtime's own formatting, in which %S is wide text.
int __cdecl RecordPrinted(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = ::_vscprintf(format, again);
  va_end(again);
  if (length < 0) return length;
  std::vector<char> text(static_cast<std::size_t>(length) + 1);
  ::_vsnprintf(text.data(), text.size(), format, arguments);
  Record(kPrinted, Widen(text.data()));
  return length;
}

void __cdecl RecordAssertion(const char* expression, const char* file, unsigned line) {
  const std::string text = std::string(expression) + ", file " + file + ", line " + std::to_string(line);
  std::fprintf(stderr, "qvrnlab: assertion failed: %s\n", text.c_str());
  Record(kAssertion, Widen(text));
}

int WINAPI RecordMessageBox(HWND, const wchar_t* text, const wchar_t* caption, UINT) {
  const auto orEmpty = [](const wchar_t* part) { return std::wstring(part == nullptr ? L"" : part); };
  Record(kMessageBox, orEmpty(caption) + L": " + orEmpty(text));
  return IDOK;
}

struct Patch {
  const char* module;
  const char* function;
  void* replacement;
};

const Patch kPatches[] = {
    {"setupapi.dll", "SetupDiSetClassInstallParamsW", reinterpret_cast<void*>(&AcceptClassInstallParams)},
    {"msvcrt.dll", "vprintf", reinterpret_cast<void*>(&RecordPrinted)},
    {"msvcrt.dll", "_assert", reinterpret_cast<void*>(&RecordAssertion)},
    {"user32.dll", "MessageBoxW", reinterpret_cast<void*>(&RecordMessageBox)},
};

/// A loaded module by its image layout.
class Image {
 public:
  explicit Image(HMODULE module) : m_base(reinterpret_cast<BYTE*>(module)) {}

  template <typename Type>
  Type* At(std::size_t offset) const {
    return reinterpret_cast<Type*>(m_base + offset);
  }

  /// The first import descriptor; null when the module imports nothing.
  const IMAGE_IMPORT_DESCRIPTOR* Imports() const {
    const auto* const headers = At<IMAGE_NT_HEADERS>(static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    return directory.VirtualAddress == 0 ? nullptr : At<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress);
  }

 private:
  BYTE* m_base;
};

const Patch* FindPatch(const char* module, const char* function) {
  for (const Patch& patch : kPatches) {
    if (::_stricmp(patch.module, module) == 0 && std::strcmp(patch.function, function) == 0) return &patch;
  }
  return nullptr;
}

void Replace(ULONGLONG& slot, void* replacement) {
  DWORD protection = 0;
  if (!::VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection)) return;
  slot = reinterpret_cast<ULONGLONG>(replacement);
  ::VirtualProtect(&slot, sizeof slot, protection, &protection);
}

void PatchImportsFrom(const Image& image, const IMAGE_IMPORT_DESCRIPTOR& descriptor) {
  const char* const module = image.At<const char>(descriptor.Name);
  const auto* name = image.At<const IMAGE_THUNK_DATA>(descriptor.OriginalFirstThunk);
  auto* slot = image.At<IMAGE_THUNK_DATA>(descriptor.FirstThunk);
  for (; name->u1.AddressOfData != 0; ++name, ++slot) {
    if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
    const auto* const import = image.At<const IMAGE_IMPORT_BY_NAME>(static_cast<std::size_t>(name->u1.AddressOfData));
    const Patch* const patch = FindPatch(module, reinterpret_cast<const char*>(import->Name));
    if (patch != nullptr) Replace(slot->u1.Function, patch->replacement);
  }
}

}  // namespace

void PatchProviderImports(HMODULE module) {
  if (module == nullptr) return;
  const Image image(module);
  const IMAGE_IMPORT_DESCRIPTOR* descriptor = image.Imports();
  for (; descriptor != nullptr && descriptor->Name != 0; ++descriptor) {
    if (descriptor->OriginalFirstThunk != 0) PatchImportsFrom(image, *descriptor);
  }
}

}  // namespace lab
