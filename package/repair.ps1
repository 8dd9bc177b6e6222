<#
.SYNOPSIS
Registers the installed WMI Quorvane Ethernet Provider again, for example after WMI's repository was made anew.
.DESCRIPTION
Registers the DLL and compiles the classes; the files stay. Needs an administrator. The exit status is 0 where all was
done, and 1 elsewhere.
.EXAMPLE
.\repair.ps1 -WhatIf
Shows what would be done.
#>
#Requires -Version 3.0
[CmdletBinding(SupportsShouldProcess = $true)]
param()
. (Join-Path $PSScriptRoot 'functions.ps1')

Invoke-Steps {
    Assert-Machine
    Assert-File $Library, $Classes

    Register-Provider
    if (-not $WhatIfPreference) { Write-Output 'Registered.' }
}
