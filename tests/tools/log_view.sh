#!/bin/sh
# Uses `tmx log view` as a person does: keys into a terminal, a look at its screen.
# usage: log_view.sh DIRECTORY_OF_TMX [FILE], the latter for the last screen with its colours.
# Exit code 77 says that it was skipped.
set -eu
command -v tmux >/dev/null || { echo "skipped: there is no tmux"; exit 77; }

dir=$(mktemp -d)
socket="$dir/socket"
trap 'tmux -S "$socket" kill-server 2>/dev/null || true; rm -rf "$dir"' EXIT
PATH="$1:$PATH"
export LC_ALL=C.UTF-8 TMX_LOG_KEY=geheim
cd "$dir"

terminal() { tmux -S "$socket" -f /dev/null "$@"; }
screen() { terminal capture-pane -p; }
keys() { terminal send-keys "$@"; }
tmux -S "$socket" -f /dev/null new-session -d true 2>/dev/null ||
  { echo "skipped: no terminals can be made here"; exit 77; }
fail() { echo "failed: $1"; screen; exit 1; }
# Waits until the screen shows a text, or no longer shows it.
shows() {
  for _ in $(seq 100); do
    screen | grep -qF -- "$1" && return
    sleep 0.1
  done
  fail "the screen does not show: $1"
}
lacks() {
  for _ in $(seq 100); do
    screen | grep -qF -- "$1" || return 0
    sleep 0.1
  done
  fail "the screen still shows: $1"
}

# ---- a log with a transfer among many other messages ----
for i in $(seq 20); do
  printf "HNHBK:1:3+000000000100+300+D1+%s'HKSAL:3:7+DE89370400440532013000:COBADEFF+N'HNHBS:5:1+%s'" \
    "$i" "$i" >"ask$i"
  printf "HNHBK:1:3+000000000200+300+D1+%s'HIRMS:3:2:3+0020::Saldo M\374ller %s.'HNHBS:4:1+%s'" \
    "$i" "$i" "$i" >"answer$i"
  set -- "$@" --sent "ask$i" --received "answer$i"
done
printf "HNHBK:1:3+000000000100+300+D1+21'HKCCS:3:1+DE89370400440532013000:COBADEFF'HNSHA:5:2+1++pin:654321'HNHBS:6:1+21'" >transfer
printf "HNHBK:1:3+000000000200+300+D1+21'HIRMS:3:2:3+0030::Auftrag empfangen, bitte TAN.'HNHBS:4:1+21'" >answer
bin=$1 last=${2:-}
case "$last" in --*) last= ;; esac
while [ "$1" != --sent ]; do shift; done
tmx log write logs --info "vor allem" "$@" --sent transfer --received answer >/dev/null
log=$(ls logs/*.pro)

# ---- the tasks ----
terminal new-session -d -x 90 -y 24 "tmx log view $log; echo ended with \$?; cat"
shows "Datum: "
shows "HBCI message sent"
# Find the transfer that was sent.
keys / ; shows "/"
keys hkccs Enter
shows "HKCCS:3:1  2=DE89370400440532013000:COBADEFF"
shows "4=***:******"
lacks "654321"
# Jump to its answer.
keys r
shows "Auftrag empfangen, bitte TAN."
# Search a code, and the same backwards.
keys / ; shows "/"
keys 0020:: Enter
shows "Saldo Müller 1."
keys N
shows "Saldo Müller 20."
keys / ; shows "/"
keys "gibt es nicht" Enter
shows "not found: gibt es nicht"
# Both ends, by pages, and lines.
keys Home
shows "vor allem"
keys NPage
lacks "vor allem"
keys PPage
shows "vor allem"
keys End
shows "HNHBS:4:1  2=21"
keys Home
shows "Datum: "
keys Down
lacks "Datum: "
keys Up
shows "Datum: "
# Fold the message that is marked, look past it, and unfold it again.
keys / ; shows "/"
keys hkccs Enter
shows "HKCCS:3:1"
keys z
lacks "HKCCS:3:1"
shows "HBCI message sent, $(wc -c <transfer) bytes ..."
shows "Auftrag empfangen"
keys z
shows "HKCCS:3:1"
# Fold all; a hit in what is folded is unfolded, all the others stay.
keys Z Home
shows "HBCI message received, "
lacks "HNHBK"
keys / ; shows "/"
keys 0030:: Enter
shows "Auftrag empfangen"
lacks "HKCCS:3:1"
keys Z Home
shows "HKSAL:3:7"
# Write all of it to a file, as it is exported; never over one that is there.
tmx log export "$log" >expected
echo mine >taken
keys e ; shows "write all as text to:"
keys taken Enter
shows "taken is there already and stays as it is"
[ "$(cat taken)" = mine ] || fail "a file was replaced"
keys e ; shows "write all as text to:"
keys text Enter
shows "$(wc -c <expected) bytes written to text"
cmp text expected || fail "another text than that of export was written"
[ "$(stat -c %a text)" = 600 ] || fail "others can read the text"
keys e ; shows "write all as text to:"
keys none/text Enter
shows "none/text: No such file or directory"
keys e ; shows "write all as text to:"
keys given up Escape
shows "q quit"
[ ! -e given ] || fail "a file was made although that was given up"
# The next message sent, and the one received behind it.
keys s s r
shows "HBCI message received"
# A search that is given up changes nothing.
keys / ; shows "/"
keys x y BSpace Escape
shows "q quit"
# All keys are named in 80 columns.
terminal resize-window -x 80 -y 24
shows "e save"
shows "q quit"
# Another size, and one that is hardly any.
terminal resize-window -x 30 -y 10
keys Home
shows "Datum: "
[ "$(screen | wc -l)" -le 10 ] || fail "the screen is larger than the window"
terminal resize-window -x 2 -y 1
keys Down Down Up NPage Home
sleep 0.3
terminal resize-window -x 90 -y 24
keys Home
shows "vor allem"
keys / ; shows "/"
keys hkccs Enter
shows "HKCCS:3:1"
[ -z "$last" ] || terminal capture-pane -e -p >"$last"
keys q
shows "ended with 0"
echo "every task was done"
