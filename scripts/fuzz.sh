#!/bin/sh
# Runs every fuzz target of a fuzz build from its seed files with a fixed seed; any crash, sanitizer report, leak
# or broken invariant fails the run and leaves the input in <build>/fuzz-artifacts/ (copy it into
# fuzz/seeds/<target>/ as a regression input once fixed).
# Usage: scripts/fuzz.sh <fuzz build dir> [seconds per target]
#   without seconds every target runs for its time in fuzz/plateau.txt: how long its coverage kept growing when
#   measured (make fuzz); with seconds every target runs that long (make fuzz-smoke, CI).
set -eu
build=$1
smoke=${2:-}
root=$(cd "$(dirname "$0")/.." && pwd)
work=$build/fuzz-work
art=$build/fuzz-artifacts
mkdir -p "$work" "$art"
# The loaders read a scratch file per input: keep it in memory where the system allows.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; else export TMPDIR="${TMPDIR:-/tmp}"; fi
status=0
for exe in "$build"/fuzz/*_fuzz; do
  name=$(basename "$exe" _fuzz)
  secs=$smoke
  [ -n "$secs" ] || secs=$(awk -v n="$name" '$1 == n { print $2 }' "$root/fuzz/plateau.txt")
  [ -n "$secs" ] || { echo "fuzz: no time for $name in fuzz/plateau.txt" >&2; exit 2; }
  corpus=$work/$name
  rm -rf "$corpus"
  mkdir -p "$corpus"
  printf 'fuzz %-14s %4ss ' "$name" "$secs"
  if "$exe" -seed=1 -max_total_time="$secs" -timeout=20 -rss_limit_mb=2048 \
      -artifact_prefix="$art/$name-" -print_final_stats=1 "$corpus" "$root/fuzz/seeds/$name" \
      >"$work/$name.log" 2>&1; then
    grep -E '^stat::number_of_executed_units' "$work/$name.log" | sed 's/.*: */inputs /' | tr '\n' ' '
    grep -E '^#[0-9]+.*DONE' "$work/$name.log" | sed 's/.*\(cov: [0-9]*\).*/\1/'
  else
    status=1
    echo "FAILED (log: $work/$name.log)"
    grep -E 'ERROR|runtime error|SUMMARY' "$work/$name.log" | head -5
  fi
done
exit $status
