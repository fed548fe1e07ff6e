"""Variants of the renderer's headers, with other choices where its manual leaves points open.

A variant is a function that takes the texts of the headers, a dictionary from file name to text, and
changes them in place.
"""

import re

STRUCTS = ["miCamera", "miOptions", "miInstance", "miMaterial", "miLight", "miState"]


def replace(headers, name, old, new, count=None):
    """Replaces a text that must occur; exactly `count` times if given."""
    found = headers[name].count(old)
    if found == 0 or (count is not None and found != count):
        raise ValueError(f"{name} holds {found} times: {old}")
    headers[name] = headers[name].replace(old, new)


def substitute(headers, name, pattern, new, flags=0):
    """Replaces a pattern that must match."""
    headers[name], found = re.subn(pattern, new, headers[name], flags=flags)
    if found == 0:
        raise ValueError(f"{name} does not match: {pattern}")


def drop_assertions(headers):
    """The headers' own static assertions hold for one variant only."""
    substitute(headers, "shader.h", r"^MI_STATIC_ASSERT\(.*?\);\n", "", re.MULTILINE | re.DOTALL)
    substitute(headers, "shader_map.h", r"^static_assert\(.*?\);\n", "", re.MULTILINE | re.DOTALL)


def as_they_are(headers):
    """The headers of this project."""


def dllexport_empty(headers):
    """Entry points are not marked."""
    substitute(headers, "shader.h", r"#ifdef _WIN32\n#define DLLEXPORT.*?#endif\n",
               "#define DLLEXPORT\n", re.DOTALL)


def dllexport_visible(headers):
    """Entry points are marked as visible."""
    substitute(headers, "shader.h", r"#ifdef _WIN32\n#define DLLEXPORT.*?#endif\n",
               '#define DLLEXPORT __attribute__((visibility("default")))\n', re.DOTALL)


def interface_needs_shader_h(headers):
    """mi_shader_if.h and shader_map.h can't be included by themselves."""
    for name in ("mi_shader_if.h", "shader_map.h"):
        replace(headers, name, '#include "shader.h"\n',
                '#ifndef miNULLTAG\n#error "include shader.h instead"\n#endif\n', 1)


def headers_apart(headers):
    """Neither shader.h nor mi_shader_if.h includes the other."""
    replace(headers, "shader.h", '#include "mi_shader_if.h"\n', "", 1)
    for name in ("mi_shader_if.h", "shader_map.h"):
        replace(headers, name, '#include "shader.h"\n', "", 1)


def vector_section(headers):
    start = headers["shader.h"].index("static inline void mi_vector_neg(")
    end = headers["shader.h"].index("#ifdef __cplusplus\n}\n#endif\n", start)
    return headers["shader.h"][start:end]


def vectors_not_const(headers):
    """The vector helpers take pointers to non-const vectors."""
    section = vector_section(headers)
    changed = section.replace("const miVector*", "miVector*")
    replace(headers, "shader.h", section, changed, 1)


def vectors_as_macros(headers):
    """The vector helpers are macros."""
    replace(headers, "shader.h", vector_section(headers), """
#define mi_vector_neg(r) ((r)->x = -(r)->x, (r)->y = -(r)->y, (r)->z = -(r)->z)
#define mi_vector_add(r, a, b) \\
    ((r)->x = (a)->x + (b)->x, (r)->y = (a)->y + (b)->y, (r)->z = (a)->z + (b)->z)
#define mi_vector_sub(r, a, b) \\
    ((r)->x = (a)->x - (b)->x, (r)->y = (a)->y - (b)->y, (r)->z = (a)->z - (b)->z)
#define mi_vector_mul(r, f) ((r)->x *= (f), (r)->y *= (f), (r)->z *= (f))
#define mi_vector_div(r, f) ((f) != 0 ? (mi_vector_mul(r, 1 / (f)), 0) : 0)
#define mi_vector_dot(a, b) ((a)->x * (b)->x + (a)->y * (b)->y + (a)->z * (b)->z)
#define mi_vector_norm(a) sqrtf(mi_vector_dot(a, a))
#define mi_vector_normalize(r) mi_vector_div(r, mi_vector_norm(r))
""", 1)


def distance_without_destructor(headers):
    """The distance functors have no destructor of their own."""
    replace(headers, "shader_map.h", "    ~Map_distance() {}\n", "", 1)
    replace(headers, "shader_map.h", "    ~Map_distance_base() {}\n", "", 1)


def c_linkage_by_includer(headers):
    """shader.h declares C functions without extern "C"; the including file adds it."""
    replace(headers, "shader.h", '#ifdef __cplusplus\nextern "C" {\n#endif\n', "", 1)
    replace(headers, "shader.h", "#ifdef __cplusplus\n}\n#endif\n", "", 1)


