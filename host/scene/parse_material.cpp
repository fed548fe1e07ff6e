// Materials, textures and user data.
#include "host/scene/parse.h"

namespace vx::scene {

namespace {

struct MaterialClause {
    std::string_view word;
    ShaderList Material::*list;
};
constexpr MaterialClause kClauses[] = {
    {"displace", &Material::displace},   {"shadow", &Material::shadow},
    {"volume", &Material::volume},       {"environment", &Material::environment},
    {"contour", &Material::contour},     {"photon", &Material::photon},
    {"photonvol", &Material::photonvol}, {"lightmap", &Material::lightmap},
    {"hardware", &Material::hardware},   {"bsdf", &Material::bsdf}};

struct Seen {
    Clause surface;
    std::array<Clause, std::size(kClauses)> lists;
};

void parse_item(Context& c, Material& material, Seen& seen) {
    Cursor& cursor = c.cursor;
    if (at_shader(c)) return seen.surface.parse(c, material.surface);
    if (cursor.accept("opaque")) {
        material.opaque = true;
        return;
    }
    if (cursor.accept("nocontour")) return;
    if (cursor.at("attribute")) return skip_attribute(c);
    for (std::size_t i = 0; i < std::size(kClauses); ++i)
        if (cursor.accept(kClauses[i].word))
            return seen.lists[i].parse(c, material.*kClauses[i].list);
    cursor.fail("a shader, a material clause or 'end material'");
}

bool at_texture_modifier(const Cursor& cursor) {
    return cursor.at_any({"local", "filter", "writable"});
}

Texture::Pixels parse_size(Cursor& cursor) {
    Texture::Pixels pixels;
    cursor.expect_mark('[');
    pixels.width = cursor.integer_from(1, "a width greater than 0");
    pixels.height = cursor.integer_from(1, "a height greater than 0");
    if (cursor.at_integer())
        pixels.bytes_per_component = cursor.integer_from(1, "a number of bytes greater than 0");
    cursor.expect_mark(']');
    return pixels;
}

void parse_texture_body(Context& c, Texture& texture) {
    Cursor& cursor = c.cursor;
    texture.file.clear();
    texture.pixels.reset();
    texture.shaders.clear();
    if (cursor.at_mark('[')) {
        texture.pixels = parse_size(cursor);
        texture.pixels->bytes = cursor.byte_strings();
        return;
    }
    const Location where = cursor.where();
    if (cursor.at_string()) {
        std::string text = cursor.string("a file name");
        if (!cursor.at_mark('(')) {
            texture.file = std::move(text);
            // Type, format and size of a writable file.
            for (int i = 0; i < 2 && cursor.at_string(); ++i)
                cursor.advance();
            if (cursor.at_mark('[')) parse_size(cursor);
            return;
        }
        texture.shaders.emplace_back(parse_call_of(c, std::move(text), where));
    }
    ShaderList more = parse_shader_list(c);
    texture.shaders.insert(texture.shaders.end(), std::make_move_iterator(more.begin()),
                           std::make_move_iterator(more.end()));
    if (texture.shaders.empty()) cursor.fail("a file name, '[' or a shader");
}

void parse_data_body(Context& c, UserData& data, bool& known) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("tag")) data.label = cursor.label();
    data.file.clear();
    data.bytes.clear();
    data.call.reset();
    if (cursor.at_integer()) {
        const int size = cursor.integer_from(0, "a number of bytes");
        const Location where = cursor.where();
        cursor.expect_mark('[');
        data.bytes = cursor.byte_strings();
        cursor.expect_mark(']');
        if (data.bytes.size() != static_cast<std::size_t>(size))
            cursor.fail_at(where, "expected " + std::to_string(size) + " bytes, found " +
                                      std::to_string(data.bytes.size()));
        return;
    }
    const Location where = cursor.where();
    std::string text = cursor.string("a number of bytes, a file name or the name of a declaration");
    if (!cursor.at_mark('(')) {
        data.file = std::move(text);
        return;
    }
    data.call = parse_call_of(c, std::move(text), where);
    const auto declared = c.declarations.find(data.call->declaration);
    known = declared != c.declarations.end() && declared->second.kind == DeclarationKind::data;
    if (!known)
        c.diagnostics.skip("data " + data.call->declaration, where,
                           "there is no declaration of data '" + data.call->declaration +
                               "'; ignored");
}

} // namespace

void parse_material(Context& c, bool incremental) {
    Seen seen;
    parse_block<Material>(c, incremental, &SceneReceiver::on_material,
                          [&](Material& material) { parse_item(c, material, seen); });
}

bool at_texture(const Cursor& cursor) {
    return at_texture_modifier(cursor) || cursor.at_any({"color", "scalar", "vector"});
}

void parse_texture(Context& c, bool incremental) {
    Cursor& cursor = c.cursor;
    bool local = false, writable = false;
    std::optional<float> filter;
    while (at_texture_modifier(cursor)) {
        if (cursor.accept("local"))
            local = true;
        else if (cursor.accept("writable"))
            writable = true;
        else if (cursor.accept("filter"))
            filter = cursor.at_number() ? cursor.number() : 1.0f;
    }
    TextureKind kind = TextureKind::color;
    if (cursor.accept("scalar"))
        kind = TextureKind::scalar;
    else if (cursor.accept("vector"))
        kind = TextureKind::vector;
    else
        cursor.expect("color");
    cursor.expect("texture");
    const DefinedName name = parse_defined_name(c, "texture");
    try {
        auto texture = c.names.start<Texture>(name.name, name.where, incremental);
        texture.kind = kind;
        texture.local = local;
        texture.writable = writable;
        texture.filter = filter;
        if (cursor.accept("colorprofile")) cursor.name("the name of a color profile");
        parse_texture_body(c, texture);
        deliver(c, std::move(texture), true, &SceneReceiver::on_texture);
    } catch (const SyntaxError&) {
        c.names.keep_name<Texture>(name.name);
        throw;
    }
}

void parse_data(Context& c, bool incremental) {
    c.cursor.advance();
    const DefinedName name = parse_defined_name(c, "data");
    try {
        if (c.names.find_as<Skipped>(name.name) != nullptr) c.names.erase(name.name);
        auto data = c.names.start<UserData>(name.name, name.where, incremental);
        bool known = true;
        parse_data_body(c, data, known);
        if (known)
            deliver(c, std::move(data), true, &SceneReceiver::on_data);
        else
            c.names.keep_name<Skipped>(name.name);
    } catch (const SyntaxError&) {
        c.names.keep_name<UserData>(name.name);
        throw;
    }
}

} // namespace vx::scene
