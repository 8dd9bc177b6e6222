# What install.ps1, repair.ps1 and uninstall.ps1 share. They check everything before they change anything. What changes
# the machine heeds -WhatIf, through the preference that a script hands down to what it calls.

$ErrorActionPreference = 'Stop'

$Folder = Join-Path $env:ProgramFiles 'Quorvane\WMI'
$Library = Join-Path $Folder 'qvrnwmiprovider.dll'
$Classes = Join-Path $Folder 'qvrnwmiprovider.mof'
$Removal = Join-Path $Folder 'qvrnwmiprovider-uninstall.mof'
$ProductKey = 'HKLM:\SOFTWARE\Quorvane'
$EventKey = 'HKLM:\SYSTEM\CurrentControlSet\Services\EventLog\Application\QvrnWmiProvider'
$Files = 'qvrnwmiprovider.dll', 'qvrnwmiprovider.mof', 'qvrnwmiprovider-uninstall.mof', 'qvrnctl.exe',
    'functions.ps1', 'install.ps1', 'repair.ps1', 'uninstall.ps1'

function Assert-Machine {
    if ($env:PROCESSOR_ARCHITECTURE -ne 'AMD64') {
        throw 'Run this in the 64-bit PowerShell of a 64-bit (x64) Windows. Nothing was changed.'
    }
    $user = [Security.Principal.WindowsPrincipal] [Security.Principal.WindowsIdentity]::GetCurrent()
    if (-not $user.IsInRole([Security.Principal.WindowsBuiltInRole]::Administrator)) {
        throw 'Run this in a PowerShell that was started with "Run as administrator". Nothing was changed.'
    }
}

# The installer keeps account of its own files.
function Assert-NoInstaller {
    $programs = 'HKLM:\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\*'
    $installed = Get-ItemProperty $programs -ErrorAction SilentlyContinue |
        Where-Object { $_.DisplayName -eq 'WMI Quorvane Ethernet Provider' }
    if ($installed) { throw 'The provider was installed with its .msi: remove it there. Nothing was changed.' }
}

function Assert-File([string[]] $Paths) {
    $missing = @($Paths | Where-Object { -not (Test-Path -LiteralPath $_ -PathType Leaf) })
    if ($missing.Count -gt 0) { throw "Missing: $($missing -join ', '). Nothing was changed." }
}

# Runs a program of the system folder, and fails when it does.
function Invoke-Tool {
    [CmdletBinding(SupportsShouldProcess = $true)]
    param([string] $Program, [string] $Arguments)
    if (-not $PSCmdlet.ShouldProcess("$Program $Arguments")) { return }
    $path = Join-Path ([Environment]::SystemDirectory) $Program
    $process = Start-Process -FilePath $path -ArgumentList $Arguments -NoNewWindow -Wait -PassThru
    if ($process.ExitCode -ne 0) { throw "$Program $Arguments failed with exit code $($process.ExitCode)." }
}

function Register-Provider {
    Invoke-Tool 'regsvr32.exe' "/s `"$Library`""
    Invoke-Tool 'wbem\mofcomp.exe' "`"$Classes`""
}

function Unregister-Provider {
    Invoke-Tool 'wbem\mofcomp.exe' "`"$Removal`""
    Invoke-Tool 'regsvr32.exe' "/s /u `"$Library`""
}

# A failed check of the provider becomes an event, where it would end WMI's host otherwise.
function Register-Report {
    if (-not (Test-Path -LiteralPath $ProductKey)) { New-Item -Path $ProductKey | Out-Null }
    New-ItemProperty -LiteralPath $ProductKey -Name Assertions -Value log -Force | Out-Null
    if (-not (Test-Path -LiteralPath $EventKey)) { New-Item -Path $EventKey | Out-Null }
    New-ItemProperty -LiteralPath $EventKey -Name EventMessageFile -Value $Library -Force | Out-Null
    New-ItemProperty -LiteralPath $EventKey -Name TypesSupported -Value 7 -PropertyType DWord -Force | Out-Null
}

function Unregister-Report {
    Remove-ItemProperty -LiteralPath $ProductKey -Name Assertions -ErrorAction SilentlyContinue
    Remove-Item -LiteralPath $EventKey -Recurse -ErrorAction SilentlyContinue
}

# WMI compiles what this list names when it makes its repository anew.
function Remove-Recovery {
    $key = 'HKLM:\SOFTWARE\Microsoft\WBEM\CIMOM'
    $list = @((Get-ItemProperty -LiteralPath $key).'Autorecover MOFs')
    $kept = @($list | Where-Object { $_ -ne $Classes })
    if ($kept.Count -lt $list.Count) {
        Set-ItemProperty -LiteralPath $key -Name 'Autorecover MOFs' -Value ([string[]] $kept) -Type MultiString
    }
}

# The provider's host has no other provider in it. It holds the DLL for some minutes after the last request; with the
# next one WMI starts another.
function Stop-ProviderHost {
    $hosts = Get-Process -Name WmiPrvSE -ErrorAction SilentlyContinue | Where-Object {
        try { @($_.Modules | ForEach-Object { $_.FileName }) -contains $Library } catch { $false }
    }
    foreach ($process in @($hosts)) {
        Stop-Process -InputObject $process -Force
        if (-not $WhatIfPreference) { [void] $process.WaitForExit(10000) }
    }
}
