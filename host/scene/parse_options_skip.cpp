// Options of unsupported features. They are parsed and ignored without a warning, since they are
// common in production scenes; indirect light that is on counts as an omission.
#include "host/scene/parse.h"

namespace vx::scene {

namespace {

void skip_numbers(Cursor& cursor) {
    while (cursor.at_number())
        cursor.advance();
}

void skip_indirect(Context& c, const char* kind) {
    Cursor& cursor = c.cursor;
    if (cursor.at_any({"on", "true", "fastlookup", "only"}))
        c.diagnostics.omit(Omission::statement, kind);
    if (cursor.at_bool() || cursor.at_integer() || cursor.accept("fastlookup") ||
        cursor.accept("only")) {
        if (cursor.at_bool() || cursor.at_integer()) cursor.advance();
    } else if (cursor.accept("accuracy")) {
        cursor.accept("view");
        skip_numbers(cursor);
    } else if (cursor.accept("secondary")) {
        cursor.expect("scale");
        cursor.color(1);
    } else if (cursor.accept("scale") || cursor.accept("importance") || cursor.accept("falloff")) {
        skip_numbers(cursor);
    } else if (cursor.accept("filter")) {
        if (cursor.at_any({"box", "cone", "gauss"})) cursor.advance();
        skip_numbers(cursor);
    } else if (cursor.accept("trace")) {
        cursor.expect("depth");
        skip_numbers(cursor);
    } else if (cursor.accept("presample")) {
        cursor.expect("density");
        cursor.number();
    } else if (cursor.accept("rebuild")) {
        if (!cursor.accept("freeze")) cursor.boolean();
    } else if (cursor.accept("file")) {
        if (cursor.at_mark('['))
            cursor.skip_brackets();
        else if (cursor.at_string() || cursor.at_bool())
            cursor.advance();
        else
            cursor.fail("a file name, a list of file names or 'off'");
    } else {
        cursor.fail("an indirect light setting, such as 'on' or 'accuracy'");
    }
}

void skip_photonmap(Context& c) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("file")) {
        if (cursor.at_string() || cursor.at_bool()) cursor.advance();
    } else if (cursor.accept("only")) {
        cursor.boolean_or(true);
    } else {
        cursor.expect("rebuild");
        cursor.boolean();
    }
}

void skip_shadowmap(Context& c) {
    Cursor& cursor = c.cursor;
    if (cursor.at_bool() || cursor.at_any({"opengl", "only", "detail"})) {
        cursor.advance();
    } else if (cursor.accept("motion")) {
        cursor.boolean();
    } else if (cursor.accept("bias")) {
        cursor.number();
    } else if (cursor.accept("rebuild")) {
        if (!cursor.accept("merge")) cursor.boolean();
    } else if (cursor.accept("trace") || cursor.accept("window")) {
        cursor.boolean_or(true);
    } else {
        cursor.fail("a shadow map setting, such as 'on' or 'detail'");
    }
}

void skip_bsp(Context& c) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("shadow"))
        cursor.boolean();
    else if (cursor.accept("size") || cursor.accept("depth") || cursor.accept("memory"))
        cursor.integer();
    else
        cursor.fail("'size', 'depth', 'memory' or 'shadow'");
}

// Skips the name of a setting and any number of values.
void skip_setting(Context& c) {
    Cursor& cursor = c.cursor;
    if (cursor.at_word() && !cursor.at("end")) cursor.advance();
    while (cursor.at_number() || cursor.at_bool() ||
           cursor.at_any({"world", "camera", "object", "density", "irradiance", "size", "depth",
                          "resolution", "max", "memory", "cast", "receive"}))
        cursor.advance();
}

void skip_approximation(Context& c) {
    Cursor& cursor = c.cursor;
    while (!cursor.accept("all")) {
        if (cursor.at_word() && !cursor.at("end"))
            cursor.advance();
        else if (cursor.at_number() || cursor.at_mark('%'))
            cursor.advance();
        else
            cursor.fail("an approximation that ends with 'all'");
    }
}

} // namespace

bool skip_option(Context& c) {
    Cursor& cursor = c.cursor;
    for (const char* const kind : {"caustic", "globillum", "finalgather", "photonvol"})
        if (cursor.accept(kind)) {
            skip_indirect(c, kind);
            return true;
        }
    if (cursor.accept("photon")) {
        if (cursor.accept("autovolume")) {
            cursor.boolean();
        } else {
            cursor.expect("trace");
            cursor.expect("depth");
            skip_numbers(cursor);
        }
    } else if (cursor.accept("photonmap")) {
        skip_photonmap(c);
    } else if (cursor.accept("shadowmap")) {
        skip_shadowmap(c);
    } else if (cursor.accept("acceleration")) {
        cursor.accept("large");
        if (!cursor.at_any({"bsp", "bsp2", "grid"})) cursor.fail("'bsp', 'bsp2' or 'grid'");
        cursor.advance();
    } else if (cursor.accept("bsp")) {
        skip_bsp(c);
    } else if (cursor.accept("shading")) {
        cursor.expect("samples");
        cursor.number();
    } else if (cursor.accept("luminance")) {
        cursor.expect("weight");
        if (!cursor.accept("ntsc")) cursor.color(1);
    } else if (cursor.accept("frame")) {
        cursor.expect("buffer");
        cursor.integer();
        if (cursor.at_string()) cursor.advance();
    } else if (cursor.accept("field")) {
        if (!cursor.at_bool() && !cursor.at_any({"even", "odd"}))
            cursor.fail("'off', 'even' or 'odd'");
        cursor.advance();
    } else if (cursor.accept("contour")) {
        if (!cursor.accept("store")) cursor.expect("contrast");
        parse_shader(c);
    } else if (cursor.accept("approximate")) {
        skip_approximation(c);
    } else if (cursor.at("attribute")) {
        skip_attribute(c);
    } else if (cursor.accept("colorprofile")) {
        cursor.name("the name of a color profile");
    } else if (cursor.at_any({"diagnostic", "hardware", "raycl", "grid", "ambientocclusion", "ibl",
                              "rapid", "progressive"})) {
        cursor.advance();
        skip_setting(c);
    } else {
        return false;
    }
    return true;
}

} // namespace vx::scene
