#include "lab/netcfg/netcfgsession.h"

#include <netcfgx.h>
#include <objbase.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <mutex>
#include <new>

#include "lab/labkey.h"
#include "platform/registrykey.h"

namespace lab {
namespace {

using qvrn::RegistryKey;

constexpr wchar_t kFailuresKey[] = L"SOFTWARE\\QvrnLab\\Failures";
constexpr wchar_t kEveryCall[] = L"*";

/// "HRESULT COUNT SKIP"; the HRESULT in hexadecimal with 0x, a missing COUNT is 1, a missing SKIP 0.
struct Failure {
  unsigned long hresult = 0;
  unsigned long count = 0;
  unsigned long skip = 0;

  explicit Failure(const wchar_t* text) {
    wchar_t* rest = nullptr;
    hresult = std::wcstoul(text, &rest, 16);
    const wchar_t* counts = rest;
    count = std::wcstoul(counts, &rest, 10);
    if (rest == counts) count = 1;
    skip = std::wcstoul(rest, nullptr, 10);
  }

  std::wstring Text() const {
    wchar_t text[qvrn::kTextChars];
    qvrn::FormatText(text, L"0x%08lX %lu %lu", hresult, count, skip);
    return text;
  }
};

std::mutex g_failureMutex;

}  // namespace

FailurePlan::FailurePlan() {
  RegistryKey key;
  if (key.Open(HKEY_LOCAL_MACHINE, kFailuresKey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return;
  wchar_t method[qvrn::kTextChars];
  wchar_t failure[qvrn::kTextChars];
  for (DWORD i = 0; key.EnumerateText(i, method, failure) == ERROR_SUCCESS; ++i) m_methods.emplace(method);
}

std::optional<HRESULT> FailurePlan::Next(const wchar_t* method) const {
  const std::optional<HRESULT> ofAll = Count(kEveryCall);
  const std::optional<HRESULT> ofMethod = Count(method);
  return ofMethod ? ofMethod : ofAll;
}

std::optional<HRESULT> FailurePlan::Count(const wchar_t* name) const {
  if (!m_methods.contains(std::wstring_view(name))) return std::nullopt;
  const std::lock_guard guard(g_failureMutex);
  RegistryKey key;
  wchar_t text[qvrn::kTextChars];
  if (key.Open(HKEY_LOCAL_MACHINE, kFailuresKey, KEY_QUERY_VALUE | KEY_SET_VALUE) != ERROR_SUCCESS ||
      key.ReadText(name, text) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  Failure failure(text);
  if (failure.count == 0) return std::nullopt;
  const bool due = failure.skip == 0;
  --(due ? failure.count : failure.skip);
  key.WriteText(name, failure.Text().c_str());
  return due ? std::optional(static_cast<HRESULT>(failure.hresult)) : std::nullopt;
}

NetCfgSession::NetCfgSession() : m_journal(JournalPath()) {}

void NetCfgSession::Initialize() {
  m_components = LoadComponents();
  m_initialized = true;
}

void NetCfgSession::Uninitialize() noexcept {
  m_components = {};
  m_initialized = false;
}

ComponentPointer NetCfgSession::Find(const GUID& instance) const {
  for (const ComponentPointer& component : m_components) {
    if (component->instance == instance) return component;
  }
  return nullptr;
}

void NetCfgSession::Insert(ComponentPointer component) {
  const auto place = std::find_if(m_components.begin(), m_components.end(),
                                  [&](const auto& other) { return other->keyPath > component->keyPath; });
  m_components.insert(place, std::move(component));
}

void NetCfgSession::Erase(const ComponentRecord& component) noexcept {
  std::erase_if(m_components, [&](const auto& other) { return other->instance == component.instance; });
}

std::optional<HRESULT> NetCfgSession::Refuse(const wchar_t* method, Needs needs) const {
  if (const std::optional<HRESULT> failure = m_failures.Next(method)) return failure;
  if (needs != Needs::kNothing && !m_initialized) return NETCFG_E_NOT_INITIALIZED;
  if (needs == Needs::kWriteLock && !m_lock.IsHeld()) return NETCFG_E_NO_WRITE_LOCK;
  return std::nullopt;
}

void NetCfgSession::Note(const wchar_t* method, std::initializer_list<std::wstring> arguments, HRESULT hr) const {
  std::wstring text;
  for (const std::wstring& argument : arguments) text.append(text.empty() ? L"" : L", ").append(argument);
  wchar_t result[qvrn::kTextChars];
  qvrn::FormatText(result, L" = 0x%lX", static_cast<unsigned long>(hr));
  const bool hasArguments = std::wstring_view(method).ends_with(L')');
  RecordIn(m_journal, kNetworkCall, (hasArguments ? method : method + (L"(" + text + L")")) + result);
}

std::wstring NetCfgSession::Text(const GUID& guid) {
  const NetworkClass* networkClass = FindNetworkClass(guid);
  return networkClass != nullptr ? networkClass->name : GuidText(guid);
}

wchar_t* TaskCopy(const std::wstring& text) {
  const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  void* const copy = ::CoTaskMemAlloc(bytes);
  if (copy == nullptr) throw std::bad_alloc();
  return static_cast<wchar_t*>(std::memcpy(copy, text.c_str(), bytes));
}

}  // namespace lab
