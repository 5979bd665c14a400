#!/usr/bin/env python3
"""Shows the pictures of a build on light and dark ground, to be looked at after a change.

Usage: contact-sheet.py BUILD OUT.png [SCALE]
"""
import base64
import pathlib
import subprocess
import sys

CELL = 150  # points a large cell takes
ROWS = [
    (16, 34, ["com.tarnvale.Tarnvale_16", "RamDisk_10.10_16", "RamDisk_10.6_16", "syncIcon",
              "generic-file", "generic-folder", "hfs-rmov", "hfs-ejec", "hfs-burn", "hfs-ftrh",
              "hfs-abdg", "TarnvaleStatusItemColor",
              "TarnvaleStatusItem"]),
    (22, 40, ["TarnvaleStatusItemColor", "TarnvaleStatusItem", "TarnvaleStatusItemPressed",
              "com.tarnvale.Tarnvale_24"]),
    (32, 50, ["RamDisk_10.10_128", "RamDisk_10.6_128", "kind-safari", "kind-xcode",
              "kind-simulator", "kind-firefox", "kind-appcode", "kind-chrome", "kind-opera"]),
    (128, CELL, ["com.tarnvale.Tarnvale", "RamDisk_10.10_128", "RamDisk_10.6_128"]),
]
GROUNDS = [("#f6f6f6", "Black"), ("#26282b", "White")]
SELECTION = "#2f6fd6"


def picture(images, name, points, x, y, scale):
    file = images / (name + ("@2x" if scale == 2 or points > 22 else "") + ".png")
    data = base64.b64encode(file.read_bytes()).decode()
    ground = (f'<rect x="{x - 6}" y="{y - 4}" width="{points + 12}" height="{points + 8}" '
              f'fill="{SELECTION}"/>' if name.endswith("Pressed") else "")
    return ground + (f'<image x="{x}" y="{y}" width="{points}" height="{points}" '
                     f'href="data:image/png;base64,{data}"/>')


def half(images, ground, tone, left, scale):
    y = 16
    for points, step, names in ROWS:
        for place, name in enumerate(names):
            own = name + tone if name == "TarnvaleStatusItem" else name
            yield picture(images, own, points, left + 16 + place * step, y, scale)
        y += points + 16


def main():
    images = pathlib.Path(sys.argv[1]) / "share/tarnvale/images"
    scale = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    width, height = 32 + 3 * CELL, 16 + sum(row[0] + 16 for row in ROWS)
    parts = []
    for place, (ground, tone) in enumerate(GROUNDS):
        parts.append(f'<rect x="{place * width}" width="{width}" height="{height}" fill="{ground}"/>')
        parts += half(images, ground, tone, place * width, scale)
    sheet = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{2 * width}" height="{height}">'
             + "".join(parts) + "</svg>")
    subprocess.run(["rsvg-convert", "--unlimited", "-z", str(scale), "-o", sys.argv[2]],
                   input=sheet.encode(), check=True)


main()
