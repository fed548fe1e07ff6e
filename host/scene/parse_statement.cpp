// Commands, and the dispatch of statements.
#include "host/scene/parse.h"

#include <algorithm>
#include <charconv>

namespace vx::scene {

namespace {

// Compares versions such as "3.14.2" and "3.9" number by number.
int compare_versions(std::string_view a, std::string_view b) {
    const auto take = [](std::string_view& text) {
        int number = 0;
        const auto [behind, status] =
            std::from_chars(text.data(), text.data() + text.size(), number);
        (void)status;
        text.remove_prefix(static_cast<std::size_t>(behind - text.data()));
        if (text.starts_with('.'))
            text.remove_prefix(1);
        else
            text = {};
        return number;
    };
    while (!a.empty() || !b.empty()) {
        const int x = take(a), y = take(b);
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

enum class Bound : std::uint8_t { lowest, highest };

void parse_version(Context& c, Bound bound) {
    c.cursor.expect("version");
    const Location where = c.cursor.where();
    const std::string wanted = c.cursor.string("a version in quotes");
    const int order = compare_versions(c.settings.version, wanted);
    if (bound == Bound::lowest ? order < 0 : order > 0)
        c.diagnostics.warning(where, "the scene requires version " + wanted +
                                         (bound == Bound::lowest ? " or later" : " or earlier") +
                                         " of the renderer; this is version " + c.settings.version);
}

void parse_verbose(Context& c) {
    constexpr int kLevelOn = 5, kLevelOff = 2, kMaxLevel = 7;
    if (c.cursor.at_bool()) return c.receiver.on_verbose(c.cursor.boolean() ? kLevelOn : kLevelOff);
    if (!c.cursor.at_integer()) c.cursor.fail("'on', 'off' or a level from 0 to 7");
    c.receiver.on_verbose(std::clamp(c.cursor.integer(), 0, kMaxLevel));
}

// The next token may follow a directive that tests the variable, so the variable is set before the
// lexer advances.
void parse_set(Context& c) {
    if (!c.cursor.at_name()) c.cursor.fail("the name of a variable");
    const std::string name = unescape(c.cursor.token());
    c.substitution.set_variable(name, std::nullopt);
    c.cursor.advance();
    // Values must be quoted, since an unquoted word may begin the next statement.
    if (!c.cursor.at_string()) return;
    c.substitution.set_variable(name, unescape(c.cursor.token()));
    c.cursor.advance();
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char ch : text) {
        if (ch == '"' || ch == '\\') result += '\\';
        result += ch;
    }
    return result + '"';
}

// `value` is stored for substitution. The commands that $lookup executes are stored as scene text.
void parse_registry(Context& c) {
    Cursor& cursor = c.cursor;
    const std::string name = cursor.name("the name of a registry entry");
    std::string actions;
    for (;;) {
        if (cursor.at_end()) cursor.fail("'end registry'");
        const std::string key = cursor.name("a registry item or 'end registry'");
        if (key == "end" && cursor.at("registry")) break;
        std::string value = cursor.name("the value of a registry item");
        if (key == "value")
            c.substitution.set_registry(name, std::move(value));
        else if (key == "mi")
            actions += "\n$include " + quoted(value);
        else if (key == "link" || key == "echo" || key == "system" || key == "code")
            actions += '\n' + key + ' ' + quoted(value);
    }
    // The next token may follow a $lookup of this entry; see parse_set.
    c.lexer.set_registry_actions(name, actions + '\n');
    cursor.advance();
}

void parse_system(Context& c) {
    c.diagnostics.omit(Omission::statement, "system");
    c.diagnostics.warning(c.cursor.where(), "shell commands are not supported; ignored");
    c.cursor.string("a command");
}

void parse_code(Context& c) {
    const Location where = c.cursor.where();
    if (c.cursor.at_string())
        c.cursor.advance();
    else
        c.cursor.byte_strings();
    c.cursor.fail_at(where, "C source is not supported; link a shared library instead");
}

void parse_namespace(Context& c) {
    const std::string outer = c.spaces.empty() ? std::string{} : c.spaces.back();
    const Location where = c.cursor.where();
    const std::string name = c.cursor.name("the name of a namespace");
    if (c.spaces.size() >= c.settings.nesting_limit)
        c.cursor.fail_at(where, "namespaces are nested too deeply");
    c.spaces.push_back(outer + name + "::");
}

void parse_end(Context& c) {
    const Location where = c.cursor.where();
    c.cursor.advance();
    if (c.cursor.at("namespace") && !c.spaces.empty()) {
        c.cursor.advance();
        c.spaces.pop_back();
        return;
    }
    const std::string what = describe(c.cursor.token());
    if (c.cursor.at_word()) c.cursor.advance();
    c.cursor.fail_at(where, "expected a statement, found 'end' and " + what);
}

void parse_delete(Context& c) {
    const Location where = c.cursor.where();
    const std::string name = c.used(c.cursor.name("the name of an element"));
    if (!c.names.erase(name))
        c.cursor.fail_at(where, "there is no element " + Names::quote(name) + " to delete");
    c.receiver.on_delete(name, where);
}

// Reads the name of an element of type T. Reports an error and returns an empty string if there is
// no such element.
template <class T>
std::string parse_reference(Context& c, const char* what) {
    const Location where = c.cursor.where();
    std::string name = c.used(c.cursor.name(what));
    if (c.names.find_as<T>(name)) return name;
    c.diagnostics.error(where, Names::no_element<T>(name));
    return {};
}

std::string parse_camera_instance(Context& c) {
    const Location where = c.cursor.where();
    std::string name = parse_reference<Instance>(c, "the name of a camera instance");
    const auto* const instance = c.names.find_as<Instance>(name);
    if (instance != nullptr && c.names.find_as<Camera>(instance->item) == nullptr)
        c.diagnostics.error(where,
                            "instance " + Names::quote(name) + " is not an instance of a camera");
    return name;
}

void parse_render(Context& c, Location where) {
    const auto root = parse_reference<InstanceGroup>(c, "the name of the root instgroup");
    const auto camera = parse_camera_instance(c);
    const auto options = parse_reference<Options>(c, "the name of options");
    if (c.good()) c.stop = !c.receiver.on_render(root, camera, options, where) || c.stop;
}

void parse_call_command(Context& c, Location where) {
    const ShaderList shaders = parse_shader_list(c);
    if (shaders.empty()) c.cursor.fail("a shader to call");
    std::string camera, options;
    if (c.cursor.accept_mark(',')) {
        camera = parse_camera_instance(c);
        options = parse_reference<Options>(c, "the name of options");
    }
    if (c.good()) c.receiver.on_call(shaders, camera, options, where);
}

// Skips an element of an unsupported kind and keeps its name.
void skip_element(Context& c, bool has_end) {
    Cursor& cursor = c.cursor;
    const std::string kind(cursor.token().text);
    c.diagnostics.skip("element " + kind, cursor.where(),
                       "'" + kind + "' is not supported; ignored");
    cursor.advance();
    c.names.keep_name<Skipped>(parse_defined_name(c, kind.c_str()).name);
    if (!has_end) return;
    for (bool end = false; !(end && cursor.accept(kind));) {
        if (cursor.at_end()) cursor.fail("'end " + kind + '\'');
        end = cursor.at("end");
        cursor.advance();
    }
}

// The kind whose `end kind` closes the current statement; empty if it has none.
std::string statement_end(const Cursor& cursor) {
    constexpr std::string_view kBlocks[] = {"options",      "camera",       "light",     "material",
                                            "object",       "instance",     "instgroup", "assembly",
                                            "lightprofile", "colorprofile", "spectrum",  "map",
                                            "declare",      "registry",     "frame",     "view"};
    const bool block = cursor.at_word() && std::find(std::begin(kBlocks), std::end(kBlocks),
                                                     cursor.token().text) != std::end(kBlocks);
    return block ? std::string(cursor.token().text) : std::string{};
}

bool parse_element(Context& c, bool incremental) {
    Cursor& cursor = c.cursor;
    if (cursor.at("options"))
        parse_options(c, incremental);
    else if (cursor.at("camera"))
        parse_camera(c, incremental);
    else if (cursor.at("light"))
        parse_light(c, incremental);
    else if (at_texture(cursor))
        parse_texture(c, incremental);
    else if (cursor.at("material"))
        parse_material(c, incremental);
    else if (cursor.at("object"))
        parse_object(c, incremental);
    else if (cursor.at("instance"))
        parse_instance(c, incremental);
    else if (cursor.at("instgroup"))
        parse_instgroup(c, incremental);
    else if (cursor.at("shader"))
        parse_named_shader(c, incremental);
    else if (cursor.at("data"))
        parse_data(c, incremental);
    else if (cursor.at_any({"assembly", "lightprofile", "colorprofile", "spectrum", "map"}))
        skip_element(c, true);
    else if (cursor.at("gui"))
        skip_gui(c);
    else
        return false;
    return true;
}

bool parse_command(Context& c) {
    Cursor& cursor = c.cursor;
    const Location where = cursor.where();
    if (cursor.at("declare")) {
        parse_declare(c);
    } else if (cursor.accept("render")) {
        parse_render(c, where);
    } else if (cursor.accept("link")) {
        const Location place = cursor.where();
        c.receiver.on_link(c.substitution.path(cursor.string("the name of a library")), place);
    } else if (cursor.at("version")) {
        parse_version(c, Bound::lowest);
    } else if (cursor.accept("min")) {
        parse_version(c, Bound::lowest);
    } else if (cursor.accept("max")) {
        parse_version(c, Bound::highest);
    } else if (cursor.accept("verbose")) {
        parse_verbose(c);
    } else if (cursor.accept("echo")) {
        c.receiver.on_echo(c.substitution.substitute(cursor.string("a string")));
    } else if (cursor.accept("set")) {
        parse_set(c);
    } else if (cursor.accept("registry")) {
        parse_registry(c);
    } else if (cursor.accept("delete")) {
        parse_delete(c);
    } else if (cursor.accept("call")) {
        parse_call_command(c, where);
    } else if (cursor.accept("namespace")) {
        parse_namespace(c);
    } else if (cursor.accept("system")) {
        parse_system(c);
    } else if (cursor.accept("code")) {
        parse_code(c);
    } else if (cursor.accept("touch") || cursor.accept("root")) {
        cursor.name("a name");
    } else if (cursor.accept("debug")) {
        cursor.name("a name");
        if (cursor.at_string()) cursor.advance();
    } else if (cursor.accept("memory")) {
        c.diagnostics.warning_once("memory", where, "'memory' has no effect");
        cursor.integer();
    } else if (cursor.at_any({"frame", "view"})) {
        cursor.fail_at(where,
                       "'frame' and 'view' are not supported: scenes of version 1 cannot be read");
    } else {
        return false;
    }
    return true;
}

} // namespace

DefinedName parse_defined_name(Context& c, const char* what) {
    const Location where = c.cursor.where();
    const std::string expected = std::string("the name of the ") + what;
    return {c.defined(c.cursor.name(expected.c_str())), where};
}

void parse_statement(Context& c) {
    Cursor& cursor = c.cursor;
    if (cursor.at("end")) return parse_end(c);
    bool incremental = false, modified = false;
    for (;; modified = true) {
        if (cursor.accept("incremental"))
            incremental = true;
        else if (cursor.accept("session")) {
            cursor.expect("depth");
            cursor.integer();
        } else if (!cursor.accept("private"))
            break;
    }
    c.closing = statement_end(cursor);
    if (parse_element(c, incremental)) return;
    if (modified) cursor.fail("an element such as 'camera'");
    if (!parse_command(c)) cursor.fail("a statement");
}

} // namespace vx::scene
