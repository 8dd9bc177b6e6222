#include "lab/netcfg/failureplan.h"

#include <mutex>
#include <sstream>

#include "platform/registrykey.h"

namespace lab {
namespace {

constexpr wchar_t kFailuresKey[] = L"SOFTWARE\\QvrnLab\\Failures";
constexpr wchar_t kEveryCall[] = L"*";

std::mutex g_mutex;

}  // namespace

FailurePlan::FailurePlan() {
  qvrn::RegistryKey key;
  if (key.Open(HKEY_LOCAL_MACHINE, kFailuresKey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return;
  wchar_t method[qvrn::kTextChars];
  wchar_t failure[qvrn::kTextChars];
  for (DWORD i = 0; key.EnumerateText(i, method, failure) == ERROR_SUCCESS; ++i) m_methods.emplace(method);
}

std::optional<HRESULT> FailurePlan::Next(const wchar_t* method) const {
  if (m_methods.empty()) return std::nullopt;
  const std::optional<HRESULT> ofAll = Count(kEveryCall);
  const std::optional<HRESULT> ofMethod = Count(method);
  return ofMethod ? ofMethod : ofAll;
}

// "HRESULT COUNT SKIP"; the HRESULT in hexadecimal with 0x, a missing COUNT is 1, a missing SKIP 0.
std::optional<HRESULT> FailurePlan::Count(const wchar_t* name) const {
  if (!m_methods.contains(std::wstring_view(name))) return std::nullopt;
  const std::lock_guard guard(g_mutex);
  qvrn::RegistryKey key;
  wchar_t text[qvrn::kTextChars];
  if (key.Open(HKEY_LOCAL_MACHINE, kFailuresKey, KEY_QUERY_VALUE | KEY_SET_VALUE) != ERROR_SUCCESS ||
      key.ReadText(name, text) != ERROR_SUCCESS) {
    return std::nullopt;
  }
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

}  // namespace lab
