<#
.SYNOPSIS
Compares many computers with a state file of qvrnctl, and makes them so with -Apply.
.DESCRIPTION
Works over PowerShell remoting, several computers at a time. The state file names its adapters itself, best by
"connection". The product has to be installed on each computer.

With -Apply a computer that differs applies the file with "--confirm-within", in a session that goes on when the change
cuts it. The change is then confirmed through a new connection, where -Test (by default always) gives true for the
computer's name. One that cannot be reached any more is not confirmed, and takes the change back by itself. A change
that somebody else has made meanwhile is not confirmed by this script.

One object for each computer: Computer, Outcome (same, differs, pending, applied, rolled back, failed, unreachable),
Differences (what `qvrnctl diff --json` printed before), Message. "pending" is as the file says, but for a change that
still waits for its confirmation. The exit status is 0 where all are "same" or "applied".

Read, and never run: there was no PowerShell to try it with.
.EXAMPLE
.\fleet.ps1 -ComputerName (Get-Content servers.txt) -StateFile state.json
.EXAMPLE
.\fleet.ps1 -ComputerName (Get-Content servers.txt) -StateFile state.json -Apply | Export-Csv result.csv
.EXAMPLE
.\fleet.ps1 -ComputerName srv01 -StateFile state.json -Apply -Test { param($name) Test-Connection "$name-data" -Quiet }

Keeps the change only where another name of the computer answers, too.
#>
#Requires -Version 3.0
[CmdletBinding()]
param(
    [Parameter(Mandatory)] [string[]] $ComputerName,
    [Parameter(Mandatory)] [string] $StateFile,
    [switch] $Apply,
    [ValidateRange(30, 3600)] [int] $ConfirmWithin = 300,
    [scriptblock] $Test = { $true },
    [ValidateRange(1, 100)] [int] $ThrottleLimit = 16,
    [pscredential] $Credential
)
Set-StrictMode -Off
$ErrorActionPreference = 'Stop'

$computers = @($ComputerName | ForEach-Object { $_.Trim() } | Where-Object { $_ } | Select-Object -Unique)
$state = Get-Content -LiteralPath $StateFile -Raw
$state | ConvertFrom-Json | Out-Null # a file that is no JSON ends here
$sessionName = "qvrnctl-$([guid]::NewGuid().ToString('N'))"
# A computer that does not answer holds the others up for as long as the opening of a connection may take.
$option = New-PSSessionOption -OpenTimeout 15000
$remoting = @{ ThrottleLimit = $ThrottleLimit; ErrorAction = 'SilentlyContinue'; SessionOption = $option }
$account = @{}
if ($Credential) { $account.Credential = $Credential }

# What runs on a computer: writes the state file there, under the name of this run, runs the client, and gives its status
# and what it printed.
$client = {
    param([string] $State, [string[]] $Words, [string] $Run)
    $ErrorActionPreference = 'Continue'
    $program = Join-Path $env:ProgramFiles 'Quorvane\WMI\qvrnctl.exe'
    if (-not (Test-Path -LiteralPath $program)) {
        return [pscustomobject]@{ Status = 1; Output = ''; Message = 'The product is not installed.' }
    }
    try { [Console]::OutputEncoding = [Text.Encoding]::UTF8 } catch { Write-Verbose 'No console' }
    $folder = Join-Path ([IO.Path]::GetTempPath()) ([guid]::NewGuid().ToString('N'))
    New-Item -ItemType Directory -Path $folder | Out-Null
    try {
        $file = Join-Path $folder "$Run.json"
        [IO.File]::WriteAllText($file, $State)
        if ($Words[0] -eq 'confirm') {
            $waiting = & $program confirm --status --json 2> $null | ConvertFrom-Json | ForEach-Object { $_ }
            if ("$($waiting.command)" -notlike "*$Run*") {
                return [pscustomobject]@{ Status = 1; Output = ''; Message = 'The change does not wait (yet).' }
            }
        }
        $arguments = @($Words | ForEach-Object { if ($_ -eq 'FILE') { $file } else { $_ } })
        $output = & $program $arguments 2> (Join-Path $folder 'messages.txt')
        $status = $LASTEXITCODE
        $message = @(Get-Content -LiteralPath (Join-Path $folder 'messages.txt')) -join ' '
        [pscustomobject]@{ Status = $status; Output = $output -join "`n"; Message = $message }
    }
    finally { Remove-Item -LiteralPath $folder -Recurse -Force -ErrorAction SilentlyContinue }
}

