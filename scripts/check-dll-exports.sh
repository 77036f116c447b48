#!/bin/sh
# Checks a Windows DLL: its export table names exactly the listed functions (both ways), and it imports only
# from the system's own DLLs, so it loads on a machine without the compiler's runtime.
# Usage: check-dll-exports.sh OBJDUMP DLL EXPORT_LIST
set -eu
objdump=$1 dll=$2 expected=$3
dump=$(mktemp) actual=$(mktemp) want=$(mktemp)
trap 'rm -f "$dump" "$actual" "$want"' EXIT
"$objdump" -p "$dll" > "$dump"

# The name pointer table lists one "[ordinal] name" per line after its heading, up to the next blank line.
awk '/^\[Ordinal\/Name Pointer\] Table/ {on = 1; next} on && NF == 0 {on = 0} on {print $NF}' "$dump" \
  | sort -u > "$actual"
sed 's/#.*//; s/[[:space:]]//g; /^$/d' "$expected" | sort -u > "$want"
status=0
missing=$(comm -13 "$actual" "$want")
extra=$(comm -23 "$actual" "$want")
if [ -n "$missing" ]; then echo "listed but not exported by $(basename "$dll"):"; echo "$missing"; status=1; fi
if [ -n "$extra" ]; then echo "exported by $(basename "$dll") but not listed:"; echo "$extra"; status=1; fi

imports=$(awk '/DLL Name:/ {print $3}' "$dump" | sort -u)
for d in $imports; do
  case $(echo "$d" | tr 'A-Z' 'a-z') in
    kernel32.dll|msvcrt.dll) ;;
    *) echo "$(basename "$dll") imports $d, which is not a system DLL"; status=1 ;;
  esac
done
[ $status -eq 0 ] && echo "$(basename "$dll"): exports match the list ($(wc -l < "$want") names); imports:" $imports
exit $status
