#!/usr/bin/env bash
# Runs every fuzz target of build-fuzz for FUZZ_SECONDS each (or until FUZZ_RUNS executions,
# when that is given and comes first), one at a time and niced, on a corpus seeded by
# fuzz_seeds, and prints executions and the findings of this run per target. Findings are
# libFuzzer's crash-, leak-, timeout- and oom- files under build-fuzz/findings/<target>/.
#   fuzz/run_fuzz.sh [BUILD_DIR] [TARGET...]
#   (FUZZ_SECONDS 60, FUZZ_RUNS unset, FUZZ_RSS_MB 2048, FUZZ_MALLOC_MB 512)
set -uo pipefail
build=${1:-build-fuzz}
shift || true
seconds=${FUZZ_SECONDS:-60}
rss=${FUZZ_RSS_MB:-2048}
runs_limit=()
[ -n "${FUZZ_RUNS:-}" ] && runs_limit=(-runs="$FUZZ_RUNS")
# One allocation above this from an input of a few kilobytes is a reader trusting a count.
malloc=${FUZZ_MALLOC_MB:-512}
if [ ! -x "$build/fuzz/fuzz_seeds" ]; then
    echo "run_fuzz: $build/fuzz/fuzz_seeds not built" >&2
    exit 2
fi
targets=("$@")
[ ${#targets[@]} -eq 0 ] && read -r -a targets <<<"$(tr ';' ' ' <"$build/fuzz_targets.txt")"
seeds="$build/seeds"
rm -rf "$seeds"
"$build/fuzz/fuzz_seeds" "$seeds" || exit 1
total=0
printf '%-18s %12s %10s %s\n' target executions findings last
for t in "${targets[@]}"; do
    corpus="$build/corpus/$t"
    findings="$build/findings/$t"
    mkdir -p "$corpus" "$findings"
    log="$build/findings/$t.log"
    stamp="$build/findings/$t.start"
    touch "$stamp"
    nice -n 10 "$build/fuzz/fuzz_$t" -max_total_time="$seconds" "${runs_limit[@]}" -rss_limit_mb="$rss" \
        -malloc_limit_mb="$malloc" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="$findings/" "$corpus" "$seeds/$t" >"$log" 2>&1
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' | tail -1)
    [ -z "$runs" ] && runs=$(grep -o 'Done [0-9]* runs' "$log" | grep -o '[0-9]*' | tail -1)
    n=$(find "$findings" -maxdepth 1 -type f -newer "$stamp" \( -name 'crash-*' -o -name 'leak-*' \
        -o -name 'timeout-*' -o -name 'oom-*' -o -name 'slow-unit-*' \) | wc -l)
    last=$(find "$findings" -maxdepth 1 -type f -newer "$stamp" -printf '%f\n' | head -1)
    printf '%-18s %12s %10s %s\n' "$t" "${runs:-?}" "$n" "${last:-}"
    total=$((total + n))
done
echo "findings in all: $total (logs in $build/findings/)"
