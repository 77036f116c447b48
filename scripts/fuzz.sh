#!/bin/sh
# Runs every fuzz target of a fuzz build from its seed files for a fixed number of inputs with a fixed seed, so a
# run is repeatable; any crash, sanitizer report, leak or broken invariant fails the run and leaves the input in
# <build>/fuzz-artifacts/.
# Usage: scripts/fuzz.sh <fuzz build dir> [inputs per target] [seconds per target at most]
set -eu
build=$1
runs=${2:-20000}
secs=${3:-120}
root=$(cd "$(dirname "$0")/.." && pwd)
work=$build/fuzz-work
art=$build/fuzz-artifacts
mkdir -p "$work" "$art"
# The loaders read a scratch file per input: keep it in memory where the system allows.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; else export TMPDIR="${TMPDIR:-/tmp}"; fi
status=0
for exe in "$build"/fuzz/*_fuzz; do
  name=$(basename "$exe" _fuzz)
  corpus=$work/$name
  rm -rf "$corpus"
  mkdir -p "$corpus"
  printf 'fuzz %-14s ' "$name"
  if "$exe" -seed=1 -runs="$runs" -max_total_time="$secs" -timeout=20 -rss_limit_mb=2048 \
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
