#include "host/scene/substitution.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>

namespace vx::scene {

namespace {

constexpr unsigned kDepthLimit = 32;
constexpr std::size_t kLengthLimit = std::size_t{1} << 16;
constexpr std::size_t kNameLimit = 4096;
constexpr unsigned kReferenceLimit =
    100000; // per string, since entries may refer to each other more than once

// One character of a search pattern.
struct Piece {
    enum class Kind : std::uint8_t { literal, any, range } kind = Kind::literal;
    unsigned char low = 0, high = 0;
};

struct Rule {
    std::vector<Piece> pieces;
    bool at_beginning = false, at_end = false;
    std::string replacement;
};

Rule parse_rule(std::string_view search, std::string_view replacement) {
    Rule rule;
    rule.replacement = replacement;
    if (!search.empty() && (search.front() == '^' || search.front() == '`')) {
        rule.at_beginning = true;
        search.remove_prefix(1);
    }
    if (!search.empty() && search.back() == '$') {
        rule.at_end = true;
        search.remove_suffix(1);
    }
    for (std::size_t i = 0; i < search.size(); ++i) {
        const auto c = static_cast<unsigned char>(search[i]);
        if (c == '?') {
            rule.pieces.push_back({Piece::Kind::any, 0, 0});
        } else if (c == '[' && i + 4 < search.size() && search[i + 2] == '-' &&
                   search[i + 4] == ']') {
            rule.pieces.push_back({Piece::Kind::range, static_cast<unsigned char>(search[i + 1]),
                                   static_cast<unsigned char>(search[i + 3])});
            i += 4;
        } else {
            rule.pieces.push_back({Piece::Kind::literal, c, c});
        }
    }
    return rule;
}

bool matches(const Rule& rule, std::string_view text, std::size_t at) {
    if (rule.at_beginning && at != 0) return false;
    if (at + rule.pieces.size() > text.size()) return false;
    if (rule.at_end && at + rule.pieces.size() != text.size()) return false;
    for (std::size_t i = 0; i < rule.pieces.size(); ++i) {
        const Piece& piece = rule.pieces[i];
        const auto c = static_cast<unsigned char>(text[at + i]);
        if (piece.kind != Piece::Kind::any && (c < piece.low || c > piece.high)) return false;
    }
    return true;
}

std::string apply_rule(const Rule& rule, std::string_view text) {
    if (rule.pieces.empty() && !rule.at_beginning && !rule.at_end) return std::string(text);
    std::string result;
    std::size_t at = 0;
    bool done = false; // an empty pattern matches only once
    while (at <= text.size()) {
        if (!done && matches(rule, text, at)) {
            result += rule.replacement;
            at += rule.pieces.size();
            done = rule.pieces.empty();
            if (!done) continue;
        }
        if (at < text.size()) result += text[at];
        ++at;
    }
    return result;
}

constexpr std::string_view kBuiltInRules =
    "/.dll$/.so/ /.obj$/.o/ /.lib$/.a/ /^[a-z]:// /^[A-Z]:// !\\!/!";

// Index of the brace that closes the one at `open`, or npos.
std::size_t closing_brace(std::string_view text, std::size_t open) {
    unsigned depth = 0;
    const std::size_t last = std::min(text.size(), open + kNameLimit);
    for (std::size_t i = open; i < last; ++i) {
        if (text[i] == '{') ++depth;
        if (text[i] == '}' && --depth == 0) return i;
    }
    return std::string_view::npos;
}

std::string environment(const std::string& name) {
    const char* const value = std::getenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? value : "";
}

} // namespace

void Substitution::set_variable(std::string name, std::optional<std::string> value) {
    if (value)
        m_variables[std::move(name)] = std::move(*value);
    else
        m_variables.erase(name);
}

std::string Substitution::variable(std::string_view name) const {
    const auto found = m_variables.find(name);
    return found == m_variables.end() ? std::string{} : found->second;
}

void Substitution::set_registry(std::string name, std::string value) {
    m_registry[std::move(name)] = std::move(value);
}

std::optional<std::string> Substitution::registry(std::string_view name) const {
    const auto found = m_registry.find(name);
    if (found == m_registry.end()) return std::nullopt;
    return found->second;
}

namespace {

// Appends `text` with references replaced. Returns false if the result was truncated.
bool substitute_into(const Substitution& names, std::string& result, std::string_view text,
                     unsigned depth, unsigned& references) {
    std::size_t at = 0;
    while (at < text.size()) {
        if (result.size() > kLengthLimit || references > kReferenceLimit) return false;
        const bool dollar = text[at] == '$' && at + 1 < text.size() && text[at + 1] == '{';
        const std::size_t open = dollar ? at + 1 : at;
        const std::size_t close =
            text[open] == '{' ? closing_brace(text, open) : std::string_view::npos;
        if (close == std::string_view::npos) {
            result += text[at++];
            continue;
        }
        ++references;
        const std::string_view inside = text.substr(open + 1, close - open - 1);
        if (dollar && inside.starts_with('?')) {
            const std::string name(inside.substr(1));
            if (std::getenv(name.c_str()) != nullptr)
                result += '1'; // NOLINT(concurrency-mt-unsafe)
        } else if (dollar) {
            result += environment(std::string(inside));
        } else if (inside.starts_with('$')) {
            result += environment(std::string(inside.substr(1)));
        } else {
            auto value = names.registry(text.substr(open, close - open + 1));
            // Entry names usually include the braces, but need not.
            if (!value) value = names.registry(inside);
            if (!value || depth >= kDepthLimit) {
                // Not an entry; its contents may contain references.
                result += '{';
                if (depth < kDepthLimit)
                    substitute_into(names, result, inside, depth + 1, references);
                else
                    result += inside;
                result += '}';
            } else if (!substitute_into(names, result, *value, depth + 1, references)) {
                return false;
            }
        }
        at = close + 1;
    }
    return true;
}

} // namespace

std::string Substitution::substitute(std::string_view text) const {
    std::string result;
    unsigned references = 0;
    substitute_into(*this, result, text, 0, references);
    return result;
}

std::string Substitution::path(std::string_view text) const {
    const std::string plain = substitute(text);
    const char* const rules = std::getenv("MI_RAY_SUBSTITUTE"); // NOLINT(concurrency-mt-unsafe)
    return apply_path_rules(rules != nullptr ? std::string_view(rules) : kBuiltInRules, plain);
}

std::string apply_path_rules(std::string_view rules, std::string_view text) {
    std::string result(text);
    std::size_t at = 0;
    for (;;) {
        while (at < rules.size() && std::isspace(static_cast<unsigned char>(rules[at])))
            ++at;
        if (at >= rules.size()) return result;
        const char delimiter = rules[at];
        const std::size_t middle = rules.find(delimiter, at + 1);
        if (middle == std::string_view::npos) return result;
        const std::size_t last = rules.find(delimiter, middle + 1);
        if (last == std::string_view::npos) return result;
        result = apply_rule(parse_rule(rules.substr(at + 1, middle - at - 1),
                                       rules.substr(middle + 1, last - middle - 1)),
                            result);
        if (result.size() > kLengthLimit) return result;
        at = last + 1;
    }
}

std::vector<std::string> split_path_list(std::string_view list) {
    std::vector<std::string> result;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find_first_of(":;"), list.size());
        if (end > 0) result.emplace_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return result;
}

} // namespace vx::scene
