// What the network configuration engine's objects share: their list, and traces.
#include "mux/notifyob/list.h"
#include "mux/notifyob/notifytrace.h"
#include "tests/support/functiontest.h"

namespace {

using ::testing::ElementsAre;

TEST(KeyedList, GrowsAtTheHeadAndEndsAtItsCount) {
  constexpr GUID kGuid7 = {7, 0, 0, {}};
  constexpr GUID kGuid8 = {8, 0, 0, {}};
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
  scenario::TakeEvents();
  const std::wstring longText(5000, L'x');
  qvrn::NotifyTrace(5, L"%s %S %x\n", L"wide", "narrow", 0x80070005);
  qvrn::NotifyTrace(4, L"%s", longText.c_str());
  qvrn::NotifyTrace(6, L"dropped");
  EXPECT_THAT(tests::Events("trace"), ElementsAre("\"wide narrow 80070005\\n\"", "\"" + std::string(4095, 'x') + "\""));
}

}  // namespace
