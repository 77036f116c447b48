#!/bin/sh
# Compares the dynamic symbols defined by the shared library with the list of exported names, both ways.
set -eu
lib=$1
expected=$2
actual=$(mktemp)
want=$(mktemp)
trap 'rm -f "$actual" "$want"' EXIT
nm -D --defined-only "$lib" | awk '$2 ~ /^[TDBRVWiu]$/ {print $3}' | sed 's/@.*//' | sort -u > "$actual"
sort -u "$expected" | sed '/^$/d' > "$want"
missing=$(comm -13 "$actual" "$want")
extra=$(comm -23 "$actual" "$want")
status=0
if [ -n "$missing" ]; then echo "listed but not exported:"; echo "$missing"; status=1; fi
if [ -n "$extra" ]; then echo "exported but not listed:"; echo "$extra"; status=1; fi
[ $status -eq 0 ] && echo "exports match: $(wc -l < "$want") names"
exit $status
