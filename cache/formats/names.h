/// @file
/// Names of attributes as files spell them. Each format replaces what it cannot store; names that
/// are equal after that are told apart by a number.
#pragma once

#include "cache/cloud/attribute.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vx::cache {

/// Bytes of the longest name that text formats store; longer ones are cut.
inline constexpr std::size_t kLongestName = 1024;

/// Names that are in use. The cost of an operation does not depend on the number of names, even if
/// many attributes want the same one.
class NameSet {
  public:
    bool contains(const std::string& name) const { return m_names.contains(name); }
    void insert(std::string name) { m_names.insert(std::move(name)); }

    /// Returns the first of NAME, NAME_2, NAME_3, ... that `is_free` accepts. A name that it has
    /// rejected once is not tried again.
    template <typename F>
    std::string first_free(const std::string& name, F&& is_free) {
        std::int64_t& number = m_numbers.try_emplace(name, 1).first->second;
        for (;; ++number) {
            std::string candidate = number == 1 ? name : name + "_" + std::to_string(number);
            if (is_free(candidate)) return candidate;
        }
    }
    /// Adds and returns the first of NAME, NAME_2, ... that is not in use.
    std::string add(const std::string& name);

  private:
    std::unordered_set<std::string> m_names;
    std::unordered_map<std::string, std::int64_t> m_numbers; // the next one for each name
};

/// Adds a name for each of `names`: the one that `clean` makes of it, and a number if that is in
/// use. Names that need no cleaning come first, so that they stay as they are.
template <typename F>
std::vector<std::string> add_names(NameSet& set, const std::vector<std::string>& names, F&& clean) {
    std::vector<std::string> out(names.size());
    for (const bool changed : {false, true}) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            const std::string cleaned = clean(names[i]);
            if ((cleaned != names[i]) == changed) out[i] = set.add(cleaned);
        }
    }
    return out;
}

/// Names attributes as the map says, which has new names by old ones. Changes nothing if two
/// attributes would have the same name then.
void rename_attributes(std::vector<Attribute>& attributes,
                       const std::unordered_map<std::string, std::string>& names);

/// The note for an attribute whose name differs in the file.
std::string note_of_name(const std::string& name, const std::string& in_file);

/// Replaces blanks, control characters and "%", or every character, by "%" and two hexadecimal
/// digits.
std::string percent_encoded(std::string_view text, bool every = false);
/// @return none if a "%" is not followed by two hexadecimal digits
std::optional<std::string> percent_decoded(std::string_view text);

} // namespace vx::cache
