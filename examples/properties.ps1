# Advanced properties of Quorvane adapters with the CIM cmdlets: lists them, changes some of one adapter, reads back.
#
#   .\properties.ps1                                                       lists the adapters
#   .\properties.ps1 -Connection 'Ethernet 2' -Set @{ MaxFrameSize = 9014; InterruptModeration = 0 }
#
# Run it in an elevated PowerShell (3 or later). It ends with an error where a property does not have its value
# afterwards. Read, and never run: there was no PowerShell to try it with.
[CmdletBinding()]
param(
    [string] $Connection,
    [hashtable] $Set = @{}
)
$ErrorActionPreference = 'Stop'
$class = 'QvrnEN_NetworkAdapterConfiguration'

# A computer without a served adapter answers "not found", which is no fault.
function Get-Configuration([string] $Filter) {
    $query = @{ ClassName = $class }
    if ($Filter) { $query.Filter = $Filter }
    try { Get-CimInstance @query }
    catch [Microsoft.Management.Infrastructure.CimException] {
        if ($_.Exception.NativeErrorCode -ne 'NotFound') { throw }
    }
}

if (-not $Connection) {
    Get-Configuration | Format-Table SettingID, MaxFrameSize, FlowControl, RssMode
    return
}

# From the connection's name to the adapter, and to its properties by the adapter's DeviceID.
$name = $Connection.Replace('\', '\\').Replace("'", "\'")
$adapters = @(Get-CimInstance -ClassName Win32_NetworkAdapter -Filter "NetConnectionID = '$name'")
if ($adapters.Count -ne 1) { throw "There are $($adapters.Count) connections with the name '$Connection'." }
$filter = "SettingID = '$($adapters[0].DeviceID)'"
$configuration = Get-Configuration $filter
if (-not $configuration) {
    throw "'$Connection' is no adapter that the provider serves, or this prompt is not elevated."
}

# All values travel in one put, and the adapter restarts once. The put ends in "not found" when it was applied, so that
# its error tells nothing. A value that the driver does not take is left as it was.
if ($Set.Count -gt 0) {
    Set-CimInstance -InputObject $configuration -Property $Set -ErrorAction SilentlyContinue
}
$now = Get-Configuration $filter
$now
$wrong = @($Set.Keys | Where-Object { $now.$_ -ne $Set[$_] } | ForEach-Object { "$_ is $($now.$_), not $($Set[$_])" })
if ($wrong.Count -gt 0) { throw ($wrong -join '; ') }
