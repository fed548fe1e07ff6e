// Instances and groups of instances.
#include "host/scene/parse.h"

#include <cmath>

namespace vx::scene {

namespace {

struct Seen {
    bool data = false;
};

// Whether the matrix has no usable inverse.
bool singular(const Matrix& m) {
    const auto e = [&](std::size_t i) { return static_cast<double>(m[i]); };
    const double det = e(0) * (e(5) * e(10) - e(6) * e(9)) - e(1) * (e(4) * e(10) - e(6) * e(8)) +
                       e(2) * (e(4) * e(9) - e(5) * e(8));
    double scale = 1;
    for (std::size_t row = 0; row < 3; ++row)
        scale *= std::sqrt(e(row * 4) * e(row * 4) + e(row * 4 + 1) * e(row * 4 + 1) +
                           e(row * 4 + 2) * e(row * 4 + 2));
    constexpr double kMinVolume = 1e-12; // relative to the product of the lengths of the rows
    return !(std::abs(det) > kMinVolume * scale) || e(15) == 0;
}

Matrix parse_matrix(Context& c) {
    const Location where = c.cursor.where();
    const Matrix matrix = c.cursor.matrix();
    if (!singular(matrix)) return matrix;
    c.diagnostics.omit(Omission::statement, "singular matrix");
    c.diagnostics.warning(where, "the matrix is singular; using the identity instead");
    return kIdentityMatrix;
}

void parse_transform(Context& c, Instance& instance) {
    const Location where = c.cursor.where();
    instance.transform_shader.clear();
    instance.transform.reset();
    if (c.cursor.at_number()) {
        instance.transform = parse_matrix(c);
    } else if (at_shader(c)) {
        instance.transform_shader.push_back(parse_shader(c));
        c.diagnostics.skip("transform shader", where,
                           "transform shaders are not supported; ignored");
    }
}

void parse_motion(Context& c, Instance& instance) {
    Cursor& cursor = c.cursor;
    if (cursor.at_bool()) {
        if (cursor.boolean()) cursor.fail("'transform' or 'off'");
        instance.motion = MotionKind::off;
        return;
    }
    cursor.expect("transform");
    instance.motion = MotionKind::inherit;
    if (!cursor.at_number()) return;
    instance.motion = MotionKind::transform;
    instance.motion_transform = parse_matrix(c);
}

void parse_material_name(Context& c, Instance& instance) {
    const Location where = c.cursor.where();
    std::string name = c.used(c.cursor.name("the name of a material"));
    if (c.names.find_as<Material>(name) == nullptr)
        c.diagnostics.error(where, Names::no_element<Material>(name));
    else
        instance.materials.push_back(std::move(name));
}

void parse_materials(Context& c, Instance& instance) {
    Cursor& cursor = c.cursor;
    instance.materials.clear();
    instance.material_list = cursor.accept_mark('[');
    if (!instance.material_list) {
        if (cursor.at_string()) parse_material_name(c, instance);
        return;
    }
    while (!cursor.at_mark(']')) {
        parse_material_name(c, instance);
        if (!cursor.accept_mark(',')) break;
    }
    if (!cursor.at_mark(']')) cursor.fail("',' or ']'");
    cursor.advance();
}

void parse_lights(Context& c, Instance& instance) {
    Cursor& cursor = c.cursor;
    const bool shadow = cursor.accept("shadow");
    LightList list;
    if (cursor.at_string()) {
        if (cursor.token().text != "exclusive") cursor.fail("\"exclusive\" or '['");
        list.exclusive = true;
        cursor.advance();
    }
    cursor.expect_mark('[');
    while (!cursor.at_mark(']')) {
        list.lights.push_back(c.used(cursor.name("the name of a light instance or ']'")));
        cursor.accept_mark(',');
    }
    cursor.advance();
    (shadow ? instance.shadow_lights : instance.lights) = std::move(list);
}

std::uint8_t ray_bits(Context& c) {
    constexpr int kAllBits = 15;
    if (c.cursor.at_integer() &&
        (c.cursor.token().integer < 0 || c.cursor.token().integer > kAllBits))
        c.cursor.fail("an integer from 0 to 15");
    return static_cast<std::uint8_t>(c.cursor.integer());
}

// An optional boolean, or the bits themselves.
std::uint8_t ray_flag(Context& c, std::uint8_t on, std::uint8_t off) {
    if (c.cursor.at_integer()) return ray_bits(c);
    return c.cursor.boolean_or(true) ? on : off;
}

bool parse_flag(Context& c, InstanceFlags& flags) {
    constexpr std::uint8_t kBothOn = 3, kBothOff = 12, kShadowOff = 6;
    struct OnOff {
        std::string_view word;
        Switch InstanceFlags::*field;
    };
    constexpr OnOff kSwitches[] = {{"visible", &InstanceFlags::visible},
                                   {"shadowmap", &InstanceFlags::shadowmap},
                                   {"select", &InstanceFlags::select},
                                   {"hardware", &InstanceFlags::hardware}};
    struct Ray {
        std::string_view word;
        std::uint8_t InstanceFlags::*field;
        std::uint8_t off;
    };
    constexpr Ray kRays[] = {{"shadow", &InstanceFlags::shadow, kShadowOff},
                             {"reflection", &InstanceFlags::reflection, kBothOff},
                             {"refraction", &InstanceFlags::refraction, kBothOff},
                             {"transparency", &InstanceFlags::transparency, kBothOff},
                             {"caustic", &InstanceFlags::caustic, kBothOff},
                             {"globillum", &InstanceFlags::globillum, kBothOff},
                             {"finalgather", &InstanceFlags::finalgather, kBothOff}};
    Cursor& cursor = c.cursor;
    for (const OnOff& s : kSwitches)
        if (cursor.accept(s.word)) {
            flags.*s.field = cursor.boolean_or(true) ? Switch::on : Switch::off;
            return true;
        }
    for (const Ray& ray : kRays)
        if (cursor.accept(ray.word)) {
            flags.*ray.field = ray_flag(c, kBothOn, ray.off);
            return true;
        }
    if (cursor.accept("trace")) {
        const std::uint8_t bits = cursor.boolean_or(true) ? kBothOn : kBothOff;
        flags.reflection = flags.refraction = bits;
    } else if (cursor.accept("face")) {
        flags.face = parse_face(cursor);
    } else {
        return false;
    }
    return true;
}

void skip_approximate(Cursor& cursor) {
    if (cursor.at_mark('[')) cursor.skip_brackets();
}

void parse_item(Context& c, Instance& instance, Seen& seen) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("transform")) {
        parse_transform(c, instance);
    } else if (cursor.accept("motion")) {
        parse_motion(c, instance);
    } else if (cursor.accept("material")) {
        parse_materials(c, instance);
    } else if (cursor.accept("override")) {
        instance.override_material = true;
    } else if (cursor.accept("light")) {
        parse_lights(c, instance);
    } else if (cursor.accept("hide")) {
        instance.hide = cursor.boolean();
    } else if (parse_flag(c, instance.flags)) {
    } else if (cursor.accept("shading")) {
        cursor.expect("samples");
        cursor.number();
    } else if (cursor.accept("approximate")) {
        skip_approximate(cursor);
    } else if (cursor.accept("tag")) {
        instance.label = cursor.label();
    } else if (cursor.accept("data")) {
        parse_data_item(c, instance.data, seen.data);
    } else if (cursor.at("attribute")) {
        skip_attribute(c);
    } else if (cursor.at_mark('(')) {
        cursor.skip_brackets(); // parameters of an inheritance function
    } else {
        cursor.fail("an instance item or 'end instance'");
    }
}

