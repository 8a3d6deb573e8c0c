#!/usr/bin/env bash
# Export benchmark: our secure export (180 dpi, no verification) against Ghostscript's
# pdfimage24 device with the same resolution and anti-aliasing, in the same run: wall and CPU
# time, output size and the words the tesseract command reads on a few pages of each output.
# Then the searchable copy (--searchable) against `ocrmypdf --force-ocr`, with the share of the
# source's words pdftotext finds in each. ocrmypdf is installed by scripts/install-bench-deps.
# Documents: a generated 40-page text document, a page with a photograph-like picture, and a
# real text manual: MANUAL (default: a 36-page manual Debian installs with libtasn1-doc).
#
#   bench/export.sh [BUILD_DIR] [extra flags: --runs N --pages N --ocr-pages N --input FILE --keep DIR
#                                             --searchable-runs N]
set -euo pipefail

build_dir=${1:-build/default}
shift || true
bench="$build_dir/bench/norvane-export-bench"
[ -x "$bench" ] || { echo "build first: $bench not found" >&2; exit 1; }
command -v ocrmypdf >/dev/null || "$(dirname "$0")/../scripts/install-bench-deps" ||
  echo "could not install ocrmypdf: the searchable copy is measured alone" >&2
command -v gs >/dev/null || { echo "Ghostscript (gs) is needed for the comparison" >&2; exit 1; }
command -v pdftotext >/dev/null || { echo "pdftotext (poppler-utils) is needed to count words" >&2; exit 1; }

extra=()
manual=${MANUAL:-/usr/share/doc/libtasn1-doc/libtasn1.pdf}
if [[ " $* " != *" --input "* ]]; then
  if [ -f "$manual" ]; then
    extra+=(--input "$manual")
  else
    echo "no real manual at $manual (apt-get install libtasn1-doc, or MANUAL=FILE)" >&2
  fi
fi
if ! command -v tesseract >/dev/null; then
  echo "the tesseract command is missing: no legibility figures" >&2
  extra+=(--ocr-pages 0)
fi
if command -v ocrmypdf >/dev/null; then
  extra+=(--ocrmypdf "$(command -v ocrmypdf)")
fi
exec "$bench" --gs "$(command -v gs)" "$@" "${extra[@]}"
