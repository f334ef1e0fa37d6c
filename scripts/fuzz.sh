#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time.
#   scripts/fuzz.sh [seconds] [target...]   (default: 60 s each, all targets)
# The working corpus lives in $BUILD_DIR/corpus/<target>, seeded from the seed
# generator and from fuzz/corpus/<target>.pack; crashes land in
# $BUILD_DIR/crashes/<target>. Keep a crashing input as
# fuzz/regressions/<target>/<name> once fixed. To refresh a pack from a run:
#   fuzz_<t> -merge=1 -use_counters=0 -detect_leaks=0 <new-dir> $BUILD_DIR/corpus/<t>
#   oru_fuzz_seeds --pack <new-dir> fuzz/corpus/<t>.pack
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(frames control stream sim)
build=${BUILD_DIR:-$root/build-fuzz}

scripts/install-deps.sh clang libclang-rt-dev
cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DORU_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target oru_fuzz_seeds "${targets[@]/#/fuzz_}"

packs=()
for t in "${targets[@]}"; do
  [ -f "$root/fuzz/corpus/$t.pack" ] && packs+=("$root/fuzz/corpus/$t.pack") || true
done
"$build/fuzz/oru_fuzz_seeds" "$build/seeds" "${packs[@]}"
status=0
for t in "${targets[@]}"; do
  mkdir -p "$build/corpus/$t" "$build/crashes/$t"
  echo "== fuzz_$t for ${seconds}s"
  # New inputs go to the first directory only; the summary is the last status
  # line (executions, coverage) and the final stats.
  log="$build/crashes/$t/fuzz.log"
  # sim reads the control target's layout: it starts from the control seeds.
  seeds=$t
  [ "$t" = sim ] && seeds=control
  dirs=("$build/corpus/$t" "$build/seeds/$seeds")
  # The dispatcher targets keep state across inputs on purpose (pending
  # requests, streams): the per-input leak scan would only slow them down; the
  # leak check at exit still runs.
  leaks=1
  [ "$t" = frames ] || leaks=0
  if ! (cd "$build/crashes/$t" && "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
        -detect_leaks=$leaks \
        -artifact_prefix="$build/crashes/$t/" -print_final_stats=1 \
        "${dirs[@]}" >"$log" 2>&1); then
    status=1
    echo "fuzz_$t FAILED: see $log and $build/crashes/$t/"
  fi
  grep -E '^#[0-9]+' "$log" | tail -1 || true
  grep -E '^stat::number_of_executed_units' "$log" || true
done
exit $status
