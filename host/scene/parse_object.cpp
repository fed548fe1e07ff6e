// Objects: flags, and the dispatch of their bodies.
#include "host/scene/parse_object.h"

namespace vx::scene {

namespace {

constexpr std::uint8_t kRayMask = 3;

std::uint8_t ray_bits(Cursor& cursor) {
    constexpr int kMaxByte = 255;
    if (cursor.at_integer() && (cursor.token().integer < 0 || cursor.token().integer > kMaxByte))
        cursor.fail("an integer from 0 to 3");
    return static_cast<std::uint8_t>(cursor.integer()) & kRayMask;
}

std::uint8_t ray_flag(Cursor& cursor) {
    if (cursor.at_integer()) return ray_bits(cursor);
    constexpr std::uint8_t kOn = 3, kOff = 2;
    return cursor.boolean_or(true) ? kOn : kOff;
}

void skip_box(Cursor& cursor) {
    cursor.expect("box");
    if (!cursor.at_number()) return;
    cursor.vector();
    cursor.vector();
}

void skip_map_file(Cursor& cursor) {
    cursor.expect("file");
    if (cursor.at_string() || cursor.at_bool()) cursor.advance();
}

bool parse_ray_flag(Cursor& cursor, ObjectFlags& flags) {
    struct Ray {
        std::string_view word;
        std::uint8_t ObjectFlags::*field;
    };
    constexpr Ray kRays[] = {
        {"shadow", &ObjectFlags::shadow},         {"reflection", &ObjectFlags::reflection},
        {"refraction", &ObjectFlags::refraction}, {"transparency", &ObjectFlags::transparency},
        {"caustic", &ObjectFlags::caustic},       {"globillum", &ObjectFlags::globillum}};
    for (const Ray& ray : kRays)
        if (cursor.accept(ray.word)) {
            flags.*ray.field = ray_flag(cursor);
            return true;
        }
    if (cursor.accept("finalgather")) {
        if (cursor.at("file"))
            skip_map_file(cursor);
        else
            flags.finalgather = ray_flag(cursor);
    } else if (cursor.accept("trace")) {
        flags.reflection = flags.refraction = flags.finalgather = ray_flag(cursor);
    } else {
        return false;
    }
    return true;
}

bool skip_flag(Context& c) {
    Cursor& cursor = c.cursor;
    if (cursor.at("box")) {
        skip_box(cursor);
    } else if (cursor.accept("motion")) {
        skip_box(cursor);
    } else if (cursor.accept("max")) {
        cursor.expect("displace");
        cursor.number();
    } else if (cursor.accept("ray")) {
        cursor.expect("offset");
        cursor.number();
    } else if (cursor.accept("samples")) {
        cursor.integer();
        if (cursor.at_integer()) cursor.advance();
    } else if (cursor.accept("shading")) {
        cursor.expect("samples");
        cursor.number();
    } else if (cursor.accept("volume")) {
        cursor.expect("group");
        cursor.integer();
    } else if (cursor.accept("hardware")) {
        cursor.boolean_or(true);
    } else if (cursor.accept("photonmap")) {
        skip_map_file(cursor);
    } else if (cursor.at("attribute")) {
        skip_attribute(c);
    } else {
        return false;
    }
    return true;
}

bool parse_flag(Context& c, Object& object, bool& data_seen) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("visible"))
        object.flags.visible = cursor.boolean_or(true);
    else if (parse_ray_flag(cursor, object.flags)) {
    } else if (cursor.accept("shadowmap"))
        object.flags.shadowmap = cursor.boolean_or(true);
    else if (cursor.accept("select"))
        object.flags.select = cursor.boolean_or(true);
    else if (cursor.accept("tagged"))
        object.flags.tagged = cursor.boolean_or(true);
    else if (cursor.accept("face"))
        object.flags.face = parse_face(cursor);
    else if (cursor.accept("tag"))
        object.label = cursor.label();
    else if (cursor.accept("transform"))
        object.transform = cursor.matrix();
    else if (cursor.accept("data"))
        parse_data_item(c, object.data, data_seen);
    else
        return skip_flag(c);
    return true;
}

