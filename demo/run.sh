#!/usr/bin/env bash
# Compiles the shipped macros, takes a bank's answer apart with them, shows its fields as a table and
# writes it back. Builds first, unless TMX_PROGRAM names a tmx to use.
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

if [[ -z "${TMX_PROGRAM:-}" ]]; then
  "$source_dir/dev" build
  TMX_PROGRAM="$source_dir/build/release/bin/tmx"
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
answer="$source_dir/demo/answer.hbci"

# macro SUBROUTINE: runs a subroutine of the demo over the answer.
macro() {
  "$TMX_PROGRAM" macro run --path "$work" --file general --file show --sub "$1" --input-file "$answer"
}

# Texts are ISO 8859-1; terminals read UTF-8.
for_terminal() { iconv -f ISO-8859-1 -t UTF-8 | tr -d '\r'; }

"$TMX_PROGRAM" macro build --out "$work" \
  "$source_dir/macros/general.hbm" "$source_dir/macros/answer.hbm" "$source_dir/demo/show.hbm"

printf 'The fields of demo/answer.hbci\n\n'
macro Show >"$work/table"
for_terminal <"$work/table"

printf '\nThe same data written back\n\n'
macro Format >"$work/written"
# A line for each segment.
sed "s/'\(H[A-Z]*:[0-9]*:[0-9]*[:+]\)/'\n\1/g" "$work/written" | for_terminal

printf '\n\n'
if ! cmp "$work/written" "$answer" >&2; then
  echo "What was written back differs from the answer."
  exit 1
fi
printf 'All %d bytes are equal to the answer.\n' "$(wc -c <"$answer")"

printf '\nA conversation with the sandbox bank\n'
TMX_PROGRAM="$TMX_PROGRAM" bash "$source_dir/demo/bank.sh"
