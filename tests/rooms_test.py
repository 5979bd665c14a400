#!/usr/bin/env python3
"""Holds every #include of the project against the order of the rooms.

A room includes itself and the rooms above it in the list; ports may include every room above them
but no other port than their own platform's. Toolkit headers stay under their port. The privileged
disk tools include only themselves and the leaf.
"""
import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
ROOMS = ["leaf", "platform", "core", "extensions", "system", "device", "kinds", "ramdisk", "menu", "app",
         "settings", "cli"]
# A port, and the rooms and ports that it may include besides itself.
PORTS = {
    "platform/posix": ["leaf", "platform", "core", "extensions"],
    "platform/linux": ["leaf", "platform", "core", "extensions", "platform/posix"],
    "platform/qt": ROOMS + ["platform/posix"],
    "platform/mac": ["leaf", "platform", "core", "extensions", "platform/posix"],
}
# Rooms that know nothing of each other although one stands above the other.
STRANGERS = {("kinds", "device"), ("settings", "menu"), ("settings", "app")}
TOOLKITS = {"systemd/": "platform/linux", "Q": "platform/qt", "AppKit/": "platform/mac",
            "Foundation/": "platform/mac", "sys/mount.h": "platform/linux", "linux/": "platform/linux"}


def room_of(path):
    parts = pathlib.PurePosixPath(path).parts
    port = "/".join(parts[:2])
    return port if port in PORTS else parts[0]


def allowed(room):
    if room in PORTS:
        return set(PORTS[room]) | {room}
    return {r for r in ROOMS[:ROOMS.index(room) + 1] if (room, r) not in STRANGERS}


def faults(path):
    inside = path.relative_to(TOP / "src").as_posix()
    if "/" not in inside:
        return  # a main: it installs a port and starts
    room = room_of(inside)
    for number, line in enumerate(path.read_text().splitlines(), 1):
        where = f"{path.relative_to(TOP)}:{number}"
        own = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
        if own:
            if not (TOP / "src" / own[1]).exists():
                yield f"{where}: {own[1]} is not named from src/"
            elif room_of(own[1]) not in allowed(room):
                yield f"{where}: {room} must not include {room_of(own[1])}"
        system = re.match(r"\s*#\s*include\s+<([^>]+)>", line)
        for prefix, port in TOOLKITS.items() if system else ():
            if system[1].startswith(prefix) and room != port:
                yield f"{where}: <{system[1]}> belongs to {port}"
        if re.match(r"\s*#\s*if.*(__linux__|__APPLE__|_WIN32)", line) and room not in PORTS:
            yield f"{where}: a platform #if outside the ports"


def disktool_faults(path):
    for number, line in enumerate(path.read_text().splitlines(), 1):
        own = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
        if own and not own[1].startswith(("disktools/", "leaf/")):
            yield f"{path.relative_to(TOP)}:{number}: the disk tools must not include {own[1]}"


def sources_of(folder):
    return sorted(p for p in (TOP / folder).rglob("*") if p.suffix in {".h", ".cpp", ".mm"})


def main():
    sources, tools = sources_of("src"), sources_of("disktools")
    found = [fault for path in sources for fault in faults(path)]
    found += [fault for path in tools for fault in disktool_faults(path)]
    sources += tools
    print("\n".join(found) or f"{len(sources)} files include only what their rooms may")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
