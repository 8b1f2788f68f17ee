#!/usr/bin/env bash
# The README's first command: its picture of the example must show the board's text. Runs the script in
# a build folder of its own, with the text module removed first so the script has to build it again.
# Usage: run_example_test.sh SOURCE_DIR WORK_DIR
set -euo pipefail
source_dir=$1
work=$2
mkdir -p "$work"
rm -f "$work/build/lib/zorvi/zorvi-text.so" "$work/example.png"

bash "$source_dir/scripts/run-example.sh" --no-setup --build-dir "$work/build" --out "$work/example.png" \
  >"$work/run.log" 2>"$work/run.stderr"
if [ -s "$work/run.stderr" ] && grep -q 'warning' "$work/run.stderr"; then
  echo "run-example warned:"; cat "$work/run.stderr"; exit 1
fi

# The same command without its text module draws the board without text.
rm -rf "$work/bare"
mkdir -p "$work/bare/bin"
cp "$work/build/bin/zorvi" "$work/bare/bin/zorvi"
"$work/bare/bin/zorvi" thumbnail "$source_dir/examples/example.zorvi" "$work/bare.png" --size 512 2>/dev/null

# The example's text covers well over a thousand pixels at this size.
differing=$(compare -metric AE "$work/example.png" "$work/bare.png" null: 2>&1 || true)
echo "pixels that differ from the picture without text: $differing"
[ "${differing%%.*}" -gt 1000 ]
