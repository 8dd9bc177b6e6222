// What the built files are like, as the platform's loader and its installers see them.
#include <windows.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/assertion.h"

namespace {

using ::testing::ElementsAreArray;
using Names = std::vector<std::string>;

const struct {
  const wchar_t* file;
  const wchar_t* description;
  Names exports;  ///< in the order of the alphabet
} kBinaries[] = {
    {L"qvrnwmiprovider.dll",
     L"WMI Quorvane Ethernet Provider",
     {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"}},
    {L"qvrnctl.exe", L"Quorvane adapter command line", {}},
    {L"qvrnlab.dll",
     L"Quorvane lab",
     {"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer", "LabClassInstaller"}},
};

// What a machine has without any runtime of a compiler.
const Names kPlatform = {"advapi32.dll", "iphlpapi.dll", "kernel32.dll", "msvcrt.dll",
                         "ole32.dll",    "oleaut32.dll", "setupapi.dll", "user32.dll"};

std::wstring PathOf(const wchar_t* file) { return L"C:\\qvrn\\" + std::wstring(file); }

/// A file mapped as the loader does, without running it.
class Image {
 public:
  explicit Image(const wchar_t* file)
      : m_module(::LoadLibraryExW(PathOf(file).c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES)) {}
  ~Image() { ::FreeLibrary(m_module); }
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  bool IsMapped() const { return m_module != nullptr; }

  const IMAGE_OPTIONAL_HEADER64& Header() const {
    return At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew))->OptionalHeader;
  }

  Names Exports() const {
    Names names;
    const IMAGE_DATA_DIRECTORY& directory = Header().DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    if (directory.Size == 0) return names;
    const auto* exports = At<IMAGE_EXPORT_DIRECTORY>(directory.VirtualAddress);
    EXPECT_EQ(exports->NumberOfFunctions, exports->NumberOfNames) << "no export without a name";
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
      names.emplace_back(At<char>(At<DWORD>(exports->AddressOfNames)[i]));
    }
    return names;
  }

  Names Imports() const {
    Names names;
    const auto* import =
        At<IMAGE_IMPORT_DESCRIPTOR>(Header().DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; import->Name != 0; ++import) {
      names.emplace_back(At<char>(import->Name));
      for (char& letter : names.back()) letter = static_cast<char>(std::tolower(letter));
    }
    return names;
  }

 private:
  template <typename T>
  const T* At(DWORD offset) const {
    return reinterpret_cast<const T*>(reinterpret_cast<const BYTE*>(m_module) + offset);
  }

  HMODULE m_module;
};

/// The VERSIONINFO of a file.
class Version {
 public:
  explicit Version(const wchar_t* file) : m_block(::GetFileVersionInfoSizeW(PathOf(file).c_str(), nullptr)) {
    ::GetFileVersionInfoW(PathOf(file).c_str(), 0, static_cast<DWORD>(m_block.size()), m_block.data());
  }

  std::wstring Text(const std::wstring& name) const {
    const auto* text = Find<wchar_t>(L"\\StringFileInfo\\040904b0\\" + name);
    return text == nullptr ? L"(none)" : text;
  }

  std::vector<std::wstring> Numbers() const {
    const auto* fixed = Find<VS_FIXEDFILEINFO>(L"\\");
    if (fixed == nullptr) return {};
    return {Dotted(fixed->dwFileVersionMS, fixed->dwFileVersionLS),
            Dotted(fixed->dwProductVersionMS, fixed->dwProductVersionLS)};
  }

 private:
  static std::wstring Dotted(DWORD high, DWORD low) {
    return std::to_wstring(HIWORD(high)) + L"." + std::to_wstring(LOWORD(high)) + L"." + std::to_wstring(HIWORD(low)) +
           L"." + std::to_wstring(LOWORD(low));
  }

  template <typename T>
  const T* Find(const std::wstring& path) const {
    void* found = nullptr;
    UINT size = 0;
    return ::VerQueryValueW(m_block.data(), path.c_str(), &found, &size) ? static_cast<const T*>(found) : nullptr;
  }

  std::vector<BYTE> m_block;
};

TEST(Binaries, ExportNamesWithoutDecorationAndImportThePlatformAlone) {
  for (const auto& binary : kBinaries) {
    SCOPED_TRACE(::testing::PrintToString(binary.file));
    const Image image(binary.file);
    ASSERT_TRUE(image.IsMapped());
    EXPECT_THAT(image.Exports(), ElementsAreArray(binary.exports));
    EXPECT_THAT(image.Imports(), ::testing::IsSupersetOf({"kernel32.dll", "msvcrt.dll"}));
    EXPECT_THAT(image.Imports(), ::testing::Each(::testing::AnyOfArray(kPlatform)));
  }
}

TEST(Binaries, HoldTheTextOfTheEventOfAFailedCheck) {
  const HMODULE module = ::LoadLibraryExW(PathOf(L"qvrnwmiprovider.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  const wchar_t* inserts[] = {L"bRet == true", L"common", L"7"};
  wchar_t text[256] = {};
  ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, module, qvrn::kAssertionEvent, 0, text,
                   256, reinterpret_cast<va_list*>(inserts));
  EXPECT_STREQ(text,
               L"A check of the WMI Quorvane Ethernet Provider has failed; the request went on. Expression: bRet == "
               L"true. Source: common, line 7.\r\n");
  ::FreeLibrary(module);
}

TEST(Binaries, LoadAtAnyAddressAndRunNoData) {
  constexpr WORD kWanted = IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA | IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                           IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
  for (const auto& binary : kBinaries) {
    SCOPED_TRACE(::testing::PrintToString(binary.file));
    const Image image(binary.file);
    ASSERT_TRUE(image.IsMapped());
    EXPECT_EQ(image.Header().DllCharacteristics & kWanted, kWanted);
    EXPECT_NE(image.Header().DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size, 0u) << "nothing to relocate it by";
  }
}

TEST(Binaries, CarryTheirVersion) {
  for (const auto& binary : kBinaries) {
    SCOPED_TRACE(::testing::PrintToString(binary.file));
    const Version version(binary.file);
    const std::wstring number = PRODUCT_VERSION L".0";
    EXPECT_THAT(version.Numbers(), ::testing::ElementsAre(number, number));
    const std::pair<const wchar_t*, const wchar_t*> texts[] = {
        {L"CompanyName", L"Quorvane"},       {L"FileDescription", binary.description},
        {L"FileVersion", PRODUCT_VERSION},   {L"InternalName", binary.file},
        {L"OriginalFilename", binary.file},  {L"ProductName", L"WMI Quorvane Ethernet Provider"},
        {L"ProductVersion", PRODUCT_VERSION}};
    for (const auto& [name, text] : texts) EXPECT_EQ(version.Text(name), text) << ::testing::PrintToString(name);
  }
}

}  // namespace
