#!/bin/sh
# Generation time, direct-mode time and peak memory of the device generator for each size.
# Usage: bench/bench_devgen.sh [BUILD_DIR] [SIZES...]   (default: build, every size)
# Prints one line per size: size, generation seconds and peak KiB without --direct, then the
# same with --direct, and the stage lines of the direct run.
set -e
build=${1:-build}
[ $# -gt 0 ] && shift
sizes=${*:-tiny small medium large huge}
gen="$build/tools/fab_devgen"
[ -x "$gen" ] || { echo "bench_devgen: no $gen; build the fab_devgen target first" >&2; exit 2; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
printf '%-8s %10s %12s %10s %12s\n' size gen_s gen_peak_KiB direct_s direct_peak_KiB
for s in $sizes; do
    g=$( { /usr/bin/time -f '%e %M' "$gen" --size "$s" --out "$out/$s" >/dev/null; } 2>&1 )
    rm -rf "$out/$s"
    d=$( { /usr/bin/time -f '%e %M' "$gen" --size "$s" --direct --out "$out/$s" >"$out/$s.log"; } 2>&1 )
    printf '%-8s %10s %12s %10s %12s\n' "$s" ${g% *} ${g#* } ${d% *} ${d#* }
    grep -E 'direct|model|files' "$out/$s.log" | sed 's/^/         /'
    rm -rf "$out/$s"
done
