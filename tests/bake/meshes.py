"""Triangle meshes with normals and texture coordinates, and their intersections with rays: in double
precision, by intersecting every triangle of every instance."""

import math

from scenes import OBJECT_FLAGS, add, cross, dot, mul, sub, unit


def rotation(axis, angle):
    """Rows of the 3 x 3 matrix that turns row vectors about an axis."""
    x, y, z = unit(axis)
    c, s = math.cos(angle), math.sin(angle)
    k = 1 - c
    return ((c + x * x * k, x * y * k + z * s, x * z * k - y * s),
            (x * y * k - z * s, c + y * y * k, y * z * k + x * s),
            (x * z * k + y * s, y * z * k - x * s, c + z * z * k))


def row_times(v, m):
    return tuple(sum(v[i] * m[i][j] for i in range(3)) for j in range(3))


def inverse(m):
    a, b, c = m
    determinant = dot(a, cross(b, c))
    columns = [mul(v, 1 / determinant) for v in (cross(b, c), cross(c, a), cross(a, b))]
    return tuple(tuple(columns[j][i] for j in range(3)) for i in range(3))


class Mesh:
    """`textures`: texture spaces, each with a vector per vertex."""

    def __init__(self, points, normals, textures, triangles):
        self.points, self.normals, self.textures, self.triangles = points, normals, textures, triangles

    def text(self, name):
        lists = [self.points, self.normals, *self.textures]
        count = len(self.points)
        vectors = ["%.9g %.9g %.9g" % v for values in lists for v in values]
        letters = ["", " n %d"] + [" t %d"] * len(self.textures)
        vertices = ["v %d" % i + "".join(letter % (count * k + i) for k, letter in enumerate(letters) if letter)
                    for i in range(count)]
        return 'object "%s"\n%s\ngroup\n%s\n%s\n%s\nend group end object\n' % (
            name, OBJECT_FLAGS, "\n".join(vectors), "\n".join(vertices),
            "\n".join("p %d %d %d" % t for t in self.triangles))


class Placed:
    """An instance: p -> p * scale * turn + move for row vectors."""

    def __init__(self, mesh, scale=(1, 1, 1), turn=rotation((0, 0, 1), 0), move=(0, 0, 0)):
        self.mesh, self.move = mesh, move
        self.linear = tuple(mul(turn[i], scale[i]) for i in range(3))
        self.inverse = inverse(self.linear)
        self.corners = [self.to_world(p) for p in mesh.points]

    def to_world(self, p):
        return add(row_times(p, self.linear), self.move)

    def to_object(self, p):
        return row_times(sub(p, self.move), self.inverse)

    def normal_to_world(self, n):
        return tuple(dot(n, row) for row in self.inverse)

    def normal_to_object(self, n):
        return tuple(dot(n, row) for row in self.linear)

    def text(self, name, item, material, more=""):
        to_object = [list(row) + [0] for row in self.inverse] + [list(self.to_object((0, 0, 0))) + [1]]
        return 'instance "%s" "%s" material [ "%s" ] transform %s %s end instance\n' % (
            name, item, material, " ".join("%.9g" % v for row in to_object for v in row), more)


class Hit:
    """The intersection of a ray and a triangle of an instance."""

    def __init__(self, placed, triangle, weights, distance, point):
        self.placed, self.triangle, self.weights = placed, triangle, weights
        self.distance, self.point = distance, point
        self.normal = unit(placed.normal_to_world(self.interpolated(placed.mesh.normals)))
        a, b, c = (placed.mesh.points[i] for i in triangle)
        self.flat_normal = unit(placed.normal_to_world(cross(sub(b, a), sub(c, a))))

    def interpolated(self, values):
        v = (0, 0, 0)
        for weight, i in zip(self.weights, self.triangle):
            v = add(v, mul(values[i], weight))
        return v

    def height(self):
        """The least distance of a corner of the triangle from the other side, in the world."""
        a, b, c = (self.placed.corners[i] for i in self.triangle)
        area = cross(sub(b, a), sub(c, a))
        longest = max(dot(s, s) for s in (sub(b, a), sub(c, b), sub(a, c)))
        return math.sqrt(dot(area, area) / longest)

    def spread(self, values):
        """The largest difference of a component over the triangle."""
        corners = [values[i] for i in self.triangle]
        return max(max(v[k] for v in corners) - min(v[k] for v in corners) for k in range(3))


def first_hit(instances, origin, direction):
    """The nearest hit, or None; and the distance of the ray from edges of triangles, as the least weight of a
    corner among all triangles that it hits or nearly hits."""
    best, edge = None, 1.0
    for placed in instances:
        for triangle in placed.mesh.triangles:
            a, b, c = (placed.corners[i] for i in triangle)
            u, v = sub(b, a), sub(c, a)
            p = cross(direction, v)
            determinant = dot(u, p)
            if determinant == 0:
                continue
            s = sub(origin, a)
            q = cross(s, u)
            w1, w2 = dot(s, p) / determinant, dot(direction, q) / determinant
            least = min(1 - w1 - w2, w1, w2)
            edge = min(edge, abs(least))
            distance = dot(v, q) / determinant
            if least < 0 or distance <= 0 or (best is not None and distance >= best[0]):
                continue
            best = (distance, placed, triangle, (1 - w1 - w2, w1, w2))
    if best is None:
        return None, edge
    distance, placed, triangle, weights = best
    return Hit(placed, triangle, weights, distance, add(origin, mul(direction, distance))), edge


def patch(steps=4):
    """A wavy sheet around the plane z = 0, front side towards +z, with two texture spaces."""
    points, normals, first, second = [], [], [], []
    for j in range(steps + 1):
        for i in range(steps + 1):
            x, y = 2 * i / steps - 1, 2 * j / steps - 1
            points.append((x, y, 0.25 * math.sin(1.7 * x + 0.3) * math.cos(1.3 * y)))
            normals.append(unit((0.3 * math.sin(3 * x), 0.3 * math.cos(2 * y + x), 1)))
            first.append(((x + 1) / 2.01, (y + 1) ** 2 / 4.01, 0))
            second.append((x * y, 2 - y, 5 + x))
    triangles = []
    for j in range(steps):
        for i in range(steps):
            a = j * (steps + 1) + i
            b = a + steps + 1
            triangles += [(a, a + 1, b + 1), (a, b + 1, b)]
    return Mesh(points, normals, [first, second], triangles)


def ball(segments=10):
    """A unit sphere of triangles about the origin, front side outwards, with exact normals."""
    points = []
    for i in range(segments + 1):
        theta = math.pi * i / segments
        for j in range(2 * segments):
            phi = math.pi * j / segments
            points.append((math.sin(theta) * math.cos(phi), math.cos(theta), -math.sin(theta) * math.sin(phi)))
    triangles = []
    for i in range(segments):
        for j in range(2 * segments):
            a, b = i * 2 * segments + j, i * 2 * segments + (j + 1) % (2 * segments)
            c, d = a + 2 * segments, b + 2 * segments
            if i > 0:
                triangles.append((a, c, b))
            if i < segments - 1:
                triangles.append((b, c, d))
    return Mesh(points, points, [], triangles)
