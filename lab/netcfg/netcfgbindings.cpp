#include "lab/netcfg/netcfgbindings.h"

#include "lab/netcfg/netcfgcomponent.h"
#include "lab/netcfg/netcfgenumerator.h"
#include "lab/netcfg/netcfgpaths.h"

namespace lab {
namespace {

using InterfaceEnumerator = NetCfgEnumerator<IEnumNetCfgBindingInterface, INetCfgBindingInterface>;
using PathEnumerator = NetCfgEnumerator<IEnumNetCfgBindingPath, INetCfgBindingPath>;

/// Where two neighbours of a path meet.
class NetCfgBindingInterface final : public NetCfgObject<INetCfgBindingInterface> {
 public:
  NetCfgBindingInterface(SessionPointer session, const ComponentPointer& upper, const ComponentPointer& lower)
      : NetCfgObject(std::move(session)), m_upper(upper), m_token(PathToken({upper, lower})) {}

  HRESULT STDMETHODCALLTYPE GetUpperComponent(INetCfgComponent** component) noexcept override {
    return Ask(L"INetCfgBindingInterface::GetUpperComponent", Needs::kNothing, With(m_token), component,
               [&] { return Give(component, MakeComponent(m_session, m_upper)); });
  }
  HRESULT STDMETHODCALLTYPE GetName(LPWSTR*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetLowerComponent(INetCfgComponent**) noexcept override { return E_NOTIMPL; }

 private:
  const ComponentPointer m_upper;
  const std::wstring m_token;
};

class NetCfgBindingPath final : public NetCfgObject<INetCfgBindingPath> {
 public:
  NetCfgBindingPath(SessionPointer session, BindingPath path)
      : NetCfgObject(std::move(session)), m_path(std::move(path)), m_token(PathToken(m_path)) {}

  HRESULT STDMETHODCALLTYPE IsEnabled() noexcept override {
    return m_session->Call(L"INetCfgBindingPath::IsEnabled", Needs::kNothing, With(m_token),
                           [&] { return IsPathEnabled(m_path) ? S_OK : S_FALSE; });
  }
  HRESULT STDMETHODCALLTYPE Enable(BOOL enable) noexcept override {
    const wchar_t* const text = enable != FALSE ? L"TRUE" : L"FALSE";
    return m_session->Call(L"INetCfgBindingPath::Enable", Needs::kWriteLock, With(m_token, text),
                           [&] { return qvrn::HrFromWin32(EnablePath(m_path, enable != FALSE)); });
  }
  HRESULT STDMETHODCALLTYPE GetPathToken(LPWSTR* token) noexcept override {
    return Ask(L"INetCfgBindingPath::GetPathToken", Needs::kNothing, With(m_token), token,
               [&] { return Give(token, m_token); });
  }
  HRESULT STDMETHODCALLTYPE EnumBindingInterfaces(IEnumNetCfgBindingInterface** interfaces) noexcept override {
    return Ask(L"INetCfgBindingPath::EnumBindingInterfaces", Needs::kNothing, With(m_token), interfaces, [&] {
      InterfaceEnumerator::Elements pairs;
      for (std::size_t lower = 1; lower < m_path.size(); ++lower) {
        pairs.push_back(Make<NetCfgBindingInterface>(m_session, m_path[lower - 1], m_path[lower]));
      }
      return Give(interfaces, Make<InterfaceEnumerator>(m_session, L"IEnumNetCfgBindingInterface::Next",
                                                        L"IEnumNetCfgBindingInterface::Reset", std::move(pairs)));
    });
  }
  HRESULT STDMETHODCALLTYPE IsSamePathAs(INetCfgBindingPath*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsSubPathOf(INetCfgBindingPath*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetOwner(INetCfgComponent**) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDepth(ULONG*) noexcept override { return E_NOTIMPL; }

 private:
  const BindingPath m_path;
  const std::wstring m_token;
};

}  // namespace

Microsoft::WRL::ComPtr<IEnumNetCfgBindingPath> BindingPathsAbove(const SessionPointer& session,
                                                                 const ComponentPointer& component) {
  PathEnumerator::Elements paths;
  for (BindingPath& path : PathsAbove(session->Components(), component)) {
    paths.push_back(Make<NetCfgBindingPath>(session, std::move(path)));
  }
  return Make<PathEnumerator>(session, L"IEnumNetCfgBindingPath::Next", L"IEnumNetCfgBindingPath::Reset",
                              std::move(paths));
}

}  // namespace lab
