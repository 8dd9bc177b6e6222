# VLANs of Quorvane adapters with the CIM cmdlets. Read it and run the lines you need, in an elevated session. Not run by
# this repository's tests: they have no PowerShell.

$class = 'QvrnEN_VLAN'

# All VLANs, by adapter, oldest first. A computer without one answers "not found", which is no fault.
function Get-Vlan { Get-CimInstance -ClassName $class -ErrorAction SilentlyContinue }
Get-Vlan | Format-Table ParentDeviceID, VLANNumber, VLANName, VLANPriority, Name

# Create one on the adapter with DeviceID 7. A name or number that is taken, or out of range, succeeds without a VLAN: look.
$values = @{ ParentDeviceID = '7'; VLANName = 'Office'; VLANNumber = [int32]10; VLANPriority = [int32]0 }
New-CimInstance -ClassName $class -Property $values
$vlan = Get-Vlan | Where-Object { $_.ParentDeviceID -eq '7' -and $_.VLANNumber -eq 10 -and $_.VLANName -eq 'Office' }
if (-not $vlan) { throw 'The VLAN was not created: is its name or number taken?' }

# Change it. Name, number and priority travel together; the virtual adapter stays the same.
Set-CimInstance -InputObject $vlan -Property @{ VLANName = 'Offices'; VLANNumber = [int32]11 }

# Delete it, and see that it is gone: a removal that failed also ends with success.
Remove-CimInstance -InputObject $vlan
if (Get-Vlan | Where-Object Name -EQ $vlan.Name) { throw 'The VLAN was not removed.' }

# Save all VLANs to a file of the computer that they are on. There is no return value: look for the file.
$file = 'C:\ProgramData\vlans.xml'
Invoke-CimMethod -ClassName $class -MethodName SaveVlanConfiguration -Arguments @{ sFileName = $file } | Out-Null
if (-not (Test-Path -LiteralPath $file)) { throw "$file was not written." }

# Restore them. Every VLAN is removed before the first of the file is created: check the file before. `qvrnctl restore`
# does that.
$inFile = ([xml](Get-Content -LiteralPath $file -Raw)).virtual_networks.vlan
Invoke-CimMethod -ClassName $class -MethodName RestoreVlanConfiguration -Arguments @{ sFileName = $file } | Out-Null
if (@(Get-Vlan).Count -ne @($inFile).Count) { Write-Warning 'Not every VLAN of the file came back.' }
