# The same VLAN on many computers, over CIM sessions (WS-Management). Read it and run it in a session of an administrator
# of those computers. Not run by this repository's tests: they have no PowerShell.
param(
    [Parameter(Mandatory)] [string[]] $ComputerName,
    [Parameter(Mandatory)] [string] $VlanName,
    [Parameter(Mandatory)] [ValidateRange(1, 4095)] [int] $VlanNumber
)

$class = 'QvrnEN_VLAN'
$sessions = New-CimSession -ComputerName $ComputerName -ErrorAction Continue
try {
    foreach ($session in $sessions) {
        $adapter = Get-CimInstance -CimSession $session -ClassName QvrnEN_NetworkAdapterConfiguration `
            -ErrorAction SilentlyContinue | Select-Object -First 1
        if (-not $adapter) {
            Write-Warning "$($session.ComputerName): no served adapter"
            continue
        }
        $values = @{ ParentDeviceID = $adapter.SettingID; VLANName = $VlanName; VLANNumber = $VlanNumber
            VLANPriority = [int32]0 }
        New-CimInstance -CimSession $session -ClassName $class -Property $values -ErrorAction SilentlyContinue | Out-Null
        # The status does not tell whether there is a VLAN now.
        $found = Get-CimInstance -CimSession $session -ClassName $class -ErrorAction SilentlyContinue |
            Where-Object { $_.ParentDeviceID -eq $adapter.SettingID -and $_.VLANNumber -eq $VlanNumber }
        [pscustomobject]@{ Computer = $session.ComputerName; Adapter = $adapter.SettingID; Created = $null -ne $found }
    }
}
finally {
    $sessions | Remove-CimSession
}
