// Variables, registry and the substitution of {NAME} in texts and paths.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::scene {

/*
 * One routine for paths in scenes and for shaders that ask. Replaces, again in what was put in:
 *   {NAME}            the value of the registry entry "{NAME}"
 *   ${NAME}, {$NAME}  the environment variable (nothing when it is not set)
 *   ${?NAME}          "1" when the environment variable exists, else nothing
 * Unknown {NAME} stay as they are. Depth and length are bounded, so that entries which name
 * themselves end.
 */
class Substitution {
  public:
    // `set` command; without a value the variable is cleared.
    void set_variable(std::string name, std::optional<std::string> value);
    // Empty when not set.
    std::string variable(std::string_view name) const;

    // `registry` command: the last value wins. `name` is as written, by custom in braces.
    void set_registry(std::string name, std::string value);
    std::optional<std::string> registry(std::string_view name) const;

    // {NAME} and environment references replaced.
    std::string substitute(std::string_view text) const;
    /*
     * substitute, then the rules of the environment variable MI_RAY_SUBSTITUTE, else the built-in
     * ones: a final .dll becomes .so, .obj .o, .lib .a, a leading drive letter goes, backslashes
     * become slashes.
     */
    std::string path(std::string_view text) const;

  private:
    std::map<std::string, std::string, std::less<>> m_variables;
    std::map<std::string, std::string, std::less<>> m_registry;
};

// `text` with rules such as "/search/replace/ :a:b:" applied one after the other, each at every
// place. In a search text ^ or ` is the beginning, $ the end, ? any character, [a-z] a range. A
// list that does not parse is applied as far as it does.
std::string apply_path_rules(std::string_view rules, std::string_view text);

// "a:b;c" as three texts; empty ones are left out.
std::vector<std::string> split_path_list(std::string_view list);

} // namespace vx::scene
