#include "mux/notifyob/notifysupport.h"

#include <netcfgx.h>

#include <gmock/gmock.h>

#include <wrl/client.h>

#include <string>
#include <vector>

#include "mux/notifyob/list.h"
#include "mux/notifyob/notifytrace.h"
#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"

namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using tests::Machine;
using Bytes = std::vector<BYTE>;

constexpr GUID kGuid7 = {7, 0, 0, {}};
constexpr GUID kGuid8 = {8, 0, 0, {}};
constexpr GUID kNobody = {0xFFFF, 0, 0, {}};

// The bytes of characters, '|' standing for a zero.
Bytes Chars(std::wstring text) {
  for (wchar_t& character : text) {
    if (character == L'|') character = L'\0';
  }
  const auto* bytes = reinterpret_cast<const BYTE*>(text.data());
  return {bytes, bytes + text.size() * sizeof(wchar_t)};
}

class NotifySupportTest : public ::testing::Test {
 protected:
  NotifySupportTest() {
    m_machine.AddAdapter(7);
    m_machine.AddAdapter(8);
    m_key.Create(HKEY_LOCAL_MACHINE, L"Software\\Bindings", KEY_ALL_ACCESS);
  }

  void StoreBindings(const Bytes& data) {
    m_key.WriteBytes(L"UpperBindings", REG_MULTI_SZ, data.data(), static_cast<DWORD>(data.size()));
  }

  // Bytes of UpperBindings; a single 0xFF when it is absent or no multi-string.
  Bytes Bindings() {
    Bytes data(4096);
    DWORD bytes = 4096;
    DWORD type = 0;
    if (::RegQueryValueExW(m_key.Get(), L"UpperBindings", nullptr, &type, data.data(), &bytes) != ERROR_SUCCESS ||
        type != REG_MULTI_SZ) {
      return {0xFF};
    }
    data.resize(bytes);
    return data;
  }

  Machine m_machine;
  qvrn::RegistryKey m_key;
};

TEST_F(NotifySupportTest, ASearchFindsNobodyOrTellsWhyItFails) {
  m_machine.FailCall(L"INetCfg::EnumComponents", E_ACCESSDENIED);
  m_machine.FailCall(L"INetCfgComponent::GetInstanceGuid", E_ABORT);
  const tests::Session session(false);
  tests::TakeDebugOutput();
  ComPtr<INetCfgComponent> component;
  EXPECT_HRESULT(E_ACCESSDENIED, qvrn::HrFindInstance(session.netCfg.Get(), &kGuid7, &component));
  EXPECT_THAT(tests::TakeDebugOutput(),
              ElementsAre(L"-->HrFindInstance.\n", L"   EnumComponents failed(HRESULT = 80070005).\n",
                          L"<--HrFindInstance(HRESULT = 80070005).\n"));
  EXPECT_HRESULT(E_ABORT, qvrn::HrFindInstance(session.netCfg.Get(), &kGuid7, &component));
  EXPECT_EQ(component, nullptr);

  ASSERT_HRESULT(S_OK, qvrn::HrFindInstance(session.netCfg.Get(), &kGuid8, &component));
  EXPECT_EQ(tests::BindName(component.Get()), Machine::InstanceId(8));
  tests::TakeDebugOutput();
  auto* const poison = reinterpret_cast<INetCfgComponent*>(0x5A);
  INetCfgComponent* untouched = poison;
  EXPECT_HRESULT(S_FALSE, qvrn::HrFindInstance(session.netCfg.Get(), &kNobody, &untouched));
  EXPECT_EQ(untouched, poison);
  EXPECT_EQ(tests::TakeDebugOutput().back(), L"<--HrFindInstance(HRESULT = 1).\n");
}

