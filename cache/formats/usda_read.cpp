// The first Points prim of a USD text file: arrays of numbers, and constant values. Animated values
// are read at one time.
#include "cache/formats/names.h"
#include "cache/formats/usda.h"
#include "cache/formats/usda_lexer.h"
#include "cache/formats/usda_values.h"

#include <cstring>
#include <set>
#include <unordered_map>

namespace vx::cache {

namespace {

class UsdaCloud final : public Cloud {
  public:
    UsdaCloud(FilePtr file, const OpenOptions& options)
        : m_file(std::move(file)), m_budget(options.memory_bytes), m_time(options.time) {}

    void parse(Findings& findings);
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const UsdaArray& a = *m_arrays[attribute];
        const auto size = static_cast<std::int64_t>(a.attribute.bytes());
        a.values.read(first * size, out, static_cast<std::size_t>(n * size));
    }

  private:
    void parse_prim(UsdaLexer& lexer, Findings& findings);
    void parse_property(UsdaLexer& lexer, Findings& findings);
    void parse_metadata(UsdaLexer& lexer, const std::string& attribute);
    void parse_custom_data(UsdaLexer& lexer, const std::string& attribute);
    void settle();

    FilePtr m_file;
    SpoolBudget m_budget;
    std::optional<double> m_time;
    std::set<std::string> m_constants; // attributes declared with constant interpolation
    std::vector<std::unique_ptr<UsdaArray>> m_arrays;
    std::vector<bool> m_sampled;                          // per array: whether it has time samples
    std::unordered_map<std::string, std::size_t> m_index; // of the arrays
    std::unordered_map<std::string, std::string> m_custom_names; // of write_usda(), by attribute
};

std::string attribute_name(std::string_view name) {
    if (name == "points") return "position";
    if (name == "normals") return "normalPP";
    if (name == "widths") return "radius";
    if (name == "ids") return "id";
    if (name.starts_with("primvars:")) name.remove_prefix(9);
    if (name == "displayColor") return "rgbPP";
    if (name == "displayOpacity") return "opacityPP";
    return std::string(name);
}

void UsdaCloud::parse_property(UsdaLexer& lexer, Findings& findings) {
    while (lexer.is_word("uniform") || lexer.is_word("custom") || lexer.is_word("varying"))
        lexer.next();
    const std::string type_word = lexer.token().text;
    if (lexer.token().kind != UsdaToken::Kind::word)
        lexer.fail("expected the type of an attribute");
    lexer.next();
    // Skip the words before the sign, as in "prepend rel name" or "variantSet "name" = {".
    std::string name = lexer.token().text;
    const std::int64_t offset = lexer.token().offset;
    while (lexer.token().kind == UsdaToken::Kind::word ||
           lexer.token().kind == UsdaToken::Kind::string) {
        name = lexer.token().text;
        lexer.next();
    }
    constexpr std::string_view kOverTime = ".timeSamples";
    const bool samples = name.ends_with(kOverTime);
    if (samples) name.resize(name.size() - kOverTime.size());
    UsdaType type;
    const bool numbers = parse_usda_type(type_word, type) && name != "extent";
    const Attribute attribute{attribute_name(name), type.type, type.width, false};
    if (lexer.is('=')) {
        lexer.next();
        if (numbers && !lexer.is_word("None")) {
            const auto found = m_index.find(attribute.name);
            const int twin = found == m_index.end() ? -1 : static_cast<int>(found->second);
            auto array = std::make_unique<UsdaArray>(attribute, m_budget);
            array->offset = offset;
            if (name == "widths") array->scale = 0.5;
            if (samples) {
                array = parse_usda_samples(lexer, type, *array, m_time, m_budget, findings);
            } else {
                parse_usda_values(lexer, type, *array);
            }
            if (twin >= 0 && samples != m_sampled[static_cast<std::size_t>(twin)]) {
                // Time samples override the default value.
                if (array && samples) {
                    attributes[static_cast<std::size_t>(twin)] = attribute;
                    m_arrays[static_cast<std::size_t>(twin)] = std::move(array);
                    m_sampled[static_cast<std::size_t>(twin)] = true;
                }
            } else if (twin >= 0) {
                throw FileError(m_file->name(), offset,
                                "attribute '" + name + "' is declared twice");
            } else if (array && (array->rows > 0 || attribute.name == "position")) {
                m_index.emplace(attribute.name, attributes.size());
                attributes.push_back(attribute);
                m_arrays.push_back(std::move(array));
                m_sampled.push_back(samples);
            }
        } else {
            lexer.skip_value();
        }
    }
    if (name.starts_with("xformOp:")) {
        findings.push_back({Severity::warning, offset, "the prim's own transform is not applied"});
    }
    if (lexer.is('(')) parse_metadata(lexer, attribute.name);
    if (!type.array) m_constants.insert(attribute.name);
}

void UsdaCloud::parse_metadata(UsdaLexer& lexer, const std::string& attribute) {
    lexer.next();
    while (!lexer.is(')')) {
        if (lexer.is_word("interpolation")) {
            lexer.next();
            if (lexer.is('=')) lexer.next();
            if (lexer.token().text == "constant") m_constants.insert(attribute);
        } else if (lexer.is_word("customData")) {
            lexer.next();
            if (lexer.is('=')) lexer.next();
            if (lexer.is('{')) {
                parse_custom_data(lexer, attribute);
                continue;
            }
        }
        lexer.skip_value();
    }
    lexer.next();
}

void UsdaCloud::parse_custom_data(UsdaLexer& lexer, const std::string& attribute) {
    lexer.next();
    while (!lexer.is('}')) {
        const bool is_name = lexer.is_word("vx_cache_name");
        lexer.skip_value();
        if (!is_name || !lexer.is('=')) continue;
        lexer.next();
        if (lexer.token().kind == UsdaToken::Kind::string) {
            m_custom_names.emplace(attribute, lexer.token().text);
        }
    }
    lexer.next();
}

void UsdaCloud::parse_prim(UsdaLexer& lexer, Findings& findings) {
    lexer.expect('{');
    while (!lexer.is('}')) {
        if (lexer.at_end()) lexer.fail("the file ends inside the prim");
        if (lexer.is(';')) {
            lexer.next();
        } else if (lexer.is_word("def") || lexer.is_word("over") || lexer.is_word("class")) {
            while (!lexer.is('{')) {
                if (lexer.at_end()) lexer.fail("the file ends before a prim's '{'");
                if (lexer.is('(')) {
                    lexer.skip_value();
                } else {
                    lexer.next();
                }
            }
            lexer.skip_value();
        } else {
            parse_property(lexer, findings);
        }
    }
    lexer.next();
    settle();
}

void UsdaCloud::settle() {
    const int position = find("position");
    if (position < 0) throw FileError(m_file->name(), -1, "the Points prim has no points");
    count = m_arrays[static_cast<std::size_t>(position)]->rows;
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        UsdaArray& a = *m_arrays[i];
        const bool one = a.rows == 1 && (count != 1 || m_constants.contains(a.attribute.name));
        if (static_cast<int>(i) != position && one) a.attribute.single = true;
        if (a.rows != (a.attribute.single ? 1 : count)) {
            throw FileError(m_file->name(), a.offset,
                            "'" + a.attribute.name + "' has " + std::to_string(a.rows) +
                                " values for " + std::to_string(count) + " points");
        }
        attributes[i] = a.attribute;
    }
    rename_attributes(attributes, m_custom_names);
}

