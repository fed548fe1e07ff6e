// The light block.
#include "host/scene/parse.h"

#include <cmath>

namespace vx::scene {

namespace {

struct Seen {
    bool shaders = false, data = false;
};

Vec3 parse_direction(Context& c) {
    const Location where = c.cursor.where();
    Vec3 v = c.cursor.vector();
    const double length =
        std::sqrt(static_cast<double>(v.x) * v.x + static_cast<double>(v.y) * v.y +
                  static_cast<double>(v.z) * v.z);
    if (!(length > 0))
        c.cursor.fail_at(where, "the direction of a light must not be a null vector");
    v.x = static_cast<float>(v.x / length);
    v.y = static_cast<float>(v.y / length);
    v.z = static_cast<float>(v.z / length);
    return v;
}

// A single number is u, with v = 1. An optional lower sampling level is ignored.
void parse_area_samples(Cursor& cursor, AreaShape& area) {
    if (!cursor.at_integer()) return;
    area.samples_u = cursor.integer();
    area.samples_v = cursor.at_integer() ? cursor.integer() : 1;
    while (cursor.at_integer())
        cursor.advance();
}

void parse_area(Context& c, Light& light, AreaKind kind) {
    Cursor& cursor = c.cursor;
    const Location where = cursor.where();
    AreaShape area;
    const bool has_shape = kind == AreaKind::object ? cursor.at_name() : cursor.at_number();
    if (!has_shape && kind != AreaKind::user) {
        light.area = {}; // the keyword alone resets the light to a point light
        return;
    }
    area.kind = kind;
    if (kind == AreaKind::rectangle) {
        area.u = cursor.vector();
        area.v = cursor.vector();
    } else if (kind == AreaKind::disc || kind == AreaKind::cylinder) {
        area.u = cursor.vector();
        area.radius = cursor.number();
    } else if (kind == AreaKind::sphere) {
        area.radius = cursor.number();
    } else if (kind == AreaKind::object) {
        area.object = c.used(cursor.name("the name of an object"));
    }
    parse_area_samples(cursor, area);
    light.area = area;
    c.diagnostics.skip("area light", where,
                       "area lights are not supported; using point lights instead");
}

bool skip_shadowmap_item(Context& c) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("detail")) {
        if (cursor.accept("samples")) cursor.integer();
    } else if (cursor.accept("merge") || cursor.accept("trace")) {
        cursor.boolean_or(true);
    } else if (cursor.accept("window")) {
        while (cursor.at_number())
            cursor.advance();
    } else if (cursor.accept("camera")) {
        cursor.name("the name of a camera");
    } else if (cursor.accept("bias") || cursor.accept("softness") || cursor.accept("accuracy")) {
        cursor.number();
    } else if (cursor.accept("resolution") || cursor.accept("samples")) {
        cursor.integer();
    } else if (cursor.accept("filter")) {
        parse_filter(c);
    } else if (cursor.accept("file")) {
        cursor.string("a file name");
    } else if (!cursor.accept("alpha") && !cursor.accept("color")) {
        return false;
    }
    return true;
}

void skip_shadowmap(Context& c) {
    if (c.cursor.at_bool())
        c.cursor.advance();
    else
        skip_shadowmap_item(c);
}

void parse_energy(Context& c, Light& light) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("spectrum")) {
        cursor.name("the name of a spectrum");
        return;
    }
    if (cursor.accept("colorprofile")) cursor.name("the name of a color profile");
    light.energy = cursor.color(1);
}

void parse_shader_item(Context& c, Light& light, Seen& seen) {
    // Repeated shaders form a list, which replaces the list of the earlier definition.
    if (!seen.shaders) light.shaders.clear();
    seen.shaders = true;
    light.shaders.push_back(parse_shader(c));
}

void parse_item(Context& c, Light& light, Seen& seen) {
    struct Area {
        std::string_view word;
        AreaKind kind;
    };
    constexpr Area kAreas[] = {{"rectangle", AreaKind::rectangle}, {"disc", AreaKind::disc},
                               {"sphere", AreaKind::sphere},       {"cylinder", AreaKind::cylinder},
                               {"object", AreaKind::object},       {"user", AreaKind::user}};
    Cursor& cursor = c.cursor;
    if (at_shader(c)) return parse_shader_item(c, light, seen);
    for (const Area& area : kAreas)
        if (cursor.accept(area.word)) return parse_area(c, light, area.kind);
    if (cursor.accept("origin")) {
        light.origin = cursor.vector();
    } else if (cursor.accept("direction")) {
        light.direction = parse_direction(c);
    } else if (cursor.accept("spread")) {
        light.spread = cursor.number();
    } else if (cursor.accept("visible")) {
        light.visible = cursor.boolean_or(true);
    } else if (cursor.accept("tag")) {
        light.label = cursor.label();
    } else if (cursor.accept("data")) {
        parse_data_item(c, light.data, seen.data);
    } else if (cursor.at("attribute")) {
        skip_attribute(c);
    } else if (cursor.accept("energy")) {
        parse_energy(c, light);
    } else if (cursor.accept("exponent")) {
        light.exponent = cursor.number();
    } else if (cursor.accept("emitter")) {
        light.emitter.assign(1, parse_shader(c));
    } else if (cursor.accept("hardware")) {
        parse_shader(c);
    } else if (cursor.at_any({"caustic", "globillum"})) {
        cursor.advance();
        cursor.expect("photons");
        cursor.integer();
        if (cursor.at_integer()) cursor.advance();
    } else if (cursor.accept("photons")) {
        cursor.expect("only");
        cursor.boolean();
    } else if (cursor.accept("lightprofile")) {
        cursor.name("the name of a light profile");
    } else if (cursor.accept("shadowmap")) {
        skip_shadowmap(c);
    } else {
        cursor.fail("a light item or 'end light'");
    }
}

} // namespace

void parse_light(Context& c, bool incremental) {
    Seen seen;
    parse_block<Light>(c, incremental, &SceneReceiver::on_light,
                       [&](Light& light) { parse_item(c, light, seen); });
}

} // namespace vx::scene
