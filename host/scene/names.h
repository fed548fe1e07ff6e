// The named elements of a scene while it is read.
#pragma once

#include "host/scene/description.h"
#include "host/scene/lexer.h"

#include <memory>
#include <unordered_map>

namespace vx::scene {

// An element of an unsupported kind. Only its name is kept.
struct Skipped : Element {};

// The kind of an element as used in the scene language and in messages.
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

// Stores the contents of every named element, except the geometry of objects. Incremental
// definitions start from them, and references are checked against them. All kinds share one name
// space.
class Names {
  public:
    // Pointers save memory: a scene may have a million shaders, and a camera is ten times as large.
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
    // The element that a definition starts from. Throws SyntaxError if the name belongs to another
    // kind of element, or if the element of an incremental definition does not exist.
    template <class T>
    T start(const std::string& name, Location where, bool incremental) const {
        const Content* const present = find(name);
        const T* const same = present ? as<T>(*present) : nullptr;
        if (present && !same)
            throw SyntaxError{where, quote(name) + " is already " + kind_of(*present)};
        if (incremental && !same) throw SyntaxError{where, no_element<T>(name) + " to change"};
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
    // Keeps the name of a definition with errors, so that later references don't produce follow-on
    // errors.
    template <class T>
    void keep_name(const std::string& name) {
        auto element = std::make_unique<T>();
        element->name = name;
        m_contents.try_emplace(name, std::move(element));
    }
    bool erase(const std::string& name) { return m_contents.erase(name) > 0; }

    // The kind with an article, such as "a camera".
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
    // "there is no camera 'x'".
    template <class T>
    static std::string no_element(const std::string& name) {
        const char* const verb = std::is_same_v<T, Options> ? "there are no " : "there is no ";
        return std::string(verb) + kind_name<T>() + ' ' + quote(name);
    }
    static std::string quote(const std::string& name) { return '\'' + name + '\''; }

  private:
    std::unordered_map<std::string, Content> m_contents;
};

} // namespace vx::scene
