#!/usr/bin/env bash
# A conversation with the sandbox bank: accounts, balances, a statement of several pages, a transfer
# with a TAN, the changed balance, and the encrypted log in which neither PIN nor TAN stands.
# TMX_PROGRAM names the tmx to use.
set -euo pipefail
work=$(mktemp -d)
bank=
trap '[[ -z "$bank" ]] || kill "$bank" 2>/dev/null || true; rm -rf "$work"' EXIT
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

printf '%s\n' 00112233445566778899aabbccddeeff >"$work/key"
"$TMX_PROGRAM" macro build --out "$work" "$source_dir"/macros/*.hbm

"$TMX_PROGRAM" bank serve --port 0 --time-limit 120 >"$work/bank" &
bank=$!
for _ in $(seq 100); do
  grep -q '^user' "$work/bank" && break
  sleep 0.1
done
url=$(sed -n 's/^listening on //p' "$work/bank")
[[ -n "$url" ]] || { echo "The sandbox bank did not start." >&2; exit 1; }
# The bank says with which secrets to try it.
pin=$(sed -n 's/^user 4711,.* PIN \([^,]*\),.*/\1/p' "$work/bank")
tan=$(sed -n 's/^bank code.* TAN //p' "$work/bank")
printf %s "$pin" >"$work/pin"
printf %s "$tan" >"$work/tan"

client() {
  local verb=$1
  shift
  "$TMX_PROGRAM" client "$verb" --url "$url" --bank 99900011 --user 4711 --pin-file "$work/pin" \
    --tan-file "$work/tan" --key-file "$work/key" --data "$work/data" --log "$work/log" \
    --macros "$work" "$@"
}

printf '\nThe accounts of user 4711 at the sandbox bank\n\n'
client accounts | tee "$work/accounts"
from=$(sed -n '1s/ .*//p' "$work/accounts")
to=$(sed -n '2s/ .*//p' "$work/accounts")

printf '\nTheir balances\n\n'
client balance

printf '\nThe statement of the first one comes in pages:\n\n'
client statement --account "$from" --json >"$work/statement"
printf '%d pages, %d bookings\n' "$(grep -c ':20:' "$work/statement")" \
  "$(grep -o '\\n:61:' "$work/statement" | wc -l)"

printf '\nA transfer of 12.34 EUR with a TAN\n\n'
client transfer --account "$from" --to "$to" --name "Erika Muster" --amount 12.34 --purpose Miete

printf '\nThe balances afterwards\n\n'
client balance

printf '\nThe last log, of which the disk sees only ciphertext\n\n'
log=$(ls "$work"/log/*.pro | tail -1)
"$TMX_PROGRAM" log list "$log" --key-file "$work/key" >"$work/pages"
printf '%d pages\n' "$(($(wc -l <"$work/pages") - 1))"
for each in "$work"/log/*.pro; do
  "$TMX_PROGRAM" log cat "$each" --key-file "$work/key" >"$work/shown"
  if grep -qF -e "$pin" -e "$tan" "$work/shown"; then
    echo "A PIN or a TAN stands in $each." >&2
    exit 1
  fi
done
printf 'Neither the PIN nor the TAN stands in any of them.\n'
