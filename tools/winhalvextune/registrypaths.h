// Registry locations, each in the spelling that its users have always written; all under HKEY_LOCAL_MACHINE.
#pragma once

namespace qvrn {

/// The network device class: one subkey of four decimal digits per instance.
inline constexpr wchar_t kNetworkClassKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}";

/// An instance key: class key and adapter index.
inline constexpr wchar_t kInstanceKeyFormat[] = L"%s\\%04d";

/// The intermediate driver's adapters, with the trailing backslash: one subkey per physical adapter, named by its
/// instance GUID.
inline constexpr wchar_t kDriverAdaptersKey[] = L"SYSTEM\\CurrentControlSet\\Services\\MUXP\\Parameters\\Adapters\\";

/// The product's own key.
inline constexpr wchar_t kProductKey[] = L"SOFTWARE\\Quorvane";

/// Of the product's key: its folder, with the trailing backslash.
inline constexpr wchar_t kInstalledPath[] = L"InstalledPath";

/// Of an instance key: the adapter's instance GUID in braces.
inline constexpr wchar_t kNetCfgInstanceId[] = L"NetCfgInstanceId";

/// Of an instance key: the hardware id.
inline constexpr wchar_t kComponentId[] = L"ComponentId";

}  // namespace qvrn
