#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadapterconfiguration.h"

#include <gmock/gmock.h>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/fakeinstance.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Variant;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using tests::Changes;
using tests::Machine;
using tests::Outcome;
using tests::PropertyText;
using tests::TextValue;

constexpr wchar_t kClass[] = L"QvrnEN_NetworkAdapterConfiguration";
// How a put that was applied and one that failed look to a client.
constexpr char kApplied[] = "0x80041002, sink 0x80041002 0x80041002";
constexpr char kFailed[] = "0x00000000, sink 0x00000000 0x00000000";
constexpr char kServed[] = "0x00000000, sink 0x00000000 0x00000000";

std::wstring PathOf(const wchar_t* key) { return std::wstring(kClass) + L".SettingID=" + key; }

class ConfigurationTest : public ::testing::Test {
 protected:
  ComPtr<IWbemClassObject> Instance(const wchar_t* key = L"\"7\"") {
    const Outcome outcome = m_provider.Get(PathOf(key).c_str());
    EXPECT_EQ(outcome.sink.objects.size(), 1u) << outcome.Text();
    return outcome.sink.objects.empty() ? nullptr : outcome.sink.objects[0];
  }

  // A put of instance 7 with one property changed.
  Outcome PutProperty(const wchar_t* name, Variant& value, LONG flags = 0) {
    const ComPtr<IWbemClassObject> instance = Instance();
    EXPECT_HRESULT(S_OK, instance->Put(name, 0, value.Get(), 0)) << name;
    return m_provider.Put(instance.Get(), flags);
  }
  Outcome PutNumber(const wchar_t* name, LONG number) {
    Variant value(number);
    return PutProperty(name, value);
  }

  // Lets instances take values of any type, as the provider meets them without a service in between.
  static void LoosenSchema() {
    auto lax = std::make_shared<lab::ClassDefinition>(*lab::NamespaceSchema().Find(kClass));
    lax->lax = true;
    lab::OverrideClass(lax);
  }

  ~ConfigurationTest() override { lab::OverrideClass(nullptr); }

  Machine m_machine;
  tests::Provider m_provider;
};

TEST_F(ConfigurationTest, EnumeratesServedAdaptersOnly) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddAdapter(8, L"oth3\\another_maker");
  m_machine.AddAdapter(9, Machine::kServed, false);
  m_machine.AddAdapter(12, L"QVX4\\HALVEX_ETH");
  m_machine.AddEnumeration(12, L"*RSS", {L"0", L"1"}, L"1");
  tests::TestNamespace::Instance().Reset();

  const Outcome outcome = m_provider.Enumerate(kClass);
  EXPECT_EQ(outcome.Text(), kServed);
  ASSERT_EQ(outcome.sink.objects.size(), 2u);
  EXPECT_EQ(PropertyText(outcome.sink.objects[0].Get(), L"SettingID"), L"7");
  EXPECT_EQ(PropertyText(outcome.sink.objects[0].Get(), L"RssMode"), L"null");
  EXPECT_EQ(PropertyText(outcome.sink.objects[1].Get(), L"SettingID"), L"12");
  EXPECT_EQ(PropertyText(outcome.sink.objects[1].Get(), L"RssMode"), L"1");
  EXPECT_THAT(tests::TestNamespace::Instance().calls,
              ElementsAre(L"ExecQuery(WQL, SELECT * FROM Win32_NetworkAdapter, 0x230)",
                          L"GetObject(QvrnEN_NetworkAdapterConfiguration, 0)",
                          L"GetObject(QvrnEN_NetworkAdapterConfiguration, 0)"));
}

TEST_F(ConfigurationTest, AnEnumerationWithoutServedAdaptersEndsInNotFound) {
  m_machine.AddAdapter(8, L"oth3\\another_maker");
  EXPECT_EQ(m_provider.Enumerate(kClass).Text(), "0x80041002, sink 0x80041002 0x80041002");
}

TEST_F(ConfigurationTest, AFailedQueryIsToldByTheProviderAlone) {
  tests::TestNamespace::Instance().failQuery = WBEM_E_ACCESS_DENIED;
  EXPECT_EQ(m_provider.Enumerate(kClass).Text(), "0x80041002, sink 0x80041002");
}

// The registry keyword that the schema names for a property; empty for the key.
std::wstring KeywordOf(const lab::Property& property) {
  const lab::Qualifier* mapping = lab::FindQualifier(property.qualifiers, L"MappingStrings");
  if (mapping == nullptr) return {};
  const auto text = std::get<std::vector<std::wstring>>(mapping->value).at(0);
  return text.substr(text.find(L'|') + 1);
}

