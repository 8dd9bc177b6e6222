#include "tools/qvrnctl/elevation.h"

#include "platform/handle.h"

namespace qvrn {

bool IsElevated() noexcept {
  KernelHandle token;
  TOKEN_ELEVATION elevation = {};
  DWORD bytes = 0;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Put())) return true;
  if (!::GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof elevation, &bytes)) return true;
  return elevation.TokenIsElevated != 0;
}

}  // namespace qvrn
