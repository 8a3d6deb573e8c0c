#!/usr/bin/env bash
# OCR benchmark: our OCR search (220 dpi) and verification (150 dpi) per page against pdftoppm +
# the `tesseract` command page by page, in the same run.
#
#   bench/ocr.sh [BUILD_DIR] [IN.pdf] [QUERY]
#
# ONLY=verify times the verification alone (make bench-verify).
# Without IN.pdf a 20-page text document (PAGES=n to change) is made with Ghostscript.
# Each side runs RUNS times (default 2) and its fastest run counts.
set -euo pipefail

build_dir=${1:-build/default}
input=${2:-}
query=${3:-Harrington}
pages=${PAGES:-20}
bench="$build_dir/bench/norvane-ocr-bench"
[ -x "$bench" ] || { echo "build first: $bench not found" >&2; exit 1; }
command -v tesseract >/dev/null || { echo "the tesseract command is needed for the comparison" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/norvane-ocr-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT

if [ -z "$input" ]; then
  command -v gs >/dev/null || { echo "Ghostscript is needed to make the sample document" >&2; exit 1; }
  input="$work/sample.pdf"
  cat > "$work/sample.ps" <<PS
%!PS
/lines [
  (Account holder: Margaret Harrington, 14 Mill Lane, Ashford, Kent TN23 4QX.)
  (The quarterly statement lists every transfer made between 1 April and 30 June.)
  (Reference 88-213-4471 was settled on 12 May for the amount of 2,450.00 GBP.)
  (Please contact our office if any of the entries below do not match your records.)
  (Invoice No. 4711-A covers consultancy services delivered in the second quarter.)
  (Mr. Harrington confirmed the payment schedule by telephone on 3 June.)
  (Interest is calculated daily on the cleared balance and paid monthly in arrears.)
  (Our terms and conditions were updated on 1 March; a copy is enclosed for reference.)
  (Direct debit: Northern Water Ltd, 62.15 GBP, collected on the 28th of each month.)
  (The branch at 9 Station Road will close for refurbishment from 15 to 19 July.)
  (Statement period ends 30 June. Opening balance 12,904.77 GBP; closing 11,318.40 GBP.)
  (Witness statement of Daniel Okafor, taken at the Maidstone office on 7 June.)
  (The undersigned declares that the information given above is true and complete.)
  (Card ending 4417 was replaced after being reported lost on 21 April.)
] def
/Helvetica findfont 11 scalefont setfont
1 1 $pages {
  /pg exch def
  72 750 moveto /Helvetica-Bold findfont 14 scalefont setfont (Statement of account) show
  /Helvetica findfont 11 scalefont setfont
  0 1 36 {
    /i exch def
    72 722 i 18 mul sub moveto
    lines i pg add lines length mod get show
  } for
  72 40 moveto (Page ) show pg 4 string cvs show
  showpage
} for
PS
  gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=pdfwrite -sOutputFile="$input" "$work/sample.ps"
fi

OMP_THREAD_LIMIT=1 "$bench" "$input" "$work" "$query" "${RUNS:-2}" ${ONLY:+"$ONLY"}
