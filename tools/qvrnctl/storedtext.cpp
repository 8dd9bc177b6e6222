#include "tools/qvrnctl/storedtext.h"

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

constexpr wchar_t kRegistryClass[] = L"StdRegProv";
// HKEY_LOCAL_MACHINE as the class's methods number it.
constexpr std::int64_t kLocalMachine = 0x80000002;

WmiClient ConnectToRegistry(const Arguments& arguments) {
  try {
    WmiClient wmi(arguments.computer, L"root\\cimv2");
    wmi.Fetch(kRegistryClass, kRegistryClass);
    return wmi;
  } catch (const ClientError&) {
    WmiClient wmi(arguments.computer, L"root\\default");
    wmi.Fetch(kRegistryClass, kRegistryClass);
    return wmi;
  }
}

}  // namespace

StoredTexts::StoredTexts(const Arguments& arguments) : m_wmi(ConnectToRegistry(arguments)) {}

std::optional<std::wstring> StoredTexts::Read(const std::wstring& key, const std::wstring& name) const {
  const WmiObject out = m_wmi.Call(kRegistryClass, L"GetStringValue",
                                   {{L"hDefKey", kLocalMachine}, {L"sSubKeyName", key}, {L"sValueName", name}});
  if (out == nullptr) throw WmiFailed(kRegistryClass, kNotFound);
  const Value status = ReadProperty(out.Get(), L"ReturnValue");
  if (status == Value(std::int64_t{ERROR_ACCESS_DENIED})) throw Failed(L"the registry may not be read");
  const Value text = ReadProperty(out.Get(), L"sValue");
  const auto* stored = std::get_if<std::wstring>(&text);
  if (status != Value(std::int64_t{ERROR_SUCCESS}) || stored == nullptr) return std::nullopt;
  return *stored;
}

}  // namespace qvrn
