# Advanced properties of Quorvane adapters with the CIM cmdlets. Read it and run the lines you need, in an elevated
# session. Not run by this repository's tests: they have no PowerShell.

$class = 'QvrnEN_NetworkAdapterConfiguration'

# All served adapters. A computer without one answers "not found", which is no fault.
Get-CimInstance -ClassName $class -ErrorAction SilentlyContinue |
    Format-Table SettingID, MaxFrameSize, FlowControl, RssMode

# One adapter, by its Win32_NetworkAdapter DeviceID.
$adapter = Get-CimInstance -ClassName $class -Filter "SettingID = '7'"

# From a Win32_NetworkAdapter to its properties, by name of the connection.
Get-CimInstance -ClassName Win32_NetworkAdapter -Filter "NetConnectionID = 'Ethernet'" |
    Get-CimAssociatedInstance -ResultClassName $class

# Change two properties: they are written, and the adapter restarts once. The put ends in "not found" when it was applied,
# so its error is dropped and the adapter is read again. A value that the driver does not take is left as it was.
$wanted = @{ MaxFrameSize = 9014; InterruptModeration = 0 }
Set-CimInstance -InputObject $adapter -Property $wanted -ErrorAction SilentlyContinue
$now = Get-CimInstance -ClassName $class -Filter "SettingID = '7'"
foreach ($name in $wanted.Keys) {
    if ($now.$name -ne $wanted[$name]) { Write-Warning "$name is $($now.$name), not $($wanted[$name])" }
}
