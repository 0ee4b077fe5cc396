#!/usr/bin/env bash
# route_chain: the whole road from a generated device to block settings. It generates a device,
# runs the library on it with a translation database and the nextpnr export, writes a design,
# routes it with nextpnr-generic and turns the routes into settings.
#
# usage: route_chain.sh BUILD_DIR OUT_DIR SIZE [CELLS]
# Leaves in OUT_DIR: the device files, db.bin, arch.py, design.json, nextpnr.log, routes.txt,
# answers.txt, settings.txt, unrealised.txt; prints a time per step and the counts.
# Exit status: that of the first step that fails (nextpnr's own when it cannot place or route).
set -uo pipefail
if [ $# -lt 3 ] || [ "$1" = "--help" ]; then
    sed -n '2,9p' "$0" | sed 's/^# \{0,1\}//'
    [ "${1:-}" = "--help" ] && exit 0 || exit 2
fi
build=$1 out=$2 size=$3 cells=${4:-300}
tools=$(cd "$(dirname "$0")" && pwd)
command -v nextpnr-generic >/dev/null || { echo "route_chain: nextpnr-generic is not installed" >&2; exit 2; }
mkdir -p "$out" || exit 2

# step NAME LOG COMMAND...: runs COMMAND with its output in LOG ("-" for the terminal), timed.
step() {
    local name=$1 log=$2
    shift 2
    local start=$(date +%s.%N)
    if [ "$log" = "-" ]; then "$@"; else "$@" > "$log"; fi
    local rc=$?
    printf 'route_chain: %-10s %8.2f s\n' "$name" "$(echo "$(date +%s.%N) - $start" | bc)"
    if [ $rc -ne 0 ]; then
        echo "route_chain: step $name failed with status $rc" >&2
        exit $rc
    fi
}

step generate "$out/devgen.log" "$build/tools/fab_devgen" --size "$size" --direct --out "$out"
step run "$out/fab_run.log" "$build/tools/fab_run" "$out" --db "$out/db.bin" --nextpnr-arch "$out/arch.py"
grep '^nextpnr arch' "$out/fab_run.log"
step design - python3 "$tools/nextpnr_design.py" --cells "$cells" "$out/arch.py" "$out/design.json"
route() {
    FAB_ROUTES="$out/routes.txt" nextpnr-generic --pre-pack "$out/arch.py" --json "$out/design.json" \
        --post-route "$tools/nextpnr_routes.py" --seed 1 -l "$out/nextpnr.log" -q > /dev/null 2>&1
    local rc=$?
    [ $rc -ne 0 ] && grep -m3 'ERROR' "$out/nextpnr.log" >&2
    return $rc
}
rm -f "$out/routes.txt" "$out/settings.txt"
step route - route
step settings - python3 "$tools/route_settings.py" --query "$build/tools/fab_query" --db "$out/db.bin" \
    --routes "$out/routes.txt" --out "$out/settings.txt" --unrealised "$out/unrealised.txt" \
    --answers "$out/answers.txt"
