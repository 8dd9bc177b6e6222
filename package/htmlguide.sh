#!/usr/bin/env bash
# The guide for a package: each page as Markdown without what only tests read, and as HTML with an anchor for each
# heading. usage: htmlguide.sh PAGES OUTPUT
set -euo pipefail
pages=$1 output=$2
mkdir -p "$output"

head='<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>TITLE - WMI Quorvane Ethernet Provider</title>
<style>
body { font: 16px/1.5 "Segoe UI", sans-serif; max-width: 60em; margin: 2em auto; padding: 0 1em; }
code, pre { font: 14px/1.4 Consolas, monospace; background: #f3f3f3; }
pre { padding: .7em 1em; overflow-x: auto; }
table { border-collapse: collapse; }
td, th { border: 1px solid #ccc; padding: .3em .6em; text-align: left; vertical-align: top; }
</style>
</head>
<body>
<p><a href="index.html">Guide</a></p>'

# Anchors are made as by those who show Markdown: small letters, blanks as dashes, no other signs.
link() {
  perl -pe '
    s{<h([1-6])>(.*?)(?=</h)}{
      my ($level, $text) = ($1, $2);
      (my $anchor = lc $text) =~ s/<[^>]*>|&\w+;|[^a-z0-9 _-]//g;
      $anchor =~ tr/ /-/;
      "<h$level id=\"$anchor\">$text"
    }e;
    s{(href="[a-z-]+)\.md}{$1.html}g'
}

for page in "$pages"/*.md; do
  name=$(basename "$page" .md)
  sed '/^<!-- /d' "$page" | cat -s >"$output/$name.md"
  {
    printf '%s\n' "${head/TITLE/$(sed -n '1s/^# //p' "$page")}"
    cmark-gfm -e table "$output/$name.md" | link
    printf '</body>\n</html>\n'
  } >"$output/$name.html"
done
