#include "lab/netcfg/failures.h"

#include <mutex>
#include <sstream>

#include "platform/registrykey.h"

namespace lab {
namespace {

constexpr wchar_t kFailuresKey[] = L"SOFTWARE\\QvrnLab\\Failures";

std::mutex g_mutex;

// "HRESULT COUNT SKIP"; the HRESULT in hexadecimal with 0x, a missing COUNT is 1, a missing SKIP 0.
std::optional<HRESULT> Count(const qvrn::RegistryKey& key, const wchar_t* name) {
  wchar_t text[qvrn::kTextChars];
  if (key.ReadText(name, text) != ERROR_SUCCESS) return std::nullopt;
  std::wistringstream words(text);
  unsigned long hresult = 0;
  unsigned long count = 0;
  unsigned long skip = 0;
  words >> std::hex >> hresult >> std::dec;
  if (!(words >> count)) count = 1;
  words >> skip;
  if (count == 0) return std::nullopt;
  const bool isDue = skip == 0;
  --(isDue ? count : skip);
  qvrn::FormatText(text, L"0x%08lX %lu %lu", hresult, count, skip);
  key.WriteText(name, text);
  return isDue ? std::optional(static_cast<HRESULT>(hresult)) : std::nullopt;
}

}  // namespace

bool AreFailuresSet() {
  return qvrn::RegistryKey().Open(HKEY_LOCAL_MACHINE, kFailuresKey, KEY_QUERY_VALUE) == ERROR_SUCCESS;
}

std::optional<HRESULT> DueFailure(const wchar_t* method) {
  const std::lock_guard guard(g_mutex);
  qvrn::RegistryKey key;
  key.Open(HKEY_LOCAL_MACHINE, kFailuresKey, KEY_QUERY_VALUE | KEY_SET_VALUE);
  const std::optional<HRESULT> ofAll = Count(key, L"*");
  const std::optional<HRESULT> ofMethod = Count(key, method);
  return ofMethod ? ofMethod : ofAll;
}

}  // namespace lab
