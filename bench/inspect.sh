#!/usr/bin/env bash
# Inspection benchmark: `norvane-redact inspect` of a real text manual against rendering every
# page of it once at 72 dpi with pdftoppm, in the same run, best of RUNS (default 5) each.
# MANUAL: the 36-page manual Debian installs with libtasn1-doc unless given.
#
#   bench/inspect.sh [BUILD_DIR]
set -euo pipefail

build_dir=${1:-build/default}
cli="$build_dir/cli/norvane-redact"
[ -x "$cli" ] || { echo "build first: $cli not found" >&2; exit 1; }
command -v pdftoppm >/dev/null || { echo "pdftoppm (poppler-utils) is needed for the comparison" >&2; exit 1; }
manual=${MANUAL:-/usr/share/doc/libtasn1-doc/libtasn1.pdf}
[ -f "$manual" ] || { echo "no manual at $manual (apt-get install libtasn1-doc, or MANUAL=FILE)" >&2; exit 1; }
runs=${RUNS:-5}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Best wall time in seconds of a command over the runs.
best() {
  local fastest=""
  for _ in $(seq "$runs"); do
    local start end took
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1 || [ $? -eq 4 ]
    end=$(date +%s.%N)
    took=$(echo "$end - $start" | bc -l)
    if [ -z "$fastest" ] || (( $(echo "$took < $fastest" | bc -l) )); then fastest=$took; fi
  done
  echo "$fastest"
}

pages=$(pdfinfo "$manual" 2>/dev/null | awk '/^Pages:/ {print $2}')
ours=$(best "$cli" inspect "$manual")
peer=$(best pdftoppm -r 72 "$manual" "$scratch/page")
"$cli" inspect "$manual" >"$scratch/findings.json" 2>/dev/null || true
printf 'manual: %s (%s pages)\n' "$manual" "${pages:-?}"
printf 'norvane-redact inspect   %.3f s\n' "$ours"
printf 'pdftoppm -r 72 (peer)    %.3f s\n' "$peer"
printf 'ratio                    %.2f (target at most 1.50)\n' "$(echo "$ours / $peer" | bc -l)"
printf 'findings: %s\n' "$(python3 -c 'import json,sys,collections; print(dict(collections.Counter(f["kind"] for f in json.load(open(sys.argv[1])))))' "$scratch/findings.json")"
