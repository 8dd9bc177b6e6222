// Which interfaces have stand-ins, and what is told of their methods.
#include <windows.h>

#include <msxml.h>
#include <netcfgn.h>
#include <netcfgx.h>
#include <objbase.h>

#include <array>
#include <regex>

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

// KIND INTERFACE: SLOT METHOD(ARGUMENTS)OUT ..., with the slot in the virtual table and the interface that comes out.
constexpr char kTold[] = R"(
wmi IWbemLocator: 3 ConnectServer(sss----o)IWbemServices
wmi IWbemServices: 6 GetObject(sxco-)IWbemClassObject 14 PutInstance(ix--) 16 DeleteInstance(sx--)
    18 CreateInstanceEnum(sx-o)IEnumWbemClassObject 20 ExecQuery(ssxco)IEnumWbemClassObject
    24 ExecMethod(ssx-io-)IWbemClassObject
wmi IEnumWbemClassObject: 4 Next(nno-)IWbemClassObject
object IWbemClassObject: 4 Get(sx---) 5 Put(sxvn) 8 BeginEnumeration(x) 9 Next(x----) 11 GetPropertyQualifierSet(s-)
    15 SpawnInstance(xo)IWbemClassObject 19 GetMethod(sxoo)IWbemClassObject
netcfg INetCfg: 3 Initialize(-) 4 Uninitialize() 5 Apply() 7 EnumComponents(go)IEnumNetCfgComponent
    8 FindComponent(so)INetCfgComponent 9 QueryNetCfgClass(gqo)
netcfg INetCfgLock: 3 AcquireWriteLock(ns-) 4 ReleaseWriteLock()
netcfg INetCfgClass: 4 EnumComponents(o)IEnumNetCfgComponent
netcfg INetCfgClassSetup: 4 Install(stnnsso)INetCfgComponent 5 DeInstall(i--)
component INetCfgComponent: 3 GetDisplayName(-) 4 SetDisplayName(s) 6 GetId(-) 8 GetInstanceGuid(-)
    9 GetPnpDevNodeId(-) 11 GetBindName(-) 12 GetDeviceStatus(-) 13 OpenParamKey(-)
component IEnumNetCfgComponent: 3 Next(no-)INetCfgComponent 5 Reset()
binding INetCfgComponentBindings: 8 EnumBindingPaths(no)IEnumNetCfgBindingPath
binding IEnumNetCfgBindingPath: 3 Next(no-)INetCfgBindingPath
binding INetCfgBindingPath: 5 IsEnabled() 6 Enable(n) 7 GetPathToken(-)
    10 EnumBindingInterfaces(o)IEnumNetCfgBindingInterface
binding IEnumNetCfgBindingInterface: 3 Next(no-)INetCfgBindingInterface
binding INetCfgBindingInterface: 4 GetUpperComponent(o)INetCfgComponent
dom IXMLDOMDocument: 45 get_documentElement(o)IXMLDOMElement 46 putref_documentElement(i)
    47 createElement(so)IXMLDOMElement 55 getElementsByTagName(so)IXMLDOMNodeList 58 load(v-) 63 put_async(b)
    66 save(v) 68 put_validateOnParse(b) 70 put_resolveExternals(b) 72 put_preserveWhiteSpace(b)
dom IXMLDOMElement: 21 appendChild(io)IXMLDOMNode 26 get_text(-) 27 put_text(s)
dom IXMLDOMNode: 7 get_nodeName(-) 12 get_childNodes(o)IXMLDOMNodeList 21 appendChild(io)IXMLDOMNode 26 get_text(-)
    27 put_text(s)
dom IXMLDOMNodeList: 7 get_item(no)IXMLDOMNode 8 get_length(-) 9 nextNode(o)IXMLDOMNode
)";

struct NamedGuid {
  const GUID* guid;
  const char* name;
};

#define NAMED(name) NamedGuid({&IID_##name, #name})
const std::array kInterfaces =
    ListOf(NAMED(IWbemLocator), NAMED(IWbemServices), NAMED(IEnumWbemClassObject), NAMED(IWbemClassObject),
           NAMED(INetCfg), NAMED(INetCfgLock), NAMED(INetCfgClass), NAMED(INetCfgClassSetup), NAMED(INetCfgComponent),
           NAMED(IEnumNetCfgComponent), NAMED(INetCfgComponentBindings), NAMED(IEnumNetCfgBindingPath),
           NAMED(INetCfgBindingPath), NAMED(IEnumNetCfgBindingInterface), NAMED(INetCfgBindingInterface),
           NAMED(IXMLDOMDocument), NAMED(IXMLDOMElement), NAMED(IXMLDOMNode), NAMED(IXMLDOMNodeList));
#undef NAMED

const GUID* InterfaceNamed(const std::string& name) {
  for (const NamedGuid& face : kInterfaces) {
    if (face.name == name) return face.guid;
  }
  return nullptr;
}

std::vector<Interface> ReadTable() {
  std::vector<Interface> known;
  static const std::regex part(R"((\w+) (\w+):|(\d+) (\w+)\(([^)]*)\)(\w*))");
  const std::string text = kTold;
  for (std::sregex_iterator at(text.begin(), text.end(), part), end; at != end; ++at) {
    const std::smatch& match = *at;
    if (match[1].matched) {
      known.push_back({InterfaceNamed(match[2]), match[2], match[1], {{0, "QueryInterface", "Qo"}}});
    } else {
      known.back().methods.push_back({std::stoi(match[3]), match[4], match[5], InterfaceNamed(match[6])});
    }
  }
  return known;
}

// Made before any code is under observation.
const std::vector<Interface> kKnown = ReadTable();

}  // namespace

const std::vector<Interface>& KnownInterfaces() { return kKnown; }

std::string GuidName(REFGUID guid) {
  static const NamedGuid others[] = {{&CLSID_CNetCfg, "CNetCfg"},   {&CLSID_WbemLocator, "WbemLocator"},
                                     {&kDocument30, "DOMDocument"}, {&kNet, "net"},
                                     {&kTransport, "transport"},    {&kClient, "client"},
                                     {&kService, "service"}};
  for (const auto& [known, name] : others) {
    if (*known == guid) return name;
  }
  for (const auto& [known, name] : kInterfaces) {
    if (*known == guid) return name;
  }
  wchar_t text[64] = {};
  ::StringFromGUID2(guid, text, 64);
  return Utf8(text);
}

}  // namespace scenario
