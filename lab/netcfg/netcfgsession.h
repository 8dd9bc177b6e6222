// What an INetCfg object and the objects made from it share, and the one way through which every call on them goes.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <optional>
#include <set>
#include <string>

#include "lab/journal.h"
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

/// Calls that the machine's settings want to fail: see labkey.h. Which names there are is read once; counts live in the
/// registry, so that they are the same for all processes.
class FailurePlan {
 public:
  FailurePlan();
  /// The HRESULT that this call is to fail with, counted down; none when it is to be served.
  std::optional<HRESULT> Next(const wchar_t* method) const;

 private:
  std::optional<HRESULT> Count(const wchar_t* name) const;

  std::set<std::wstring, std::less<>> m_methods;
};

class NetCfgSession {
 public:
  NetCfgSession();

  /// Serves `body` unless a failure is due or `needs` is not met, and records "METHOD(ARGUMENTS) = 0xRESULT".
  /// Arguments are numbers, texts and GUIDs; a name that ends in a parenthesis brings its own. Out-parameters must be
  /// cleared before: nothing else sets them on failure.
  template <typename Body, typename... Arguments>
  HRESULT Call(const wchar_t* method, Needs needs, Body&& body, const Arguments&... arguments) noexcept try {
    HRESULT hr = S_OK;
    if (const std::optional<HRESULT> refused = Refuse(method, needs)) {
      hr = *refused;
    } else {
      hr = Guarded(body);
    }
    if (IsKept(m_journal)) Note(method, {Text(arguments)...}, hr);
    return hr;
  } catch (...) {
    return qvrn::HresultFromCurrentException();
  }

  WriteLock& Lock() noexcept { return m_lock; }
  const ComponentRecords& Components() const noexcept { return m_components; }
  bool IsInitialized() const noexcept { return m_initialized; }
  void Initialize();
  void Uninitialize() noexcept;
  /// The component of this session with this instance GUID; null for none.
  ComponentPointer Find(const GUID& instance) const;
  /// Takes a component that was just installed into the session, at its place.
  void Insert(ComponentPointer component);
  void Erase(const ComponentRecord& component) noexcept;

 private:
  template <typename Body>
  static HRESULT Guarded(Body& body) noexcept try {
    return body();
  } catch (...) {
    return qvrn::HresultFromCurrentException();
  }

  std::optional<HRESULT> Refuse(const wchar_t* method, Needs needs) const;
  void Note(const wchar_t* method, std::initializer_list<std::wstring> arguments, HRESULT hr) const;

  static std::wstring Text(const wchar_t* text) { return text == nullptr ? L"null" : text; }
  static std::wstring Text(const std::wstring& text) { return text; }
  static std::wstring Text(DWORD number) { return std::to_wstring(number); }
  static std::wstring Text(const GUID& guid);

  std::wstring m_journal;
  FailurePlan m_failures;
  WriteLock m_lock;
  ComponentRecords m_components;
  bool m_initialized = false;
};

/// A text for the caller to free with CoTaskMemFree. Throws std::bad_alloc.
wchar_t* TaskCopy(const std::wstring& text);

}  // namespace lab
