#!/usr/bin/env bash
# Mailing an album, side by side, on the benchmark corpus (/work/corpus/photos):
#  1. resizing every photo for mail (800x600): quorvane-cli mail estimate --resize 800x600
#     (one-pass reduced decoding on every core) beside llgal's scaled slides at 800x600;
#  2. the whole quorvane-cli mail album --resize 800x600 to an Exim on loopback beside our
#     resize (mail estimate --resize, in the same run) + zip of a resized copy + msmtp sending
#     that zip as a MIME attachment;
#  3. peak memory of quorvane-cli mail album sending a 200 MB album as it is.
# This is a measurement, not a test. Installs llgal and msmtp when missing (apt-get).
# Usage: bench/compare/mail_album_bench.sh [path/to/quorvane-cli] [corpus/photos] [runs]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/shared_tools.sh"
. "$here/bench_exim.sh"
cli=$(readlink -f "${1:-build/release/src/cli/quorvane-cli}")
photos=${2:-/work/corpus/photos}
runs=${3:-5}
for tool in llgal msmtp zip vipsthumbnail; do
  command -v "$tool" >/dev/null && continue
  package=$tool
  [ "$tool" = vipsthumbnail ] && package=libvips-tools
  sudo_=""; [ "$(id -u)" = 0 ] || sudo_=sudo
  $sudo_ apt-get install -y -q "$package" >/dev/null
done
work=$(mktemp -d)
pid=""
trap '[ -n "$pid" ] && kill "$pid"; rm -rf "$work"' EXIT
export XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data XDG_CACHE_HOME=$work/cache
export HOME=$work/home TMPDIR=$work/tmp
mkdir -p "$HOME" "$TMPDIR" "$work/spool"

count=$(ls "$photos" | grep -ciE '\.(jpe?g|png)$')
echo "corpus: $count photos, $(du -sh "$photos" | cut -f1)"
"$cli" album create "$work/Corpus" --title Corpus >/dev/null
"$cli" album add "$work/Corpus" $(ls -d "$photos"/* | grep -iE '\.(jpe?g|png)$') >/dev/null 2>&1

# 1. Resizing for mail.
mkdir -p "$work/llgal"
cp "$photos"/* "$work/llgal/"
python3 "$PAIRBENCH" -n "$runs" --vs "llgal -d $work/llgal --sx 800 --sy 600 -f" -- \
  "$cli" mail estimate "$work/Corpus" --resize 800x600 | tee "$work/resize.txt"
median() { awk -v row="$1" '$0 ~ "^" row {print $(NF-1)}' "$2"; }
ours_resize=$(median "A wall s" "$work/resize.txt")
llgal_resize=$(median "B wall s" "$work/resize.txt")
ours_cpu=$(median "A cpu s" "$work/resize.txt")
llgal_cpu=$(median "B cpu s" "$work/resize.txt")
echo "resize for mail (800x600): ours $(python3 -c "print(round($count/$ours_resize,1))") photos/s," \
     "llgal $(python3 -c "print(round($count/$llgal_resize,1))") photos/s," \
     "ratio $(python3 -c "print(round($llgal_resize/$ours_resize,1))")x" \
     "(CPU seconds: ours $ours_cpu, llgal $llgal_cpu)"

# 2. The whole mail album against resize + zip + msmtp.
start_bench_exim 400M
"$cli" settings set smtp.server 127.0.0.1 >/dev/null
"$cli" settings set smtp.port "$port" >/dev/null
"$cli" settings set email.address ann@bench.test >/dev/null
printf 'host 127.0.0.1\nport %s\nfrom ann@bench.test\nauth off\ntls off\n' "$port" > "$work/msmtprc"
chmod 600 "$work/msmtprc"
# The baseline's resized copy: the same photos at 800x600, with the album's index and thumbnails.
mkdir -p "$work/Resized"
cp "$work/Corpus"/index.quorvane "$work/Corpus"/_thumb_* "$work/Resized/"
for photo in "$work/Corpus"/*; do
  case "$(basename "$photo")" in index.quorvane|_thumb_*) continue ;; esac
  vipsthumbnail "$photo" -s 800x600 -o "$work/Resized/%s.jpg[Q=85]" 2>/dev/null || cp "$photo" "$work/Resized/"
done
cat > "$work/baseline.sh" <<SCRIPT
set -e
cd "$work"
"$cli" mail estimate Corpus --resize 800x600 >/dev/null 2>&1
rm -f Corpus.zip
zip -q -r Corpus.zip Resized
{
  printf 'From: ann@bench.test\r\nTo: bob@bench.test\r\nSubject: Corpus\r\nMIME-Version: 1.0\r\n'
  printf 'Content-Type: multipart/mixed; boundary="b"\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\nThe album.\r\n'
  printf -- '--b\r\nContent-Type: application/zip; name=Corpus.zip\r\nContent-Transfer-Encoding: base64\r\n'
  printf 'Content-Disposition: attachment; filename="Corpus.zip"\r\n\r\n'
  base64 -w 76 Corpus.zip
  printf -- '--b--\r\n'
} | msmtp -C "$work/msmtprc" bob@bench.test
SCRIPT
python3 "$PAIRBENCH" -n "$runs" --vs "bash $work/baseline.sh" -- \
  "$cli" mail album "$work/Corpus" --to bob@bench.test --resize 800x600 | tee "$work/album.txt"
grep -q '^A exit 0 (' "$work/album.txt" && grep -q '^B exit 0 (' "$work/album.txt" ||
  { echo "a mail run failed" >&2; exit 1; }
echo "mail album (800x600) to Exim: ours $(median "A wall s" "$work/album.txt") s;" \
     "resize + zip + msmtp $(median "B wall s" "$work/album.txt") s;" \
     "ratio (pair by pair) $(median "A/B wall" "$work/album.txt") (goal <= 1.3)"

# 3. Peak memory sending a 200 MB album as it is.
mkdir -p "$work/big-src"
i=0
while [ "$(du -sm "$work/big-src" | cut -f1)" -lt 200 ]; do
  photo=$(ls -d "$photos"/*.jpg | sed -n "$((i % count + 1))p")
  cp "$photo" "$work/big-src/$i-$(basename "$photo")"
  i=$((i + 1))
done
"$cli" album create "$work/Big" --title Big >/dev/null
"$cli" album add "$work/Big" "$work/big-src"/* >/dev/null 2>&1
rm -rf "$work/big-src" "$work/llgal" "$work/Resized"
echo "200 MB album: $(du -sm "$work/Big" | cut -f1) MB in $(ls "$work/Big" | grep -vc '^_thumb_\|index') photos"
/usr/bin/time -f '%e s, peak %M kB' -o "$work/big.time" \
  "$cli" mail album "$work/Big" --to bob@bench.test >/dev/null 2>"$work/big.err" ||
  { cat "$work/big.err" >&2; exit 1; }
echo "mail album of the 200 MB album as it is: $(cat "$work/big.time") (goal under 100 MB)"
