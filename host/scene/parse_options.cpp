// The options block.
#include "host/scene/parse.h"

#include <algorithm>

namespace vx::scene {

namespace {

void parse_trace(Cursor& cursor, Options& o) {
    if (!cursor.accept("depth")) {
        o.trace = cursor.boolean();
        return;
    }
    o.reflection_depth = cursor.integer();
    o.refraction_depth = cursor.at_integer() ? cursor.integer() : o.reflection_depth;
    const long sum = static_cast<long>(o.reflection_depth) + o.refraction_depth;
    constexpr long kMaxSum = 1 << 20; // far from the limits of int
    o.trace_depth = cursor.at_integer() ? cursor.integer()
                                        : static_cast<int>(std::clamp(sum, -kMaxSum, kMaxSum));
}

void parse_samples(Cursor& cursor, Options& o) {
    if (cursor.accept("collect") || cursor.accept("motion")) {
        cursor.integer();
        return;
    }
    const Location where = cursor.where();
    const int first = cursor.integer();
    if (!cursor.at_integer()) {
        constexpr int kMinLevel = -128;
        o.min_samples = std::max(first, kMinLevel) - 2;
        o.max_samples = first;
        return;
    }
    o.min_samples = first;
    o.max_samples = cursor.integer();
    if (o.min_samples > o.max_samples)
        cursor.fail_at(where, "the minimum number of samples is greater than the maximum");
    if (cursor.at_integer()) {
        o.default_min_samples = cursor.integer();
        o.default_max_samples = cursor.integer();
    }
}

// A missing alpha is the mean of the other components.
Color parse_contrast(Cursor& cursor) {
    Color color;
    color.r = cursor.number();
    color.g = cursor.number();
    color.b = cursor.number();
    color.a = cursor.at_number() ? cursor.number() : (color.r + color.g + color.b) / 3;
    return color;
}

void parse_shadow(Cursor& cursor, Options& o) {
    if (cursor.accept("sort"))
        o.shadow = ShadowMode::sort;
    else if (cursor.accept("segments"))
        o.shadow = ShadowMode::segments;
    else if (cursor.at_bool())
        o.shadow = cursor.boolean() ? ShadowMode::on : ShadowMode::off;
    else
        cursor.fail("'on', 'off', 'sort' or 'segments'");
}

void parse_scanline(Cursor& cursor, Options& o) {
    if (cursor.at_any({"rapid", "rast", "opengl"})) {
        cursor.advance();
        o.scanline = true;
    } else {
        o.scanline = cursor.boolean();
    }
}

void parse_state_shaders(Context& c, ShaderList& list) {
    list.clear();
    if (!c.cursor.accept_mark('[')) {
        list.push_back(parse_shader(c));
        return;
    }
    while (!c.cursor.at_mark(']')) {
        list.push_back(parse_shader(c));
        if (!c.cursor.accept_mark(',')) break;
    }
    c.cursor.expect_mark(']');
}

void parse_colorclip(Cursor& cursor, Options& o) {
    if (cursor.accept("rgb"))
        o.colorclip = ColorClip::rgb;
    else if (cursor.accept("alpha"))
        o.colorclip = ColorClip::alpha;
    else if (cursor.accept("raw"))
        o.colorclip = ColorClip::raw;
    else
        cursor.fail("'rgb', 'alpha' or 'raw'");
}

struct FeatureSwitch {
    std::string_view word;
    bool Options::*field;
};
constexpr FeatureSwitch kSwitches[] = {{"lens", &Options::lens},
                                       {"volume", &Options::volume},
                                       {"geometry", &Options::geometry},
                                       {"output", &Options::output},
                                       {"merge", &Options::merge},
                                       {"hair", &Options::hair},
                                       {"pass", &Options::pass},
                                       {"autovolume", &Options::autovolume},
                                       {"desaturate", &Options::desaturate},
                                       {"dither", &Options::dither},
                                       {"premultiply", &Options::premultiply},
                                       {"samplelock", &Options::samplelock},
                                       {"motion", &Options::motion}};

bool parse_switch(Cursor& cursor, Options& o) {
    for (const FeatureSwitch& s : kSwitches)
        if (cursor.accept(s.word)) {
            if (s.field == &Options::motion && cursor.accept("steps"))
                o.motion_steps = cursor.integer_from(1, "a number of motion steps greater than 0");
            else
                o.*s.field = cursor.boolean();
            return true;
        }
    return false;
}

struct Seen {
    bool data = false;
};

void parse_option(Context& c, Options& o, Seen& seen) {
    Cursor& cursor = c.cursor;
    if (cursor.at_string()) return parse_string_option(c, &o.strings);
    if (parse_switch(cursor, o)) return;
    if (cursor.accept("trace")) return parse_trace(cursor, o);
    if (cursor.accept("samples")) return parse_samples(cursor, o);
    if (cursor.accept("scanline")) return parse_scanline(cursor, o);
    if (cursor.accept("shadow")) return parse_shadow(cursor, o);
    if (cursor.accept("colorclip")) return parse_colorclip(cursor, o);
    if (cursor.accept("data")) return parse_data_item(c, o.data, seen.data);
    if (cursor.accept("state")) return parse_state_shaders(c, o.state);
    if (cursor.accept("contrast")) {
        o.contrast = parse_contrast(cursor);
    } else if (cursor.accept("time")) {
        cursor.expect("contrast");
        o.time_contrast = parse_contrast(cursor);
    } else if (cursor.accept("filter")) {
        o.filter = parse_filter(c);
    } else if (cursor.accept("jitter")) {
        o.jitter = cursor.number();
    } else if (cursor.accept("face")) {
        o.face = parse_face(cursor);
    } else if (cursor.at_any({"object", "camera", "mixed"})) {
        o.space = cursor.at("object")   ? Space::object
                  : cursor.at("camera") ? Space::camera
                                        : Space::mixed;
        const Location where = cursor.where();
        cursor.advance();
        cursor.expect("space");
        if (o.space != Space::object)
            c.diagnostics.skip("space", where, "only object space is supported; using it instead");
    } else if (cursor.accept("max")) {
        cursor.expect("displace");
        o.max_displace = cursor.number();
    } else if (cursor.accept("shutter")) {
        o.shutter = cursor.number();
        o.shutter_delay = 0;
        if (cursor.at_number()) {
            o.shutter_delay = o.shutter;
            o.shutter = cursor.number();
        }
        o.motion = o.shutter > 0;
    } else if (cursor.accept("displace")) {
        if (cursor.accept("presample"))
            cursor.boolean();
        else
            o.displace = cursor.boolean();
    } else if (cursor.accept("lightmap")) {
        o.lightmap = cursor.accept("only") || cursor.boolean();
    } else if (cursor.accept("gamma")) {
        o.gamma = cursor.number();
    } else if (cursor.accept("task")) {
        cursor.expect("size");
        o.task_size = cursor.integer_from(0, "a task size of at least 0");
    } else if (cursor.accept("inheritance")) {
        o.inheritance = cursor.name("the name of a function");
    } else if (cursor.accept("traversal")) {
        o.traversal = cursor.name("the name of a function");
    } else if (!skip_option(c)) {
        cursor.fail("an option or 'end options'");
    }
}

} // namespace

Face parse_face(Cursor& cursor) {
    const Face face = cursor.at("front")  ? Face::front
                      : cursor.at("back") ? Face::back
                                          : Face::both;
    if (face == Face::both && !cursor.at("both")) cursor.fail("'front', 'back' or 'both'");
    cursor.advance();
    return face;
}

Filter parse_filter(Context& c) {
    Cursor& cursor = c.cursor;
    Filter filter;
    filter.clip = cursor.accept("clip");
    for (const image::FilterInfo& info : image::kFilters)
        if (cursor.accept(info.name)) {
            filter.kind = info.kind;
            filter.width = cursor.at_number() ? cursor.number() : 0;
            filter.height = cursor.at_number() ? cursor.number() : filter.width;
            if (!(filter.width > 0)) filter.width = info.default_size;
            if (!(filter.height > 0)) filter.height = info.default_size;
            return filter;
        }
    cursor.fail("'box', 'triangle', 'gauss', 'mitchell' or 'lanczos'");
}

void parse_string_option(Context& c, std::map<std::string, OptionValue, std::less<>>* strings) {
    Cursor& cursor = c.cursor;
    std::string name = cursor.string("the name of a string option");
    OptionValue value;
    if (cursor.at_bool()) {
        value = cursor.boolean();
    } else if (cursor.at_string()) {
        value = cursor.string("a string");
    } else if (cursor.at_number()) {
        std::vector<Number> numbers;
        for (; cursor.at_number(); cursor.advance())
            numbers.push_back({cursor.token().real,
                               cursor.at_integer() ? NumberKind::integer : NumberKind::real});
        value = std::move(numbers);
    } else {
        cursor.fail("a value of the string option: 'on', 'off', a string or numbers");
    }
    if (strings != nullptr) strings->insert_or_assign(std::move(name), std::move(value));
}

void skip_attribute(Context& c) {
    c.cursor.advance();
    c.cursor.accept("override");
    // The type of the value may precede the name; otherwise the syntax is that of string options.
    while (c.cursor.at_word() && !c.cursor.at("end"))
        c.cursor.advance();
    parse_string_option(c, nullptr);
}

void parse_data_item(Context& c, std::vector<std::string>& list, bool& seen) {
    Cursor& cursor = c.cursor;
    if (!seen) list.clear();
    seen = true;
    if (cursor.accept("null")) {
        list.clear();
        return;
    }
    const Location where = cursor.where();
    std::string name = c.used(cursor.name("the name of user data, or 'null'"));
    // Data of an undeclared type was ignored with a warning.
    if (c.names.find_as<Skipped>(name) != nullptr) return;
    if (c.names.find_as<UserData>(name) == nullptr)
        cursor.fail_at(where, Names::no_element<UserData>(name));
    list.push_back(std::move(name));
}

void parse_options(Context& c, bool incremental) {
    Seen seen;
    parse_block<Options>(c, incremental, &SceneReceiver::on_options,
                         [&](Options& o) { parse_option(c, o, seen); });
}

} // namespace vx::scene