def other_enumerators(headers):
    """Enumerations without a fixed value count from elsewhere; the kinds of field are an unscoped
    enumeration instead of a class."""
    drop_assertions(headers)
    for first in ("miTYPE_BOOLEAN = 0", "miSHADER_NONE = 0", "miLIGHT_ORIGIN = 0",
                  "miPHOTON_LIGHT = 16"):
        replace(headers, "shader.h", first, first.split("=")[0] + "= 1000", 1)
    substitute(headers, "shader.h", r"(miRAY_(?!REFLECT\b)\w+) = (\d+)", r"\1 = 500 + \2")
    substitute(headers, "shader.h", r"(miSCENE_(?!FUNCTION\b|MATERIAL\b)\w+) = (\d+)",
               r"\1 = 200 - \2")
    substitute(headers, "shader.h", r"(miQ_(?!FUNC_USERPTR\b|FUNC_DECL\b|FUNC_TLS)\w+) = (\d+)",
               r"\1 = 700 + \2")
    substitute(headers, "shader_map.h", r"class Map_field_type \{.*?\n\};\n",
               "enum Map_field_type {\n    String = 40, Vector, Undefined, Integer, Color, Scalar,\n"
               "    Transform, Scalar_array, Integer_array\n};\n", re.DOTALL)
    substitute(headers, "shader_map.h", r"Map_field_type::Type\b", "Map_field_type")


def longer_records(headers):
    """Records that the renderer allocates have further members at their end."""
    drop_assertions(headers)
    for name in STRUCTS:
        replace(headers, "shader.h", f"}} {name};\n", f"    char more[{40 + len(name)}];\n}} {name};\n",
                1)


def longer_functions(headers):
    """A function's record has further members in front of its parameter block."""
    drop_assertions(headers)
    replace(headers, "shader.h", "    char parameters[8];", "    char more[24];\n    char parameters[8];",
            1)


def rename(headers, names):
    for old, new in names:
        if not any(re.search(old, text) for text in headers.values()):
            raise ValueError(f"no file has a match for {old}")
        for name in headers:
            headers[name] = re.sub(old, new, headers[name])


def other_names(headers):
    """All names that are not in the manual are different."""
    rename(headers, [
        (r"\bat_end\b", "is_past_end"),
        (r"\bget_field_id\b", "find_field"),
        (r"\bget_position\b", "get_coordinates"),
        (r"\bget_squared_distance\b", "get_distance"),
        (r"\bhas_field\b", "contains_field"),
        (r"\bmap_no_such_field\b", "map_field_none"),
        (r"\bsearch\b(?=\()", "find_nearest"),
        (r"\bshareMap\b", "openAgain"),
        (r"\bconnected\b(?=[;,])", "may_be_connected"),
        (r"\bname\[4\]", "shader_name[4]"),
        (r"\bappend_field\b", "add_field"),
        (r"\bset_position\b", "put_coordinates"),
        (r"\bset\(const Map_field_id\b", "put(const Map_field_id"),
        (r"\bVector\b", "Triple"),
        (r"\bScalar\b", "Number"),
        (r"\bInteger\b", "Whole"),
        (r"\bmiFunction_decl\b", "miDeclaration"),
        (r"\bmiQ_FUNC_DECL\b", "miQ_FUNC_DECLARATION"),
        (r"\bmiQ_FUNC_TLS_GET\b", "miQ_FUNC_THREAD_DATA"),
        (r"\bmiQ_FUNC_TLS_SET\b", "miQ_FUNC_SET_THREAD_DATA"),
        (r"\bmiSS_LIFETIME_EYERAY\b", "miSS_LIFETIME_CALL"),
        (r"\bmiGHOST_PLAIN\b", "miGHOST_NONE"),
    ])


# The changes of other_names in src/platform, where such a name follows an access.
OTHER_NAMES_IN_PLATFORM = [
    (r"->at_end\b", "->is_past_end"),
    (r"->get_field_id\b", "->find_field"),
    (r"\.get_position\b", ".get_coordinates"),
    (r"->get_squared_distance\b", "->get_distance"),
    (r"->has_field\b", "->contains_field"),
    (r"\bmap_no_such_field\b", "map_field_none"),
    (r"->search\b", "->find_nearest"),
    (r"->shareMap\b", "->openAgain"),
    (r"->append_field\b", "->add_field"),
    (r"->set_position\b", "->put_coordinates"),
    (r"->set\b", "->put"),
    (r"Map_field_type::Vector\b", "Map_field_type::Triple"),
    (r"Map_field_type::Scalar\b", "Map_field_type::Number"),
    (r"Map_field_type::Integer\b", "Map_field_type::Whole"),
    (r"\bmiFunction_decl\b", "miDeclaration"),
    (r"->connected\b", "->may_be_connected"),
    (r"->name\b", "->shader_name"),
]

# Variants whose library runs in vx_render, which implements this project's headers.
BINARY_COMPATIBLE = [as_they_are, dllexport_empty, dllexport_visible, interface_needs_shader_h,
                     headers_apart, vectors_not_const, vectors_as_macros,
                     distance_without_destructor, c_linkage_by_includer, longer_records, other_names]
# Variants with other values or layouts: their library needs a renderer of its own.
LOADABLE = [other_enumerators, longer_functions]
VARIANTS = {variant.__name__: variant for variant in BINARY_COMPATIBLE + LOADABLE}
