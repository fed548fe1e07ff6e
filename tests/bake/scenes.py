"""Scene texts for the bake tests, and the geometry that a bake of them must reproduce."""

import math


def add(a, b):
    return tuple(x + y for x, y in zip(a, b))


def sub(a, b):
    return tuple(x - y for x, y in zip(a, b))


def mul(a, f):
    return tuple(x * f for x in a)


def dot(a, b):
    return sum(x * y for x, y in zip(a, b))


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def unit(a):
    return mul(a, 1 / math.sqrt(dot(a, a)))


class Camera:
    """A perspective camera at `eye`, rotated by `turn` radians about the world's y axis."""

    def __init__(self, width=16, height=12, eye=(0, 0, 5), turn=0.0, focal=1.4, aperture=1.2,
                 aspect=None):
        self.width, self.height, self.eye, self.turn = width, height, eye, turn
        self.focal, self.aperture = focal, aperture
        self.aspect = width / height if aspect is None else aspect
        c, s = math.cos(turn), math.sin(turn)
        # Rows of the camera-to-world rotation for row vectors: the camera's x, y and z axes.
        self.axes = ((c, 0, -s), (0, 1, 0), (s, 0, c))

    def direction(self, x, y, sx=0.5, sy=0.5):
        """Through position (sx, sy) of the pixel (x, y); (0, 0) is the lower left one."""
        cx = ((x + sx) / self.width - 0.5) * self.aperture
        cy = ((y + sy) / self.height - 0.5) * self.aperture / self.aspect
        d = (0, 0, 0)
        for value, axis in zip((cx, cy, -self.focal), self.axes):
            d = add(d, mul(axis, value))
        return unit(d)

    def pixel(self, point):
        """The continuous raster position of a point."""
        v = sub(point, self.eye)
        x, y, z = (dot(v, axis) for axis in self.axes)
        return ((self.focal * x / -z / self.aperture + 0.5) * self.width,
                (self.focal * y / -z * self.aspect / self.aperture + 0.5) * self.height)

    def world_to_camera(self):
        rows = [[self.axes[j][i] for j in range(3)] + [0] for i in range(3)]
        t = [-dot(self.eye, axis) for axis in self.axes]
        return rows + [t + [1]]

    def text(self, lens="", frame=1, name="cam", output='output "rgba" "png" "out.png"',
             incremental=""):
        return """
%s camera "%s"
    %s
    focal %.9g aperture %.9g aspect %.9g
    resolution %d %d
    frame %d
    %s
end camera
""" % (incremental, name, output, self.focal, self.aperture, self.aspect, self.width, self.height,
            frame, lens)

    def instance(self, name="cam"):
        matrix = " ".join("%.9g" % v for row in self.world_to_camera() for v in row)
        return 'instance "%sInst" "%s" transform %s end instance\n' % (name, name, matrix)


HEAD = """
verbose 5
link "base.so"
link "vx_pc.so"
$include <base.mi>
$include <vx_pc.mi>
options "opt"
    object space
    samples 0 0 contrast 0.1 0.1 0.1 0.1 filter box 1 1
    trace on trace depth 2 2 4 shadow on face both
end options
"""


def writer(**parameters):
    """A lens statement. Parameters that are not given have plain, working values."""
    values = dict(disable=False, jitter=False, samples=1, layers=1, useLabels=False, labels="",
                  pdcFileName="cloud.0001.pdc", mapFileName="cloud.0001.mrmap", outputMode=2,
                  frame=1, radius=0.05)
    values.update(parameters)
    texts = []
    for name, value in values.items():
        if isinstance(value, bool):
            value = "on" if value else "off"
        elif isinstance(value, str):
            value = value if value.startswith("=") else '"%s"' % value
        texts.append('"%s" %s' % (name, value))
    return '"vx_pc_write" ( %s )' % ", ".join(texts)


