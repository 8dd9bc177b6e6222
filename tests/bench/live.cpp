#include "tests/bench/live.h"

#include <objbase.h>

#include <cstdint>
#include <stdexcept>
#include <utility>

namespace bench {

HKEY Live::Key(HKEY recorded) {
  if (reinterpret_cast<std::uintptr_t>(recorded) >= reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT))
    return recorded;
  const auto [entry, isNew] = m_keys.try_emplace(recorded, newKey);
  if (isNew) newKey = nullptr;
  return entry->second;
}

LSTATUS Live::Close(HKEY recorded) {
  const LSTATUS status = ::RegCloseKey(Key(recorded));
  m_keys.erase(recorded);
  return status;
}

BYTE* Live::Room(DWORD bytes) {
  if (m_room.size() < bytes) m_room.resize(bytes);
  return m_room.data();
}

HRESULT Live::CreateNetCfg() {
  m_components.clear();
  newComponent.Reset();
  return ::CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&netCfg));
}

INetCfgComponent* Live::Component(const std::wstring& guid) {
  if (newComponent != nullptr) m_components[guid] = std::exchange(newComponent, nullptr);
  const auto found = m_components.find(guid);
  if (found == m_components.end()) throw std::runtime_error("a component that was not handed out");
  return found->second.Get();
}

}  // namespace bench
