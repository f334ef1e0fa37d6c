#!/usr/bin/env bash
# Checks the tracked C++ sources against .clang-format without changing them.
#   scripts/check-format.sh           list the files that would change; exit 1 if any
#   scripts/check-format.sh --diff    also show clang-format's complaints
#   scripts/check-format.sh --fix     reformat those files in place
# Generated code (*.pb.*) and files outside git are never looked at.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=${1:-}
case "$mode" in
"" | --diff | --fix) ;;
*) echo "usage: $0 [--diff|--fix]" >&2; exit 2 ;;
esac
command -v clang-format >/dev/null || scripts/install-deps.sh clang-format

mapfile -t files < <(git ls-files -- '*.cpp' '*.h' | grep -v '\.pb\.')
if [ "$mode" = --fix ]; then
  clang-format -i "${files[@]}"
  exit 0
fi

bad=()
for f in "${files[@]}"; do
  if [ "$mode" = --diff ]; then
    clang-format --dry-run --Werror "$f" || bad+=("$f")
  else
    clang-format --dry-run --Werror "$f" 2>/dev/null || bad+=("$f")
  fi
done
if [ ${#bad[@]} -gt 0 ]; then
  printf 'needs formatting: %s\n' "${bad[@]}"
  echo "${#bad[@]} of ${#files[@]} files differ from .clang-format (scripts/check-format.sh --fix)"
  exit 1
fi
echo "${#files[@]} files match .clang-format"
