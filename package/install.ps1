<#
.SYNOPSIS
Installs the WMI Quorvane Ethernet Provider from this folder, or replaces the version that this script installed before.
.DESCRIPTION
Copies the files to "C:\Program Files\Quorvane\WMI", registers the DLL, sends reports of failed checks to the
application event log, compiles the classes and adds the folder to the system's PATH. Needs an administrator. It may be
run again after it stopped half-way. The exit status is 0 where all was done, and 1 elsewhere.
Where the .msi can be used, use that instead.
.EXAMPLE
.\install.ps1 -WhatIf
Shows what would be done.
#>
#Requires -Version 3.0
[CmdletBinding(SupportsShouldProcess = $true)]
param()
. (Join-Path $PSScriptRoot 'functions.ps1')

Invoke-Steps {
    if ($PSScriptRoot -eq $Folder) { throw 'This is the installed copy. To register it again, run repair.ps1.' }
    $sources = @($Files + $Folders | ForEach-Object { Join-Path $PSScriptRoot $_ })
    Assert-Machine
    Assert-NoInstaller
    Assert-File $sources

    Stop-ProviderHost
    Write-Step "Copying the files to $Folder"
    New-Item -ItemType Directory -Path $Folder -Force | Out-Null
    Copy-Item -LiteralPath $sources -Destination $Folder -Recurse -Force
    # Files of a zip from the internet carry a mark, by which Windows refuses to run scripts.
    if (-not $WhatIfPreference) { Get-ChildItem -LiteralPath $Folder -Recurse -File | Unblock-File }
    Register-Report
    Register-Provider
    Write-Step 'Adding the folder to the PATH of the system'
    Set-SystemPath
    if (-not $WhatIfPreference) { Write-Output 'Installed. In a new elevated prompt, type: qvrnctl adapters' }
}
