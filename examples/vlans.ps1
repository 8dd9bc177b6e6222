# VLANs of Quorvane adapters with the CIM cmdlets: functions that list, create, change, remove, save and restore them,
# and read back what has become of it. Load them in an elevated PowerShell (3 or later) and use them:
#
#   . .\vlans.ps1
#   Get-QvrnVlan | Format-Table
#   New-QvrnVlan -Adapter 7 -Number 10 -Name Office
#   Get-QvrnVlan | Where-Object VLANNumber -EQ 10 | Set-QvrnVlan -Name Offices
#   Get-QvrnVlan | Where-Object VLANNumber -EQ 10 | Remove-QvrnVlan
#
# Each ends with an error where it did not do what it was asked. Read, and never run: there was no
# PowerShell to try it with.

# Oldest first, by adapter. A computer without a VLAN answers "not found", which is no fault.
function Get-QvrnVlan {
    try { Get-CimInstance -ClassName QvrnEN_VLAN -ErrorAction Stop }
    catch [Microsoft.Management.Infrastructure.CimException] {
        if ($_.Exception.NativeErrorCode -ne 'NotFound') { throw }
    }
}

# A put whose name or number is taken or out of range succeeds without a VLAN, so that only the list tells. An empty
# Name creates; WMI itself may refuse a NULL key.
function New-QvrnVlan {
    param(
        [Parameter(Mandatory)] [string] $Adapter,
        [Parameter(Mandatory)] [ValidateRange(1, 4095)] [int] $Number,
        [Parameter(Mandatory)] [ValidateLength(1, 99)] [string] $Name,
        [ValidateRange(0, 7)] [int] $Priority = 0
    )
    $before = @(Get-QvrnVlan | ForEach-Object { $_.Name })
    $values = @{
        Name = ''; ParentDeviceID = $Adapter; VLANName = $Name; VLANNumber = $Number; VLANPriority = $Priority
    }
    New-CimInstance -ClassName QvrnEN_VLAN -Property $values -ErrorAction SilentlyContinue | Out-Null
    $created = Get-QvrnVlan | Where-Object {
        $before -notcontains $_.Name -and $_.ParentDeviceID -eq $Adapter -and $_.VLANNumber -eq $Number
    }
    if (-not $created) { throw "VLAN $Adapter/$Number was not created: is its number or its name taken?" }
    $created
}

# Takes a listed VLAN. Name, number and priority are written together; the virtual adapter stays the same.
function Set-QvrnVlan {
    param(
        [Parameter(Mandatory, ValueFromPipeline)] $Vlan,
        [string] $Name,
        [int] $Number,
        [int] $Priority
    )
    process {
        $wanted = @{ VLANName = $Vlan.VLANName; VLANNumber = $Vlan.VLANNumber; VLANPriority = $Vlan.VLANPriority }
        if ($PSBoundParameters.ContainsKey('Name')) { $wanted.VLANName = $Name }
        if ($PSBoundParameters.ContainsKey('Number')) { $wanted.VLANNumber = $Number }
        if ($PSBoundParameters.ContainsKey('Priority')) { $wanted.VLANPriority = $Priority }
        $key = $Vlan.Name
        Set-CimInstance -InputObject $Vlan -Property $wanted -ErrorAction SilentlyContinue
        $now = Get-QvrnVlan | Where-Object Name -EQ $key
        if (-not $now) { throw "There is no VLAN $key." }
        foreach ($property in $wanted.Keys) {
            if ($now.$property -cne $wanted[$property]) { throw "$property is still $($now.$property)." }
        }
        $now
    }
}

# A removal that failed also ends with success.
function Remove-QvrnVlan {
    param([Parameter(Mandatory, ValueFromPipeline)] $Vlan)
    process {
        $key = $Vlan.Name
        Remove-CimInstance -InputObject $Vlan -ErrorAction SilentlyContinue
        if (Get-QvrnVlan | Where-Object Name -EQ $key) { throw "VLAN $key was not removed." }
    }
}

# A file of the computer that the VLANs are on, with its whole path. There is no return value: look for the file.
function Save-QvrnVlan([Parameter(Mandatory)] [string] $Path) {
    if (Test-Path -LiteralPath $Path) { Remove-Item -LiteralPath $Path }
    Invoke-CimMethod -ClassName QvrnEN_VLAN -MethodName SaveVlanConfiguration -Arguments @{ sFileName = $Path } |
        Out-Null
    if (-not (Test-Path -LiteralPath $Path)) { throw "$Path was not written." }
}

# Removes every VLAN before the first of the file is created. A file that is no XML ends here.
function Restore-QvrnVlan([Parameter(Mandatory)] [string] $Path) {
    $file = [xml] (Get-Content -LiteralPath $Path -Raw -ErrorAction Stop)
    Invoke-CimMethod -ClassName QvrnEN_VLAN -MethodName RestoreVlanConfiguration -Arguments @{ sFileName = $Path } |
        Out-Null
    $now = @(Get-QvrnVlan)
    $expected = $file.SelectNodes('//vlan').Count
    if ($now.Count -ne $expected) { throw "$($now.Count) VLANs are there, and the file has $expected." }
    $now
}
