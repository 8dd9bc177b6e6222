<#
.SYNOPSIS
Installs the WMI Quorvane Ethernet Provider from this folder, or replaces the version that this script installed before.
.DESCRIPTION
Copies the files to "C:\Program Files\Quorvane\WMI", registers the DLL, sends reports of failed checks to the
application event log and compiles the classes. Needs an administrator.
Where the .msi can be used, use that instead.
.EXAMPLE
.\install.ps1 -WhatIf
Shows what would be done.
#>
#Requires -Version 3.0
[CmdletBinding(SupportsShouldProcess = $true)]
param()
. (Join-Path $PSScriptRoot 'functions.ps1')

if ($PSScriptRoot -eq $Folder) { throw 'This is the installed copy. To register it again, run repair.ps1.' }
$sources = @($Files | ForEach-Object { Join-Path $PSScriptRoot $_ })
Assert-Machine
Assert-NoInstaller
Assert-File $sources

Stop-ProviderHost
New-Item -ItemType Directory -Path $Folder -Force | Out-Null
Copy-Item -LiteralPath $sources -Destination $Folder -Force
Register-Report
Register-Provider
if (-not $WhatIfPreference) { Write-Output "Installed. To see the adapters: & '$Folder\qvrnctl.exe' adapters" }
