#!/usr/bin/env bash
# The mail codecs' encoding throughput on 100 MB beside coreutils base64 at the width a message
# uses (76 characters): base64 of random bytes, and quoted-printable of two texts against base64
# of the same text, one of English prose with an accented word now and then, one where every
# third word has accented letters (a seventh of its bytes escaped). Whole processes, file read
# to output written; the CPU ratio is the steadier figure on a busy machine.
# This is a measurement, not a test. Usage: bench/compare/codec_bench.sh [path/to/mime_codec_bench]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/shared_tools.sh"
bench=$(readlink -f "${1:-build/release/bench/mime_codec_bench}")
[ -x "$bench" ] || { echo "no $bench; build the release preset first" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
head -c 100000000 /dev/urandom > "$work/random"
python3 - "$work" <<'PY'
import random, sys
folder = sys.argv[1]
common = ("the of and to in a is that for it as was with be by on not he this are or his from "
          "at which but have an they you were her she there been one all we their has would "
          "when if so no will can more about photo album holiday beach summer picture camera "
          "mountain evening morning friends family garden weekend journey harbour").split()
accented = ["café", "naïve", "Zürich", "São", "Ölberg", "façade", "résumé", "été", "garçon",
            "Ångström", "x=y", "100%"]
for name, share in (("prose", 0.02), ("accented", 0.33)):
    random.seed(7)
    out, size = [], 0
    while size < 100_000_000:
        words = [random.choice(accented) if random.random() < share else random.choice(common)
                 for _ in range(random.randint(5, 120))]
        paragraph = " ".join(words).capitalize() + ".\n" + ("\n" if random.random() < 0.3 else "")
        out.append(paragraph)
        size += len(paragraph.encode())
    open(f"{folder}/{name}", "wb").write("".join(out).encode()[:100_000_000])
PY
compare() {  # label, our command, their command
  echo "== $1"
  python3 "$PAIRBENCH" -n 5 --vs "$3" -- $2
}
compare "base64, 100 MB of random bytes (A = ours, B = base64 -w 76)" \
  "$bench base64 $work/random" "base64 -w 76 $work/random"
for text in prose accented; do
  compare "quoted-printable, 100 MB of $text (A = ours, B = base64 -w 76 of the same file)" \
    "$bench qp $work/$text" "base64 -w 76 $work/$text"
done
echo "A/B below 1.0 means ours takes less time: its throughput is B/A times coreutils base64's."
