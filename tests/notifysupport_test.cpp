// What the network configuration engine's objects share: values and lists, each for itself.
#include "mux/notifyob/notifysupport.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "mux/notifyob/list.h"
#include "mux/notifyob/notifytrace.h"
#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"

namespace {

using ::testing::ElementsAre;
using tests::Machine;
using Bytes = std::vector<BYTE>;

constexpr GUID kGuid7 = {7, 0, 0, {}};
constexpr GUID kGuid8 = {8, 0, 0, {}};

// The bytes of characters, '|' standing for a zero.
Bytes Chars(std::wstring text) {
  for (wchar_t& character : text) character = character == L'|' ? L'\0' : character;
  const auto* bytes = reinterpret_cast<const BYTE*>(text.data());
  return {bytes, bytes + text.size() * sizeof(wchar_t)};
}

TEST(NotifyParameters, AreReadUpToAPage) {
  Machine machine;
  machine.AddAdapter(7);
  const auto component = tests::Session(false).Find(Machine::kServed);
  const struct {
    const wchar_t* name;
    Bytes stored;  ///< none for the absent value
    HRESULT result;
  } rows[] = {{L"Absent", {}, E_INVALIDARG},
              {L"Empty", {}, E_ABORT},
              {L"Full", Bytes(4096, 'x'), S_OK},
              {L"Long", Bytes(4097, 'x'), E_OUTOFMEMORY}};
  for (const auto& row : rows) {
    if (row.result != E_INVALIDARG)
      machine.WriteBytes(Machine::InstanceKey(7), row.name, REG_BINARY, row.stored.data(), row.stored.size());
    Bytes buffer(4096, 0xCC);
    DWORD bytes = 77;
    EXPECT_HRESULT(row.result, qvrn::ReadRegistryParams(component.Get(), row.name, buffer.data(), &bytes)) << row.name;
    const bool isRead = row.result == S_OK;
    EXPECT_EQ(bytes, isRead ? 4096u : 0u);
    const Bytes head(buffer.begin(), buffer.begin() + 5);
    EXPECT_EQ(head, isRead ? Bytes(5, 'x') : (Bytes{0, 0, 0, 0, 0xCC})) << row.name;
  }
}

TEST(NotifySearch, LeavesTheResultAloneWhereNobodyHasTheGuid) {
  Machine machine;
  machine.AddAdapter(7);
  auto* const poison = reinterpret_cast<INetCfgComponent*>(0x5A);
  INetCfgComponent* component = poison;
  EXPECT_HRESULT(S_FALSE, qvrn::HrFindInstance(tests::Session(false).netCfg.Get(), &kGuid8, &component));
  EXPECT_EQ(component, poison);
}

// Entries are added in front; a removal shortens the value by the entry, whether it is there or not.
TEST(UpperBindings, GrowAndShrink) {
  Machine machine;
  const std::wstring path = L"Software\\Bindings";
  const Bytes absent = {0xFF};
  const struct {
    bool add;
    Bytes before;
    const wchar_t* entry;
    Bytes after;
    LONG result;
  } rows[] = {
      {true, absent, L"cc", Chars(L"cc||"), 0},
      {true, {}, L"aa", Chars(L"aa||"), 0},
      {true, Chars(L"bb||"), L"aa", Chars(L"aa|bb||"), 0},
      {true, Chars(L"aa||"), L"aa", Chars(L"aa|aa||"), 0},
      {true, Chars(L"bb"), L"aa", Chars(L"aa|bb|"), 0},  // the platform completes text that lacks its terminator
      {true, {1, 2, 3}, L"a", {'a', 0, 0, 0, 1, 2, 3}, 0},
      {false, absent, L"aa", absent, ERROR_FILE_NOT_FOUND},
      {false, Chars(L"aa|bb|cc||"), L"BB", Chars(L"aa|cc||"), 0},
      {false, Chars(L"aa|bb||"), L"aa", Chars(L"bb||"), 0},
      {false, Chars(L"aa||"), L"aa", absent, 0},
      {false, Chars(L"aa|bb||"), L"xx", Chars(L"aa|b"), 0},
      {false, Chars(L"aa|b||"), L"xxxx", absent, 0},
      {false, Chars(L"aa|bb||"), L"xxxxxx", absent, 0},
      {false, Chars(L"aa|bb||"), L"xxxxxxxx", absent, 0},
      {false, Chars(L"aa|aa|bb||"), L"aa", Chars(L"bb|||||"), 0},
      {false, Chars(L"aa|bb"), L"bb", Chars(L"aa|"), 0},
      {false, Chars(L"|aa|bb||"), L"aa", Chars(L"|bb||"), 0},
      {false, {}, L"aa", absent, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    machine.DeleteValue(path, L"UpperBindings");
    if (row.before != absent)
      machine.WriteBytes(path, L"UpperBindings", REG_MULTI_SZ, row.before.data(), row.before.size());
    qvrn::RegistryKey key;
    key.Create(HKEY_LOCAL_MACHINE, path.c_str(), KEY_ALL_ACCESS);
    EXPECT_EQ((row.add ? qvrn::AddToUpperBindings : qvrn::RemoveFromUpperBindings)(key.Get(), row.entry), row.result);
    Bytes data(64);
    DWORD bytes = 64;
    DWORD type = 0;
    ::RegQueryValueExW(key.Get(), L"UpperBindings", nullptr, &type, data.data(), &bytes);
    data.resize(bytes);
    EXPECT_EQ(type == REG_MULTI_SZ ? data : absent, row.after);
  }
}

TEST(DeviceNames, AreTakenApartAtTheLastBackslash) {
  EXPECT_STREQ(qvrn::MakeDeviceName(L"{1}").get(), L"\\Device\\{1}");
  EXPECT_STREQ(qvrn::GuidFromDeviceName(L"\\Device\\{1}").get(), L"{1}");
  EXPECT_STREQ(qvrn::GuidFromDeviceName(L"x\\").get(), L"");
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
  for (const auto& row : rows)
    EXPECT_EQ(qvrn::IsTokenInList(row.token, row.list, row.length), row.found) << &row - rows;
}

TEST(KeyedList, GrowsAtTheHeadAndEndsAtItsCount) {
  qvrn::List<int, GUID> list;
  int item = -1;
  for (const HRESULT hr : {list.ListRemoveHead(item), list.ListGetAt(0, item), list.ListRemoveByKey(kGuid7, item)})
    EXPECT_HRESULT(0x80070490, hr);
  list.ListInsert(1, kGuid7);
  list.ListInsert(2, kGuid8);
  EXPECT_HRESULT(S_OK, list.ListInsert(3, kGuid7));
  std::vector<int> items;
  for (DWORD index = 0; list.ListGetAt(index, item) == S_OK; ++index) items.push_back(item);
  EXPECT_THAT(items, ElementsAre(3, 2, 1));
  EXPECT_EQ(list.ListCount(), 3u);
  // The first from the head, then the last node, then the head.
  EXPECT_HRESULT(S_OK, list.ListRemoveByKey(kGuid7, item));
  EXPECT_EQ(item, 3);
  EXPECT_HRESULT(S_OK, list.ListRemoveByKey(kGuid7, item));
  EXPECT_EQ(item, 1);
  EXPECT_HRESULT(0x80070490, list.ListRemoveByKey(kGuid7, item));
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
