// Result codes that print in hexadecimal when a comparison fails.
#pragma once

#include <windows.h>

#include <cstdio>
#include <ostream>

namespace tests {

struct Code {
  HRESULT value;
  friend bool operator==(Code one, Code other) { return one.value == other.value; }
  friend std::ostream& operator<<(std::ostream& stream, Code code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(code.value));
    return stream << text;
  }
};

}  // namespace tests

#define EXPECT_HRESULT(expected, actual) \
  EXPECT_EQ((::tests::Code{static_cast<HRESULT>(expected)}), (::tests::Code{static_cast<HRESULT>(actual)}))
#define ASSERT_HRESULT(expected, actual) \
  ASSERT_EQ((::tests::Code{static_cast<HRESULT>(expected)}), (::tests::Code{static_cast<HRESULT>(actual)}))
