#!/usr/bin/env bash
# What is in the package, and what Windows reads in the installer's tables, where Wine would look away.
# usage: contents_test.sh PACKAGES VERSION
set -euo pipefail
# shellcheck source=tests/package/check.sh
. "$(dirname "${BASH_SOURCE[0]}")/check.sh"
packages=$1 version=$2
name=qvrnwmiprovider-$version-x64
msi=$packages/$name.msi

# table NAME COLUMNS: rows of a table of the installer, some columns of them, in a settled order.
table() { msiinfo export "$msi" "$1" | tr -d '\r' | tail -n +4 | cut -f "$2" | LC_ALL=C sort; }

# row COLUMN...: one row as msiinfo prints it.
row() { (IFS=$'\t' && printf '%s\n' "$*"); }

(cd "$packages" && sha256sum --quiet -c SHA256SUMS) || fail 'checksums'
same 'files with checksums' "$(printf '%s\n' "$name"{-symbols.zip,.msi,.zip})" \
  "$(awk '{ print $2 }' "$packages/SHA256SUMS")"

same 'files of the zip' \
  "$(printf "$name/%s\n" INSTALL.md README.md functions.ps1 install.ps1 qvrnctl.exe \
    qvrnwmiprovider{-uninstall.mof,.dll,.mof} repair.ps1 uninstall.ps1)" \
  "$(cmake -E tar tf "$packages/$name.zip" | grep -v "^$name/\(docs\|examples\)/")"
same 'files of the symbols' "$(printf "$name-symbols/%s\n" qvrnctl.pdb qvrnwmiprovider.pdb)" \
  "$(cmake -E tar tf "$packages/$name-symbols.zip")"

# A 32-bit system has no VersionNT64; one that opens the package at all is told so.
same 'conditions' "$(row 'Installed OR VersionNT64 >= 601' &&
  row 'NOT WIX_DOWNGRADE_DETECTED')" "$(table LaunchCondition 1)"
same 'platform' 'Template: x64;1033' "$(msiinfo suminfo "$msi" | grep '^Template')"
same 'components in the 64-bit part of the system' "$(row CommandLine 256 && row Provider 256)" "$(table Component 1,4)"
same 'upgrades' "$(row '' "$version" 1 WIX_UPGRADE_DETECTED && row "$version" '' 2 WIX_DOWNGRADE_DETECTED)" \
  "$(table Upgrade 2,3,5,7)"
same 'versions of files' "$(row Classes '' '' && row Client "$version.0" 1033 && row Library "$version.0" 1033 &&
  row Removal '' '')" "$(table File 1,5,6)"
same 'hashes of files' "$(row Classes && row Removal)" "$(table MsiFileHash 1)"

# '#' marks a number.
events='SYSTEM\CurrentControlSet\Services\EventLog\Application\QvrnWmiProvider'
same 'reports of failed checks' "$(row 2 'SOFTWARE\Quorvane' Assertions log &&
  row 2 "$events" EventMessageFile '[InstallFolder]qvrnwmiprovider.dll' &&
  row 2 "$events" TypesSupported '#7')" "$(table Registry 2-5 | grep -v CLSID)"

# 3122: a program that a property names, deferred, as the system; 64 more: its failure does not count; 256 more: when
# rolling back.
compile='"[InstallFolder]qvrnwmiprovider.mof"' remove='"[InstallFolder]qvrnwmiprovider-uninstall.mof"'
same 'actions' "$(row CompileClasses 3122 MofCompiler "$compile" &&
  row FindCompiler 51 MofCompiler '[System64Folder]wbem\mofcomp.exe' &&
  row RemoveClasses 3186 MofCompiler "$remove" &&
  row UndoCompileClasses 3442 MofCompiler "$remove" &&
  row UndoRemoveClasses 3442 MofCompiler "$compile")" "$(table CustomAction 1-4)"
same 'order' "$(printf '%s\n' CostFinalize FindCompiler InstallInitialize RemoveExistingProducts \
  'UndoRemoveClasses REMOVE="ALL"' 'RemoveClasses REMOVE="ALL"' RemoveRegistryValues RemoveFiles InstallFiles \
  WriteRegistryValues 'UndoCompileClasses NOT Installed' 'CompileClasses NOT REMOVE="ALL"' InstallFinalize)" \
  "$(table InstallExecuteSequence 1-3 | sort -t $'\t' -k 3n | awk -F '\t' '
    /Classes/ { print $1, $2; next }
    /^(CostFinalize|FindCompiler|InstallI|RemoveExisting|RemoveReg|RemoveFiles|InstallFi|WriteReg)/ { print $1 }')"
echo PASSED
