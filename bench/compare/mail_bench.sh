#!/usr/bin/env bash
# Sending a 20 MB attachment to an Exim on loopback: quorvane-cli mail send (which encodes the
# attachment while it sends) beside msmtp handed the very message our client produced, already
# encoded. Wall time and peak memory, the median of five interleaved runs each. Then a message of
# one line both ways: its time is the round trips of the dialogue, where a reply that waited for
# the next readiness step (250 ms) would show.
# This is a measurement, not a test. Usage: bench/compare/mail_bench.sh [path/to/quorvane-cli]
set -euo pipefail
cli=${1:-build/release/src/cli/quorvane-cli}
if ! command -v msmtp >/dev/null; then  # the bench's own tool, not a project dependency
  sudo=""; [ "$(id -u)" = 0 ] || sudo=sudo
  $sudo apt-get install -y --no-install-recommends msmtp >/dev/null ||
    { echo "msmtp is not installed and could not be installed" >&2; exit 2; }
fi
here=$(cd "$(dirname "$0")" && pwd)
. "$here/bench_exim.sh"
work=$(mktemp -d)
pid=""
trap '[ -n "$pid" ] && kill "$pid"; rm -rf "$work"' EXIT
start_bench_exim 200M
head -c 20000000 /dev/urandom > "$work/album.qvo"
printf 'host 127.0.0.1\nport %s\nfrom ann@bench.test\nauth off\ntls off\n' "$port" > "$work/msmtprc"
chmod 600 "$work/msmtprc"

measure() {  # prints "seconds peak_kb"
  /usr/bin/time -f '%e %M' -o "$work/time" "$@" >/dev/null 2>"$work/err" || { cat "$work/err" >&2; exit 1; }
  cat "$work/time"
}
ours=() theirs=()
for run in 1 2 3 4 5; do
  ours+=("$(measure "$cli" mail send --server 127.0.0.1:"$port" --from ann@bench.test \
      --to bob@bench.test --subject Album --body 'The album.' --attach "$work/album.qvo")")
  if [ "$run" = 1 ]; then
    id=$(ls "$work/spool/input" | sed -n 's/-H$//p' | head -1)
    exim4 -C "$work/exim.conf" -Mvc "$id" > "$work/message"
  fi
  theirs+=("$(measure sh -c "msmtp -C '$work/msmtprc' bob@bench.test < '$work/message'")")
done
median() { printf '%s\n' "$@" | sort -n | sed -n 3p; }
our_time=$(median "$(printf '%s\n' "${ours[@]}" | cut -d' ' -f1)")
their_time=$(median "$(printf '%s\n' "${theirs[@]}" | cut -d' ' -f1)")
our_mem=$(median "$(printf '%s\n' "${ours[@]}" | cut -d' ' -f2)")
their_mem=$(median "$(printf '%s\n' "${theirs[@]}" | cut -d' ' -f2)")
echo "20 MB attachment over loopback SMTP, median of 5:"
echo "  quorvane-cli mail send: ${our_time} s, peak ${our_mem} kB (attachment 19532 kB)"
echo "  msmtp (message ready):  ${their_time} s, peak ${their_mem} kB"
echo "  time ratio ours/msmtp: $(python3 -c "print(round($our_time/max($their_time,0.01),2))")"

printf 'To: bob@bench.test\r\nSubject: Hi\r\n\r\nHi.\r\n' > "$work/tiny"
tiny_ours=() tiny_theirs=()
for run in 1 2 3 4 5; do
  tiny_ours+=("$(measure "$cli" mail send --server 127.0.0.1:"$port" --from ann@bench.test \
      --to bob@bench.test --subject Hi --body 'Hi.' | cut -d' ' -f1)")
  tiny_theirs+=("$(measure sh -c "msmtp -C '$work/msmtprc' bob@bench.test < '$work/tiny'" |
      cut -d' ' -f1)")
done
echo "one-line message, median of 5: quorvane-cli $(median "${tiny_ours[@]}") s," \
  "msmtp $(median "${tiny_theirs[@]}") s (a 250 ms wait per reply would add 1.5 s)"
