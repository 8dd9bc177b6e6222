#include "tests/support/vlanmachine.h"

#include <gtest/gtest.h>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/imports.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;
using qvrn::RegistryKey;
using qvrn::Variant;

constexpr wchar_t kTransport[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E975-E325-11CE-BFC1-08002bE10318}\\0000";

std::wstring DriverFolder() {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring text = path;
  return text.substr(0, text.rfind(L'\\')) + L"\\driver\\";
}

void SetText(IWbemClassObject* instance, const wchar_t* property, const wchar_t* text) {
  if (text == nullptr) return;
  Variant value(text);
  EXPECT_HRESULT(S_OK, instance->Put(property, 0, value.Get(), 0));
}

void SetNumber(IWbemClassObject* instance, const wchar_t* property, LONG number) {
  Variant value(number);
  EXPECT_HRESULT(S_OK, instance->Put(property, 0, value.Get(), 0));
}

}  // namespace

VlanMachine::VlanMachine()
    : m_printer(qvrn::SetPrinter([](const char*) {})), m_sleeper(qvrn::SetSleeper([](DWORD) {})) {
  AddAdapter(7);
  AddAdapter(8, L"oth3\\another_maker");
  AddAdapter(12);
  WriteText(kTransport, L"ComponentId", L"ms_tcpip");
  WriteText(kTransport, L"NetCfgInstanceId", InstanceId(0xA000).c_str());
  WriteText(kNameKey, L"ComputerName", kComputerName);
  WriteText(kProductKey, L"InstalledPath", DriverFolder().c_str());
}

VlanMachine::~VlanMachine() {
  qvrn::SetPrinter(m_printer);
  qvrn::SetSleeper(m_sleeper);
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  for (const wchar_t* name : {L"\\inf\\muxp.inf", L"\\inf\\mux_mp.inf"})
    ::DeleteFileW((windows + std::wstring(name)).c_str());
  TakeDebugOutput();
}

ComPtr<IWbemClassObject> VlanClient::Instance(const VlanValues& values) {
  ComPtr<IWbemClassObject> classObject;
  ComPtr<IWbemClassObject> instance;
  EXPECT_HRESULT(S_OK, lab::Namespace()->GetObject(qvrn::Bstr(kClass).Get(), 0, nullptr, &classObject, nullptr));
  EXPECT_HRESULT(S_OK, classObject->SpawnInstance(0, &instance));
  SetText(instance.Get(), L"ParentDeviceID", values.parent);
  SetText(instance.Get(), L"VLANName", values.name);
  SetNumber(instance.Get(), L"VLANNumber", values.number);
  SetNumber(instance.Get(), L"VLANPriority", values.priority);
  SetText(instance.Get(), L"Name", values.key);
  return instance;
}

std::wstring VlanClient::Path(const std::wstring& key) { return kClass + (L".Name=\"" + key) + L"\""; }

Outcome VlanClient::Call(const wchar_t* method, const std::wstring& fileName) const {
  ComPtr<IWbemClassObject> classObject;
  ComPtr<IWbemClassObject> signature;
  ComPtr<IWbemClassObject> in;
  EXPECT_HRESULT(S_OK, lab::Namespace()->GetObject(qvrn::Bstr(kClass).Get(), 0, nullptr, &classObject, nullptr));
  EXPECT_HRESULT(S_OK, classObject->GetMethod(method, 0, &signature, nullptr));
  EXPECT_HRESULT(S_OK, signature->SpawnInstance(0, &in));
  SetText(in.Get(), L"sFileName", fileName.c_str());
  return provider.Method(kClass, method, in.Get());
}

std::vector<std::wstring> VlanClient::List() const {
  std::vector<std::wstring> lines;
  for (const auto& object : provider.Enumerate(kClass).sink.objects) {
    const auto text = [&object](const wchar_t* property) { return PropertyText(object.Get(), property); };
    lines.push_back(text(L"ParentDeviceID") + L"/" + text(L"VLANNumber") + L" " + text(L"VLANName") + L" (" +
                    text(L"VLANPriority") + L")");
  }
  return lines;
}

std::wstring VlanClient::KeyOf(LONG number) const {
  for (const auto& object : provider.Enumerate(kClass).sink.objects) {
    if (PropertyText(object.Get(), L"VLANNumber") == std::to_wstring(number))
      return PropertyText(object.Get(), L"Name");
  }
  return {};
}

}  // namespace tests
