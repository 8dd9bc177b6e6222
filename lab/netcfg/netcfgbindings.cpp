#include "lab/netcfg/netcfgbindings.h"

#include <algorithm>

#include "lab/netcfg/netcfgcomponent.h"
#include "lab/netcfg/netcfgenumerator.h"

namespace lab {
namespace {

using Microsoft::WRL::ComPtr;

/// Where two neighbours of a path meet. Its calls are recorded with the token of these two as argument.
class NetCfgBindingInterface final : public NetCfgObject<INetCfgBindingInterface> {
 public:
  NetCfgBindingInterface(SessionPointer session, BindingPath pair)
      : NetCfgObject(std::move(session)), m_pair(std::move(pair)) {}

  HRESULT STDMETHODCALLTYPE GetName(LPWSTR* name) noexcept override {
    if (name == nullptr) return E_POINTER;
    *name = nullptr;
    return m_session->Call(
        L"INetCfgBindingInterface::GetName", Needs::kNothing,
        [&] {
          const bool toDevice = m_pair.back()->networkClass->needsDevice;
          *name = TaskCopy(toDevice ? L"ndis5" : L"tdi");
          return S_OK;
        },
        m_token);
  }
  HRESULT STDMETHODCALLTYPE GetUpperComponent(INetCfgComponent** component) noexcept override {
    return GiveComponent(L"INetCfgBindingInterface::GetUpperComponent", m_pair.front(), component);
  }
  HRESULT STDMETHODCALLTYPE GetLowerComponent(INetCfgComponent** component) noexcept override {
    return GiveComponent(L"INetCfgBindingInterface::GetLowerComponent", m_pair.back(), component);
  }

 private:
  HRESULT GiveComponent(const wchar_t* method, const ComponentPointer& record, INetCfgComponent** component) noexcept {
    if (component == nullptr) return E_POINTER;
    *component = nullptr;
    return m_session->Call(
        method, Needs::kNothing,
        [&] {
          *component = Make<NetCfgComponent>(m_session, record).Detach();
          return S_OK;
        },
        m_token);
  }

  const BindingPath m_pair;
  const std::wstring m_token = PathToken(m_pair);
};

struct InterfaceKind {
  using Enumerator = IEnumNetCfgBindingInterface;
  using Element = INetCfgBindingInterface;
  using Item = BindingPath;
  static constexpr const wchar_t* kNext = L"IEnumNetCfgBindingInterface::Next";
  static constexpr const wchar_t* kSkip = L"IEnumNetCfgBindingInterface::Skip";
  static constexpr const wchar_t* kReset = L"IEnumNetCfgBindingInterface::Reset";
  static constexpr const wchar_t* kClone = L"IEnumNetCfgBindingInterface::Clone";
  static ComPtr<Element> Wrap(const SessionPointer& session, const Item& pair) {
    return Make<NetCfgBindingInterface>(session, pair);
  }
};

/// A path's calls are recorded with its token as first argument.
class NetCfgBindingPath final : public NetCfgObject<INetCfgBindingPath> {
 public:
  NetCfgBindingPath(SessionPointer session, BindingPath path)
      : NetCfgObject(std::move(session)), m_path(std::move(path)) {}

  HRESULT STDMETHODCALLTYPE IsSamePathAs(INetCfgBindingPath* path) noexcept override {
    return Compare(L"INetCfgBindingPath::IsSamePathAs", path,
                   [this](const std::wstring& other) { return m_token == other; });
  }
  /// Whether the other path ends with this one and is longer.
  HRESULT STDMETHODCALLTYPE IsSubPathOf(INetCfgBindingPath* path) noexcept override {
    return Compare(L"INetCfgBindingPath::IsSubPathOf", path,
                   [this](const std::wstring& other) { return other.ends_with(L"->" + m_token); });
  }

