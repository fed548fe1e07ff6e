// Shader calls, their parameters, and lists of shaders.
#include "host/scene/parse.h"

#include <algorithm>

namespace vx::scene {

namespace {

std::vector<Parameter> parse_parameters(Context& c, char close, unsigned depth);

std::vector<Number> parse_numbers(Cursor& cursor) {
    std::vector<Number> numbers;
    numbers.reserve(4);
    for (;;) {
        if (cursor.at_bool()) {
            numbers.push_back({cursor.boolean() ? 1.0 : 0.0, NumberKind::boolean});
        } else if (cursor.at_integer()) {
            numbers.push_back({static_cast<double>(cursor.integer()), NumberKind::integer});
        } else if (cursor.at_number()) {
            numbers.push_back({cursor.token().real, NumberKind::real});
            cursor.advance();
        } else if (cursor.token().kind == TokenKind::backquote) {
            const Vec3 v = cursor.vector();
            for (const float f : {v.x, v.y, v.z})
                numbers.push_back({f, NumberKind::real});
        } else {
            return numbers;
        }
    }
}

Value parse_value(Context& c, bool in_array, unsigned depth) {
    Cursor& cursor = c.cursor;
    if (depth > c.settings.nesting_limit)
        cursor.fail_at(cursor.where(), "parameters are nested too deeply");
    if (cursor.accept_mark('=')) {
        if (cursor.accept("interface")) return {Interface{cursor.name("the name of a parameter")}};
        return {Connection{c.used_connection(cursor.name("the name of a shader"))}};
    }
    if (cursor.accept_mark('{')) return {StructValue{parse_parameters(c, '}', depth + 1)}};
    if (cursor.at_mark('[') && !in_array) {
        cursor.advance();
        ArrayValue array;
        while (!cursor.at_mark(']')) {
            array.elements.push_back(parse_value(c, true, depth + 1));
            if (!cursor.accept_mark(',')) break;
        }
        if (!cursor.at_mark(']')) cursor.fail("',' or ']'");
        cursor.advance();
        return {std::move(array)};
    }
    if (cursor.at_bool() || cursor.at_number() || cursor.token().kind == TokenKind::backquote)
        return {parse_numbers(cursor)};
    if (cursor.accept("null")) return {Null{}};
    if (cursor.at_name()) return {cursor.name("a value")};
    cursor.fail("a value");
}

// Keeps only the last parameter of each name.
void drop_repeated(std::vector<Parameter>& parameters) {
    constexpr std::size_t kQuadraticLimit = 32; // parameters; longer lists use a set
    if (parameters.size() <= kQuadraticLimit) {
        for (std::size_t i = 0; i < parameters.size();) {
            const auto same = [&](const Parameter& p) { return p.name == parameters[i].name; };
            const auto at = parameters.begin() + static_cast<std::ptrdiff_t>(i);
            if (std::any_of(at + 1, parameters.end(), same))
                parameters.erase(at);
            else
                ++i;
        }
        return;
    }
    std::set<std::string_view> seen;
    std::vector<bool> again(parameters.size());
    bool any = false;
    for (std::size_t i = parameters.size(); i-- > 0;) {
        again[i] = !seen.insert(parameters[i].name).second;
        any = any || again[i];
    }
    if (!any) return;
    std::vector<Parameter> kept;
    for (std::size_t i = 0; i < parameters.size(); ++i)
        if (!again[i]) kept.push_back(std::move(parameters[i]));
    parameters = std::move(kept);
}

std::vector<Parameter> parse_parameters(Context& c, char close, unsigned depth) {
    Cursor& cursor = c.cursor;
    std::vector<Parameter> parameters;
    while (!cursor.at_mark(close)) {
        Parameter parameter;
        parameter.where = cursor.where();
        if (!cursor.at_name())
            cursor.fail(std::string("the name of a parameter or '") + close + '\'');
        parameter.name = cursor.name("the name of a parameter");
        if (cursor.accept("colorprofile")) cursor.name("the name of a color profile");
        parameter.value = parse_value(c, false, depth);
        parameters.push_back(std::move(parameter));
        if (!cursor.accept_mark(',')) break;
    }
    if (!cursor.at_mark(close)) cursor.fail(std::string("',' or '") + close + '\'');
    cursor.advance();
    if (parameters.size() > 1) drop_repeated(parameters);
    return parameters;
}

bool is_reference(Type type) {
    switch (type) {
    case Type::scalar_texture:
    case Type::vector_texture:
    case Type::color_texture:
    case Type::light:
    case Type::material:
    case Type::geometry:
    case Type::lightprofile:
    case Type::spectrum:
    case Type::shader:
    case Type::data:
        return true;
    default:
        return false;
    }
}

// Adds the namespace prefix to strings that refer to elements, according to their declared type.
void qualify(const Context& c, std::vector<Parameter>& values,
             const std::vector<ParameterDeclaration>& declared);

void qualify(const Context& c, Value& value, const ParameterDeclaration& declared) {
    if (auto* const text = std::get_if<std::string>(&value.content)) {
        if (is_reference(declared.type)) *text = c.used(std::move(*text));
    } else if (auto* const array = std::get_if<ArrayValue>(&value.content)) {
        if (declared.type != Type::array) return;
        for (Value& element : array->elements)
            qualify(c, element, declared.members.front());
    } else if (auto* const inner = std::get_if<StructValue>(&value.content)) {
        if (declared.type == Type::structure) qualify(c, inner->members, declared.members);
    }
}

void qualify(const Context& c, std::vector<Parameter>& values,
             const std::vector<ParameterDeclaration>& declared) {
    for (Parameter& value : values) {
        const auto found = std::find_if(declared.begin(), declared.end(),
                                        [&](const auto& d) { return d.name == value.name; });
        if (found != declared.end()) qualify(c, value.value, *found);
    }
}

// An incremental call of the same shader replaces only the parameters that it lists.
void merge_call(ShaderList& present, ShaderList& changed) {
    if (present.size() != 1 || changed.size() != 1) return;
    const auto* const before = std::get_if<ShaderCall>(&present.front());
    auto* const after = std::get_if<ShaderCall>(&changed.front());
    if (before == nullptr || after == nullptr || before->declaration != after->declaration) return;
    std::vector<Parameter> merged = before->parameters;
    merged.insert(merged.end(), std::make_move_iterator(after->parameters.begin()),
                  std::make_move_iterator(after->parameters.end()));
    drop_repeated(merged);
    after->parameters = std::move(merged);
}

std::string define_shader(Context& c, bool incremental, bool one) {
    const DefinedName name = parse_defined_name(c, "shader");
    try {
        auto shader = c.names.start<NamedShader>(name.name, name.where, incremental);
        ShaderList shaders;
        if (one)
            shaders.push_back(parse_shader(c));
        else
            shaders = parse_shader_list(c);
        if (shaders.empty()) c.cursor.fail("a shader: \"name\" ( … ) or = \"name\"");
        if (incremental) merge_call(shader.shaders, shaders);
        shader.shaders = std::move(shaders);
        deliver(c, std::move(shader), true, &SceneReceiver::on_shader);
    } catch (const SyntaxError&) {
        c.names.keep_name<NamedShader>(name.name);
        throw;
    }
    return name.name;
}

} // namespace

bool at_shader(const Context& c) {
    return c.cursor.at_string() || c.cursor.at_mark('=');
}

ShaderCall parse_call_of(Context& c, std::string declaration, Location where) {
    ShaderCall call;
    call.declaration = std::move(declaration);
    call.where = where;
    c.cursor.expect_mark('(');
    call.parameters = parse_parameters(c, ')', 0);
    if (!c.spaces.empty()) {
        const auto declared = c.declarations.find(call.declaration);
        if (declared != c.declarations.end())
            qualify(c, call.parameters, declared->second.parameters);
    }
    return call;
}

ShaderCall parse_call(Context& c) {
    const Location where = c.cursor.where();
    std::string declaration = c.cursor.string("the name of a declared shader");
    return parse_call_of(c, std::move(declaration), where);
}

Shader parse_shader(Context& c) {
    Cursor& cursor = c.cursor;
    if (!cursor.at_mark('=')) return parse_call(c);
    cursor.advance();
    ShaderReference reference;
    reference.where = cursor.where();
    const bool incremental = cursor.accept("incremental");
    if (incremental || cursor.at("shader")) {
        cursor.expect("shader");
        reference.name = define_shader(c, incremental, true);
        return reference;
    }
    reference.name = c.used(cursor.name("the name of a shader"));
    // The receiver uses a stand-in, as for other calls of undeclared shaders.
    if (c.names.find(reference.name) == nullptr && !c.declarations.contains(reference.name))
        return ShaderCall{reference.name, {}, reference.where};
    if (c.names.find_as<NamedShader>(reference.name) == nullptr)
        cursor.fail_at(reference.where, Names::no_element<NamedShader>(reference.name));
    return reference;
}

ShaderList parse_shader_list(Context& c) {
    ShaderList list;
    while (at_shader(c))
        list.push_back(parse_shader(c));
    return list;
}

void parse_named_shader(Context& c, bool incremental) {
    c.cursor.advance();
    define_shader(c, incremental, false);
}

void Clause::parse(Context& c, ShaderList& list) {
    ShaderList shaders = parse_shader_list(c);
    if (shaders.empty() || !m_seen) list.clear();
    m_seen = !shaders.empty();
    list.insert(list.end(), std::make_move_iterator(shaders.begin()),
                std::make_move_iterator(shaders.end()));
}

} // namespace vx::scene
