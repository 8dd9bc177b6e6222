#include "lab/schema/mofrules.h"

#include <algorithm>
#include <iterator>

#include "lab/schema/textcompare.h"

namespace lab {
namespace {

constexpr unsigned kAnywhere = kOnClass | kOnProperty | kOnMethod | kOnParameter;
constexpr unsigned kOnValue = kOnProperty | kOnParameter;
constexpr unsigned kOnValueOrMethod = kOnValue | kOnMethod;
constexpr CIMTYPE kTexts = CIM_STRING | CIM_FLAG_ARRAY;

constexpr QualifierRule kRules[] = {
    {L"abstract", CIM_BOOLEAN, kOnClass},
    {L"association", CIM_BOOLEAN, kOnClass},
    {L"bitmap", kTexts, kOnValueOrMethod},
    {L"bitvalues", kTexts, kOnValueOrMethod},
    {L"classcontext", CIM_STRING, kOnClass},
    {L"createby", CIM_STRING, kOnClass},
    {L"deleteby", CIM_STRING, kOnClass},
    {L"deprecated", CIM_BOOLEAN, kAnywhere},
    {L"description", CIM_STRING, kAnywhere},
    {L"displayname", CIM_STRING, kAnywhere},
    {L"dynamic", CIM_BOOLEAN, kOnClass | kOnProperty},
    {L"id", CIM_SINT32, kOnParameter},
    {L"implemented", CIM_BOOLEAN, kOnMethod},
    {L"in", CIM_BOOLEAN, kOnParameter},
    {L"key", CIM_BOOLEAN, kOnProperty},
    {L"locale", CIM_SINT32, kOnClass},
    {L"mappingstrings", kTexts, kAnywhere},
    {L"max", CIM_UINT32, kOnProperty},
    {L"maxlen", CIM_UINT32, kOnValueOrMethod},
    {L"maxvalue", CIM_SINT64, kOnValueOrMethod},
    {L"methodcontext", CIM_STRING, kOnMethod},
    {L"min", CIM_UINT32, kOnProperty},
    {L"minvalue", CIM_SINT64, kOnValueOrMethod},
    {L"modelcorrespondence", kTexts, kAnywhere},
    {L"not_null", CIM_BOOLEAN, kOnValue},
    {L"optional", CIM_BOOLEAN, kOnParameter},
    {L"out", CIM_BOOLEAN, kOnParameter},
    {L"override", CIM_STRING, kOnProperty | kOnMethod},
    {L"privileges", kTexts, kOnClass | kOnProperty | kOnMethod},
    {L"propertycontext", CIM_STRING, kOnProperty},
    {L"provider", CIM_STRING, kOnClass | kOnProperty},
    {L"read", CIM_BOOLEAN, kOnProperty},
    {L"schema", CIM_STRING, kAnywhere},
    {L"singleton", CIM_BOOLEAN, kOnClass},
    {L"static", CIM_BOOLEAN, kOnMethod},
    {L"supportscreate", CIM_BOOLEAN, kOnClass},
    {L"supportsdelete", CIM_BOOLEAN, kOnClass},
    {L"supportsupdate", CIM_BOOLEAN, kOnClass},
    {L"units", CIM_STRING, kOnValueOrMethod},
    {L"uuid", CIM_STRING, kOnClass},
    {L"valuemap", kTexts, kOnValueOrMethod},
    {L"values", kTexts, kOnValueOrMethod},
    {L"version", CIM_STRING, kOnClass},
    {L"write", CIM_BOOLEAN, kOnProperty},
};

constexpr const wchar_t* kFlavors[] = {L"amended",      L"disableoverride", L"enableoverride", L"restricted",
                                       L"notoinstance", L"notosubclass",    L"toinstance",     L"tosubclass"};

}  // namespace

// "not_null" marks what an instance has to give besides its keys.
const char kPlatformClasses[] = R"mof(
class __SystemClass {};
class __Provider : __SystemClass { [key] string Name; };
class __Win32Provider : __Provider
{
  [not_null] string CLSID;
  string ClientLoadableCLSID;
  sint32 ConcurrentIndependantRequests;
  string DefaultMachineName;
  boolean Enabled;
  string HostingModel;
  sint32 ImpersonationLevel = 0;
  sint32 InitializationReentrancy = 0;
  datetime InitializationTimeoutInterval;
  boolean InitializeAsAdminFirst;
  datetime OperationTimeoutInterval;
  boolean PerLocaleInitialization = FALSE;
  boolean PerUserInitialization = FALSE;
  boolean Pure = TRUE;
  string SecurityDescriptor;
  boolean SupportsExplicitShutdown;
  boolean SupportsExtendedStatus;
  boolean SupportsQuotas;
  boolean SupportsSendStatus;
  boolean SupportsShutdown;
  boolean SupportsThrottling;
  datetime UnloadTimeout;
  uint32 Version;
};
class __ProviderRegistration : __SystemClass { [key] __Provider REF provider; };
class __ObjectProviderRegistration : __ProviderRegistration
{
  sint32 InteractionType = 0;
  string QuerySupportLevels[];
  boolean SupportsBatching = FALSE;
  boolean SupportsDelete = FALSE;
  boolean SupportsEnumeration = TRUE;
  boolean SupportsGet = FALSE;
  boolean SupportsPut = FALSE;
  boolean SupportsTransactions = FALSE;
};
class __InstanceProviderRegistration : __ObjectProviderRegistration {};
class __MethodProviderRegistration : __ProviderRegistration {};
class __PropertyProviderRegistration : __ProviderRegistration
{
  boolean SupportsGet = FALSE;
  boolean SupportsPut = FALSE;
};
class __EventProviderRegistration : __ProviderRegistration { [not_null] string EventQueryList[]; };
)mof";

const QualifierRule* FindQualifierRule(std::wstring_view name) {
  const auto* const found = std::find_if(std::begin(kRules), std::end(kRules),
                                         [&](const QualifierRule& rule) { return SameText(rule.name, name); });
  return found == std::end(kRules) ? nullptr : found;
}

bool IsFlavor(std::wstring_view word) {
  return std::any_of(std::begin(kFlavors), std::end(kFlavors),
                     [&](const wchar_t* flavor) { return SameText(flavor, word); });
}

}  // namespace lab
