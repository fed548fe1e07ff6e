"""The reader's results from the formulas, in double precision and by brute force.

    found    the maxPoints nearest points within the radius that pass label, cone and facing
    F(d)     1 - (3 t^2 - 2 t^3), t = d / radius
    w_i      F(d_i)^e f_i, where f_i is -N.n_i in facing mode times the opacity, each if it is on; for an
             exponent of 0 the product of f_1 to f_i
    result   scale / n * sum of w_i c_i over the n points with -N.n_i not below 0
"""

import math

NAN = float("nan")
NORMAL = (0, 0, 1)  # of the surface


def dot(a, b):
    return sum(x * y for x, y in zip(a, b))


class Undecided(Exception):
    """The result depends on rounding: the test must use another cloud."""


def less(a, b):
    if abs(a - b) < 1e-5:
        raise Undecided("%s and %s" % (a, b))
    return a < b


def passes(point, query, p):
    if p["labels"] is not None and point.get("tag") not in p["labels"]:
        return False
    if p["minAngle"] > 0 or p["maxAngle"] < 180:
        # A point without a normal has the null vector, at a right angle to everything.
        angle = math.degrees(math.acos(max(-1, min(1, dot(NORMAL, point.get("normalPP", (0, 0, 0)))))))
        if less(angle, p["minAngle"]) or less(p["maxAngle"], angle):
            return False
    return p["facing"] != 1 or less(0, dot(NORMAL, point["position"]) - dot(NORMAL, query))


def found(points, query, p):
    """(distance, point) pairs from near to far."""
    near = []
    for point in points:
        distance = math.dist(point["position"], query)
        if passes(point, query, p) and not less(p["radius"], distance):
            near.append((distance, point))
    near.sort(key=lambda pair: pair[0])
    for one, other in zip(near[:p["maxPoints"]], near[1:]):
        # The order of equal points does not matter.
        if dict(one[1], position=None) != dict(other[1], position=None):
            less(one[0], other[0])
    return near[:p["maxPoints"]]


def blend(points, query, radius=0.4, maxPoints=16, labels=None, facing=0, minAngle=0, maxAngle=180,
          falloff=(0, 0, 0), scale=(1, 1, 1), useOpacity=False):
    """(color, number of points found)."""
    p = dict(radius=radius, maxPoints=maxPoints, labels=labels, facing=facing, minAngle=minAngle,
             maxAngle=maxAngle)
    near = found(points, query, p)
    if not near:
        return (0, 0, 0), 0
    product, count, total = 1, 0, [0, 0, 0]
    for distance, point in near:
        factor = 1
        if facing == 1:
            factor = -dot(NORMAL, point.get("normalPP", (0, 0, 0)))
            if factor != 0 and less(factor, 0):
                continue
        if useOpacity:
            factor *= point.get("opacityPP", 1)
        product *= factor
        count += 1
        t = distance / radius
        for c in range(3):
            weight = (1 - t * t * (3 - 2 * t)) ** falloff[c] * factor if falloff[c] else product
            total[c] += weight * point["rgbPP"][c]
    if count == 0:
        return (NAN, NAN, NAN), len(near)
    return tuple(scale[c] / count * total[c] for c in range(3)), len(near)
