// What the names of a scene stand for while it is read.
#pragma once

#include "host/scene/description.h"
#include "host/scene/lexer.h"

#include <memory>
#include <unordered_map>

namespace vx::scene {

// Elements that are skipped have their name kept, nothing else.
struct Skipped : Element {};

// As error messages call the element.
template <class T>
constexpr const char* kind_name() {
    if constexpr (std::is_same_v<T, Options>) return "options";
    if constexpr (std::is_same_v<T, Camera>) return "camera";
    if constexpr (std::is_same_v<T, Light>) return "light";
    if constexpr (std::is_same_v<T, Texture>) return "texture";
    if constexpr (std::is_same_v<T, Material>) return "material";
    if constexpr (std::is_same_v<T, NamedShader>) return "shader";
    if constexpr (std::is_same_v<T, UserData>) return "data";
    if constexpr (std::is_same_v<T, Object>) return "object";
    if constexpr (std::is_same_v<T, Instance>) return "instance";
    if constexpr (std::is_same_v<T, InstanceGroup>) return "instgroup";
    return "element";
}

/*
 * Keeps the contents of every named element (of objects all but the geometry), so that an
 * incremental definition can start from them and references can be checked. All kinds share one set
 * of names.
 */
class Names {
  public:
    // Behind pointers: large scenes have a million shaders, and a camera is ten times as large.
    template <class... T>
    using AnyOf = std::variant<std::unique_ptr<T>...>;
    using Content = AnyOf<Skipped, Options, Camera, Light, Texture, Material, NamedShader, UserData,
                          Object, Instance, InstanceGroup>;

    const Content* find(const std::string& name) const {
        const auto found = m_contents.find(name);
        return found == m_contents.end() ? nullptr : &found->second;
    }
    template <class T>
    const T* find_as(const std::string& name) const {
        const Content* const content = find(name);
        return content ? as<T>(*content) : nullptr;
    }
    template <class T>
    static const T* as(const Content& content) {
        const auto* const found = std::get_if<std::unique_ptr<T>>(&content);
        return found ? found->get() : nullptr;
    }
    // Contents to start a definition from. Throws SyntaxError when the name is taken by another
    // kind of element, or when an incremental definition has nothing to change.
    template <class T>
    T start(const std::string& name, Location where, bool incremental) const {
        const Content* const present = find(name);
        const T* const same = present ? as<T>(*present) : nullptr;
        if (present && !same)
            throw SyntaxError{where, quote(name) + " is " + kind_of(*present) + " already"};
        if (incremental && !same)
            throw SyntaxError{where, std::string("there is no ") + kind_name<T>() + ' ' +
                                         quote(name) + " to change"};
        T element = incremental ? *same : T{};
        element.name = name;
        element.where = where;
        element.incremental = incremental;
        return element;
    }
    template <class T>
    void keep(T element) {
        std::string name = element.name;
        m_contents.insert_or_assign(std::move(name), std::make_unique<T>(std::move(element)));
    }
    // A definition with errors: the name exists from here on, so that its uses are no errors too.
    template <class T>
    void keep_name(const std::string& name) {
        auto element = std::make_unique<T>();
        element->name = name;
        m_contents.try_emplace(name, std::move(element));
    }
    bool erase(const std::string& name) { return m_contents.erase(name) > 0; }

    static std::string kind_of(const Content& content) {
        const std::string kind = std::visit(
            [](const auto& element) -> std::string {
                return kind_name<std::decay_t<decltype(*element)>>();
            },
            content);
        const bool plural_or_mass = kind == "options" || kind == "data";
        const bool vowel = kind.front() == 'o' || kind.front() == 'i' || kind.front() == 'e';
        return (plural_or_mass ? "" : vowel ? "an " : "a ") + kind;
    }
    static std::string quote(const std::string& name) { return '\'' + name + '\''; }

  private:
    std::unordered_map<std::string, Content> m_contents;
};

} // namespace vx::scene
