#!/usr/bin/env bash
# Page canvas benchmark: first page of a 500-page document, scroll frames, every page and
# thumbnail drawn, cache and process memory; drawing is compared with pdftoppm in the same run.
#
#   bench/canvas.sh [BUILD_DIR] [--pages N]
set -euo pipefail

build_dir=${1:-build/default}
shift || true
bench="$build_dir/bench/norvane-canvas-bench"
[ -x "$bench" ] || { echo "build first: $bench not found" >&2; exit 1; }
peer=$(command -v pdftoppm || true)
QT_QPA_PLATFORM=offscreen exec "$bench" ${peer:+--pdftoppm "$peer"} "$@"
