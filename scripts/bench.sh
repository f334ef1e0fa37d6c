#!/usr/bin/env bash
# Builds (Release) and runs the benchmarks.
#   scripts/bench.sh [--quick]    every metric, short runs (under a minute)
#   scripts/bench.sh --full       the same with longer runs and more rounds
#   scripts/bench.sh --callgrind  gateway instructions per small and per 64 KiB round trip
#   scripts/bench.sh --callgrind-stream  gateway instructions per stream frame, frames paced
#                                 by the readers so that the count repeats (FRAMES=2000)
#   scripts/bench.sh --perf       perf profile of the gateway under load
#   scripts/bench.sh --curves     cost against connections, sockets, chunk size (CSV and PNG)
# Further arguments go to the driver (e.g. --only rtt,rate or --gateway PATH).
# --before PATH (an older build's oru_bench_gateway) measures that build too, in
# the same rounds: a "Before and after" table with --quick/--full, both builds'
# counts with --callgrind and --callgrind-stream.
# The table goes to stdout and to $BUILD_DIR/bench-results.md.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=--quick
case "${1:-}" in
  --quick|--full|--callgrind|--callgrind-stream|--perf|--curves) mode=$1; shift ;;
esac

# The baselines are optional: without their packages the table just lacks them.
# The curves compare with the raw sockets only and need just the plotting.
optional=(libqt5remoteobjects5-dev libqt5remoteobjects5-bin libgrpc++-dev protobuf-compiler-grpc)
case $mode in
  --callgrind|--callgrind-stream) optional+=(valgrind) ;;
  --perf) optional+=(linux-perf) ;;
  --curves) optional=(python3-matplotlib) ;;
esac
scripts/install-deps.sh
scripts/install-deps.sh "${optional[@]}" || echo "bench: optional packages not installed, going on without them" >&2

build=${BUILD_DIR:-build-bench}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DORU_BUILD_BENCH=ON -DORU_BENCH_BASELINES=ON >/dev/null
cmake --build "$build" -j"$(nproc)" --target oru_bench
driver="$build/bench/oru_bench"

case $mode in
  --quick|--full)
    "$driver" "$mode" --out "$build/bench-results.md" "$@"
    echo
    echo "Markdown table: $build/bench-results.md"
    ;;
  --callgrind)
    dir="$build/profile"
    rm -rf "$dir" && mkdir -p "$dir"
    "$driver" --profile callgrind --dir "$dir" --requests "${REQUESTS:-5000}" "$@" | tee "$build/bench-callgrind.md"
    for level in trace error; do
      out=$(ls "$dir"/callgrind."$level".*.out | sort -t. -k3 -n | tail -1)
      # head closes the pipe early; that is not a failure.
      { callgrind_annotate --inclusive=no "$out" | head -45; } > "$dir/top-self.$level.txt" || true
      { callgrind_annotate --inclusive=yes "$out" | head -80; } > "$dir/top-inclusive.$level.txt" || true
    done
    echo "Annotated profiles: $dir/top-*.txt"
    ;;
  --callgrind-stream)
    dir="$build/profile-stream"
    rm -rf "$dir" && mkdir -p "$dir"
    "$driver" --profile callgrind-stream --dir "$dir" --frames "${FRAMES:-2000}" "$@" \
      | tee "$build/bench-callgrind-stream.md"
    ;;
  --perf)
    dir="$build/profile"
    rm -rf "$dir" && mkdir -p "$dir"
    "$driver" --profile perf --dir "$dir" "$@"
    for level in trace error; do
      { perf report -i "$dir/perf.$level.data" --no-children --sort dso,symbol --stdio 2>/dev/null \
          | grep '%' | head -60; } > "$dir/perf-top.$level.txt" || true
    done
    echo "Reports: $dir/perf-top.*.txt"
    ;;
  --curves)
    dir="$build/curves"
    "$driver" --curves --out "$dir" "$@"
    # Debian's interpreter, where python3-matplotlib is installed.
    /usr/bin/python3 bench/plot_curves.py "$dir" || echo "bench: no plots (python3-matplotlib missing?)" >&2
    echo "CSV, curves.md and PNGs: $dir (BENCHMARKS.md shows the PNGs copied to docs/bench/)"
    ;;
esac
