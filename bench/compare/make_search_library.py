#!/usr/bin/env python3
"""Writes a library of albums as the program writes them, for the search benchmark: one-line
index, an empty photo file and thumbnail per photo (search never opens them), captions,
descriptions and keywords drawn from a small vocabulary with some accented words, and a few
entities, so matching has realistic text to fold.

Usage: make_search_library.py LIBRARY ALBUMS PHOTOS
"""
import os
import random
import sys

library, albums, photos = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
rng = random.Random(6)
words = ("beach sunset harbour mountain garden city river snow market family birthday "
         "église été château Zürich café fjord").split()
os.makedirs(library, exist_ok=True)
for a in range(albums):
    folder = os.path.join(library, f"Album {a:05d}")
    os.mkdir(folder)
    y, m, d = rng.randint(1990, 2026), rng.randint(1, 12), rng.randint(1, 28)
    title = " ".join(rng.choice(words).capitalize() for _ in range(3)) + f" &amp; {a}"
    parts = [f'<Quorvane Version="1.0" Title="{title}" Date="{y:04d}-{m:02d}-{d:02d}">'
             f'A few days at the {rng.choice(words)}.']
    for p in range(photos):
        name = f"IMG_{p:04d}.jpg"
        for f in (name, f"_thumb_{name}.jpg"):
            open(os.path.join(folder, f), "wb").close()
        parts.append(f'<Image Date="{y:04d}-{m:02d}-{d:02d}" Format="JPEG" ImageFile="{name}" '
                     f'ImageSize="4000x3000" '
                     f'Keywords="{rng.choice(words)}, {rng.choice(words)}; {rng.choice(words)}" '
                     f'Title="{rng.choice(words).capitalize()} {p}">Photo {p} of album {a}, '
                     f'{rng.choice(words)} and {rng.choice(words)} &#039;{y}.</Image>')
    parts.append("</Quorvane>")
    with open(os.path.join(folder, "index.quorvane"), "w", encoding="utf-8") as out:
        out.write("".join(parts))
