#!/usr/bin/env bash
# A conversation with the sandbox bank: accounts, balances, a statement of several pages, a transfer
# with a TAN, the changed balance, and the encrypted log in which neither PIN nor TAN stands.
# TMX_PROGRAM names the tmx to use.
set -euo pipefail
work=$(mktemp -d)
bank=
trap '[[ -z "$bank" ]] || kill "$bank" 2>/dev/null || true; rm -rf "$work"' EXIT
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

head -c 16 /dev/urandom >"$work/key"
"$TMX_PROGRAM" macro build --out "$work" "$source_dir"/macros/*.hbm

: >"$work/bank"  # there before anybody looks into it
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
log=$(ls "$work"/log/*.pro | tail -1)

printf '\nThe balances afterwards\n\n'
client balance

printf '\nThe log of the transfer, of which the disk sees only ciphertext\n\n'
"$TMX_PROGRAM" log list "$log" --key-file "$work/key" | tee "$work/pages"
for page in $(seq "$(($(wc -l <"$work/pages") - 1))"); do
  printf '\nPage %d. ' "$page"
  "$TMX_PROGRAM" log show "$log" --key-file "$work/key" --page "$page" >"$work/shown"
  sed 's/ *$//; /^$/d' "$work/shown"
done

printf '\nThe PIN and the TAN in the logs\n\n'
for each in "$work"/log/*.pro; do
  "$TMX_PROGRAM" log cat "$each" --key-file "$work/key" >"$work/shown"
  # Of a log that shows nothing, that would say nothing.
  signed=$(grep -ac "'HNSHA:[0-9]*:2+[0-9]*++\*" "$work/shown" || true)
  ((signed > 0)) || { echo "$each holds no message with a PIN." >&2; exit 1; }
  if grep -aqF -e "$pin" -e "$tan" "$work/shown"; then
    echo "A PIN or a TAN stands in $each." >&2
    exit 1
  fi
  printf 'log %s: %d messages, masked in each\n' "${each: -7:3}" "$signed"
done
printf 'Neither the PIN nor the TAN stands in any of them.\n'
