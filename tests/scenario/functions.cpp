#include "tests/scenario/functions.h"

#include <windows.h>

#include <netcfgx.h>
#include <olectl.h>

#include <wrl/client.h>

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>

#include "lab/netcfg/netcfg.h"
#include "lab/wmi/wbemhost.h"
#include "mux/notifyob/cmuxteamminiport.h"
#include "mux/notifyob/notifysupport.h"
#include "platform/comtext.h"
#include "platform/hresult.h"
#include "platform/registrykey.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"
#include "tests/scenario/requests.h"
#include "tools/winhalvextune/common.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"

namespace scenario {
namespace {

using Arguments = std::vector<std::wstring>;
using Microsoft::WRL::ComPtr;

unsigned long Number(const std::wstring& word) { return std::stoul(word, nullptr, 0); }

/// A buffer of exactly the size told, full of '#', for functions that write a text.
class Buffer {
 public:
  explicit Buffer(const std::wstring& size) : m_chars(Number(size)), m_text(std::make_unique<wchar_t[]>(m_chars)) {
    std::fill_n(m_text.get(), m_chars, L'#');
  }
  wchar_t* Get() const { return m_text.get(); }
  std::size_t Chars() const { return m_chars; }
  std::string Text() const {
    return " " + Quoted(std::wstring(m_text.get(), ::wcsnlen(m_text.get(), m_chars)).c_str());
  }

 private:
  std::size_t m_chars;
  std::unique_ptr<wchar_t[]> m_text;
};

std::string Code(LONG code) { return Hex(static_cast<std::uint32_t>(code)); }
std::string Bool(bool value) { return value ? "true" : "false"; }
qvrn::Message Id(const std::wstring& word) { return static_cast<qvrn::Message>(Number(word)); }

std::string DeviceNode(const Arguments& words) {
  const Buffer buffer(words.at(1));
  GUID guid = {};
  ::CLSIDFromString(words.at(0).c_str(), &guid);
  const HRESULT hr = qvrn::GetAdapterPnpDevNodeId(guid, buffer.Get(), buffer.Chars());
  return Code(hr) + buffer.Text();
}

template <typename Function>
std::string IntoBuffer(const Arguments& words, Function function) {
  const Buffer buffer(words.at(1));
  const LONG result = function(words.at(0).c_str(), buffer.Get(), buffer.Chars());
  return Code(result) + buffer.Text();
}

std::string Formatted(const Arguments& words) {
  const wchar_t* inserts[] = {words.at(1).c_str()};
  std::wstring text = L"as before";
  const bool result = qvrn::FormatResourceMessage(Id(words.at(0)), text, inserts);
  return Bool(result) + " " + Quoted(text.c_str());
}

std::string Shown(const Arguments& words) {
  const wchar_t* inserts[] = {words.at(1).c_str()};
  qvrn::ShowMessage(Id(words.at(0)), inserts);
  return "";
}

template <typename Change>
std::string Bindings(const Arguments& words, Change change) {
  qvrn::RegistryKey key;
  key.Open(HKEY_LOCAL_MACHINE, words.at(0).c_str(), KEY_ALL_ACCESS);
  return Code(change(key.Get(), words.at(1).c_str()));
}

std::string ResourceString(const Arguments& words) {
  const HMODULE module = words.at(0) == L"none" ? nullptr : ::GetModuleHandleW(nullptr);
  BSTR text = ::SysAllocString(L"as before");
  const bool result = qvrn::LoadResourceString(text, module, static_cast<WORD>(Number(words.at(1))));
  std::string told = Bool(result) + " " + Quoted(text) + " " + std::to_string(::SysStringLen(text));
  ::SysFreeString(text);
  return told;
}

// A component's value: the result, the size, and the first five bytes of the buffer.
std::string ComponentValue(const Arguments& words) {
  ComPtr<INetCfg> netCfg;
  ComPtr<INetCfgComponent> component;
  ::CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&netCfg));
  netCfg->Initialize(nullptr);
  netCfg->FindComponent(words.at(0).c_str(), &component);
  std::vector<BYTE> buffer(4096, 0xCC);
  DWORD bytes = 77;
  std::string told = Code(qvrn::ReadRegistryParams(component.Get(), words.at(1).c_str(), buffer.data(), &bytes));
  told += " " + std::to_string(bytes) + ":";
  for (int i = 0; i < 5; ++i) told += " " + Hex(buffer[static_cast<std::size_t>(i)]).substr(2);
  return told;
}

// A team by GUID or "none", name and type; then what is done with it, each step with its result.
std::string Team(const Arguments& words) {
  const auto guid = [&words](std::size_t at) {
    GUID read = {};
    ::CLSIDFromString(words.at(at).c_str(), &read);
    return read;
  };
  ComPtr<INetCfg> netCfg;
  ComPtr<INetCfgLock> lock;
  ComPtr<INetCfgComponent> component;
  qvrn::TaskText holder;
  ::CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&netCfg));
  netCfg.As(&lock);
  lock->AcquireWriteLock(0, L"team", holder.Put());
  netCfg->Initialize(nullptr);
  netCfg->FindComponent(L"qvrn_muxmp", &component);
  const GUID teamGuid = guid(0);
  qvrn::CMuxTeamMiniport team(netCfg.Get(), words.at(0) == L"none" ? nullptr : &teamGuid, words.at(1).c_str(),
                              Number(words.at(2)));
  std::string told;
  for (std::size_t at = 3; at < words.size(); ++at) {
    const std::wstring& step = words[at];
    told += told.empty() ? "" : " ";
    if (step == L"insert") {
      told += Code(team.InsertRegistryParams(component.Get()));
    } else if (step == L"load") {
      told += Code(team.LoadConfiguration());
    } else if (step == L"uninstall") {
      told += Code(team.DeInstall());
    } else if (step == L"guid") {
      GUID own = {};
      team.GetMiniportGUID(&own);
      told += GuidName(own);
    } else {
      const GUID adapter = guid(++at);
      if (step == L"primary") told += Bool(team.IsPrimaryAdapter(adapter));
      if (step == L"add") told += Code(team.ApplyRegistryChanges(qvrn::ActionAdd, &adapter));
      if (step == L"remove") told += Code(team.ApplyRegistryChanges(qvrn::ActionRemove, &adapter));
    }
  }
  return told;
}

