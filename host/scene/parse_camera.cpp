// The camera block.
#include "host/scene/parse.h"

#include <algorithm>

namespace vx::scene {

namespace {

constexpr int kMaxResolution = 65536;

struct Seen {
    Clause lens, volume, environment;
    bool data = false;
};

float positive(Cursor& cursor, const char* what) {
    if (!cursor.at_number() || !(cursor.token().real > 0))
        cursor.fail(std::string(what) + " greater than 0");
    return cursor.number();
}

void parse_output_parameters(Cursor& cursor, Output& output) {
    for (;;) {
        if (cursor.accept("quality"))
            output.quality = cursor.integer();
        else if (cursor.accept("dpi"))
            output.dpi = cursor.number();
        else if (cursor.accept("compress"))
            output.compression = cursor.string("a compression method");
        else if (cursor.at_any({"even", "odd", "dod"}))
            cursor.advance();
        else
            return;
    }
}

// [types] format [settings] file, or [types] shader.
void parse_output(Context& c, Camera& camera) {
    Cursor& cursor = c.cursor;
    Output output;
    output.where = cursor.where();
    if (cursor.accept("colorprofile")) cursor.name("the name of a color profile");
    std::vector<std::string> texts;
    Location last = cursor.where();
    constexpr std::size_t kMaxStrings = 3; // types, format and file
    while (cursor.at_string() && texts.size() < kMaxStrings) {
        last = cursor.where();
        texts.push_back(cursor.string("a string"));
        if (cursor.at_mark('(')) {
            output.shader.emplace_back(parse_call_of(c, std::move(texts.back()), last));
            texts.pop_back();
            break;
        }
    }
    if (texts.empty() && output.shader.empty() && !cursor.at_mark('=')) {
        camera.outputs.clear();
        return;
    }
    if (output.shader.empty() && cursor.at_mark('=')) output.shader.push_back(parse_shader(c));
    if (!output.shader.empty()) {
        if (texts.size() > 1)
            cursor.fail_at(output.where, "an output shader accepts only one string of image types");
        if (!texts.empty()) output.types = std::move(texts.front());
        camera.outputs.push_back(std::move(output));
        return;
    }
    // Settings may precede the file name.
    const std::size_t before = texts.size();
    parse_output_parameters(cursor, output);
    if (before < kMaxStrings && cursor.at_string()) texts.push_back(cursor.string("a file name"));
    if (texts.size() < 2) cursor.fail("the format and the name of an output file");
    output.file = std::move(texts.back());
    output.format = std::move(texts[texts.size() - 2]);
    if (texts.size() == kMaxStrings) output.types = std::move(texts.front());
    camera.outputs.push_back(std::move(output));
}

bool parse_framebuffer_item(Cursor& cursor, FrameBuffer& buffer) {
    struct Text {
        std::string_view word;
        std::string FrameBuffer::*field;
    };
    constexpr Text kTexts[] = {{"datatype", &FrameBuffer::datatype},
                               {"filename", &FrameBuffer::filename},
                               {"filetype", &FrameBuffer::filetype},
                               {"compression", &FrameBuffer::compression}};
    struct Flag {
        std::string_view word;
        std::optional<bool> FrameBuffer::*field;
    };
    constexpr Flag kFlags[] = {{"filtering", &FrameBuffer::filtering},
                               {"primary", &FrameBuffer::primary},
                               {"premultiplied", &FrameBuffer::premultiplied},
                               {"tiled", &FrameBuffer::tiled},
                               {"user", &FrameBuffer::user},
                               {"useopacity", &FrameBuffer::useopacity},
                               {"useprimary", &FrameBuffer::useprimary}};
    for (const Text& text : kTexts)
        if (cursor.accept(text.word)) {
            buffer.*text.field = cursor.string("a string");
            return true;
        }
    for (const Flag& flag : kFlags)
        if (cursor.accept(flag.word)) {
            buffer.*flag.field = cursor.boolean();
            return true;
        }
    if (cursor.accept("quality"))
        buffer.quality = cursor.integer();
    else if (cursor.accept("dpi"))
        buffer.dpi = cursor.integer();
    else if (cursor.accept("dod"))
        cursor.boolean();
    else if (cursor.accept("colorprofile"))
        cursor.string("the name of a color profile");
    else
        return false;
    return true;
}

void parse_framebuffer(Cursor& cursor, Camera& camera) {
    FrameBuffer buffer;
    buffer.where = cursor.where();
    buffer.name = cursor.string("the name of a frame buffer");
    const auto present =
        std::find_if(camera.framebuffers.begin(), camera.framebuffers.end(),
                     [&](const FrameBuffer& other) { return other.name == buffer.name; });
    FrameBuffer& target = present == camera.framebuffers.end()
                              ? camera.framebuffers.emplace_back(std::move(buffer))
                              : *present;
    for (;;) {
        // `field "even"` belongs to the buffer, `field 1` to the camera.
        if (cursor.at("field")) {
            cursor.advance();
            if (cursor.at_string())
                cursor.advance();
            else
                camera.field = cursor.integer();
            continue;
        }
        if (!parse_framebuffer_item(cursor, target)) return;
    }
}

void skip_pass(Context& c) {
    Cursor& cursor = c.cursor;
    c.diagnostics.skip("pass", cursor.where(), "render passes are not supported; ignored");
    if (cursor.accept("null")) return;
    if (cursor.accept("delete")) {
        cursor.string("the name of a pass");
        return;
    }
    if (cursor.accept("mask")) {
        cursor.boolean();
        return;
    }
    if (!cursor.accept("prep")) cursor.accept("merge");
    bool any = true;
    while (any) {
        any = false;
        if (cursor.accept("samples")) {
            cursor.integer();
            any = true;
        }
        if (cursor.at_any({"read", "write"})) {
            cursor.advance();
            any = true;
        }
        if (cursor.at_string() || cursor.at_mark('(') || cursor.at_mark('[')) {
            if (cursor.at_string())
                cursor.advance();
            else
                cursor.skip_brackets();
            any = true;
        }
        if (cursor.at_mark('=')) {
            parse_shader(c);
            any = true;
        }
    }
}

void parse_item(Context& c, Camera& camera, Seen& seen) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("output")) {
        parse_output(c, camera);
    } else if (cursor.accept("framebuffer")) {
        parse_framebuffer(cursor, camera);
    } else if (cursor.accept("pass")) {
        skip_pass(c);
    } else if (cursor.accept("lens")) {
        seen.lens.parse(c, camera.lens);
    } else if (cursor.accept("volume")) {
        seen.volume.parse(c, camera.volume);
    } else if (cursor.accept("environment")) {
        seen.environment.parse(c, camera.environment);
    } else if (cursor.accept("focal")) {
        camera.orthographic = cursor.accept("infinity");
        camera.focal = camera.orthographic ? 1 : positive(cursor, "'infinity' or a distance");
    } else if (cursor.accept("aperture")) {
        camera.aperture = positive(cursor, "a width");
    } else if (cursor.accept("aspect")) {
        camera.aspect = positive(cursor, "an aspect ratio");
    } else if (cursor.accept("resolution")) {
        for (int* const size : {&camera.x_resolution, &camera.y_resolution}) {
            if (cursor.at_integer() &&
                (cursor.token().integer < 1 || cursor.token().integer > kMaxResolution))
                cursor.fail("a number of pixels from 1 to " + std::to_string(kMaxResolution));
            *size = cursor.integer();
        }
    } else if (cursor.accept("offset")) {
        camera.x_offset = cursor.number();
        camera.y_offset = cursor.number();
    } else if (cursor.accept("window")) {
        Window window;
        for (int* const edge : {&window.xl, &window.yl, &window.xh, &window.yh})
            *edge = cursor.integer();
        camera.window = window;
    } else if (cursor.accept("clip")) {
        camera.clip_near = cursor.number();
        camera.clip_far = cursor.number();
    } else if (cursor.accept("dof")) {
        const float focus = cursor.number();
        camera.dof = {focus, cursor.number()};
    } else if (cursor.accept("frame")) {
        camera.frame = cursor.integer();
        camera.frame_time = cursor.at_number() ? cursor.number() : 0;
    } else if (cursor.accept("field")) {
        camera.field = cursor.integer();
    } else if (cursor.accept("data")) {
        parse_data_item(c, camera.data, seen.data);
    } else if (cursor.at("attribute")) {
        skip_attribute(c);
    } else {
        cursor.fail("a camera item or 'end camera'");
    }
}

} // namespace

void parse_camera(Context& c, bool incremental) {
    Seen seen;
    parse_block<Camera>(c, incremental, &SceneReceiver::on_camera,
                        [&](Camera& camera) { parse_item(c, camera, seen); });
}

} // namespace vx::scene
