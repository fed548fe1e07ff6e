// Variables, the registry, and the substitution of {NAME} in strings and paths.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::scene {

// Substitution for paths in scenes and for mi_string_substitute. Replaces, recursively:
//   {NAME}            the value of the registry entry "{NAME}"
//   ${NAME}, {$NAME}  the environment variable, empty if it is not set
//   ${?NAME}          "1" if the environment variable exists, else empty
// Unknown {NAME} are kept. Depth and length are limited, so that recursive entries terminate.
class Substitution {
  public:
    // Sets a variable (`set` command), or deletes it if there is no value.
    void set_variable(std::string name, std::optional<std::string> value);
    // Empty if not set.
    std::string variable(std::string_view name) const;

    // Sets a registry entry (`registry` command). `name` usually has braces.
    void set_registry(std::string name, std::string value);
    std::optional<std::string> registry(std::string_view name) const;

    // Replaces {NAME} and environment references.
    std::string substitute(std::string_view text) const;
    // Applies substitute, then the rules of the environment variable MI_RAY_SUBSTITUTE. If it is
    // not set, the default rules replace the extensions .dll by .so, .obj by .o and .lib by .a,
    // remove a drive letter, and replace backslashes by slashes.
    std::string path(std::string_view text) const;

  private:
    std::map<std::string, std::string, std::less<>> m_variables;
    std::map<std::string, std::string, std::less<>> m_registry;
};

// Applies rules such as "/search/replace/ :a:b:" to `text`, one after the other, each to all
// occurrences. In a search pattern ^ or ` is the beginning, $ the end, ? any character, and [a-z] a
// range. Rules after a syntax error are ignored.
std::string apply_path_rules(std::string_view rules, std::string_view text);

// Splits a list such as "a:b;c". Empty items are omitted.
std::vector<std::string> split_path_list(std::string_view list);

} // namespace vx::scene