TEST_F(NotifySupportTest, ReadsWritesAndDeletesParameters) {
  const ComPtr<INetCfgComponent> component = tests::Session(false).Find(Machine::kServed);
  EXPECT_EQ(qvrn::InsertRegistryParams(component.Get(), L"Backup", 4, L"ab\0"), ERROR_SUCCESS);
  const std::wstring key = Machine::InstanceKey(7);
  m_machine.WriteBytes(key, L"Empty", REG_BINARY, "", 0);
  m_machine.WriteBytes(key, L"Full", REG_BINARY, Bytes(4096, 'x').data(), 4096);
  m_machine.WriteBytes(key, L"TooLong", REG_BINARY, Bytes(4098, 'x').data(), 4098);
  const struct {
    const wchar_t* name;
    HRESULT result;
    DWORD bytes;
  } rows[] = {
      {L"Backup", S_OK, 8},   {L"Full", S_OK, 4096},          {L"Absent", E_INVALIDARG, 0},
      {L"Empty", E_ABORT, 0}, {L"TooLong", E_OUTOFMEMORY, 0},
  };
  for (const auto& row : rows) {
    Bytes buffer(4096, 0xCC);
    DWORD bytes = 77;
    EXPECT_HRESULT(row.result, qvrn::ReadRegistryParams(component.Get(), row.name, buffer.data(), &bytes)) << row.name;
    EXPECT_EQ(bytes, row.bytes) << row.name;
    if (row.result != S_OK) {
      EXPECT_THAT(Bytes(buffer.begin(), buffer.begin() + 5), ElementsAre(0, 0, 0, 0, 0xCC));
    }
  }
  EXPECT_EQ(qvrn::DeleteRegistryParams(component.Get(), L"Backup"), ERROR_SUCCESS);
  EXPECT_EQ(qvrn::DeleteRegistryParams(component.Get(), L"Backup"), ERROR_FILE_NOT_FOUND);
}

TEST_F(NotifySupportTest, ParametersReportAKeyThatCannotBeOpened) {
  m_machine.FailCall(L"INetCfgComponent::OpenParamKey", E_ACCESSDENIED, 3);
  const ComPtr<INetCfgComponent> component = tests::Session(false).Find(Machine::kServed);
  tests::TakeDebugOutput();
  DWORD buffer = 0xCCCCCCCC;
  DWORD bytes = 4;
  EXPECT_HRESULT(E_ACCESSDENIED, qvrn::ReadRegistryParams(component.Get(), L"x", &buffer, &bytes));
  EXPECT_EQ(buffer, 0u);
  EXPECT_EQ(bytes, 0u);
  EXPECT_HRESULT(E_ACCESSDENIED, qvrn::InsertRegistryParams(component.Get(), L"x", 1, L""));
  EXPECT_HRESULT(E_ACCESSDENIED, qvrn::DeleteRegistryParams(component.Get(), L"x"));
  EXPECT_THAT(tests::TakeDebugOutput(),
              ElementsAre(L"   Failed to Open Param Key, CMuxNotify::ReadRegistryParams. hr = 0x80070005\n",
                          L"   Failed to Open Param Key, CMuxNotify::InsertRegistryParams with hr = 0x80070005\n",
                          L"   Failed to Open Param Key, CMuxNotify::InsertRegistryParams with hr = 0x80070005\n"));
}

TEST_F(NotifySupportTest, UpperBindingsGrowAtTheFront) {
  const struct {
    Bytes before;
    const wchar_t* entry;
    Bytes after;
  } rows[] = {
      {{}, L"aa", Chars(L"aa||")},
      {Chars(L"|"), L"aa", Chars(L"aa||")},
      {Chars(L"bb||"), L"aa", Chars(L"aa|bb||")},
      {Chars(L"aa||"), L"aa", Chars(L"aa|aa||")},
      {Chars(L"bb"), L"aa", Chars(L"aa|bb|")},  // the platform completes text that lacks its terminator
      {{1, 2, 3}, L"a", {'a', 0, 0, 0, 1, 2, 3}},
  };
  EXPECT_EQ(qvrn::AddToUpperBindings(m_key.Get(), L"cc"), ERROR_SUCCESS) << "absent";
  EXPECT_EQ(Bindings(), Chars(L"cc||"));
  for (const auto& row : rows) {
    StoreBindings(row.before);
    EXPECT_EQ(qvrn::AddToUpperBindings(m_key.Get(), row.entry), ERROR_SUCCESS);
    EXPECT_EQ(Bindings(), row.after);
  }
}

