// What an INetCfg object and the objects made from it share, and the one way through which every call on them goes.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "lab/journal.h"
#include "lab/netcfg/failures.h"
#include "lab/netcfg/netcfglock.h"
#include "lab/netcfg/netcfgrecords.h"
#include "platform/hresult.h"

namespace lab {

/// What must have happened before a call is served.
enum class Needs {
  kNothing,
  kInitialized,  ///< else NETCFG_E_NOT_INITIALIZED
  kWriteLock,    ///< and the object holds the write lock, else NETCFG_E_NO_WRITE_LOCK
};

/// The arguments of a call as its record shows them.
template <typename... Arguments>
std::tuple<const Arguments&...> With(const Arguments&... arguments) noexcept {
  return {arguments...};
}

class NetCfgSession {
 public:
  /// Serves `body` unless a failure is due or `needs` is not met, and records "METHOD(ARGUMENTS) = 0xRESULT".
  /// Arguments, given as With(...), are numbers, texts and GUIDs; a name that ends in a parenthesis brings its own.
  /// Out-parameters must be cleared before: nothing else sets them on failure.
  template <typename Arguments, typename Body>
  HRESULT Call(const wchar_t* method, Needs needs, const Arguments& arguments, const Body& body) noexcept try {
    const std::optional<HRESULT> refused = Refuse(method, needs);
    const HRESULT hr = refused ? *refused : Guarded(body);
    const auto texts = [](const auto&... one) { return std::vector<std::wstring>{Text(one)...}; };
    if (IsKept(m_journal)) Note(method, std::apply(texts, arguments), hr);
    return hr;
  } catch (...) {
    return qvrn::HresultFromCurrentException();
  }

  WriteLock& Lock() noexcept { return m_lock; }
  bool IsInitialized() const noexcept { return m_initialized; }
  /// Loads the components in one pass.
  void Initialize();
  /// Forgets them.
  void Uninitialize() noexcept;

  const ComponentRecords& Components() const noexcept { return m_components; }
  /// The first component with this id; null for none.
  ComponentPointer Find(const wchar_t* id) const;
  /// Takes a component that was just installed into the session, at its place.
  void Insert(ComponentPointer component);
  /// Takes one out; false when it is none of the session's.
  bool Erase(const ComponentRecord& component) noexcept;

 private:
  template <typename Body>
  static HRESULT Guarded(const Body& body) noexcept try {
    return body();
  } catch (...) {
    return qvrn::HresultFromCurrentException();
  }

  std::optional<HRESULT> Refuse(const wchar_t* method, Needs needs) const;
  void Note(const wchar_t* method, const std::vector<std::wstring>& arguments, HRESULT hr) const;

  static std::wstring Text(const wchar_t* text) { return text == nullptr ? L"null" : text; }
  static std::wstring Text(const std::wstring& text) { return text; }
  static std::wstring Text(DWORD number) { return std::to_wstring(number); }
  static std::wstring Text(const GUID& guid);

  const std::wstring m_journal = JournalPath();
  const bool m_mayFail = AreFailuresSet();
  WriteLock m_lock;
  ComponentRecords m_components;
  bool m_initialized = false;
};

using SessionPointer = std::shared_ptr<NetCfgSession>;

}  // namespace lab
