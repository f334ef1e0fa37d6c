#!/usr/bin/env bash
# Builds everything with AddressSanitizer and UndefinedBehaviorSanitizer and
# runs the whole test suite (load tests and fuzz replays included).
#   scripts/sanitize.sh [ctest arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
build=${BUILD_DIR:-build-asan}
jobs=$(nproc)

start=$SECONDS
cmake -S . -B "$build" -DORU_SANITIZE=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$jobs"
built=$SECONDS

# Any finding fails the test that hit it, with a stack.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:check_initialization_order=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
status=0
(cd "$build" && ctest --output-on-failure -j"$jobs" "$@") || status=$?
echo "sanitize: build $((built - start)) s, tests $((SECONDS - built)) s"
exit $status
