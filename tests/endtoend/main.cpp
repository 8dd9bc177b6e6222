#include <windows.h>

#include <gmock/gmock.h>

#include "tests/support/crashexit.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  tests::EndOnCrash();
  return RUN_ALL_TESTS();
}
