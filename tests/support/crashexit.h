#pragma once

#include <windows.h>

namespace tests {

/// Makes a crash end the process with status 3; under Wine it could end with 0.
inline void EndOnCrash() {
  ::SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG {
    ::TerminateProcess(::GetCurrentProcess(), 3);
    return EXCEPTION_EXECUTE_HANDLER;
  });
}

}  // namespace tests