TEST_F(ConfigurationTest, CarriesTheKeywordsThatTheSchemaNames) {
  m_machine.AddAdapter(7);
  m_machine.AddInteger(7, L"*SomethingElse", L"0", L"1", L"1");
  std::vector<std::pair<std::wstring, std::wstring>> expected;
  for (const lab::Property& property : lab::NamespaceSchema().Find(kClass)->properties) {
    const std::wstring keyword = KeywordOf(property);
    if (keyword.empty()) continue;
    const std::wstring value = std::to_wstring(100 + expected.size());
    m_machine.AddInteger(7, keyword.c_str(), L"0", L"1000", value.c_str());
    expected.emplace_back(property.name, value);
  }
  ASSERT_EQ(expected.size(), 18u);
  const ComPtr<IWbemClassObject> instance = Instance();
  ASSERT_NE(instance, nullptr);
  for (const auto& [property, value] : expected) {
    EXPECT_EQ(PropertyText(instance.Get(), property.c_str()), value) << ::testing::PrintToString(property);
  }
}

TEST_F(ConfigurationTest, KeywordsMatchByCase) {
  m_machine.AddAdapter(7);
  m_machine.AddInteger(7, L"*rss", L"0", L"1", L"1");
  EXPECT_EQ(PropertyText(Instance().Get(), L"RssMode"), L"null");
}

TEST_F(ConfigurationTest, GetTakesTheFirstQuotedTextAsTheKey) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddAdapter(8, L"oth3\\another_maker");
  m_machine.AddAdapter(9, Machine::kServed, false);
  const struct {
    const wchar_t* key;
    const char* outcome;
  } rows[] = {
      {L"\"7\"", kServed},
      {L"\"0007\"", kServed},
      {L"\"7.9\"", kServed},
      {L"7", "0x80041001, sink 0x80041001 0x80041001"},
      {L"\"7", "0x80041001, sink 0x80041001 0x80041001"},
      {L"\"\"", "0x80041002, sink 0x80041002 0x80041002"},
      {L"\"8\"", "0x80041002, sink 0x80041002 0x80041002"},
      {L"\"9\"", "0x80041002, sink 0x80041002 0x80041002"},
      {L"\"-1\"", "0x80041002, sink 0x80041002 0x80041002"},
      {L"\"99\"", "0x80041002, sink 0x80041002 0x80041002"},
      {L"\"seven\"", "0x80041002, sink 0x80041002 0x80041002"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = m_provider.Get(PathOf(row.key).c_str());
    EXPECT_EQ(outcome.Text(), row.outcome) << row.key;
    EXPECT_EQ(outcome.sink.objects.size(), row.outcome == kServed ? 1u : 0u) << row.key;
  }
}

TEST_F(ConfigurationTest, ReportsWhatTheNamespaceSays) {
  m_machine.AddUsualAdapter(7);
  tests::TestNamespace::Instance().failGetObject = WBEM_E_INVALID_CLASS;
  EXPECT_EQ(m_provider.Get(PathOf(L"\"7\"").c_str()).Text(), "0x80041010, sink 0x80041010 0x80041010");
  EXPECT_EQ(m_provider.Enumerate(kClass).Text(), "0x80041002, sink 0x80041002 0x80041002");
}

TEST_F(ConfigurationTest, ReportsWhatTheClassObjectSays) {
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> target = Instance();
  tests::ForwardingObject classObject(target.Get());
  classObject.spawnResult = WBEM_E_ACCESS_DENIED;
  tests::TestNamespace::Instance().classObject = &classObject;
  EXPECT_EQ(m_provider.Get(PathOf(L"\"7\"").c_str()).Text(), "0x80041003, sink 0x80041003 0x80041003");
}

TEST_F(ConfigurationTest, PassesPathAndContextOn) {
  m_machine.AddUsualAdapter(7);
  tests::TestNamespace::Instance().Reset();
  auto* const context = reinterpret_cast<IWbemContext*>(0x5A);  // only ever passed on
  const qvrn::Bstr path((L"\\\\HOST\\root\\cimv2:" + PathOf(L"\"7\"")).c_str());
  const Outcome outcome = m_provider.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    return services->GetObjectAsync(path.Get(), 0, context, sink);
  });
  EXPECT_THAT(tests::TestNamespace::Instance().calls,
              ElementsAre(L"GetObject(\\\\HOST\\root\\cimv2:QvrnEN_NetworkAdapterConfiguration, 0, context)"));
}

