#!/usr/bin/env python3
"""Fails when the library's dependencies point up a floor.

The floors come from the layout table of README.md (folder, floor). A library file may include headers of its own
folder and of folders on lower floors, public headers (include/vorn_*.h) included, each of which belongs to the
folder of its family. With an object directory, the same rule is checked on the link graph: every symbol an object
file needs from another library folder must come from a lower floor. Clients (floor "client") reach the library
through include/ only.

usage: check_floors.py SOURCE_ROOT [OBJECT_DIR]
"""
import os
import re
import subprocess
import sys

# The folder each public header belongs to. A new header must be placed here.
HEADER_HOME = {
    "vorn_core.h": "core", "vorn_image.h": "core", "vorn_matrix.h": "core", "vorn_version.h": "core",
    "vorn_color.h": "color",
    "vorn_geometry.h": "geometry",
    "vorn_imgproc.h": "imgproc",
    "vorn_bk_model.h": "bkmodel",
    "vorn_obj_maker.h": "objects", "vorn_contour.h": "objects", "vorn_histogram.h": "objects",
    "vorn_bpnn.h": "recognition", "vorn_plate.h": "recognition",
    "vorn_meanshift.h": "tracking", "vorn_kalman.h": "tracking", "vorn_tracker.h": "tracking",
    "vorn_pyramid.h": "tracking", "vorn_features.h": "tracking", "vorn_opticalflow.h": "tracking",
    "vorn_vbc.h": "tracking",
    "vorn_guard.h": "analytics", "vorn_counter.h": "analytics", "vorn_obld.h": "analytics",
    "vorn_linecount.h": "analytics",
}
UMBRELLA = "vorn.h"  # for hosts only
SOURCE_EXT = (".c", ".cpp", ".h", ".hpp")
INCLUDE_RE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def read_floors(root):
    """(library folder -> floor number, client folders) from README.md's layout table."""
    floors, clients, listed = {}, [], []
    with open(os.path.join(root, "README.md"), encoding="utf-8") as f:
        for line in f:
            cells = [c.strip() for c in line.strip().strip("|").split("|")]
            if len(cells) < 3 or not cells[0].startswith("`"):
                continue
            folders = re.findall(r"`([a-z_/]+)/`", cells[0])
            listed += folders
            if cells[1].isdigit():
                for d in folders:
                    floors[d] = int(cells[1])
            elif cells[1] == "client":
                clients += folders
    # A folder inside a client with a row of its own (a developer tool on the static library) is not a client.
    inner = {d for d in listed if "/" in d}
    return floors, [(c, sorted(d for d in inner if d.startswith(c + "/"))) for c in clients]


def sources(root, folder, skip=()):
    for dirpath, _, names in os.walk(os.path.join(root, folder)):
        if any(os.path.relpath(dirpath, root).startswith(d) for d in skip):
            continue
        for n in sorted(names):
            if n.endswith(SOURCE_EXT):
                yield os.path.join(dirpath, n)


def home_of_include(name, floors):
    """The library folder an include names, or None for headers outside the library."""
    if name in HEADER_HOME:
        return HEADER_HOME[name]
    head = name.split("/", 1)[0]
    return head if "/" in name and head in floors else None


def check_includes(root, floors, clients, faults):
    for h in sorted(os.listdir(os.path.join(root, "include"))):
        if h.endswith(".h") and h != UMBRELLA and h not in HEADER_HOME:
            faults.append(f"include/{h}: public header without a home folder in tests/check_floors.py")
    header_floor = {h: floors[d] for h, d in HEADER_HOME.items() if d in floors}
    for folder, floor in floors.items():
        for path in sources(root, folder):
            for inc in INCLUDE_RE.findall(open(path, encoding="utf-8", errors="replace").read()):
                rel = os.path.relpath(path, root)
                if inc == UMBRELLA:
                    faults.append(f"{rel}: includes the hosts' umbrella header {inc}")
                    continue
                home = home_of_include(inc, floors)
                if home is not None and floors[home] > floor:
                    faults.append(f"{rel} (floor {floor}) includes {inc} of {home}/ (floor {floors[home]})")
    for h in sorted(HEADER_HOME):
        path = os.path.join(root, "include", h)
        if not os.path.exists(path) or HEADER_HOME[h] not in floors:
            continue
        for inc in INCLUDE_RE.findall(open(path, encoding="utf-8").read()):
            if inc in header_floor and header_floor[inc] > header_floor[h]:
                faults.append(f"include/{h} (floor {header_floor[h]}) includes {inc} (floor {header_floor[inc]})")
    for folder, skip in clients:
        for path in sources(root, folder, skip):
            for inc in INCLUDE_RE.findall(open(path, encoding="utf-8", errors="replace").read()):
                if "/" in inc and inc.split("/", 1)[0] in floors:
                    faults.append(f"{os.path.relpath(path, root)}: a client includes the library's own {inc}")


def symbols(obj, which):
    out = subprocess.run(["nm", which, "--format=posix", obj], capture_output=True, text=True, check=True).stdout
    return {line.split()[0] for line in out.splitlines() if line.strip()}


def check_links(root, obj_dir, floors, faults):
    objects = []  # (folder, path)
    for folder in floors:
        d = os.path.join(obj_dir, folder)
        for dirpath, _, names in os.walk(d):
            # An object whose source is gone (left in the build folder by a rename) is not part of the library.
            objects += [(folder, os.path.join(dirpath, n)) for n in sorted(names) if n.endswith(".o")
                        and os.path.exists(os.path.join(root, os.path.relpath(os.path.join(dirpath, n[:-2]), obj_dir)))]
    if not objects:
        faults.append(f"{obj_dir}: no object files found")
        return
    where = {}
    for folder, path in objects:
        for s in symbols(path, "--defined-only"):
            where.setdefault(s, folder)
    for folder, path in objects:
        for s in sorted(symbols(path, "--undefined-only")):
            home = where.get(s)
            if home and floors[home] > floors[folder]:
                faults.append(f"{os.path.relpath(path, obj_dir)} (floor {floors[folder]}) links to {s} "
                              f"of {home}/ (floor {floors[home]})")


def main():
    if len(sys.argv) not in (2, 3):
        print(__doc__.strip().splitlines()[-1], file=sys.stderr)
        return 2
    root = sys.argv[1]
    floors, clients = read_floors(root)
    if "core" not in floors or "analytics" not in floors:
        print("check_floors: README.md's layout table gives no floors", file=sys.stderr)
        return 1
    faults = []
    check_includes(root, floors, clients, faults)
    if len(sys.argv) == 3:
        check_links(root, sys.argv[2], floors, faults)
    for f in faults:
        print(f)
    print(f"check_floors: {len(faults)} dependencies point up a floor" if faults else
          f"check_floors: {len(floors)} library folders, every dependency points down")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
