#!/usr/bin/env python3
"""Writes a photo-like landscape as an EPS picture on standard output: sky, sun, ridges in haze, grain.

Usage: landscape.py NAME, where NAME is one of the scenes below. Needs nothing but Python itself and
gives the same bytes every time, so that the picture can be made again.
"""

import math
import random
import sys

WIDTH, HEIGHT = 900, 700

# Sky at the top and at the horizon, the far and the near ridge, the sun and where it stands.
SCENES = {
    "dawn": ((52, 84, 130), (250, 205, 160), (190, 150, 150), (28, 34, 52), (255, 244, 214), 0.66, 0.40, 7),
    "fjord": ((96, 140, 168), (226, 232, 226), (150, 174, 184), (20, 48, 54), (255, 255, 250), 0.30, 0.22, 23),
    "moor": ((116, 112, 140), (240, 190, 130), (170, 120, 96), (58, 38, 30), (255, 226, 170), 0.46, 0.44, 41),
}


def mix(first, second, share):
    return tuple(a + (b - a) * share for a, b in zip(first, second))


def ridge(chance, base, height, roughness):
    """One skyline: midpoint displacement, then read off at every column."""
    points = [base + chance.uniform(-height, height) / 2 for _ in range(4)]
    spread = height
    while len(points) < WIDTH * 2:
        finer = []
        for left, right in zip(points, points[1:]):
            finer += [left, (left + right) / 2 + chance.uniform(-spread, spread) / 2]
        points = finer + [points[-1]]
        spread *= roughness
    step = (len(points) - 1) / (WIDTH - 1)
    return [points[int(column * step)] for column in range(WIDTH)]


def picture(name):
    top, horizon, far, near, sun, sun_x, sun_y, seed = SCENES[name]
    chance = random.Random(seed)
    layers = 7
    skylines = [
        ridge(chance, HEIGHT * (0.42 + 0.085 * layer), HEIGHT * (0.10 + 0.022 * layer), 0.50 + 0.012 * layer)
        for layer in range(layers)
    ]
    data = bytearray()
    for y in range(HEIGHT):
        for x in range(WIDTH):
            distance = math.hypot(x / WIDTH - sun_x, (y / HEIGHT - sun_y) * HEIGHT / WIDTH)
            colour = mix(top, horizon, min(1.0, (y / HEIGHT / 0.55) ** 0.8))
            colour = mix(colour, sun, 0.75 * math.exp(-(distance * 5) ** 1.2))
            if distance < 0.028:
                colour = mix(sun, colour, max(0.0, (distance - 0.025) / 0.003))
            for layer in range(layers - 1, -1, -1):
                depth = y - skylines[layer][x]
                if depth < 0:
                    continue
                nearness = layer / (layers - 1)
                stone = mix(far, near, nearness**0.9)
                # Mist gathers at the foot of every ridge and takes the light of the sky.
                mist = (1 - nearness) * 0.55 * min(1.0, depth / (HEIGHT * 0.12))
                colour = mix(stone, horizon, mist)
                colour = mix(colour, sun, 0.30 * (1 - nearness) * math.exp(-(distance * 4) ** 1.5))
                if depth < 1:
                    colour = mix(colour, sun, 0.10 * (1 - nearness))
                break
            grain = chance.gauss(0, 2.0)
            data += bytes(max(0, min(255, round(channel + grain))) for channel in colour)
    return data


def main():
    data = picture(sys.argv[1])
    print(f"%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 {WIDTH} {HEIGHT}")
    print(f"/DeviceRGB setcolorspace {WIDTH} {HEIGHT} scale")
    print(f"<< /ImageType 1 /Width {WIDTH} /Height {HEIGHT} /BitsPerComponent 8 /Decode [0 1 0 1 0 1]")
    print(f"   /ImageMatrix [{WIDTH} 0 0 {-HEIGHT} 0 {HEIGHT}]")
    print("   /DataSource currentfile /ASCIIHexDecode filter >> image")
    text = data.hex()
    print("\n".join(text[start : start + 120] for start in range(0, len(text), 120)), end=">\nshowpage\n")


if __name__ == "__main__":
    main()