// Skips unsupported geometry and everything after it, including `end object`.
void skip_body(Context& c, const Object& object) {
    Cursor& cursor = c.cursor;
    const Location where = cursor.where();
    const std::string kind(cursor.token().text);
    c.diagnostics.omit(Omission::geometry, '"' + object.name + '"');
    c.diagnostics.warning_once("object " + kind, where,
                               "geometry '" + kind + "' is not supported; ignored");
    // A bracketed count is the length of the following binary block in words.
    std::size_t count = 0;
    bool in_bracket = false;
    for (;;) {
        if (cursor.at_end()) cursor.fail("'end object'");
        if (cursor.token().kind == TokenKind::backquote) {
            cursor.skip_binary(count * 4);
            continue;
        }
        if (cursor.at("end")) {
            cursor.advance();
            if (cursor.accept("object")) return;
            continue;
        }
        if (cursor.at_mark('['))
            in_bracket = true;
        else if (in_bracket && cursor.at_integer() && cursor.token().integer > 0)
            count = static_cast<std::size_t>(cursor.token().integer);
        else if (cursor.at_mark(']'))
            in_bracket = false;
        cursor.advance();
    }
}

void parse_body(Context& c, const Object& object, MeshBuilder& builder) {
    Cursor& cursor = c.cursor;
    for (;;) {
        if (cursor.accept("end")) {
            cursor.expect("object");
            return;
        }
        if (cursor.at("group")) {
            if (!parse_group(c, builder)) return skip_body(c, object);
        } else if (cursor.at("trilist")) {
            parse_trilist(c, builder);
        } else if (cursor.at_any(
                       {"approximate", "visible", "trace", "shadow", "caustic", "globillum"})) {
            skip_approximation(cursor);
        } else if (cursor.at_any({"basis", "hair", "particle", "file", "intersection", "curve",
                                  "surface", "subdivision", "ccmesh", "space", "connect"})) {
            return skip_body(c, object);
        } else {
            cursor.fail("a body of the object or 'end object'");
        }
    }
}

// Object names are optional. Words that begin a flag or a body are not names.
bool at_object_name(const Cursor& cursor) {
    if (cursor.at_string()) return true;
    return cursor.at_word() &&
           !cursor.at_any({"visible",    "shadow",       "shadowmap",    "trace",    "reflection",
                           "refraction", "transparency", "finalgather",  "caustic",  "globillum",
                           "select",     "tagged",       "face",         "box",      "motion",
                           "max",        "ray",          "samples",      "shading",  "data",
                           "tag",        "transform",    "volume",       "hardware", "photonmap",
                           "attribute",  "basis",        "group",        "trilist",  "hair",
                           "particle",   "file",         "intersection", "end"});
}

void finish(Context& c, Object object, std::optional<Mesh> mesh) {
    if (object.name.empty()) {
        c.diagnostics.skip("object without name", object.where,
                           "ignoring an object without a name");
        return;
    }
    c.names.keep(object);
    object.mesh = std::move(mesh);
    c.receiver.on_object(std::move(object));
}

} // namespace

void skip_approximation(Cursor& cursor) {
    while (!cursor.at_any({"end", "c", "cp", "p", "strip", "fan"})) {
        if (!cursor.at_word() && !cursor.at_number() && !cursor.at_string() && !cursor.at_mark('%'))
            cursor.fail("an approximation");
        cursor.advance();
    }
}

void parse_object(Context& c, bool incremental) {
    Cursor& cursor = c.cursor;
    DefinedName name;
    name.where = cursor.where();
    cursor.advance();
    if (at_object_name(cursor)) name = parse_defined_name(c, "object");
    try {
        auto object = c.names.start<Object>(name.name, name.where, incremental);
        bool data_seen = false;
        while (parse_flag(c, object, data_seen)) {
        }
        std::optional<Mesh> mesh;
        if (cursor.accept("end")) {
            cursor.expect("object");
            if (!incremental) mesh.emplace();
        } else {
            MeshBuilder builder(object.flags.tagged);
            parse_body(c, object, builder);
            mesh = builder.finish();
        }
        finish(c, std::move(object), std::move(mesh));
    } catch (const SyntaxError&) {
        if (!name.name.empty()) c.names.keep_name<Object>(name.name);
        throw;
    }
}

} // namespace vx::scene