bool can_be_placed(const Names::Content& content) {
    return Names::as<Camera>(content) != nullptr || Names::as<Light>(content) != nullptr ||
           Names::as<Object>(content) != nullptr || Names::as<InstanceGroup>(content) != nullptr;
}

// The item of the instance, between its name and its properties. An unquoted word is an item name
// if an element of this name exists.
void parse_placed(Context& c, Instance& instance, bool& good) {
    Cursor& cursor = c.cursor;
    const bool geometry = cursor.at("geometry");
    const bool named =
        cursor.at_string() || (cursor.at_word() && !geometry &&
                               c.names.find(c.used(std::string(cursor.token().text))) != nullptr);
    const Location where = cursor.where();
    if (geometry) {
        cursor.advance();
        instance.item.clear();
        instance.geometry_shaders = parse_shader_list(c);
        c.diagnostics.omit(Omission::geometry, '"' + instance.name + '"');
        c.diagnostics.warning_once("geometry shader", where,
                                   "geometry shaders are not supported; their instances are empty");
        return;
    }
    if (!named) {
        if (instance.item.empty() && instance.geometry_shaders.empty())
            cursor.fail("the name of a camera, light, object or instgroup");
        return;
    }
    std::string name = c.used(cursor.name("a name"));
    const Names::Content* const content = c.names.find(name);
    if (content == nullptr || !can_be_placed(*content)) {
        const std::string problem =
            content != nullptr
                ? Names::quote(name) + " is " + Names::kind_of(*content) +
                      ", which cannot be instanced"
                : "there is no camera, light, object or instgroup " + Names::quote(name);
        c.diagnostics.error(where, problem);
        good = false;
        return;
    }
    instance.item = std::move(name);
    instance.geometry_shaders.clear();
}

void parse_member(Context& c, InstanceGroup& group, bool& replaced) {
    if (!replaced) group.members.clear();
    replaced = true;
    const Location where = c.cursor.where();
    std::string name = c.used(c.cursor.name("the name of an instance or 'end instgroup'"));
    if (c.names.find_as<Instance>(name) != nullptr)
        group.members.push_back(std::move(name));
    else
        c.diagnostics.error(where, Names::no_element<Instance>(name));
}

} // namespace

void parse_instance(Context& c, bool incremental) {
    Seen seen;
    bool placed = false, good = true;
    const auto parse = [&](Instance& instance) {
        if (!placed) {
            placed = true;
            parse_placed(c, instance, good);
            if (c.cursor.at("end")) return;
        }
        parse_item(c, instance, seen);
    };
    const auto check = [&](const Instance& instance) {
        if (good && instance.item.empty() && instance.geometry_shaders.empty()) {
            c.diagnostics.error(instance.where,
                                "instance " + Names::quote(instance.name) + " has no item");
            good = false;
        }
        return good;
    };
    parse_block<Instance>(c, incremental, &SceneReceiver::on_instance, parse, check);
}

void parse_instgroup(Context& c, bool incremental) {
    bool data_seen = false, replaced = false;
    parse_block<InstanceGroup>(c, incremental, &SceneReceiver::on_group, [&](InstanceGroup& group) {
        Cursor& cursor = c.cursor;
        if (cursor.accept("merge"))
            group.merge = cursor.number();
        else if (cursor.accept("tag"))
            group.label = cursor.label();
        else if (cursor.accept("data"))
            parse_data_item(c, group.data, data_seen);
        else if (cursor.at("attribute"))
            skip_attribute(c);
        else
            parse_member(c, group, replaced);
    });
}

} // namespace vx::scene
