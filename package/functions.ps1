# What install.ps1, repair.ps1 and uninstall.ps1 share. They check everything before they change anything. What changes
# the machine heeds -WhatIf, through the preference that a script hands down to what it calls.

# A caller's own settings must not change what the scripts do.
Set-StrictMode -Off
$ErrorActionPreference = 'Stop'

$Folder = Join-Path $env:ProgramFiles 'Quorvane\WMI'
$Library = Join-Path $Folder 'qvrnwmiprovider.dll'
$Classes = Join-Path $Folder 'qvrnwmiprovider.mof'
$Removal = Join-Path $Folder 'qvrnwmiprovider-uninstall.mof'
$ProductKey = 'HKLM:\SOFTWARE\Quorvane'
$ClassKey = 'HKLM:\SOFTWARE\Classes\CLSID\{22CB8761-914A-11CF-B705-00AA0062CBB7}'
$EventKey = 'HKLM:\SYSTEM\CurrentControlSet\Services\EventLog\Application\QvrnWmiProvider'
$Files = 'qvrnwmiprovider.dll', 'qvrnwmiprovider.mof', 'qvrnwmiprovider-uninstall.mof', 'qvrnctl.exe',
    'functions.ps1', 'install.ps1', 'repair.ps1', 'uninstall.ps1'
$Folders = 'docs', 'examples'

function Write-Step([string] $Text) { Write-Output "- $Text" }

# Runs the steps of a script, and ends it with a status that whoever has called it can see.
function Invoke-Steps([scriptblock] $Steps) {
    $status = 0
    try { . $Steps }
    catch {
        Write-Output "Failed: $($_.Exception.Message)"
        $status = 1
    }
    exit $status
}

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
    if ($installed) {
        throw 'The .msi has installed the provider: use that, or the list of programs. Nothing was changed.'
    }
}

function Assert-File([string[]] $Paths) {
    $missing = @($Paths | Where-Object { -not (Test-Path -LiteralPath $_) })
    if ($missing.Count -gt 0) { throw "Missing: $($missing -join ', '). Nothing was changed." }
}

# Runs a program of the system folder, and fails when it does.
function Invoke-Tool {
    [CmdletBinding(SupportsShouldProcess = $true)]
    param([string] $Program, [string] $Arguments)
    if (-not $PSCmdlet.ShouldProcess("$Program $Arguments")) { return }
    $path = Join-Path ([Environment]::SystemDirectory) $Program
    $process = Start-Process -FilePath $path -ArgumentList $Arguments -NoNewWindow -Wait -PassThru
    if ($process.ExitCode -ne 0) { throw "$Program $Arguments ended with $($process.ExitCode)." }
}

function Register-Provider {
    Write-Step 'Registering the DLL'
    Invoke-Tool 'regsvr32.exe' "/s `"$Library`""
    Write-Step 'Compiling the classes'
    Invoke-Tool 'wbem\mofcomp.exe' "`"$Classes`""
}

# Also where an earlier removal stopped half-way: what is gone is gone. The removal of the classes needs its file, which
# is taken from the script's own folder where the installed one is missing.
function Unregister-Provider {
    $file = @($Removal, (Join-Path $PSScriptRoot 'qvrnwmiprovider-uninstall.mof')) |
        Where-Object { Test-Path -LiteralPath $_ } | Select-Object -First 1
    if ($file) {
        Write-Step 'Removing the classes'
        Invoke-Tool 'wbem\mofcomp.exe' "`"$file`""
    }
    if (Test-Path -LiteralPath $Library) {
        Write-Step 'Removing the registration of the DLL'
        Invoke-Tool 'regsvr32.exe' "/s /u `"$Library`""
    }
    elseif (Test-Path -LiteralPath $ClassKey) {
        Write-Step 'Removing the registration of a DLL that is gone'
        Remove-Item -LiteralPath $ClassKey -Recurse
    }
}

# A failed check of the provider becomes an event, where it would end WMI's host otherwise.
function Register-Report {
    Write-Step 'Sending reports of failed checks to the application event log'
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
    $list = @((Get-ItemProperty -LiteralPath $key).'Autorecover MOFs' | Where-Object { $_ })
    $kept = @($list | Where-Object { $_ -ne $Classes })
    if ($kept.Count -lt $list.Count) {
        Set-ItemProperty -LiteralPath $key -Name 'Autorecover MOFs' -Value ([string[]] $kept) -Type MultiString
    }
}

# Puts the folder into the system's PATH, or takes it out; variables in the other entries stay unexpanded. Programs that
# are started later see it.
function Set-SystemPath {
    [CmdletBinding(SupportsShouldProcess = $true)]
    param([switch] $Remove)
    $name = 'SYSTEM\CurrentControlSet\Control\Session Manager\Environment'
    $key = [Microsoft.Win32.Registry]::LocalMachine.OpenSubKey($name, -not $WhatIfPreference)
    try {
        $entries = @($key.GetValue('Path', '', 'DoNotExpandEnvironmentNames') -split ';' | Where-Object { $_ })
        $others = @($entries | Where-Object { $_.TrimEnd('\') -ne $Folder })
        $wanted = if ($Remove) { $others } else { $others + $Folder }
        if (($wanted -join ';') -eq ($entries -join ';')) { return }
        if (-not $PSCmdlet.ShouldProcess('the PATH of the system', 'change')) { return }
        $key.SetValue('Path', $wanted -join ';', 'ExpandString')
    }
    finally { $key.Close() }
    # Removing a variable that is not there tells running programs that variables have changed.
    [Environment]::SetEnvironmentVariable('QvrnNotThere', $null, 'Machine')
}

# The provider's host has no other provider in it. It holds the DLL for some minutes after the last request; with the
# next one WMI starts another.
function Stop-ProviderHost {
    $hosts = Get-Process -Name WmiPrvSE -ErrorAction SilentlyContinue | Where-Object {
        try { @($_.Modules | ForEach-Object { $_.FileName }) -contains $Library } catch { $false }
    }
    foreach ($process in @($hosts | Where-Object { $_ })) {
        Write-Step "Ending WMI's host that holds the DLL (process $($process.Id)); WMI starts another one"
        Stop-Process -InputObject $process -Force
        if (-not $WhatIfPreference) { [void] $process.WaitForExit(10000) }
    }
}
