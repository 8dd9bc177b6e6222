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

// The out-parameters of a method that did what it was asked for; null when the key or value is not there.
WmiObject StoredTexts::Ask(const wchar_t* method, const std::wstring& key, const wchar_t* name) const {
  std::vector<std::pair<const wchar_t*, Value>> in = {{L"hDefKey", kLocalMachine}, {L"sSubKeyName", key}};
  if (name != nullptr) in.emplace_back(L"sValueName", name);
  const WmiObject out = m_wmi.Call(kRegistryClass, method, in);
  if (out == nullptr) throw WmiFailed(kRegistryClass, kNotFound);
  const Value status = ReadProperty(out.Get(), L"ReturnValue");
  if (status == Value(std::int64_t{ERROR_ACCESS_DENIED})) throw Failed(L"the registry may not be read");
  return status == Value(std::int64_t{ERROR_SUCCESS}) ? out : nullptr;
}

std::optional<std::wstring> StoredTexts::Read(const std::wstring& key, const std::wstring& name) const {
  const WmiObject out = Ask(L"GetStringValue", key, name.c_str());
  const Value text = out == nullptr ? Value() : ReadProperty(out.Get(), L"sValue");
  const auto* stored = std::get_if<std::wstring>(&text);
  return stored == nullptr ? std::nullopt : std::optional(*stored);
}

std::vector<std::wstring> StoredTexts::Names(const wchar_t* method, const std::wstring& key) const {
  const WmiObject out = Ask(method, key, nullptr);
  return out == nullptr ? std::vector<std::wstring>() : ReadTexts(out.Get(), L"sNames");
}

std::vector<std::wstring> StoredTexts::ValueNames(const std::wstring& key) const { return Names(L"EnumValues", key); }

std::vector<std::wstring> StoredTexts::SubkeyNames(const std::wstring& key) const { return Names(L"EnumKey", key); }

}  // namespace qvrn
