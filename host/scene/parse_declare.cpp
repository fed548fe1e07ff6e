// Declarations of shaders and data.
#include "host/scene/parse.h"

#include <algorithm>

namespace vx::scene {

namespace {

struct TypeWord {
    std::string_view word;
    Type type;
};
constexpr TypeWord kTypeWords[] = {{"boolean", Type::boolean},
                                   {"integer", Type::integer},
                                   {"scalar", Type::scalar},
                                   {"string", Type::string},
                                   {"color", Type::color},
                                   {"vector", Type::vector},
                                   {"transform", Type::transform},
                                   {"light", Type::light},
                                   {"material", Type::material},
                                   {"geometry", Type::geometry},
                                   {"lightprofile", Type::lightprofile},
                                   {"spectrum", Type::spectrum}};

constexpr std::string_view kApplyWords[] = {
    "lens",     "material", "light",   "shadow", "environment", "volume",    "texture", "photon",
    "geometry", "displace", "emitter", "output", "lightmap",    "photonvol", "state"};

bool at_simple(const Cursor& cursor) {
    return cursor.at_word() &&
           std::any_of(std::begin(kTypeWords), std::end(kTypeWords),
                       [&](const TypeWord& w) { return w.word == cursor.token().text; });
}

// Reads a simple type, including an optional `texture`.
Type parse_simple(Cursor& cursor) {
    Type type = Type::color;
    for (const TypeWord& w : kTypeWords)
        if (cursor.at(w.word)) type = w.type;
    cursor.advance();
    if (type == Type::color && cursor.accept("texture")) return Type::color_texture;
    if (type == Type::scalar && cursor.accept("texture")) return Type::scalar_texture;
    if (type == Type::vector && cursor.accept("texture")) return Type::vector_texture;
    return type;
}

void parse_default(Context& c, ParameterDeclaration& parameter) {
    Cursor& cursor = c.cursor;
    const Location where = cursor.where();
    const unsigned wanted = component_count(parameter.type);
    while (cursor.at_number() || cursor.at_bool()) {
        if (cursor.at_bool()) {
            parameter.defaults.push_back({cursor.boolean() ? 1.0 : 0.0, NumberKind::boolean});
            continue;
        }
        const bool whole = cursor.at_integer();
        const bool needs_whole = parameter.type == Type::integer || parameter.type == Type::boolean;
        if (!whole && needs_whole) cursor.fail("an integer");
        const double value = whole ? cursor.integer() : cursor.token().real;
        if (!whole) cursor.advance();
        parameter.defaults.push_back({value, whole ? NumberKind::integer : NumberKind::real});
    }
    const std::size_t given = parameter.defaults.size();
    const bool short_color = parameter.type == Type::color && given == 3;
    if (wanted == 0)
        cursor.fail_at(where,
                       "type '" + std::string(type_name(parameter.type)) + "' has no default");
    if (given != wanted && !short_color)
        cursor.fail_at(where, "the default of '" + parameter.name + "' requires " +
                                  std::to_string(wanted) + " numbers, found " +
                                  std::to_string(given));
}

std::vector<ParameterDeclaration> parse_list(Context& c, char close, bool defaults, unsigned depth);

ParameterDeclaration parse_parameter(Context& c, bool defaults, unsigned depth) {
    Cursor& cursor = c.cursor;
    if (depth > c.settings.nesting_limit)
        cursor.fail_at(cursor.where(), "parameters are nested too deeply");
    ParameterDeclaration parameter;
    if (cursor.accept("array")) {
        if (cursor.at("array")) cursor.fail("a type other than an array");
        parameter.type = Type::array;
        parameter.members.push_back(parse_parameter(c, defaults, depth + 1));
        parameter.name = parameter.members.front().name;
        return parameter;
    }
    if (cursor.accept("struct")) {
        parameter.type = Type::structure;
        parameter.name = cursor.name("the name of a parameter");
        cursor.expect_mark('{');
        parameter.members = parse_list(c, '}', defaults, depth + 1);
        return parameter;
    }
    if (cursor.accept("shader"))
        parameter.type = Type::shader;
    else if (cursor.accept("data"))
        parameter.type = Type::data;
    else if (at_simple(cursor))
        parameter.type = parse_simple(cursor);
    else
        cursor.fail("the type of a parameter");
    parameter.name = cursor.name("the name of a parameter");
    if (defaults && cursor.accept("default")) parse_default(c, parameter);
    return parameter;
}

std::vector<ParameterDeclaration> parse_list(Context& c, char close, bool defaults,
                                             unsigned depth) {
    Cursor& cursor = c.cursor;
    std::vector<ParameterDeclaration> list;
    std::set<std::string> seen;
    while (!cursor.at_mark(close)) {
        const Location where = cursor.where();
        list.push_back(parse_parameter(c, defaults, depth));
        if (!seen.insert(list.back().name).second)
            cursor.fail_at(where, "parameter '" + list.back().name + "' is declared twice");
        if (!cursor.accept_mark(',')) break;
    }
    if (!cursor.at_mark(close)) cursor.fail(std::string("',' or '") + close + '\'');
    cursor.advance();
    return list;
}

void parse_apply(Cursor& cursor, Declaration& declaration) {
    do {
        const auto* const found =
            std::find(std::begin(kApplyWords), std::end(kApplyWords), cursor.token().text);
        if (!cursor.at_word() || found == std::end(kApplyWords))
            cursor.fail("a shader type such as 'material'");
        declaration.apply |= 1u << (found - std::begin(kApplyWords));
        cursor.advance();
    } while (cursor.accept_mark(','));
}

void parse_requirement(Context& c, Declaration& declaration) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("version")) {
        declaration.version = cursor.integer();
    } else if (cursor.accept("apply")) {
        parse_apply(cursor, declaration);
    } else if (cursor.accept("scanline")) {
        declaration.wants_scanline = cursor.boolean();
    } else if (cursor.accept("trace")) {
        declaration.wants_trace = cursor.boolean();
    } else if (cursor.accept("shadow")) {
        if (cursor.at_bool() || cursor.at_any({"sort", "segments"}))
            cursor.advance();
        else
            cursor.fail("'on', 'off', 'sort' or 'segments'");
    } else if (cursor.accept("face")) {
        if (!cursor.at_any({"front", "back", "both"})) cursor.fail("'front', 'back' or 'both'");
        cursor.advance();
    } else if (cursor.accept("texture") || cursor.accept("bump")) {
        cursor.integer();
    } else if (cursor.accept("derivative")) {
        while (cursor.at_integer())
            cursor.advance();
    } else if (cursor.at_any({"object", "camera", "mixed"})) {
        cursor.advance();
        cursor.expect("space");
    } else if (cursor.accept("parallel")) {
    } else if (cursor.accept("volume")) {
        cursor.expect("level");
        cursor.integer();
    } else if (cursor.accept("hardware")) {
        if (cursor.at_mark('(')) cursor.skip_brackets();
    } else if (cursor.at("gui")) {
        skip_gui(c);
    } else {
        cursor.fail("a requirement such as 'version' or 'apply', or 'end declare'");
    }
}

