#include "attack/hostile.h"

#include "platform/comtext.h"
#include "tests/scenario/events.h"

namespace attack {
namespace {

// None is the GUID of an adapter: of what claims one, nobody could say whether its VLANs must be removable.
const char* const kTexts[] = {
    "",         " ",      "0",      "-1",     "4095",  "4096",           "99999999999999999999",
    "7",        "12",     "{A}",    "{9}",    "\\\"",  "\\\"\\\"",       ".",
    "..",       ":",      "::",     "=",      "==",    "\\\\Device\\\\", "\xF0\x9F\x98\x80",
    "\xC3\xA9", "%s%s%n", "Office", "<vlan>", "&amp;", "{B}{A}"};
const char* const kClasses[] = {"QvrnEN_VLAN", "QvrnEN_NetworkAdapterConfiguration", "QvrnEN_NetworkAdapterSetting",
                                "qvrnen_vlan", "Win32_NetworkAdapter"};
const char* const kValues[] = {"<class>\\0007:NetCfgInstanceId",
                               "<class>\\0007:ComponentId",
                               "<class>\\0012:NetCfgInstanceId",
                               "<class>\\0000:VlanID",
                               "<class>\\0000:VlanName",
                               "<class>\\0000:Priority",
                               "<class>\\0000:NetCfgInstanceId",
                               "<class>\\0001:ComponentId",
                               "<adapters>\\{7}:UpperBindings",
                               "<adapters>\\{12}:UpperBindings",
                               "<adapters>\\{7}:TeamDeviceName",
                               "<class>\\0007:AdapterBindingBackup",
                               "SOFTWARE\\Quorvane:InstalledPath",
                               "<class>\\0007:*JumboPacket",
                               "<class>\\0007:*FlowControl",
                               "<class>\\0007\\Ndi\\config\\*JumboPacket:min",
                               "<class>\\0007\\Ndi\\config\\*JumboPacket:default",
                               "<class>\\0007\\Ndi\\config\\*FlowControl:type",
                               "<class>\\0007\\Ndi\\config\\*FlowControl:Group",
                               "<class>\\0007\\Ndi\\config\\*FlowControl\\Enum:3",
                               "<class>\\0007\\Ndi\\config\\Rings:ParamDesc"};
const char* const kKeys[] = {"<class>\\0000", "<class>\\0008", "<adapters>\\{7}",
                             "<class>\\0007\\Ndi\\config\\*FlowControl\\Enum", "<transports>\\0001"};
const char* const kKeyTexts[] = {"{A}", "{B}", "{C}", "{D}", "{E}", "{7}"};
const char* const kMethods[] = {"SaveVlanConfiguration", "RestoreVlanConfiguration", "savevlanconfiguration",
                                "Nothing"};

}  // namespace

std::string Hostile::Text() {
  std::string text = Pick(kTexts);
  switch (m_random() % 6) {
    case 0:
      text += Pick(kTexts);
      break;
    case 1: {
      const std::string part = text.empty() ? "x" : text;
      text.clear();
      for (std::size_t i = m_random() % 300; i > 0; --i) text += part;
      break;
    }
    default:
      break;
  }
  return text;
}

std::string Hostile::Bytes() {
  const char* const sizes[] = {"0", "1", "2", "3", "4", "80", "200", "201", "520", "4097", "9000"};
  std::string bytes;
  for (int i = std::stoi(Pick(sizes)); i > 0; --i) {
    const unsigned byte = m_random() % 4 == 0 ? 0 : m_random() % 256;
    bytes += " " + scenario::Hex(byte).substr(2);
  }
  const char* const types[] = {"1", "3", "7", "4", "0"};
  return "type " + Pick(types) + bytes;
}

std::string Hostile::MultiString() {
  std::string text = "multi";
  for (std::size_t i = m_random() % 5; i > 0; --i) {
    const char* const entries[] = {"\\Device\\{A}", "\\Device\\{B}", "\\Device\\", "\\Dev",
                                   "{A}",           "\\Device\\{7}", "x",          "\\Device\\nonsense"};
    text += " \"" + Pick(entries) + "\"";
  }
  return text;
}

std::string Hostile::Xml() {
  const char* const elements[] = {"vlan", "ParentId", "Name", "Id", "Priority", "x", "PRIORITY", "virtual_networks"};
  std::string xml;
  for (std::size_t i = m_random() % 12; i > 0; --i) {
    const std::string element = Pick(elements);
    const std::string close = m_random() % 20 == 0 ? "" : "</" + element + ">";
    xml += "<" + element + ">" + (m_random() % 2 == 0 ? xml.substr(0, m_random() % 60) : "7") + close;
  }
  return "<virtual_networks><vlan><ParentId>7</ParentId><Name>N" + std::to_string(m_random() % 99) + "</Name><Id>" +
         std::to_string(m_random() % 4200) + "</Id><Priority>" + std::to_string(m_random() % 9) + "</Priority></vlan>" +
         xml + "</virtual_networks>";
}

std::string Hostile::Command() {
  const std::string className = Pick(kClasses);
  const std::string quoted = "\"" + Text() + "\"";
  const std::string number = std::to_string(static_cast<int>(m_random() % 3 == 0 ? m_random() : m_random() % 4100));
  switch (m_random() % 12) {
    case 0:
      return "> enumerate " + className + "\n";
    case 1:
      return "> get " + className + "." + Text() + "=" + quoted + "\n";
    case 2:
      return "> get " + className + Text() + "." + Text() + "\n";
    case 3:
      return "> delete " + className + ".Name=\"" + Pick(kKeyTexts) + "\"\n";
    case 4:
      return "> put " + className + " Name=" + quoted + " ParentDeviceID=\"7\" VLANName=\"" + Text() +
             "\" VLANNumber=" + number + " VLANPriority=" + std::to_string(m_random() % 10) + "\n";
    case 5:
      return "> put QvrnEN_NetworkAdapterConfiguration SettingID=\"" + Text() + "\" MaxFrameSize=" + number +
             " FlowControl=" + (m_random() % 2 == 0 ? quoted : number) + "\n";
    case 6:
      return "> file <temp>hostile.xml " + Xml() + "\n> method QvrnEN_VLAN " + Pick(kMethods) +
             " sFileName=\"<temp>hostile.xml\"\n";
    case 7:
      return "> method QvrnEN_VLAN " + Pick(kMethods) + " sFileName=" + quoted + "\n";
    case 8:
      return "> registry-set " + Pick(kValues) + " " + Bytes() + "\n";
    case 9:
      return "> registry-set " + Pick(kValues) + " " + MultiString() + "\n";
    case 10:
      return "> registry-set " + Pick(kValues) + " " + quoted + "\n";
    default:
      return "> registry-delete " + Pick(kKeys) + "\n";
  }
}

void RunSomeRequest(scenario::Service& service, std::mt19937& random) {
  const qvrn::Bstr vlanClass(L"QvrnEN_VLAN");
  const qvrn::Bstr configurationClass(L"QvrnEN_NetworkAdapterConfiguration");
  const qvrn::Bstr path(L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"");
  const LONG number = static_cast<LONG>(random() % 60 + 1);
  const std::wstring name = L"T" + std::to_wstring(number);
  switch (random() % 6) {
    case 0:
      return service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
        return services->CreateInstanceEnumAsync(configurationClass.Get(), 0, nullptr, sink);
      });
    case 1:
      return service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
        return services->GetObjectAsync(path.Get(), 0, nullptr, sink);
      });
    case 2: {
      const auto instance = service.Instance(L"QvrnEN_VLAN", {{L"ParentDeviceID", VT_BSTR, L"7", 0},
                                                              {L"VLANName", VT_BSTR, name, 0},
                                                              {L"VLANNumber", VT_I4, L"", number},
                                                              {L"VLANPriority", VT_I4, L"", 0}});
      return service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
        return services->PutInstanceAsync(instance.Get(), 0, nullptr, sink);
      });
    }
    default:
      return service.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
        return services->CreateInstanceEnumAsync(vlanClass.Get(), 0, nullptr, sink);
      });
  }
}

}  // namespace attack
