#include <string>
#include <vector>

#include "tools/qvrnctl/client.h"

// An adapter's name may hold '*' or '?': the runtime must not expand it to file names.
extern "C" int _dowildcard;
int _dowildcard = 0;

extern "C" int wmain(int count, wchar_t** words) {
  return qvrn::RunClient(std::vector<std::wstring>(words + (count > 0 ? 1 : 0), words + count));
}
