<#
.SYNOPSIS
Removes the WMI Quorvane Ethernet Provider that install.ps1 installed.
.DESCRIPTION
Removes the classes, the registration, the entry in the system's PATH and the files. Adapters, their settings and their
VLANs stay. Needs an administrator. It may be run again after it stopped half-way, from this folder or from the unpacked
zip. The exit status is 0 where all was done, and 1 elsewhere.
.EXAMPLE
.\uninstall.ps1 -WhatIf
Shows what would be done.
#>
#Requires -Version 3.0
[CmdletBinding(SupportsShouldProcess = $true)]
param()
. (Join-Path $PSScriptRoot 'functions.ps1')

Invoke-Steps {
    if ("$PWD\" -like "$Folder\*") { throw 'Leave this folder first: it is to be removed. Nothing was changed.' }
    Assert-Machine
    Assert-NoInstaller

    Unregister-Provider
    Unregister-Report
    Remove-Recovery
    Write-Step 'Removing the folder from the PATH of the system'
    Set-SystemPath -Remove
    Stop-ProviderHost
    if (Test-Path -LiteralPath $Folder) {
        Write-Step "Removing $Folder"
        # What a second run needs goes last.
        $needed = 'functions.ps1', 'uninstall.ps1', 'qvrnwmiprovider-uninstall.mof'
        Get-ChildItem -LiteralPath $Folder -Force | Sort-Object { $needed -contains $_.Name } |
            ForEach-Object { Remove-Item -LiteralPath $_.FullName -Recurse -Force }
        Remove-Item -LiteralPath $Folder -Recurse -Force
    }
    $vendor = Split-Path -Parent $Folder
    if ((Test-Path -LiteralPath $vendor) -and -not (Get-ChildItem -LiteralPath $vendor -Force)) {
        Remove-Item -LiteralPath $vendor
    }
    if (-not $WhatIfPreference) { Write-Output 'Removed.' }
}