  HRESULT STDMETHODCALLTYPE IsEnabled() noexcept override {
    return m_session->Call(
        L"INetCfgBindingPath::IsEnabled", Needs::kNothing, [&] { return IsPathEnabled(m_path) ? S_OK : S_FALSE; },
        m_token);
  }
  HRESULT STDMETHODCALLTYPE Enable(BOOL enable) noexcept override {
    return m_session->Call(
        L"INetCfgBindingPath::Enable", Needs::kWriteLock,
        [&] { return qvrn::HrFromWin32(EnablePath(m_path, enable != FALSE)); }, m_token,
        enable != FALSE ? L"TRUE" : L"FALSE");
  }

  HRESULT STDMETHODCALLTYPE GetPathToken(LPWSTR* token) noexcept override {
    return Give(L"INetCfgBindingPath::GetPathToken", token, [this] { return TaskCopy(m_token); });
  }
  HRESULT STDMETHODCALLTYPE GetOwner(INetCfgComponent** component) noexcept override {
    return Give(L"INetCfgBindingPath::GetOwner", component,
                [this] { return Make<NetCfgComponent>(m_session, m_path.front()).Detach(); });
  }
  HRESULT STDMETHODCALLTYPE GetDepth(ULONG* interfaces) noexcept override {
    return Give(L"INetCfgBindingPath::GetDepth", interfaces, [this] { return static_cast<ULONG>(m_path.size() - 1); });
  }
  HRESULT STDMETHODCALLTYPE EnumBindingInterfaces(IEnumNetCfgBindingInterface** interfaces) noexcept override {
    return Give(L"INetCfgBindingPath::EnumBindingInterfaces", interfaces, [this] {
      BindingPaths pairs;
      for (auto lower = m_path.begin() + 1; lower != m_path.end(); ++lower) pairs.push_back({lower[-1], *lower});
      return Make<NetCfgEnumerator<InterfaceKind>>(m_session, std::move(pairs)).Detach();
    });
  }

 private:
  template <typename Type, typename Read>
  HRESULT Give(const wchar_t* method, Type* out, Read read) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = {};
    return m_session->Call(
        method, Needs::kNothing,
        [&] {
          *out = read();
          return S_OK;
        },
        m_token);
  }

  /// S_OK when the other path's token meets the condition, S_FALSE when not.
  template <typename Condition>
  HRESULT Compare(const wchar_t* method, INetCfgBindingPath* path, Condition condition) noexcept {
    const ComPtr<NetCfgBindingPath> other = Own<NetCfgBindingPath>(path);
    return m_session->Call(
        method, Needs::kNothing,
        [&]() -> HRESULT {
          if (other == nullptr) return E_INVALIDARG;
          return condition(other->m_token) ? S_OK : S_FALSE;
        },
        m_token, other == nullptr ? nullptr : other->m_token.c_str());
  }

  const BindingPath m_path;
  const std::wstring m_token = PathToken(m_path);
};

struct PathKind {
  using Enumerator = IEnumNetCfgBindingPath;
  using Element = INetCfgBindingPath;
  using Item = BindingPath;
  static constexpr const wchar_t* kNext = L"IEnumNetCfgBindingPath::Next";
  static constexpr const wchar_t* kSkip = L"IEnumNetCfgBindingPath::Skip";
  static constexpr const wchar_t* kReset = L"IEnumNetCfgBindingPath::Reset";
  static constexpr const wchar_t* kClone = L"IEnumNetCfgBindingPath::Clone";
  static ComPtr<Element> Wrap(const SessionPointer& session, const Item& path) {
    return Make<NetCfgBindingPath>(session, path);
  }
};

}  // namespace

HRESULT EnumerateBindingPaths(const SessionPointer& session, const ComponentPointer& component, DWORD flags,
                              IEnumNetCfgBindingPath** paths) {
  if (flags != EBP_ABOVE && flags != EBP_BELOW) return E_INVALIDARG;
  const ComponentRecords& all = session->Components();
  *paths = Make<NetCfgEnumerator<PathKind>>(
               session, flags == EBP_ABOVE ? PathsAbove(all, component) : PathsBelow(all, component))
               .Detach();
  return S_OK;
}

}  // namespace lab
