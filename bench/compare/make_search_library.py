#!/usr/bin/env python3
"""Writes a library of albums as the program writes them, for the search benchmark: one-line
index, an empty photo file and thumbnail per photo (search never opens them). Captions,
descriptions and keywords draw from a vocabulary of about 600 words with Zipf-like
frequencies, as real captions do: "beach" is the most frequent word (one word in seven),
"harbour" a common one, accented words ("été", "église") a rare one; a few entities too.

Usage: make_search_library.py LIBRARY ALBUMS PHOTOS
"""
import itertools
import os
import random
import sys

library, albums, photos = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
rng = random.Random(6)
real = ("beach sunset mountain garden city river snow market family birthday lake forest "
        "church castle bridge harbour street night party wedding dog cat boat train island "
        "museum park school friends holiday summer winter autumn spring rain clouds sky "
        "flowers tree road village house kitchen dinner picnic concert festival desert "
        "été église château Zürich café fjord Kraków São Ærø Москва Ελλάδα").split()
syllables = "ka lo mi ren tas vel dor pan sil ur bex nai tro fen gul ost".split()
made = ["".join(p) for p in itertools.product(syllables, repeat=2)][:560]
vocabulary = real + made
weights = [1.0 / (rank + 1) for rank in range(len(vocabulary))]


def words(n):
    return rng.choices(vocabulary, weights, k=n)


os.makedirs(library, exist_ok=True)
for a in range(albums):
    folder = os.path.join(library, f"Album {a:05d}")
    os.mkdir(folder)
    y, m, d = rng.randint(1990, 2026), rng.randint(1, 12), rng.randint(1, 28)
    title = " ".join(w.capitalize() for w in words(3)) + f" &amp; {a}"
    parts = [f'<Quorvane Date="{y:04d}-{m:02d}-{d:02d}" Title="{title}" Version="1.0">'
             f'A few days at the {words(1)[0]}.']
    for p in range(photos):
        name = f"IMG_{p:04d}.jpg"
        for f in (name, f"_thumb_{name}.jpg"):
            open(os.path.join(folder, f), "wb").close()
        k = words(3)
        t, d1, d2 = words(3)
        parts.append(f'<Image Date="{y:04d}-{m:02d}-{d:02d}" Format="JPEG" ImageFile="{name}" '
                     f'ImageSize="4000x3000" Keywords="{k[0]}, {k[1]}; {k[2]}" '
                     f'Title="{t.capitalize()} {p}">Photo {p} of album {a}, '
                     f'{d1} and {d2} &#039;{y % 100:02d}.</Image>')
    parts.append("</Quorvane>")
    with open(os.path.join(folder, "index.quorvane"), "w", encoding="utf-8") as out:
        out.write("".join(parts))
