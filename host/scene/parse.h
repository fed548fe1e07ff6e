// The parser: one function per kind of statement. Internal to the reader.
#pragma once

#include "host/scene/cursor.h"
#include "host/scene/names.h"

namespace vx::scene {

// The state of the parser.
struct Context {
    Lexer& lexer;
    Cursor& cursor;
    SceneReceiver& receiver;
    Diagnostics& diagnostics;
    Substitution& substitution;
    const ReaderSettings& settings;
    Names names{};
    std::map<std::string, Declaration, std::less<>> declarations{};
    std::vector<std::string> spaces{}; // open namespaces, outermost first, each ending in "::"
    std::string closing{};             // the word after the `end` of the current statement
    bool stop = false;                 // the receiver stopped reading

    // The full name of an element that is defined.
    std::string defined(const std::string& name) const;
    // The full name of an element that is used: in the innermost namespace that has it, else as
    // written.
    std::string used(std::string name) const;
    // As used(), for a connection, which may refer to a member ("ramp.outColor").
    std::string used_connection(std::string name) const;
    // Whether render and call commands are still executed.
    bool good() const { return diagnostics.errors() == 0; }
};

// Reads the name of an element after its keyword.
struct DefinedName {
    std::string name;
    Location where;
};
DefinedName parse_defined_name(Context& c, const char* what);

// parse_statement.cpp. Parses one statement; throws SyntaxError.
void parse_statement(Context& c);

// parse_shader.cpp
bool at_shader(const Context& c);
ShaderCall parse_call(Context& c);
// Parses a call after its declared name.
ShaderCall parse_call_of(Context& c, std::string declaration, Location where);
Shader parse_shader(Context& c);
ShaderList parse_shader_list(Context& c); // may be empty
void parse_named_shader(Context& c, bool incremental);
// A clause of a block with a shader list. The first clause of a block replaces the earlier list and
// further ones extend it. A clause without shaders clears the list.
class Clause {
  public:
    void parse(Context& c, ShaderList& list);

  private:
    bool m_seen = false;
};

// parse_declare.cpp
void parse_declare(Context& c);
// Skips `gui [NAME] [( )] { }`. The current token is `gui`.
void skip_gui(Context& c);

// parse_options.cpp, parse_options_skip.cpp
void parse_options(Context& c, bool incremental);
// Skips an unsupported option. Returns false if it is not one of them.
bool skip_option(Context& c);
Face parse_face(Cursor& cursor);
// Parses `[clip] box [width [height]]` etc.
Filter parse_filter(Context& c);
// Parses a quoted name and its value: a boolean, a string or numbers.
void parse_string_option(Context& c, std::map<std::string, OptionValue, std::less<>>* strings);
// Skips `attribute [override] …`. The current token is `attribute`.
void skip_attribute(Context& c);
// Parses `NAME` or `null` after `data`. `seen`: whether the block has had such an item.
void parse_data_item(Context& c, std::vector<std::string>& list, bool& seen);

// parse_camera.cpp, parse_light.cpp, parse_material.cpp, parse_instance.cpp
void parse_camera(Context& c, bool incremental);
void parse_light(Context& c, bool incremental);
void parse_material(Context& c, bool incremental);
void parse_instance(Context& c, bool incremental);
void parse_instgroup(Context& c, bool incremental);
bool at_texture(const Cursor& cursor);
void parse_texture(Context& c, bool incremental);
void parse_data(Context& c, bool incremental);

// parse_object.cpp
void parse_object(Context& c, bool incremental);

// Finishes a definition: delivers the element if it is valid, else keeps only its name.
template <class T>
void deliver(Context& c, T element, bool good, void (SceneReceiver::*on)(const T&)) {
    if (!good) {
        c.names.keep_name<T>(element.name);
        return;
    }
    (c.receiver.*on)(element);
    c.names.keep(std::move(element));
}

// Parses `kind NAME items end kind`. `item` parses one item; `check` returns whether the element is
// valid.
template <class T, class Item, class Check>
void parse_block(Context& c, bool incremental, void (SceneReceiver::*on)(const T&), Item&& item,
                 Check&& check) {
    const char* const kind = kind_name<T>();
    c.cursor.advance();
    const DefinedName name = parse_defined_name(c, kind);
    T element;
    bool good = true;
    try {
        element = c.names.start<T>(name.name, name.where, incremental);
    } catch (const SyntaxError& error) {
        c.diagnostics.error(error.where, error.text);
        element.name = name.name;
        good = false;
    }
    try {
        good = parse_items(c.cursor, kind, [&] { item(element); }) && good;
    } catch (const SyntaxError&) {
        c.names.keep_name<T>(name.name);
        throw;
    }
    good = good && check(element);
    deliver(c, std::move(element), good, on);
}

template <class T, class Item>
void parse_block(Context& c, bool incremental, void (SceneReceiver::*on)(const T&), Item&& item) {
    parse_block<T>(c, incremental, on, item, [](const T&) { return true; });
}

} // namespace vx::scene
