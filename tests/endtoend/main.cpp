#include <windows.h>

#include <gmock/gmock.h>

namespace {

// A crash must not end with exit status 0.
LONG WINAPI EndOnCrash(EXCEPTION_POINTERS*) {
  ::TerminateProcess(::GetCurrentProcess(), 3);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  ::SetUnhandledExceptionFilter(EndOnCrash);
  return RUN_ALL_TESTS();
}
