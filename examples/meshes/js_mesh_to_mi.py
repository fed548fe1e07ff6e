"""Turns an npm mesh module (exports.positions, exports.cells) into a .mi triangle list on stdout.

    npm pack bunny && tar xzf bunny-1.0.1.tgz
    python3 js_mesh_to_mi.py package/index.js bunny > bunny.mi

The mesh is centered over the origin, its feet at y = 0, and scaled to a height of 2; the normals are
area-weighted means of the faces around a vertex.
"""

import math
import re
import sys


def rows(text, name):
    body = re.search(name + r"\s*=\s*\[(\[.*?\])\s*\]", text, re.S).group(1)
    return [[float(v) for v in row.split(",")] for row in re.findall(r"\[([^\[\]]+)\]", body)]


def main():
    text = open(sys.argv[1]).read()
    points = rows(text, "positions")
    cells = [[int(v) for v in row] for row in rows(text, "cells")]
    low = [min(p[k] for p in points) for k in range(3)]
    high = [max(p[k] for p in points) for k in range(3)]
    scale = 2 / (high[1] - low[1])
    shift = [-(low[0] + high[0]) / 2, -low[1], -(low[2] + high[2]) / 2]
    points = [[(p[k] + shift[k]) * scale for k in range(3)] for p in points]
    normals = [[0.0] * 3 for _ in points]
    for a, b, c in cells:
        u = [points[b][k] - points[a][k] for k in range(3)]
        v = [points[c][k] - points[a][k] for k in range(3)]
        n = (u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0])
        for i in (a, b, c):
            for k in range(3):
                normals[i][k] += n[k]
    print("# The Stanford bunny, from the scans of the Stanford 3D Scanning Repository, reduced to")
    print("# %d vertices by the npm package \"bunny\" 1.0.1, which is in the public domain." % len(points))
    print("# Made by js_mesh_to_mi.py: centered, feet at y = 0, height 2, area-weighted normals.")
    print('object "%s"' % sys.argv[2])
    print("    visible on shadow 3 trace on tagged on")
    print("    trilist vertex %d p n triangle %d\n[" % (len(points), len(cells)))
    for p, n in zip(points, normals):
        length = math.sqrt(sum(v * v for v in n)) or 1
        print(" ".join("%.5g" % v for v in p + [v / length for v in n]))
    print("] [")
    for cell in cells:
        print("0 %d %d %d" % tuple(cell))
    print("] end trilist\nend object")


main()
