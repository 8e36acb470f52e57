#!/usr/bin/env python3
"""Checks that every file includes only its own layer and the layers below it."""

import pathlib
import re
import sys

# Layer (the longest matching folder wins) -> the layers it may name, besides itself and what those know.
KNOWS = {
    "base": [],
    "extraction/interfaces": ["base"],
    "mesh": ["extraction/interfaces"],
    "extraction/algorithms/access": ["mesh"],
    "extraction/algorithms/check": ["extraction/algorithms/access"],
    "extraction/algorithms/skin": ["extraction/algorithms/check"],
    "extraction/algorithms/map": ["extraction/algorithms/skin"],
    "extraction/algorithms/layers": ["extraction/algorithms/skin"],
    "extraction/algorithms/locate": ["extraction/algorithms/skin"],
    "extraction/algorithms/lines": ["extraction/algorithms/locate"],
    "extraction/algorithms/cut": ["extraction/algorithms/map"],
    "extraction/algorithms/gridcut": ["extraction/algorithms/cut"],
    "extraction/algorithms": ["extraction/algorithms/gridcut", "extraction/algorithms/layers",
                              "extraction/algorithms/lines"],
    "extraction/extractors": ["extraction/algorithms"],
    "io": ["mesh"],
    "toolkit/background": ["base"],
    "toolkit/classes": ["base"],
    "toolkit/shapes": ["toolkit/classes"],
    "toolkit/offscreen": ["base"],
    "toolkit": ["toolkit/shapes", "toolkit/offscreen", "toolkit/background"],
    "nodes": ["toolkit", "mesh"],
    "colormapping": ["nodes"],
    "representation/caches": ["colormapping"],
    "render": ["representation/caches", "extraction/algorithms"],
    "representation": ["render", "extraction/extractors"],
    "representations": ["representation", "render"],
    "colormapping/legend": ["representation", "render"],
    "picture": ["toolkit"],
}
# The lists of classes and the source of connectFrom look upward by design.
UPWARD = {"nodes/MoVelmo.cpp", "nodes/MoMesh.cpp", "toolkit/classes/MxToolkit.cpp"}
# Outside headers that a layer may use only when it says so here.
EXTERNAL = {
    "Inventor/": {"toolkit", "nodes", "colormapping", "representation/caches", "render",
                  "representation", "representations", "colormapping/legend", "picture"},
    "EGL/": {"toolkit"},
    "expat.h": {"io"},
    "zlib.h": {"io"},
    "netcdf.h": {"io"},
    "png.h": {"picture"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def layer_of(path):
    names = [layer for layer in KNOWS if path.startswith(layer + "/")]
    return max(names, key=len) if names else None


def reachable(layer):
    seen, todo = {layer}, [layer]
    while todo:
        for below in KNOWS[todo.pop()]:
            if below not in seen:
                seen.add(below)
                todo.append(below)
    return seen


def main():
    root = pathlib.Path(__file__).resolve().parent.parent / "src" / "velmo"
    faults, files = [], 0
    for path in sorted(root.rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        files += 1
        name = path.relative_to(root).as_posix()
        layer = layer_of(name)
        if layer is None:
            faults.append(f"{name}: belongs to no layer")
            continue
        may = reachable(layer)
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            quote, target = match.groups()
            if quote == '"':
                faults.append(f"{name}:{number}: spell the include from the source root: {target}")
            elif target.startswith("velmo/"):
                other = layer_of(target[len("velmo/"):])
                if other not in may and name not in UPWARD:
                    faults.append(f"{name}:{number}: {layer} may not know {other} ({target})")
            else:
                for prefix, layers in EXTERNAL.items():
                    if target.startswith(prefix) and not any((layer + "/").startswith(l + "/") for l in layers):
                        faults.append(f"{name}:{number}: {layer} may not use <{target}>")
    for fault in faults:
        print(fault)
    print(f"{files} files, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