# Runs the client on computers at the same time, each over a new connection: a table of the answers, by computer.
function Invoke-Client([string[]] $On, [string[]] $Words) {
    $answers = @{}
    if ($On.Count -eq 0) { return $answers }
    Invoke-Command @remoting @account -ComputerName $On -ScriptBlock $client -ArgumentList $state, $Words, $sessionName |
        ForEach-Object { $answers[$_.PSComputerName] = $_ }
    $answers
}

# An empty list of JSON is an empty list in every version of PowerShell.
function ConvertFrom-List([string] $Json) {
    if (-not $Json) { return }
    $Json | ConvertFrom-Json | ForEach-Object { $_ }
}

function New-Result([string] $Computer, [string] $Outcome, $Answer) {
    $differences = @()
    $message = ''
    if ($Answer) {
        $message = $Answer.Message
        if ($Answer.Status -in 0, 3) { $differences = @(ConvertFrom-List $Answer.Output) }
    }
    [pscustomobject]@{ Computer = $Computer; Outcome = $Outcome; Differences = $differences; Message = $message }
}

$before = Invoke-Client $computers 'diff', 'FILE', '--json'
$results = @{}
foreach ($computer in $computers) {
    $answer = $before[$computer]
    $outcome = if (-not $answer) { 'unreachable' }
    elseif ($answer.Status -eq 0 -and $answer.Message -like '*may be taken back*') { 'pending' }
    elseif ($answer.Status -eq 0) { 'same' }
    elseif ($answer.Status -eq 3) { 'differs' }
    else { 'failed' }
    $results[$computer] = New-Result $computer $outcome $answer
}

if ($Apply) {
    $pending = @($computers | Where-Object { $results[$_].Outcome -eq 'differs' })
    $words = 'apply', 'FILE', '--confirm-within', "$ConfirmWithin", '--yes', '--json'
    $started = $pending
    if ($pending.Count -gt 0) {
        Invoke-Command @remoting @account -ComputerName $pending -InDisconnectedSession -SessionName $sessionName `
            -ScriptBlock $client -ArgumentList $state, $words, $sessionName | Out-Null
    }
    # Until a change has been made there is nothing to confirm, and while the adapter restarts there is no connection.
    $confirmed = @()
    $end = (Get-Date).AddSeconds($ConfirmWithin + 60)
    while ($pending.Count -gt 0 -and (Get-Date) -lt $end) {
        Start-Sleep -Seconds 5
        $answers = Invoke-Client @($pending | Where-Object { try { & $Test $_ } catch { $false } }) 'confirm'
        $confirmed += @($pending | Where-Object { $answers[$_] -and $answers[$_].Status -eq 0 })
        $pending = @($pending | Where-Object { $confirmed -notcontains $_ })
    }
    # The sessions that the change has cut are found again by their name, with what the client said there.
    $said = @{}
    if ($started.Count -gt 0) {
        Get-PSSession @remoting @account -ComputerName $started -Name $sessionName | ForEach-Object {
            $session = $_
            Receive-PSSession -Session $session -ErrorAction SilentlyContinue |
                ForEach-Object { $said[$session.ComputerName] = $_ }
            Remove-PSSession -Session $session -ErrorAction SilentlyContinue
        }
    }
    $after = Invoke-Client $started 'diff', 'FILE', '--json'
    foreach ($computer in $started) {
        $result = $results[$computer]
        $answer = $after[$computer]
        $result.Outcome = if (-not $answer) { 'unreachable' }
        elseif ($said[$computer].Output -like '*"error":*') { 'failed' } # mostly a refusal; Message says why
        elseif ($confirmed -notcontains $computer) { 'rolled back' }
        elseif ($answer.Status -eq 0) { 'applied' }
        else { 'failed' }
        if ($said[$computer]) { $result.Message = $said[$computer].Message }
    }
}

$computers | ForEach-Object { $results[$_] }
$unreachable = @($computers | Where-Object { $results[$_].Outcome -eq 'unreachable' })
if ($unreachable.Count -gt 0) { Write-Warning "No answer from: $($unreachable -join ', ')" }
$wrong = @($computers | Where-Object { 'same', 'applied' -notcontains $results[$_].Outcome })
exit [int] ($wrong.Count -gt 0)
