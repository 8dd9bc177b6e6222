<#
.SYNOPSIS
Registers the installed WMI Quorvane Ethernet Provider again, for example after WMI's repository was made anew.
.DESCRIPTION
Registers the DLL and compiles the classes; the files stay. Needs an administrator.
.EXAMPLE
.\repair.ps1 -WhatIf
Shows what would be done.
#>
#Requires -Version 3.0
[CmdletBinding(SupportsShouldProcess = $true)]
param()
. (Join-Path $PSScriptRoot 'functions.ps1')

Assert-Machine
Assert-File $Library, $Classes

Register-Provider
if (-not $WhatIfPreference) { Write-Output 'Registered.' }
