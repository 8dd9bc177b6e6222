#include "lab/netcfg/netcfgsession.h"

#include <netcfgx.h>

#include <algorithm>

#include "platform/boundedtext.h"

namespace lab {

void NetCfgSession::Initialize() {
  m_components = LoadComponents();
  m_initialized = true;
}

void NetCfgSession::Uninitialize() noexcept {
  m_components = {};
  m_initialized = false;
}

ComponentPointer NetCfgSession::Find(const wchar_t* id) const {
  for (const ComponentPointer& component : m_components) {
    if (component->HasId(id)) return component;
  }
  return nullptr;
}

void NetCfgSession::Insert(ComponentPointer component) {
  const auto place = std::find_if(m_components.begin(), m_components.end(),
                                  [&](const auto& other) { return other->keyPath > component->keyPath; });
  m_components.insert(place, std::move(component));
}

bool NetCfgSession::Erase(const ComponentRecord& component) noexcept {
  return std::erase_if(m_components, [&](const auto& other) { return other->instance == component.instance; }) != 0;
}

std::optional<HRESULT> NetCfgSession::Refuse(const wchar_t* method, Needs needs) const {
  const std::optional<HRESULT> failure = m_mayFail ? DueFailure(method) : std::nullopt;
  if (failure) return failure;
  if (needs != Needs::kNothing && !m_initialized) return NETCFG_E_NOT_INITIALIZED;
  if (needs == Needs::kWriteLock && !m_lock.IsHeld()) return NETCFG_E_NO_WRITE_LOCK;
  return std::nullopt;
}

void NetCfgSession::Note(const wchar_t* method, const std::vector<std::wstring>& arguments, HRESULT hr) const {
  std::wstring text = method;
  if (!text.ends_with(L')')) {
    text += L'(';
    for (const std::wstring& argument : arguments)
      text.append(&argument == &arguments.front() ? L"" : L", ") += argument;
    text += L')';
  }
  wchar_t result[qvrn::kTextChars];
  qvrn::FormatText(result, L" = 0x%lX", static_cast<unsigned long>(hr));
  Record(kNetworkCall, text + result, &m_journal);
}

std::wstring NetCfgSession::Text(const GUID& guid) {
  const NetworkClass* networkClass = FindNetworkClass(guid);
  return networkClass != nullptr ? networkClass->name : GuidText(guid);
}

}  // namespace lab