TEST_F(ConfigurationTest, AnAdapterWithoutADeviceNodeIsServed) {
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> instance = Instance();
  m_machine.FailCall(L"INetCfgComponent::GetPnpDevNodeId", E_FAIL, 2);
  EXPECT_EQ(m_provider.Get(PathOf(L"\"7\"").c_str()).Text(), "0x00000000, sink 0x00000000 0x00000000");
  EXPECT_EQ(m_provider.Put(instance.Get()).Text(), kApplied);
}

TEST_F(ConfigurationTest, SkipsAdaptersWithoutATextualDeviceId) {
  m_machine.AddUsualAdapter(7);
  auto numeric = std::make_shared<lab::ClassDefinition>(*lab::NamespaceSchema().Find(L"Win32_NetworkAdapter"));
  for (lab::Property& property : numeric->properties) {
    if (property.name == L"DeviceID") property.type = CIM_UINT32;
  }
  lab::OverrideClass(numeric);
  EXPECT_EQ(m_provider.Enumerate(kClass).Text(), "0x80041002, sink 0x80041002 0x80041002");
}

// Free text takes a class that is not strict, and an assertion that was dismissed.
TEST_F(ConfigurationTest, FreeTextTravelsAsText) {
  LoosenSchema();
  tests::AssertionRecorder assertions;
  m_machine.AddUsualAdapter(7);
  m_machine.AddDescriptor(7, L"UseDma", {{L"ParamDesc", L"x"}});
  m_machine.Store(7, L"UseDma", L"stored");
  EXPECT_EQ(PropertyText(Instance().Get(), L"BusMasterDmaOperations"), L"stored");
  Variant text(L"new");
  EXPECT_EQ(PutProperty(L"BusMasterDmaOperations", text).Text(), kApplied);
  EXPECT_EQ(m_machine.Stored(7, L"UseDma"), L"new");
  EXPECT_EQ(m_machine.Restarts().size(), 1u);
  EXPECT_EQ(PutNumber(L"BusMasterDmaOperations", 1).Text(), kFailed);
}

TEST_F(ConfigurationTest, AFailedWriteFailsThePut) {
  tests::AssertionRecorder assertions;
  m_machine.AddUsualAdapter(7);
  Instance();
  const tests::FailingRegistryWrite failing(L"*FlowControl");
  EXPECT_EQ(PutNumber(L"FlowControl", 0).Text(), kFailed);
  EXPECT_THAT(assertions.Take(), ElementsAre("false, cparameters"));
  EXPECT_THAT(m_machine.Restarts(), IsEmpty());
}

TEST_F(ConfigurationTest, AFailedWriteOfAnIntegerGoesUnnoticed) {
  m_machine.AddUsualAdapter(7);
  Instance();
  const tests::FailingRegistryWrite failing(L"*JumboPacket");
  EXPECT_EQ(PutNumber(L"MaxFrameSize", 9014).Text(), kApplied);
  EXPECT_EQ(m_machine.Restarts().size(), 1u);
}

TEST_F(ConfigurationTest, TheHandlerRefusesMissingArgumentsItself) {
  qvrn::QvrnNetworkAdapterConfiguration handler;
  tests::RecordingSink sink;
  const qvrn::Bstr text(PathOf(L"\"7\"").c_str());
  const HRESULT results[] = {
      handler.CreateInstanceEnumAsync(nullptr, 0, nullptr, &sink),
      handler.CreateInstanceEnumAsync(text.Get(), 0, nullptr, nullptr),
      handler.GetObjectAsync(nullptr, 0, nullptr, &sink),
      handler.GetObjectAsync(text.Get(), 0, nullptr, nullptr),
      handler.PutInstanceAsync(nullptr, 0, nullptr, &sink),
  };
  for (const HRESULT hr : results) EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, hr);
  EXPECT_TRUE(sink.calls.statuses.empty());
}

TEST_F(ConfigurationTest, ReportsShortMemory) {
  m_machine.AddUsualAdapter(7);
  const tests::FailingText failing(L"7");
  EXPECT_EQ(m_provider.Get(PathOf(L"\"7\"").c_str()).Text(), "0x80041006, sink 0x80041006 0x80041006");
}

