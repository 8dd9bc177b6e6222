// Putting the intermediate driver onto a machine.
#pragma once

#include <windows.h>

#include <netcfgx.h>

namespace qvrn {

/// Installs the driver's protocol component from `infDirectory`\muxp.inf unless it is there, and copies mux_mp.inf to
/// the driver store. `classIndex` is 0 for clients, 1 for services, 2 for transports, 3 for adapters. S_OK; 0x80070057
/// without a directory or for a class index above 3; the setup API's error for an INF file that cannot be read;
/// NETCFG_E_NO_WRITE_LOCK 0x8004A024; or the failure of the installation. Nothing is rolled back. Prints what it does.
/// On a thread of the multithreaded apartment COM is uninitialised once more than it was initialised (kept for hosts,
/// which protect their apartment).
HRESULT InstallMuxDriver(const wchar_t* infDirectory, DWORD classIndex) noexcept;

/// Installs a component unless the network configuration has it already.
HRESULT InstallSpecifiedComponent(INetCfg* netCfg, const wchar_t* infPath, const wchar_t* componentId,
                                  const GUID* classGuid) noexcept;

/// Copies the INF file to the driver store, unless it is null (never so here), installs the component and applies.
HRESULT InstallNetComponentFromInf(INetCfg* netCfg, const wchar_t* componentId, const GUID* classGuid,
                                   const wchar_t* infPath) noexcept;

/// Prints every network adapter and gives the instance GUID of the one whose id is the driver's protocol, with a
/// reference when `component` is not null; leaves `instanceGuid` alone when there is none.
HRESULT GetOurGuid(INetCfg* netCfg, GUID* instanceGuid, INetCfgComponent** component) noexcept;

}  // namespace qvrn
