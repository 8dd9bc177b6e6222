#!/usr/bin/env bash
# What the built files are like for the platform's loader and its installers. usage: binaries_test.sh FOLDER VERSION
set -euo pipefail
# shellcheck source=tests/package/check.sh
. "$(dirname "${BASH_SOURCE[0]}")/../package/check.sh"
folder=$1 version=$2
prefix=x86_64-w64-mingw32-
product='WMI Quorvane Ethernet Provider'

# check FILE DESCRIPTION EXPORT...: all exports have names without decoration, in the order of the alphabet.
check() {
  local headers
  headers=$("${prefix}objdump" -p "$folder/$1")
  same "$1: exports" "$(($# - 2)): ${*:3}" "$(grep -c '+base.*Export RVA' <<<"$headers" || true): $(
    awk '/Ordinal\/Name Pointer/ { on = 1; next } !NF { on = 0 } on { print $NF }' <<<"$headers" | xargs)"
  # What a machine has without any runtime of a compiler.
  same "$1: imports of others" '' "$(sed -n 's/.*DLL Name: //p' <<<"$headers" | tr '[:upper:]' '[:lower:]' |
    grep -vxE '(advapi32|iphlpapi|kernel32|msvcrt|ole32|oleaut32|setupapi|user32)\.dll')"
  same "$1: any address, no code in data, and what to relocate it by" 'HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT .reloc' "$(
    grep -oE 'HIGH_ENTROPY_VA|DYNAMIC_BASE|NX_COMPAT' <<<"$headers" | xargs) $(
    "${prefix}objdump" -h "$folder/$1" | grep -o '\.reloc')"
  same "$1: version" "FILEVERSION ${version//./, }, 0 PRODUCTVERSION ${version//./, }, 0 CompanyName, Quorvane $(
  )FileDescription, $2 FileVersion, $version InternalName, $1 OriginalFilename, $1 ProductName, $product $(
  )ProductVersion, $version" "$("${prefix}windres" -J coff -O rc "$folder/$1" |
    sed -nE 's/^ ((FILE|PRODUCT)VERSION)/\1/p; s/^ +VALUE ("[A-SU-Z].*)/\1/p' | xargs)"
}

registration=(DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer)
check qvrnwmiprovider.dll "$product" "${registration[@]}"
check qvrnctl.exe 'Quorvane adapter command line'
check qvrnlab.dll 'Quorvane lab' "${registration[@]}" LabClassInstaller
echo PASSED
