#include "tools/winhalvextune/common.h"

#include <oleauto.h>

#include <gmock/gmock.h>

#include "platform/comtext.h"
#include "platform/hresult.h"
#include "tests/support/machine.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"

namespace {

TEST(Common, LogarithmsAndPowers) {
  tests::AssertionRecorder assertions;
  const std::pair<LONG, LONG> logarithms[] = {{-5, 0},     {0, 0},      {1, 0},      {2, 1},        {3, 1},
                                              {4, 2},      {15, 3},     {16, 4},     {255, 7},      {256, 8},
                                              {65535, 15}, {65536, 16}, {65537, 16}, {1 << 30, 30}, {0x7FFFFFFF, 30}};
  for (const auto& [value, logarithm] : logarithms) EXPECT_EQ(qvrn::IntegerLog2(value), logarithm) << value;
  const std::pair<LONG, LONG> powers[] = {{-1, 0}, {0, 1}, {4, 16}, {30, 1 << 30}, {31, 0}, {64, 0}};
  for (const auto& [exponent, power] : powers) EXPECT_EQ(qvrn::PowerOfTwo(exponent), power) << exponent;
  EXPECT_THAT(assertions.Take(), ::testing::IsEmpty());
}

TEST(Common, LoadsStringsFromTheirBlocks) {
  const HMODULE module = ::GetModuleHandleW(nullptr);
  const struct {
    HMODULE module;
    WORD id;
    const wchar_t* text;
  } rows[] = {
      {module, 16, L"entry 0 of block 2"},
      {module, 121, L"121: %1"},
      {module, 127, L"127"},
      {module, 128, L"128"},
      {module, 18, nullptr},
      {module, 0, nullptr},
      {module, 160, nullptr},
      {nullptr, 121, nullptr},
  };
  for (const auto& row : rows) {
    BSTR text = ::SysAllocString(L"what was there");
    EXPECT_EQ(qvrn::LoadResourceString(text, row.module, row.id), row.text != nullptr) << row.id;
    EXPECT_STREQ(text, row.text);
    EXPECT_EQ(::SysStringLen(text), row.text == nullptr ? 0 : std::wcslen(row.text));
    ::SysFreeString(text);
  }
}

TEST(Common, FormatsObjectPathsIntoTheBuffer) {
  wchar_t path[64];
  qvrn::FormatObjectPath(path, 64, L"Win32_NetworkAdapter", L"DeviceID", L"7");
  EXPECT_STREQ(path, L"Win32_NetworkAdapter.DeviceID=\"7\"");
  qvrn::FormatObjectPath(path, 8, L"Win32_NetworkAdapter", L"DeviceID", L"7");
  EXPECT_STREQ(path, L"Win32_N");
}

TEST(Common, TurnsWin32CodesIntoHresults) {
  for (const auto& [code, hr] : {std::pair{2L, 0x80070002}, {0x12345L, 0x80072345}, {0L, 0}, {-5L, 0xFFFFFFFB}})
    EXPECT_EQ(static_cast<DWORD>(qvrn::HrFromWin32(code)), static_cast<DWORD>(hr)) << code;
}

}  // namespace