def tagged(name, color, bake, tag):
    return 'material "%s" opaque "vx_pc_tag" ( "color" %s, "bakeColor" %s, "tag" %d ) end material\n' % (
        name, " ".join("%.9g" % v for v in color), " ".join("%.9g" % v for v in bake), tag)


def plain(name, color):
    """A material without a tag: a constant, ambient color."""
    return ('material "%s" opaque "mib_illum_lambert" ( "ambience" 1 1 1 1, "ambient" %s, '
            '"mode" 0, "lights" [ ] ) end material\n' % (name, " ".join("%.9g" % v for v in color)))


OBJECT_FLAGS = "visible on shadow 3 trace on"


def quad(name, center, u, v, labels=(0, 0)):
    """A parallelogram of two triangles, front side towards u x v, with its exact normal at the corners."""
    corners = [sub(sub(center, u), v), sub(add(center, u), v), add(add(center, u), v),
               add(sub(center, u), v)]
    normal = unit(cross(u, v))
    lines = ["%.9g %.9g %.9g" % c for c in corners] + ["%.9g %.9g %.9g" % normal]
    vertices = ["v %d n 4" % i for i in range(4)]
    return """
object "%s"
    %s tagged on
    group
        %s
        %s
        c %d 0 1 2
        c %d 0 2 3
    end group
end object
""" % (name, OBJECT_FLAGS, "\n        ".join(lines), "\n        ".join(vertices), labels[0], labels[1])


def sphere(name, radius, segments=48):
    """A latitude-longitude sphere about the origin, front side outwards, as one triangle list."""
    points = []
    for i in range(segments + 1):
        theta = math.pi * i / segments
        for j in range(2 * segments):
            phi = math.pi * j / segments
            points.append((math.sin(theta) * math.cos(phi), math.cos(theta),
                           -math.sin(theta) * math.sin(phi)))
    triangles = []
    for i in range(segments):
        for j in range(2 * segments):
            k = (j + 1) % (2 * segments)
            a, b = i * 2 * segments + j, i * 2 * segments + k
            c, d = a + 2 * segments, b + 2 * segments
            if i > 0:
                triangles.append((a, c, b))
            if i < segments - 1:
                triangles.append((b, c, d))
    lines = ["%.9g %.9g %.9g %.9g %.9g %.9g" % (mul(p, radius) + p) for p in points]
    faces = ["0 %d %d %d" % t for t in triangles]
    return """
object "%s"
    %s tagged on
    trilist vertex %d p n triangle %d
    [ %s ]
    [ %s ]
    end trilist
end object
""" % (name, OBJECT_FLAGS, len(points), len(triangles), "\n".join(lines), "\n".join(faces))


def instance(name, item, materials, single=False):
    listed = '"%s"' % materials[0] if single else "[ %s ]" % ", ".join('"%s"' % m for m in materials)
    return 'instance "%s" "%s" material %s end instance\n' % (name, item, listed)


def world(*instances, name="world", incremental=""):
    return '%s instgroup "%s" %s end instgroup\n' % (incremental, name,
                                                     " ".join('"%s"' % i for i in instances))


RENDER = 'render "world" "camInst" "opt"\n'


def plane_hit(eye, direction, center, normal):
    """The intersection of a ray and a plane."""
    t = dot(sub(center, eye), normal) / dot(direction, normal)
    return add(eye, mul(direction, t))


TILT_NORMAL = unit((0.3, 0.4, 1.0))
TILT_U = mul(unit(cross((0, 1, 0), TILT_NORMAL)), 6)
TILT_V = mul(unit(cross(TILT_NORMAL, TILT_U)), 6)
TILT_CENTER = (0.2, -0.1, -0.5)


def tilted_scene(camera, lens, bake=(0.25, 0.5, 0.75, 0.625), tag=7):
    return (HEAD + camera.text(lens) + camera.instance() +
            tagged("mtl", (1, 0, 0, 1), bake, tag) + quad("plane", TILT_CENTER, TILT_U, TILT_V) +
            instance("planeInst", "plane", ["mtl"]) + world("camInst", "planeInst") + RENDER)
