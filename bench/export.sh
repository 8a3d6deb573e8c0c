#!/usr/bin/env bash
# Export benchmark: our secure export (180 dpi, no verification) against Ghostscript's
# pdfimage24 device with the same resolution and anti-aliasing, in the same run, on a
# generated 40-page text document and a page with a photograph-like picture.
#
#   bench/export.sh [BUILD_DIR] [extra flags: --runs N --pages N --keep DIR]
set -euo pipefail

build_dir=${1:-build/default}
shift || true
bench="$build_dir/bench/norvane-export-bench"
[ -x "$bench" ] || { echo "build first: $bench not found" >&2; exit 1; }
command -v gs >/dev/null || { echo "Ghostscript (gs) is needed for the comparison" >&2; exit 1; }
exec "$bench" --gs "$(command -v gs)" "$@"
