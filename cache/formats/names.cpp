#include "cache/formats/names.h"

#include <charconv>

namespace vx::cache {

std::string NameSet::add(const std::string& name) {
    std::string free = first_free(name, [this](const std::string& n) { return !contains(n); });
    insert(free);
    return free;
}

void rename_attributes(std::vector<Attribute>& attributes,
                       const std::unordered_map<std::string, std::string>& names) {
    std::vector<std::string> renamed;
    std::unordered_set<std::string> different;
    for (const Attribute& a : attributes) {
        const auto found = names.find(a.name);
        renamed.push_back(found == names.end() ? a.name : found->second);
        if (!different.insert(renamed.back()).second) return;
    }
    for (std::size_t i = 0; i < attributes.size(); ++i)
        attributes[i].name = std::move(renamed[i]);
}

std::string note_of_name(const std::string& name, const std::string& in_file) {
    return "'" + name + "': is called '" + in_file + "' in the file";
}

std::string percent_encoded(std::string_view text, bool every) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (!every && byte > ' ' && byte != 0x7f && c != '%') {
            out += c;
            continue;
        }
        out += '%';
        out += kDigits[byte >> 4];
        out += kDigits[byte & 15];
    }
    return out;
}

std::optional<std::string> percent_decoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        unsigned value = 0;
        const std::string_view digits = text.substr(i + 1, 2);
        const char* const end = digits.data() + digits.size();
        if (digits.size() < 2 || std::from_chars(digits.data(), end, value, 16).ptr != end) {
            return std::nullopt;
        }
        out += static_cast<char>(value);
        i += 2;
    }
    return out;
}

} // namespace vx::cache
