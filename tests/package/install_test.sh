#!/usr/bin/env bash
# Installs, upgrades and removes the product in a Wine prefix of its own. The lab is the machine, and the compiler of
# class definitions is one that keeps a log. usage: install_test.sh SOURCES BUILD VERSION TEMPLATE
set -euo pipefail
# shellcheck source=tests/package/check.sh
. "$(dirname "${BASH_SOURCE[0]}")/check.sh"
sources=$1 build=$2 version=$3 template=$4
older=0.9.0

folder='C:\Program Files\Quorvane\WMI'
clsid='HKLM\Software\Classes\CLSID\{22CB8761-914A-11CF-B705-00AA0062CBB7}'
uninstall='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall'
compiled="$folder\\qvrnwmiprovider.mof: 3 classes"
removed="$folder\\qvrnwmiprovider-uninstall.mof: 0 classes"

# Beside the template, whose files are linked.
work=$(mktemp -d -p "$build" install.XXXXXX)
trap 'wineserver -k 2>/dev/null || true; rm -rf "$work"' EXIT
export WINEPREFIX=$work/prefix WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-};mofcomp.exe=n"
drive=$WINEPREFIX/drive_c
new=$build/packages/qvrnwmiprovider-$version-x64.msi
old=$work/older/qvrnwmiprovider-$older-x64.msi

make_machine() {
  cp -al "$template" "$WINEPREFIX"
  # Files that are written here must not be the template's.
  cp --remove-destination "$template"/*.reg "$WINEPREFIX/"
  cp --remove-destination "$build/bin/qvrnmofcomp.exe" "$drive/windows/system32/wbem/mofcomp.exe"
  ln -s "$build/bin" "$drive/qvrn"
  wineserver -p >/dev/null 2>&1
  wine regsvr32 /s 'C:\qvrn\qvrnlab.dll' >/dev/null 2>&1
  wine regedit /S 'C:\qvrn\machines\server.reg'
}

# installs ARGS...: msiexec succeeds.
installs() { wine msiexec "$@" /qn || fail "msiexec $* ended with $?"; }

# refuses ARGS...: msiexec fails.
refuses() { ! wine msiexec "$@" /qn || fail "msiexec $* ended with success"; }

# compilations [LINE...]: the compiler was run so since the last look.
compilations() {
  same compilations "$(printf '%s\n' "$@")" "$(tr -d '\r' <"$drive/mofcomp.log")"
  rm "$drive/mofcomp.log"
}

registration() { wine reg query "$clsid" /s 2>&1 | tr -d '\r'; }

# How failed checks are reported: the machine's choice, and the library with their texts.
reports() {
  wine reg query 'HKLM\Software\Quorvane' /v Assertions 2>&1 | tr -d '\r' | awk '/REG_/ { print $1, $2, $3 }'
  wine reg query 'HKLM\System\CurrentControlSet\Services\EventLog\Application\QvrnWmiProvider' 2>&1 | tr -d '\r' |
    sed -n 's/^ *\(.*REG_.*\)/\1/p' | tr -s ' '
}

# Versions of the product in the list of installed programs.
listed() {
  wine reg query "$uninstall" /s | tr -d '\r' | awk -v RS= '/Quorvane/' | awk '/DisplayVersion/ { print $3 }'
}

# Where the product's entry there leads to; Wine leaves the readme out.
help_link() { wine reg query "$uninstall" /s | tr -d '\r' | sed -nE 's/^ *HelpLink +REG[A-Z_]* +//p'; }

# Without the separator that Wine leaves behind when it takes the last entry away.
system_path() {
  wine reg query 'HKLM\System\CurrentControlSet\Control\Session Manager\Environment' /v PATH | tr -d '\r' |
    sed -nE 's/^ *PATH *REG[A-Z_]* *(.*[^;]);*$/\1/Ip'
}

# Files and registry, but for the bookkeeping of the installer and of Wine, whose services write theirs at any time.
state() {
  system_path
  (cd "$drive" && find . -path ./windows/Installer -prune -o -print | sort)
  for root in 'HKLM\Software' HKCU; do
    wine reg export "$root" "$work/part.reg" /y >/dev/null
    iconv -f UTF-16 -t UTF-8 "$work/part.reg"
  done | tr -d '\r' | awk '
    /^\[/ { bookkeeping = /\\Windows\\CurrentVersion\\(Installer|Uninstall)|\\Classes\\Installer/ ||
                          /\\Software\\(Wow6432Node\\)?Wine(\\|\])/ }
    /./ && !bookkeeping'
}

make_machine
cmake -D VERSION=$older -D BINARIES="$build/bin" -D OUTPUT="$work/older" -P "$sources/package/package.cmake"
bare=$(state)
path=$(system_path)

# A first installation writes what the DLL itself would, and what it installs works.
installs /i "$new"
compilations "$compiled"
same 'installed files' "$(printf '%s\n' docs examples qvrnctl.exe qvrnwmiprovider{-uninstall.mof,.dll,.mof})" \
  "$(ls "$drive/Program Files/Quorvane/WMI")"
same 'the PATH' "$path;$folder\\" "$(system_path)"
same 'the link in the list of programs' "file:///$folder\\docs\\guide\\troubleshooting.html" "$(help_link)"
by_installer=$(registration)
same reports "Assertions REG_SZ log
EventMessageFile REG_SZ $folder\\qvrnwmiprovider.dll
TypesSupported REG_DWORD 0x7" "$(reports)"
wine regsvr32 /u /s "$folder\\qvrnwmiprovider.dll"
! registration >/dev/null || fail 'the DLL did not take its registration away'
wine regsvr32 /s "$folder\\qvrnwmiprovider.dll"
same registration "$(registration)" "$by_installer"
adapters=$(wine "$folder\\qvrnctl.exe" adapters | awk 'NR > 1 { print $1 }')
same 'adapters of the installed client' $'7\n12' "$adapters"
installs /i "$new" REINSTALL=ALL REINSTALLMODE=amus
compilations "$compiled"
installs /x "$new"
compilations "$removed"
same 'reports after a removal' '' "$(reports)"
rm "$drive/qvrn-journal.txt"
same 'what is left' "$bare" "$(state)"

# An upgrade takes the older version away; an older version is refused.
installs /i "$old"
same 'installed version' "$older" "$(listed)"
installs /i "$new"
same 'installed version' "$version" "$(listed)"
compilations "$compiled" "$removed" "$compiled"
installed=$(state)
refuses /i "$old"
same 'the machine after a refusal' "$installed" "$(state)"
installs /x "$new"
compilations "$removed"
same 'what is left' "$bare" "$(state)"

# Classes that do not compile fail an installation. Wine takes the files away before it rolls the classes back, so that
# only the attempt is to be seen.
touch "$drive/mofcomp-fails"
refuses /i "$new"
same 'installed versions' '' "$(listed)"
same 'failed compilations' "$folder\\qvrnwmiprovider.mof: failed as told
$folder\\qvrnwmiprovider-uninstall.mof" "$(tr -d '\r' <"$drive/mofcomp.log" | sed '2s/mof: .*/mof/')"
rm "$drive/mofcomp.log" "$drive/mofcomp-fails"
same 'what is left' "$bare" "$(state)"
echo PASSED