TEST_F(ConfigurationTest, LeavesOutAnAdapterWhoseDescriptionsCannotBeUsed) {
  const Machine::Values broken[] = {
      {{L"type", L"int"}, {L"min", L"0"}, {L"max", L"1"}, {L"default", L"1"}},  // no ParamDesc
      {{L"ParamDesc", L"x"}, {L"type", L"float"}, {L"default", L"1"}},
      {{L"ParamDesc", L"x"}, {L"type", L"int"}, {L"min", L"0"}, {L"default", L"1"}},
      {{L"ParamDesc", L"x"}, {L"type", L"int"}, {L"min", L"0"}, {L"max", L"1"}, {L"default", L"-1"}},
  };
  for (const Machine::Values& values : broken) {
    Machine machine;
    tests::AssertionRecorder assertions;
    machine.AddUsualAdapter(7);
    machine.AddUsualAdapter(12);
    machine.AddDescriptor(12, L"Broken", values);
    machine.Store(12, L"*FlowControl", L"1");
    machine.Store(12, L"*JumboPacket", L"1514");
    const Outcome all = m_provider.Enumerate(kClass);
    EXPECT_EQ(all.Text(), kServed);
    EXPECT_EQ(all.sink.objects.size(), 1u);
    EXPECT_EQ(assertions.Take().back(), "0, cadvanceddlg");
    EXPECT_EQ(m_provider.Get(PathOf(L"\"12\"").c_str()).Text(), "0x80041001, sink 0x80041001 0x80041001");
  }
}

TEST_F(ConfigurationTest, AnAdapterWithoutADescriptorKeyHasNoModel) {
  tests::AssertionRecorder assertions;
  m_machine.AddAdapter(7);
  EXPECT_EQ(m_provider.Get(PathOf(L"\"7\"").c_str()).Text(), "0x80041001, sink 0x80041001 0x80041001");
  EXPECT_THAT(assertions.Take(), ElementsAre("0, cadvanceddlg"));
}

TEST_F(ConfigurationTest, APutWritesWhatChangedAndRestartsOnce) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddUsualAdapter(12);
  Instance();
  Instance(L"\"12\"");
  const tests::Snapshot before = m_machine.Registry();
  const ComPtr<IWbemClassObject> instance = Instance();
  Variant frame(9014L);
  Variant flow(0L);
  instance->Put(L"MaxFrameSize", 0, frame.Get(), 0);
  instance->Put(L"FlowControl", 0, flow.Get(), 0);
  EXPECT_EQ(m_provider.Put(instance.Get()).Text(), kApplied);
  const std::wstring key = Machine::InstanceKey(7);
  EXPECT_THAT(Changes(before, m_machine.Registry()),
              UnorderedElementsAre(key + L":*JumboPacket = " + TextValue(L"1514") + L" -> " + TextValue(L"9014"),
                                   key + L":*FlowControl = " + TextValue(L"3") + L" -> " + TextValue(L"0")));
  EXPECT_THAT(m_machine.Restarts(), ElementsAre(Machine::DeviceId(7)));
}

TEST_F(ConfigurationTest, APutOfTheSameValuesDoesNothing) {
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> instance = Instance();
  const tests::Snapshot before = m_machine.Registry();
  EXPECT_EQ(m_provider.Put(instance.Get()).Text(), kApplied);
  EXPECT_THAT(Changes(before, m_machine.Registry()), IsEmpty());
  EXPECT_THAT(m_machine.Restarts(), IsEmpty());
}

TEST_F(ConfigurationTest, APutIgnoresValuesThatTheAdapterDoesNotAllow) {
  m_machine.AddUsualAdapter(7);
  for (const LONG size : {1513L, 9015L, -1L, 0L}) EXPECT_EQ(PutNumber(L"MaxFrameSize", size).Text(), kApplied);
  EXPECT_EQ(PutNumber(L"FlowControl", 4).Text(), kApplied);
  EXPECT_EQ(m_machine.Stored(7, L"*JumboPacket"), L"1514");
  EXPECT_EQ(m_machine.Stored(7, L"*FlowControl"), L"3");
  EXPECT_THAT(m_machine.Restarts(), IsEmpty());
  const ComPtr<IWbemClassObject> instance = Instance();
  Variant tooLarge(9015L);
  Variant allowed(1L);
  instance->Put(L"MaxFrameSize", 0, tooLarge.Get(), 0);
  instance->Put(L"FlowControl", 0, allowed.Get(), 0);
  EXPECT_EQ(m_provider.Put(instance.Get()).Text(), kApplied);
  EXPECT_EQ(m_machine.Stored(7, L"*JumboPacket"), L"1514");
  EXPECT_EQ(m_machine.Stored(7, L"*FlowControl"), L"1") << "the other properties are applied all the same";
  EXPECT_EQ(m_machine.Restarts().size(), 1u);
  for (const LONG size : {9014L, 1514L}) EXPECT_EQ(PutNumber(L"MaxFrameSize", size).Text(), kApplied);
  EXPECT_EQ(m_machine.Restarts().size(), 3u) << "both bounds are in range";
}