void UsdaCloud::parse(Findings& findings) {
    char start[5] = {};
    if (m_file->read_some(0, start, 5) < 5 || std::memcmp(start, "#usda", 5) != 0) {
        throw FileError(m_file->name(), 0, "the file does not begin with \"#usda\"");
    }
    UsdaLexer lexer(*m_file);
    bool found = false;
    bool moved = false;
    while (!lexer.at_end()) {
        if (lexer.is_word("def")) {
            const std::int64_t offset = lexer.token().offset;
            lexer.next();
            if (!lexer.is_word("Points")) continue;
            lexer.next();
            const std::string prim = lexer.token().text;
            while (!lexer.is('{')) {
                if (lexer.at_end()) lexer.fail("the file ends before the prim's '{'");
                if (lexer.is('(')) {
                    lexer.skip_value();
                } else {
                    lexer.next();
                }
            }
            if (found) {
                findings.push_back(
                    {Severity::warning, offset, "another Points prim '" + prim + "' is left out"});
                lexer.skip_value();
                continue;
            }
            found = true;
            details.emplace_back("prim", prim);
            parse_prim(lexer, findings);
        } else if (lexer.is('(') || lexer.is('[')) {
            lexer.skip_value();
        } else {
            moved = moved || (!found && lexer.token().text.starts_with("xformOp:"));
            lexer.next();
        }
    }
    if (!found) throw FileError(m_file->name(), m_file->size(), "there is no Points prim");
    if (moved) {
        findings.push_back(
            {Severity::warning, -1, "transforms of the prims around the points are not applied"});
    }
}

} // namespace

CloudPtr open_usda(FilePtr file, Findings& findings, const OpenOptions& options) {
    auto cloud = std::make_unique<UsdaCloud>(std::move(file), options);
    cloud->parse(findings);
    return cloud;
}

} // namespace vx::cache