TEST_F(NotifySupportTest, UpperBindingsShrinkByTheEntryWhetherItIsThereOrNot) {
  const Bytes absent = {0xFF};
  const struct {
    Bytes before;
    const wchar_t* entry;
    Bytes after;
  } rows[] = {
      {Chars(L"aa|bb|cc||"), L"bb", Chars(L"aa|cc||")},
      {Chars(L"aa|bb|cc||"), L"BB", Chars(L"aa|cc||")},
      {Chars(L"aa|bb||"), L"aa", Chars(L"bb||")},
      {Chars(L"aa||"), L"aa", absent},
      {Chars(L"aa|bb||"), L"xx", Chars(L"aa|b")},        // absent: cut all the same
      {Chars(L"aa|bb||"), L"xxxxxxxx", absent},          // longer than the value
      {Chars(L"aa|aa|bb||"), L"aa", Chars(L"bb|||||")},  // twice: cut once
      {Chars(L"aa|bb"), L"bb", Chars(L"aa|")},           // no terminators
      {Chars(L"aa|bb"), L"aa", Chars(L"bb|")},
      {Chars(L"|aa|bb||"), L"aa", Chars(L"|bb||")},  // an empty entry is kept
      {Chars(L"|"), L"aa", absent},
      {{}, L"aa", absent},
  };
  EXPECT_EQ(qvrn::RemoveFromUpperBindings(m_key.Get(), L"aa"), ERROR_FILE_NOT_FOUND);
  for (const auto& row : rows) {
    StoreBindings(row.before);
    EXPECT_EQ(qvrn::RemoveFromUpperBindings(m_key.Get(), row.entry), ERROR_SUCCESS);
    EXPECT_EQ(Bindings(), row.after) << ::testing::PrintToString(std::wstring(row.entry));
  }
}

TEST(DeviceNames, AreMadeAndTakenApart) {
  EXPECT_EQ(std::wstring(qvrn::MakeDeviceName(L"{1}").get()), L"\\Device\\{1}");
  EXPECT_EQ(std::wstring(qvrn::GuidFromDeviceName(L"\\Device\\{1}").get()), L"{1}");
  EXPECT_EQ(std::wstring(qvrn::GuidFromDeviceName(L"x\\").get()), L"");
  EXPECT_EQ(qvrn::GuidFromDeviceName(L"{1}"), nullptr);
}

TEST(TokenInList, StaysWithinTheList) {
  const wchar_t list[] = L"first\0Second\0\0behind\0";
  const wchar_t unterminated[] = {L'a', L'b', L'c', L'd'};
  const struct {
    const wchar_t* token;
    const wchar_t* list;
    DWORD length;
    bool found;
  } rows[] = {
      {L"first", list, 21, true},     {L"SECOND", list, 21, true},      {L"behind", list, 21, false},
      {L"Second", list, 6, false},    {L"first", list, 0, false},       {L"fir", list, 21, false},
      {L"", list, 21, false},         {nullptr, list, 21, false},       {L"x", nullptr, 5, false},
      {L"ab", unterminated, 2, true}, {L"abc", unterminated, 2, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(qvrn::IsTokenInList(row.token, row.list, row.length), row.found)
        << (row.token ? ::testing::PrintToString(std::wstring(row.token)) : "null") << " " << row.length;
  }
}

TEST(KeyedList, GrowsAtTheHeadAndEndsAtItsCount) {
  qvrn::List<int, GUID> list;
  int item = -1;
  EXPECT_HRESULT(0x80070490, list.ListRemoveHead(item));
  EXPECT_HRESULT(0x80070490, list.ListGetAt(0, item));
  EXPECT_HRESULT(0x80070490, list.ListRemoveByKey(kGuid7, item));
  list.ListInsert(1, kGuid7);
  list.ListInsert(2, kGuid8);
  list.ListInsert(3, kGuid7);
  EXPECT_EQ(list.ListCount(), 3u);
  EXPECT_HRESULT(S_OK, list.ListGetAt(0, item));
  EXPECT_EQ(item, 3);
  EXPECT_HRESULT(S_OK, list.ListGetAt(2, item));
  EXPECT_EQ(item, 1);
  EXPECT_HRESULT(0x80070490, list.ListGetAt(3, item));
  EXPECT_HRESULT(S_OK, list.ListRemoveByKey(kGuid7, item));
  EXPECT_EQ(item, 3) << "the first from the head";
  EXPECT_HRESULT(S_OK, list.ListRemoveByKey(kGuid7, item));
  EXPECT_EQ(item, 1) << "the last node";
  EXPECT_HRESULT(S_OK, list.ListRemoveHead(item));
  EXPECT_EQ(item, 2);
  EXPECT_EQ(list.ListCount(), 0u);
}

TEST(NotifyTrace, FormatsWideAndIsCutAtItsBuffer) {
  tests::TakeDebugOutput();
  const std::wstring longText(5000, L'x');
  qvrn::NotifyTrace(5, L"%s %S %x\n", L"wide", "narrow", 0x80070005);
  qvrn::NotifyTrace(4, L"%s", longText.c_str());
  qvrn::NotifyTrace(6, L"dropped");
  EXPECT_THAT(tests::TakeDebugOutput(), ElementsAre(L"wide narrow 80070005\n", longText.substr(0, 4095)));
}

}  // namespace