// A query of the lab's namespace: a property of each object that comes, then the code of the Next that brings none, or
// of the query.
std::string Query(const Arguments& words) {
  const Observation unobserved(false);
  ComPtr<IEnumWbemClassObject> found;
  ULONG returned = 1;
  std::string told;
  HRESULT hr =
      lab::Namespace()->ExecQuery(qvrn::Bstr(L"WQL").Get(), qvrn::Bstr(words.at(1).c_str()).Get(), 0, nullptr, &found);
  while (SUCCEEDED(hr) && returned == 1) {
    ComPtr<IWbemClassObject> object;
    hr = found->Next(static_cast<LONG>(WBEM_INFINITE), 1, &object, &returned);
    qvrn::Variant value;
    if (object == nullptr) continue;
    const HRESULT known = object->Get(words.at(0).c_str(), 0, value.Put(), nullptr, nullptr);
    told += (SUCCEEDED(known) ? VariantText(*value.Get()) : "no property") + " ";
  }
  return told + Code(hr);
}

std::string GetObject(const Arguments& words) {
  const Observation unobserved(false);
  ComPtr<IWbemClassObject> object;
  return Code(lab::Namespace()->GetObject(qvrn::Bstr(words.at(0).c_str()).Get(), 0, nullptr, &object, nullptr));
}

using Function = std::string (*)(const Arguments& words);

const std::map<std::string, Function>& Functions() {
  static const std::map<std::string, Function> functions = {
      {"AddToUpperBindings", [](const Arguments& w) { return Bindings(w, qvrn::AddToUpperBindings); }},
      {"RemoveFromUpperBindings", [](const Arguments& w) { return Bindings(w, qvrn::RemoveFromUpperBindings); }},
      {"IsTokenInList",
       [](const Arguments& w) { return Bool(qvrn::IsTokenInList(w.at(0).c_str(), w.at(1).c_str(), Number(w.at(2)))); }},
      {"GuidFromDeviceName",
       [](const Arguments& w) { return Quoted(qvrn::GuidFromDeviceName(w.at(0).c_str()).get()); }},
      {"ReadRegistryParams", ComponentValue},
      {"Team", Team},
      {"LoadResourceString", ResourceString},
      {"IntegerLog2", [](const Arguments& w) { return std::to_string(qvrn::IntegerLog2(std::stol(w.at(0)))); }},
      {"PowerOfTwo", [](const Arguments& w) { return std::to_string(qvrn::PowerOfTwo(std::stol(w.at(0)))); }},
      {"HrFromWin32", [](const Arguments& w) { return Code(qvrn::HrFromWin32(std::stol(w.at(0), nullptr, 0))); }},
      {"FormatObjectPath",
       [](const Arguments& w) {
         const Buffer buffer(w.at(1));
         qvrn::FormatObjectPath(buffer.Get(), buffer.Chars(), L"Win32_NetworkAdapter", L"DeviceID", w.at(0).c_str());
         return buffer.Text().substr(1);
       }},
      {"Query", Query},
      {"GetObject", GetObject},
      {"DllRegisterServer", [](const Arguments&) { return Code(::DllRegisterServer()); }},
      {"DllUnregisterServer", [](const Arguments&) { return Code(::DllUnregisterServer()); }},
      {"CheckAdapterIndex", [](const Arguments& w) { return Code(qvrn::CheckAdapterIndex(Number(w.at(0)))); }},
      {"FindParentAdapterIndex", [](const Arguments& w) { return IntoBuffer(w, qvrn::FindParentAdapterIndex); }},
      {"GetAdapterIndexByInstanceId",
       [](const Arguments& w) { return IntoBuffer(w, qvrn::GetAdapterIndexByInstanceId); }},
      {"GetAdapterPnpDevNodeId", DeviceNode},
      {"GetDeviceNodeId", [](const Arguments& w) { return IntoBuffer(w, qvrn::GetDeviceNodeId); }},
      {"RenameVlanComponent",
       [](const Arguments& w) { return Bool(qvrn::RenameVlanComponent(w.at(0).c_str(), w.at(1).c_str())); }},
      {"RestartAdapter", [](const Arguments& w) { return Bool(qvrn::RestartAdapter(w.at(0).c_str())); }},
      {"RestartDevice", [](const Arguments& w) { return Bool(qvrn::RestartDevice(w.at(0).c_str())); }},
      {"FormatResourceMessage", Formatted},
      {"ShowMessage", Shown},
      {"ShowSystemError",
       [](const Arguments& w) { return qvrn::ShowSystemError(Id(w.at(0)), Number(w.at(1))), std::string(); }},
      {"ShowHexError",
       [](const Arguments& w) { return qvrn::ShowHexError(Id(w.at(0)), Number(w.at(1))), std::string(); }},
  };
  return functions;
}

}  // namespace

std::string CallFunction(const std::string& name, const std::vector<std::wstring>& arguments) {
  const auto function = Functions().find(name);
  if (function == Functions().end()) throw std::runtime_error("no such function: " + name);
  std::string result;
  RunObserved(3, [&] {
    const std::string text = function->second(arguments);
    const Observation unobserved(false);
    result = std::string(text);
  });
  return result;
}

}  // namespace scenario
