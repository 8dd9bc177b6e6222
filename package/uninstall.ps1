<#
.SYNOPSIS
Removes the WMI Quorvane Ethernet Provider that install.ps1 installed.
.DESCRIPTION
Removes the classes, the registration and the files. Adapters, their settings and their VLANs stay. Needs an
administrator.
.EXAMPLE
.\uninstall.ps1 -WhatIf
Shows what would be done.
#>
#Requires -Version 3.0
[CmdletBinding(SupportsShouldProcess = $true)]
param()
. (Join-Path $PSScriptRoot 'functions.ps1')

if ("$PWD\" -like "$Folder\*") { throw 'Leave this folder first: it is to be removed. Nothing was changed.' }
Assert-Machine
Assert-NoInstaller
Assert-File $Library, $Removal

Unregister-Provider
Unregister-Report
Remove-Recovery
Stop-ProviderHost
Remove-Item -LiteralPath $Folder -Recurse -Force
$vendor = Split-Path -Parent $Folder
if (-not (Get-ChildItem -LiteralPath $vendor -Force)) { Remove-Item -LiteralPath $vendor }
if (-not $WhatIfPreference) { Write-Output 'Removed.' }
