#include "cache/verbs/expression.h"

#include "cache/cloud/error.h"

#include <muParser.h>

#include <algorithm>
#include <cctype>
#include <optional>

namespace vx::cache {

namespace {

constexpr const char* kNameCharacters =
    "0123456789_.abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

bool is_name_character(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.';
}

// The name by which an expression calls an attribute.
std::string identifier(const std::string& name) {
    std::string out;
    for (const char c : name)
        out += is_name_character(c) ? c : '_';
    return out;
}

std::optional<std::size_t> find_identifier(const Cloud& cloud, const std::string& name) {
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        if (identifier(cloud.attributes[i].name) == name) return i;
    }
    return std::nullopt;
}

// The value that "x", "g" or "12" stands for, or -1.
int component_of(const std::string& word) {
    if (word.size() == 1) {
        for (const std::string_view names : {"xyz", "rgb"}) {
            const std::size_t at = names.find(word[0]);
            if (at != std::string_view::npos) return static_cast<int>(at);
        }
    }
    const bool digits = !word.empty() && word.size() < 8 &&
                        word.find_first_not_of("0123456789") == std::string::npos;
    return digits ? std::stoi(word) : -1;
}

// The column of a name, counted from 1.
std::size_t column_of(const std::string& text, const std::string& name) {
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
        const std::size_t end = at + name.size();
        const bool begins = at == 0 || !is_name_character(text[at - 1]);
        if (begins && (end == text.size() || !is_name_character(text[end]))) return at + 1;
    }
    return 1;
}

double negate(double v) {
    return v == 0 ? 1 : 0;
}

} // namespace

// One value per point of an attribute.
struct Expression::Variable {
    Variable(Cloud& cloud, std::size_t attribute, int which)
        : reader(cloud, attribute),
          single(cloud.attributes[attribute].single),
          component(static_cast<std::size_t>(which)),
          values(static_cast<std::size_t>(kBlockPoints)) {}

    void read(std::int64_t first, std::int64_t n) {
        const auto width = static_cast<std::size_t>(reader.width());
        const auto source = single ? reader.read(0, 1) : reader.read(first, n);
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
            values[i] = source[(single ? 0 : i) * width + component];
    }

    TypedReader<double> reader;
    bool single;
    std::size_t component;
    std::vector<double> values; // of a run
    double value = 0;           // of the point that is evaluated
};

Expression::Expression(Cloud& cloud, const std::string& option, const std::string& text, int width,
                       int component)
    : m_cloud(cloud),
      m_option(option),
      m_text(text),
      m_parser(std::make_unique<mu::Parser>()),
      m_results(static_cast<std::size_t>(kBlockPoints)) {
    // muParser would assign to the values.
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '=') continue;
        if (i + 1 < text.size() && text[i + 1] == '=') {
            ++i;
        } else if (i == 0 || std::string_view("<>!").find(text[i - 1]) == std::string_view::npos) {
            fail(i + 1, "'=' does not compare; write '=='");
        }
    }
    try {
        m_parser->DefineNameChars(kNameCharacters);
        m_parser->DefineInfixOprt("!", negate);
        m_parser->SetExpr(text);
        // A copy: each definition discards what the parser knows about the expression.
        const mu::varmap_type used = m_parser->GetUsedVar();
        for (const auto& [name, unused] : used)
            bind(name, width, component);
        m_parser->SetExpr(text);
        (void)m_parser->Eval(); // finds the remaining mistakes
        if (m_parser->GetNumResults() > 1) {
            fail(split_expressions(text)[0].size() + 1, "',' outside parentheses");
        }
    } catch (const mu::ParserError& why) {
        const auto position = static_cast<std::size_t>(std::max(why.GetPos(), 0));
        fail(std::min(position, text.size()) + 1, why.GetMsg());
    }
}

Expression::~Expression() = default;

void Expression::fail(std::size_t column, const std::string& why) const {
    throw UsageError(m_option + ": '" + m_text + "', column " + std::to_string(column) + ": " +
                     why);
}

void Expression::bind(const std::string& name, int width, int component) {
    std::optional<std::size_t> at = find_identifier(m_cloud, name);
    int value = 0;
    if (at && m_cloud.attributes[*at].width != 1) {
        if (m_cloud.attributes[*at].width != width) {
            fail(column_of(m_text, name), "'" + name + "' has " +
                                              std::to_string(m_cloud.attributes[*at].width) +
                                              " values; write " + name + ".x for the first");
        }
        value = component;
    }
    if (const std::size_t dot = name.rfind('.'); !at && dot != std::string::npos) {
        at = find_identifier(m_cloud, name.substr(0, dot));
        value = component_of(name.substr(dot + 1));
        if (at && (value < 0 || value >= m_cloud.attributes[*at].width)) at.reset();
    }
    if (!at) {
        std::string known;
        for (const Attribute& a : m_cloud.attributes)
            known += (known.empty() ? "" : ", ") + identifier(a.name);
        throw FileError(m_cloud.file_name, -1,
                        m_option + ": '" + m_text + "', column " +
                            std::to_string(column_of(m_text, name)) + ": there is no attribute '" +
                            name + "'; available: " + known);
    }
    m_variables.push_back(std::make_unique<Variable>(m_cloud, *at, value));
    m_parser->DefineVar(name, &m_variables.back()->value);
}

std::span<const double> Expression::evaluate(std::int64_t first, std::int64_t n) {
    for (const auto& variable : m_variables)
        variable->read(first, n);
    // One after the other: muParser's own loop over arrays starts threads, which is slower for runs
    // as short as these, and more so when several frames are processed at the same time.
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
        for (const auto& variable : m_variables)
            variable->value = variable->values[i];
        m_results[i] = m_parser->Eval();
    }
    return {m_results.data(), static_cast<std::size_t>(n)};
}

std::vector<std::string> split_expressions(const std::string& text) {
    std::vector<std::string> parts(1);
    int depth = 0;
    for (const char c : text) {
        depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        if (c == ',' && depth == 0) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

} // namespace vx::cache
