#!/usr/bin/env bash
# What is in the package, and what Windows reads in the installer's tables, where Wine would look away.
# usage: contents_test.sh PACKAGES VERSION SOURCES
set -euo pipefail
# shellcheck source=tests/package/check.sh
. "$(dirname "${BASH_SOURCE[0]}")/check.sh"
packages=$1 version=$2 sources=$3
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
  "$(printf "$name/%s\n" README.txt functions.ps1 install.ps1 qvrnctl.exe \
    qvrnwmiprovider{-uninstall.mof,.dll,.mof} repair.ps1 uninstall.ps1)" \
  "$(cmake -E tar tf "$packages/$name.zip" | grep -v "^$name/\(docs\|examples\)/")"
same 'files of the symbols' "$(printf "$name-symbols/%s\n" qvrnctl.pdb qvrnwmiprovider.pdb)" \
  "$(cmake -E tar tf "$packages/$name-symbols.zip")"

# texts FOLDER: the guide is there as Markdown and as HTML, the links of both lead to what is there, and nothing that only
# tests read is left.
texts() {
  local page target anchor
  for page in "$sources"/docs/guide/*.md; do
    page=docs/guide/$(basename "$page" .md)
    [ -s "$1/$page.md" ] && [ -s "$1/$page.html" ] || fail "$1 lacks $page"
  done
  ! grep -l '<!-- \(machine\|lab\|raw\)' "$1"/docs/guide/* || fail 'comments for tests are in the guide'
  while IFS=: read -r page target; do
    anchor=${target#*#} target=${target%%#*}
    [ -f "$(dirname "$page")/${target:=$(basename "$page")}" ] || fail "$page: there is no $target"
    [[ $page != *.html || $target != *.html || -z $anchor || $anchor == "$target" ]] ||
      grep -q "<h[1-6] id=\"$anchor\"" "$(dirname "$page")/$target" || fail "$page: $target has no heading '$anchor'"
  done < <(grep -oP '(href="|\]\()\K[^")]+(?=[")])' "$1"/docs/guide/*)
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
(cd "$work" && cmake -E tar xf "$packages/$name.zip" && msiextract "$msi" >/dev/null)
texts "$work/$name"
texts "$work/Quorvane/WMI"
same 'texts of installer and zip' '' "$(cd "$work" && diff -r "$name" Quorvane/WMI |
  grep -v "^Only in $name: \(README.txt\|.*\.ps1\)$")"

# A 32-bit system has no VersionNT64; one that opens the package at all is told so.
same 'conditions' "$(row 'Installed OR VersionNT64 >= 601' &&
  row 'NOT WIX_DOWNGRADE_DETECTED')" "$(table LaunchCondition 1)"
same 'platform' 'Template: x64;1033' "$(msiinfo suminfo "$msi" | grep '^Template')"
same 'components in the 64-bit part of the system' \
  "$(for component in AnsibleExamples CommandLine Examples Guide Provider; do row $component 256; done)" \
  "$(table Component 1,4)"
same 'upgrades' "$(row '' "$version" 1 WIX_UPGRADE_DETECTED && row "$version" '' 2 WIX_DOWNGRADE_DETECTED)" \
  "$(table Upgrade 2,3,5,7)"
same 'versions of files' "$(row Client "$version.0" 1033 && row Library "$version.0" 1033)" \
  "$(table File 1,5,6 | grep 1033)"
same 'hashes of the other files' "$(table File 1,5 | sed -n 's/\t$//p')" "$(table MsiFileHash 1)"

same 'the entry in PATH' "$(row Path '=-*PATH' '[~];[InstallFolder]' CommandLine)" "$(table Environment 1-4)"
same 'restarts and links' "$(row ARPNOMODIFY 1 && row REBOOT ReallySuppress)" "$(table Property 1,2 | grep 'ARP\|REBOOT')"

# '#' marks a number.
events='SYSTEM\CurrentControlSet\Services\EventLog\Application\QvrnWmiProvider'
same 'reports of failed checks' "$(row 2 'SOFTWARE\Quorvane' Assertions log &&
  row 2 "$events" EventMessageFile '[InstallFolder]qvrnwmiprovider.dll' &&
  row 2 "$events" TypesSupported '#7')" "$(table Registry 2-5 | grep -v CLSID)"

# 3122: a program that a property names, deferred, as the system; 64 more: its failure does not count; 256 more: when
# rolling back.
compile='"[InstallFolder]qvrnwmiprovider.mof"' remove='"[InstallFolder]qvrnwmiprovider-uninstall.mof"'
same 'actions' "$(row CompileClasses 3122 MofCompiler "$compile" &&
  row EndHost 3186 HostEnder '/f /im WmiPrvSE.exe /fi "MODULES eq qvrnwmiprovider.dll"' &&
  row FindCompiler 51 MofCompiler '[System64Folder]wbem\mofcomp.exe' &&
  row FindHostEnder 51 HostEnder '[System64Folder]taskkill.exe' &&
  row RemoveClasses 3186 MofCompiler "$remove" &&
  row SetHelp 51 ARPHELPLINK 'file:///[InstallFolder]docs\guide\troubleshooting.html' &&
  row SetReadme 51 ARPREADME '[InstallFolder]docs\guide\index.html' &&
  row UndoCompileClasses 3442 MofCompiler "$remove" &&
  row UndoRemoveClasses 3442 MofCompiler "$compile")" "$(table CustomAction 1-4)"
same 'order' "$(printf '%s\n' CostFinalize FindCompiler InstallInitialize RemoveExistingProducts \
  'UndoRemoveClasses REMOVE="ALL"' 'RemoveClasses REMOVE="ALL"' EndHost RemoveRegistryValues RemoveEnvironmentStrings \
  RemoveFiles InstallFiles WriteRegistryValues WriteEnvironmentStrings 'UndoCompileClasses NOT Installed' 'CompileClasses NOT REMOVE="ALL"' InstallFinalize)" \
  "$(table InstallExecuteSequence 1-3 | sort -t $'\t' -k 3n | awk -F '\t' '
    /Classes/ { print $1, $2; next }
    /^(CostFin|FindCompiler|InstallI|RemoveE|EndHost|RemoveReg|RemoveFiles|InstallFi|Write)/ { print $1 }')"
echo PASSED
