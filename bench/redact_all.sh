#!/usr/bin/env bash
# Redact All benchmark: 20,000 hits over 500 pages through the model, the pending list and the
# canvas, against a plain loop appending the same regions to a vector, in the same run.
#
#   bench/redact_all.sh [BUILD_DIR] [--hits N] [--pages N] [--runs N]
set -euo pipefail

build_dir=${1:-build/default}
shift || true
bench="$build_dir/bench/norvane-redact-all-bench"
[ -x "$bench" ] || { echo "build first: $bench not found" >&2; exit 1; }
QT_QPA_PLATFORM=offscreen exec "$bench" "$@"
