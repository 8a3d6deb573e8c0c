#!/usr/bin/env bash
# The app's speed against norvane-redact for the same OCR search and export, in the same run.
#
#   bench/app.sh [BUILD_DIR] [--runs N] [--scan-pages N] [--manual FILE --term TEXT]
set -euo pipefail

build_dir=${1:-build/default}
shift || true
bench="$build_dir/bench/norvane-app-bench"
cli="$build_dir/cli/norvane-redact"
[ -x "$bench" ] && [ -x "$cli" ] || { echo "build first: $bench or $cli not found" >&2; exit 1; }
QT_QPA_PLATFORM=offscreen exec "$bench" "$cli" "$@"