void parse_header(Context& c, Declaration& declaration) {
    Cursor& cursor = c.cursor;
    if (cursor.accept("struct")) {
        declaration.result = Type::structure;
        cursor.expect_mark('{');
        declaration.result_fields = parse_list(c, '}', false, 0);
        if (declaration.result_fields.empty())
            cursor.fail_at(cursor.where(), "a result structure must have at least one field");
    } else if (cursor.accept("shader")) {
        declaration.result = Type::shader;
    } else if (at_simple(cursor)) {
        declaration.result = parse_simple(cursor);
    }
    declaration.where = cursor.where();
    declaration.name = cursor.name("the name of a shader");
    cursor.expect_mark('(');
    declaration.parameters = parse_list(c, ')', true, 0);
}

void finish(Context& c, Declaration declaration) {
    const auto found = c.declarations.find(declaration.name);
    if (found != c.declarations.end()) {
        if (found->second == declaration) return; // included twice
        c.diagnostics.warning(declaration.where,
                              "'" + declaration.name + "' is already declared differently");
    }
    c.receiver.on_declare(declaration);
    c.declarations.insert_or_assign(declaration.name, std::move(declaration));
}

} // namespace

void skip_gui(Context& c) {
    c.cursor.advance();
    if (c.cursor.at_name()) c.cursor.advance();
    if (c.cursor.at_mark('(')) c.cursor.skip_brackets();
    if (!c.cursor.at_mark('{')) c.cursor.fail("'{'");
    c.cursor.skip_brackets();
}

void parse_declare(Context& c) {
    Cursor& cursor = c.cursor;
    const Location where = cursor.where();
    cursor.advance();
    Declaration declaration;
    bool has_end = true;
    if (cursor.accept("map")) {
        cursor.name("the name of a map");
        c.diagnostics.skip("declare map", where, "map declarations are not supported; ignored");
        cursor.skip_brackets();
        cursor.expect("end");
        cursor.expect("declare");
        return;
    }
    if (cursor.accept("phenomenon")) {
        declaration.kind = DeclarationKind::phenomenon;
        parse_header(c, declaration);
        c.diagnostics.skip("phenomenon", where,
                           "phenomena are not supported: '" + declaration.name + "' is skipped");
        for (bool end = false; !(end && cursor.accept("declare"));) {
            if (cursor.at_end()) cursor.fail("'end declare'");
            end = cursor.at("end");
            cursor.advance();
        }
        finish(c, std::move(declaration));
        return;
    }
    if (cursor.accept("data")) {
        declaration.kind = DeclarationKind::data;
        declaration.result = Type::data;
        declaration.where = cursor.where();
        declaration.name = cursor.name("the name of a data type");
        cursor.expect_mark('(');
        declaration.parameters = parse_list(c, ')', true, 0);
    } else {
        has_end = cursor.accept("shader");
        parse_header(c, declaration);
    }
    if (has_end) { // the old form ends with the parameter list
        while (!cursor.at("end"))
            parse_requirement(c, declaration);
        cursor.advance();
        cursor.expect("declare");
    }
    finish(c, std::move(declaration));
}

} // namespace vx::scene
