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
supp="$(cd "$build" && pwd)/lsan.supp"
cat >"$supp" <<'SUPP'
# Qt's offscreen platform plugin (tools that draw) keeps its screen and cursor
# to the end of the process. With the fast unwinder (Qt has no frame pointers)
# a stack shows only the allocating function, hence the list; under
# fast_unwind_on_malloc=0 the first line alone does.
leak:QGuiApplicationPrivate::createPlatformIntegration
leak:libqoffscreen.so
leak:QScreen::QScreen
leak:QPlatformScreen::QPlatformScreen
leak:QWindowSystemInterface::handleScreenAdded
leak:QtSharedPointer::ExternalRefCountData::getAndRef
leak:QObject::QObject
SUPP
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:check_initialization_order=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$supp}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
status=0
(cd "$build" && ctest --output-on-failure -j"$jobs" "$@") || status=$?
echo "sanitize: build $((built - start)) s, tests $((SECONDS - built)) s"
exit $status
