#include "lab/host/importpatch.h"

#include <setupapi.h>

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "lab/journal.h"
#include "lab/widetext.h"

namespace lab {
namespace {

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
  Record(kPrinted, Wide(text.data(), CP_ACP));
  return length;
}

void __cdecl RecordAssertion(const char* expression, const char* file, unsigned line) {
  const std::string text = std::string(expression) + ", file " + file + ", line " + std::to_string(line);
  std::fprintf(stderr, "qvrnlab: assertion failed: %s\n", text.c_str());
  Record(kAssertion, Wide(text, CP_ACP));
}

int WINAPI RecordMessageBox(HWND, const wchar_t* text, const wchar_t* caption, UINT) {
  const auto orEmpty = [](const wchar_t* part) { return std::wstring(part == nullptr ? L"" : part); };
  Record(kMessageBox, orEmpty(caption) + L": " + orEmpty(text));
  return IDOK;
}

struct Patch {
  const char* function;
  void* replacement;
};

const Patch kProviderPatches[] = {
    {"SetupDiSetClassInstallParamsW", reinterpret_cast<void*>(&AcceptClassInstallParams)},
    {"vprintf", reinterpret_cast<void*>(&RecordPrinted)},
    {"_assert", reinterpret_cast<void*>(&RecordAssertion)},
    {"MessageBoxW", reinterpret_cast<void*>(&RecordMessageBox)},
};

/// Calls `visit` with the name of each import by name and the place of its address.
template <typename Visit>
void VisitImports(HMODULE module, Visit visit) {
  const auto at = [module](ULONGLONG offset) -> void* { return reinterpret_cast<BYTE*>(module) + offset; };
  const auto* const dos = static_cast<const IMAGE_DOS_HEADER*>(at(0));
  const auto* const headers = static_cast<const IMAGE_NT_HEADERS*>(at(static_cast<ULONGLONG>(dos->e_lfanew)));
  const ULONGLONG imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  if (imports == 0) return;
  for (auto* from = static_cast<const IMAGE_IMPORT_DESCRIPTOR*>(at(imports)); from->OriginalFirstThunk != 0; ++from) {
    auto* slot = static_cast<IMAGE_THUNK_DATA*>(at(from->FirstThunk));
    auto* name = static_cast<const IMAGE_THUNK_DATA*>(at(from->OriginalFirstThunk));
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const auto* const import = static_cast<const IMAGE_IMPORT_BY_NAME*>(at(name->u1.AddressOfData));
      visit(std::string_view(reinterpret_cast<const char*>(import->Name)), slot->u1.Function);
    }
  }
}

}  // namespace

void* PatchImport(HMODULE module, std::string_view function, void* replacement) {
  void* original = nullptr;
  VisitImports(module, [&](std::string_view name, ULONGLONG& slot) {
    DWORD protection = 0;
    if (name != function || !::VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection)) return;
    original = reinterpret_cast<void*>(std::exchange(slot, reinterpret_cast<ULONGLONG>(replacement)));
    ::VirtualProtect(&slot, sizeof slot, protection, &protection);
  });
  return original;
}

std::vector<std::string> ImportedFunctions(HMODULE module) {
  std::vector<std::string> names;
  VisitImports(module, [&](std::string_view name, ULONGLONG&) { names.emplace_back(name); });
  return names;
}

void PatchProviderImports(HMODULE module) {
  if (module == nullptr) return;
  for (const Patch& patch : kProviderPatches) PatchImport(module, patch.function, patch.replacement);
}

}  // namespace lab
