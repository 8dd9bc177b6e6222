// Which interfaces have stand-ins, and what is told of their methods.
#include <windows.h>

#include <msxml.h>
#include <netcfgn.h>
#include <netcfgx.h>
#include <objbase.h>

#include <array>

#include "platform/wmi.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"

namespace scenario {
namespace {

constexpr GUID kDocument30 = {0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};
constexpr GUID kClient = {0x4D36E973, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr GUID kService = {0x4D36E974, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr GUID kTransport = {0x4D36E975, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr GUID kNet = {0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

// Next of every enumerator: how many, the first of them.
constexpr int kNext = 3;

}  // namespace

const std::vector<Interface>& KnownInterfaces() {
  static const std::vector<Interface> known = {
      {&IID_IWbemLocator, "IWbemLocator", "wmi", {{3, "ConnectServer", "sss----o", &IID_IWbemServices}}},
      {&IID_IWbemServices,
       "IWbemServices",
       "wmi",
       {{6, "GetObject", "sx-o-", &IID_IWbemClassObject},
        {14, "PutInstance", "ix--"},
        {16, "DeleteInstance", "sx--"},
        {18, "CreateInstanceEnum", "sx-o", &IID_IEnumWbemClassObject},
        {20, "ExecQuery", "ssx-o", &IID_IEnumWbemClassObject},
        {24, "ExecMethod", "ssx-io-", &IID_IWbemClassObject}}},
      {&IID_IEnumWbemClassObject, "IEnumWbemClassObject", "wmi", {{4, "Next", "nno-", &IID_IWbemClassObject}}},
      {&IID_IWbemClassObject,
       "IWbemClassObject",
       "object",
       {{4, "Get", "sx---"},
        {5, "Put", "sxvn"},
        {8, "BeginEnumeration", "x"},
        {9, "Next", "x----"},
        {11, "GetPropertyQualifierSet", "s-"},
        {15, "SpawnInstance", "xo", &IID_IWbemClassObject},
        {19, "GetMethod", "sxoo", &IID_IWbemClassObject}}},
      {&IID_INetCfg,
       "INetCfg",
       "netcfg",
       {{3, "Initialize", "-"},
        {4, "Uninitialize", ""},
        {5, "Apply", ""},
        {7, "EnumComponents", "go", &IID_IEnumNetCfgComponent},
        {8, "FindComponent", "so", &IID_INetCfgComponent},
        {9, "QueryNetCfgClass", "gqo"}}},
      {&IID_INetCfgLock, "INetCfgLock", "netcfg", {{3, "AcquireWriteLock", "ns-"}, {4, "ReleaseWriteLock", ""}}},
      {&IID_INetCfgClass, "INetCfgClass", "netcfg", {{4, "EnumComponents", "o", &IID_IEnumNetCfgComponent}}},
      {&IID_INetCfgClassSetup,
       "INetCfgClassSetup",
       "netcfg",
       {{4, "Install", "stnnsso", &IID_INetCfgComponent}, {5, "DeInstall", "i--"}}},
      {&IID_INetCfgComponent,
       "INetCfgComponent",
       "component",
       {{3, "GetDisplayName", "-"},
        {4, "SetDisplayName", "s"},
        {6, "GetId", "-"},
        {8, "GetInstanceGuid", "-"},
        {9, "GetPnpDevNodeId", "-"},
        {11, "GetBindName", "-"},
        {12, "GetDeviceStatus", "-"},
        {13, "OpenParamKey", "-"}}},
      {&IID_IEnumNetCfgComponent,
       "IEnumNetCfgComponent",
       "component",
       {{kNext, "Next", "no-", &IID_INetCfgComponent}, {5, "Reset", ""}}},
      {&IID_INetCfgComponentBindings,
       "INetCfgComponentBindings",
       "binding",
       {{8, "EnumBindingPaths", "no", &IID_IEnumNetCfgBindingPath}}},
      {&IID_IEnumNetCfgBindingPath,
       "IEnumNetCfgBindingPath",
       "binding",
       {{kNext, "Next", "no-", &IID_INetCfgBindingPath}}},
      {&IID_INetCfgBindingPath,
       "INetCfgBindingPath",
       "binding",
       {{5, "IsEnabled", ""},
        {6, "Enable", "n"},
        {7, "GetPathToken", "-"},
        {10, "EnumBindingInterfaces", "o", &IID_IEnumNetCfgBindingInterface}}},
      {&IID_IEnumNetCfgBindingInterface,
       "IEnumNetCfgBindingInterface",
       "binding",
       {{kNext, "Next", "no-", &IID_INetCfgBindingInterface}}},
      {&IID_INetCfgBindingInterface,
       "INetCfgBindingInterface",
       "binding",
       {{4, "GetUpperComponent", "o", &IID_INetCfgComponent}}},
      {&IID_IXMLDOMDocument,
       "IXMLDOMDocument",
       "dom",
       {{45, "get_documentElement", "o", &IID_IXMLDOMElement},
        {46, "putref_documentElement", "i"},
        {47, "createElement", "so", &IID_IXMLDOMElement},
        {55, "getElementsByTagName", "so", &IID_IXMLDOMNodeList},
        {58, "load", "v-"},
        {63, "put_async", "b"},
        {66, "save", "v"},
        {68, "put_validateOnParse", "b"},
        {70, "put_resolveExternals", "b"},
        {72, "put_preserveWhiteSpace", "b"}}},
      {&IID_IXMLDOMElement,
       "IXMLDOMElement",
       "dom",
       {{21, "appendChild", "io", &IID_IXMLDOMNode}, {26, "get_text", "-"}, {27, "put_text", "s"}}},
      {&IID_IXMLDOMNode,
       "IXMLDOMNode",
       "dom",
       {{7, "get_nodeName", "-"},
        {12, "get_childNodes", "o", &IID_IXMLDOMNodeList},
        {21, "appendChild", "io", &IID_IXMLDOMNode},
        {26, "get_text", "-"},
        {27, "put_text", "s"}}},
      {&IID_IXMLDOMNodeList,
       "IXMLDOMNodeList",
       "dom",
       {{7, "get_item", "no", &IID_IXMLDOMNode}, {8, "get_length", "-"}, {9, "nextNode", "o", &IID_IXMLDOMNode}}},
  };
  return known;
}

std::string GuidName(REFGUID guid) {
  static const std::pair<const GUID*, const char*> names[] = {
      {&CLSID_CNetCfg, "CNetCfg"},   {&CLSID_WbemLocator, "WbemLocator"},
      {&kDocument30, "DOMDocument"}, {&kNet, "net"},
      {&kTransport, "transport"},    {&kClient, "client"},
      {&kService, "service"},
  };
  for (const auto& [known, name] : names) {
    if (*known == guid) return name;
  }
  for (const Interface& face : KnownInterfaces()) {
    if (*face.id == guid) return face.name;
  }
  wchar_t text[64] = {};
  ::StringFromGUID2(guid, text, 64);
  return Utf8(text);
}

}  // namespace scenario