// An enumeration's value is text; a put selects the entry of the number's decimal text.
TEST_F(ConfigurationTest, APutRewritesAnEnumerationStoredInAnotherForm) {
  m_machine.AddUsualAdapter(7);
  m_machine.Store(7, L"*FlowControl", L"03");
  EXPECT_EQ(PropertyText(Instance().Get(), L"FlowControl"), L"3");
  EXPECT_EQ(PutNumber(L"MaxFrameSize", 4000).Text(), kApplied);
  EXPECT_EQ(m_machine.Stored(7, L"*FlowControl"), L"3");
  m_machine.Store(7, L"*JumboPacket", L"04000");
  EXPECT_EQ(PutNumber(L"FlowControl", 1).Text(), kApplied);
  EXPECT_EQ(m_machine.Stored(7, L"*JumboPacket"), L"04000") << "an integer is compared as a number";
}

TEST_F(ConfigurationTest, APutFailsAsAWholeOnANullOrAWrongType) {
  LoosenSchema();
  m_machine.AddUsualAdapter(7);
  Instance();
  const tests::Snapshot before = m_machine.Registry();
  Variant null;
  null.Put()->vt = VT_NULL;
  Variant text(L"9014");
  Variant boolean;
  boolean.Put()->vt = VT_BOOL;
  for (Variant* value : {&null, &text, &boolean}) {
    for (const wchar_t* property : {L"MaxFrameSize", L"FlowControl", L"SettingID"}) {
      if (value == &text && std::wstring(property) == L"SettingID") continue;
      EXPECT_EQ(PutProperty(property, *value).Text(), kFailed) << property;
    }
  }
  EXPECT_THAT(Changes(before, m_machine.Registry()), IsEmpty());
  EXPECT_THAT(m_machine.Restarts(), IsEmpty());
}

TEST_F(ConfigurationTest, APutToleratesNoOtherAdapter) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddAdapter(8, L"oth3\\another_maker");
  m_machine.AddInteger(8, L"*JumboPacket", L"1514", L"9014", L"1514");
  Instance();
  const tests::Snapshot before = m_machine.Registry();
  for (const wchar_t* key : {L"8", L"99", L""}) {
    Variant value(key);
    const ComPtr<IWbemClassObject> instance = Instance();
    instance->Put(L"SettingID", 0, value.Get(), 0);
    EXPECT_EQ(m_provider.Put(instance.Get()).Text(), kFailed) << key;
  }
  EXPECT_THAT(Changes(before, m_machine.Registry()), IsEmpty());
}

TEST_F(ConfigurationTest, APutWithoutAModelLooksLikeAnAppliedOne) {
  tests::AssertionRecorder assertions;
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> instance = Instance();
  m_machine.AddDescriptor(7, L"Broken", {{L"type", L"int"}});
  EXPECT_EQ(m_provider.Put(instance.Get()).Text(), kApplied);
  EXPECT_THAT(m_machine.Restarts(), IsEmpty());
}

TEST_F(ConfigurationTest, PutFlags) {
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> instance = Instance();
  EXPECT_EQ(m_provider.Put(instance.Get(), WBEM_FLAG_CREATE_ONLY).Text(), "0x80041008, sink 0x80041008");
  EXPECT_EQ(m_provider.Put(instance.Get(), WBEM_FLAG_CREATE_ONLY | 0x100).Text(), "0x80041008, sink 0x80041008");
  EXPECT_EQ(m_provider.Put(instance.Get(), WBEM_FLAG_UPDATE_ONLY).Text(), kApplied);
}

TEST_F(ConfigurationTest, TheHandlerAnswersForOneInterface) {
  auto* handler = new qvrn::QvrnNetworkAdapterConfiguration;
  void* face = handler;
  EXPECT_HRESULT(E_NOINTERFACE, handler->QueryInterface(IID_IUnknown, &face));
  EXPECT_EQ(face, nullptr);
  EXPECT_HRESULT(S_OK, handler->QueryInterface(IID_IWbemServices, &face));
  EXPECT_EQ(face, static_cast<IWbemServices*>(handler));
  EXPECT_EQ(handler->Release(), 0u);
}

}  // namespace
