#!/bin/sh
# Preparation time and peak memory for each size of generated device, yosys and the import apart.
# Usage: bench/bench_prep.sh [BUILD_DIR] [SIZES...]   (default: build, every size)
# Prints one line per size: whole preparation seconds and peak KiB of fab_prep (its own process),
# then yosys milliseconds and peak KiB (the child), the import milliseconds of rtl.json, and the
# stage lines of the run.
set -e
build=${1:-build}
[ $# -gt 0 ] && shift
sizes=${*:-tiny small medium large huge}
gen="$build/tools/fab_devgen"
prep="$build/tools/fab_prep"
for p in "$gen" "$prep"; do
    [ -x "$p" ] || { echo "bench_prep: no $p; build fab_devgen and fab_prep first" >&2; exit 2; }
done
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
printf '%-8s %9s %14s %9s %14s %10s\n' size prep_s prep_peak_KiB yosys_ms yosys_peak_KiB import_ms
for s in $sizes; do
    "$gen" --size "$s" --out "$out/$s" >/dev/null
    t=$( { /usr/bin/time -f '%e' "$prep" "$out/$s" >"$out/$s.log"; } 2>&1 )
    summary=$(grep '^summary' "$out/$s.log")
    field() { echo "$summary" | tr ' ' '\n' | sed -n "s/^$1=//p"; }
    printf '%-8s %9s %14s %9s %14s %10s\n' "$s" "$t" "$(field peak_kib)" "$(field rtl_yosys_ms)" \
        "$(field yosys_peak_kib)" "$(field rtl_import_ms)"
    grep '^prep:' "$out/$s.log" | sed 's/^/         /'
    rm -rf "$out/$s" "$out/$s.log"
done
