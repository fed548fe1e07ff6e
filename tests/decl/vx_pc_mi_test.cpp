// The declaration file: order, names and types of every shader's parameters and results, versions,
// and the hints for Maya. Read by a parser of a few lines that shares nothing with the host's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

using Hints = std::map<std::string, std::vector<std::string>>;

struct Member {
    std::string type;
    std::string name;
    std::vector<std::string> defaults;
    Hints hints;
};

struct Declaration {
    std::vector<Member> results; // of a struct; else empty
    std::string result_type;     // else "struct"
    std::vector<Member> parameters;
    int version = 0;
    std::vector<std::string> apply;
    std::map<std::string, std::string> options;
    Hints hints;
};

// Words, quoted names (kept with a leading quote), single punctuation marks, and whole "#:" hints.
std::vector<std::string> tokens_of(const std::string& text) {
    std::vector<std::string> tokens;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        for (size_t i = 0; i < line.size();) {
            const char c = line[i];
            if (std::isspace(static_cast<unsigned char>(c)) != 0) {
                ++i;
            } else if (c == '#') {
                if (line.compare(i, 2, "#:") == 0) tokens.push_back(line.substr(i));
                break;
            } else if (c == '"') {
                const size_t end = line.find('"', i + 1);
                if (end == std::string::npos) throw std::runtime_error("open quote: " + line);
                tokens.push_back(line.substr(i, end - i));
                i = end + 1;
            } else if (std::string("(){},").find(c) != std::string::npos) {
                tokens.emplace_back(1, c);
                ++i;
            } else {
                const size_t end = line.find_first_of(" \t(){},\"#", i);
                tokens.push_back(line.substr(i, end - i));
                i = std::min(end, line.size());
            }
        }
    }
    return tokens;
}

class Parser {
  public:
    explicit Parser(std::vector<std::string> tokens) : m_tokens(std::move(tokens)) {}

    std::map<std::string, Declaration> all() {
        std::map<std::string, Declaration> found;
        while (m_at < m_tokens.size()) {
            expect("declare");
            expect("shader");
            Declaration declaration;
            declaration.result_type = next();
            if (declaration.result_type == "struct") {
                expect("{");
                declaration.results = members("}");
            }
            const std::string name = quoted();
            expect("(");
            declaration.parameters = members(")");
            requirements(declaration);
            if (!found.emplace(name, declaration).second) throw std::runtime_error("twice " + name);
        }
        return found;
    }

  private:
    std::string next() {
        if (m_at == m_tokens.size()) throw std::runtime_error("the file ends early");
        return m_tokens[m_at++];
    }
    const std::string& peek() const {
        static const std::string kEnd;
        return m_at == m_tokens.size() ? kEnd : m_tokens[m_at];
    }
    void expect(const std::string& wanted) {
        const std::string got = next();
        if (got != wanted) throw std::runtime_error("expected " + wanted + ", got " + got);
    }
    std::string quoted() {
        const std::string name = next();
        if (name[0] != '"') throw std::runtime_error("expected a quoted name, got " + name);
        return name.substr(1);
    }

    static Hints hints_of(const std::string& comment) {
        Hints hints;
        std::istringstream words(comment.substr(2));
        std::string key;
        for (std::string word; words >> word;) {
            if (std::isalpha(static_cast<unsigned char>(word[0])) != 0) {
                key = word;
                if (!hints.emplace(key, std::vector<std::string>()).second)
                    throw std::runtime_error("hint twice: " + comment);
            } else {
                hints.at(key).push_back(word);
            }
        }
        return hints;
    }

    std::vector<Member> members(const std::string& close) {
        std::vector<Member> found;
        for (;;) {
            Member member;
            member.type = next();
            member.name = quoted();
            if (peek() == "default") {
                next();
                while (peek() != "," && peek() != close && peek()[0] != '#')
                    member.defaults.push_back(next());
            }
            const bool more = peek() == ",";
            if (more) next();
            if (peek().starts_with("#:")) member.hints = hints_of(next());
            found.push_back(member);
            if (!more) {
                expect(close);
                return found;
            }
        }
    }

    void requirements(Declaration& declaration) {
        while (peek() != "end") {
            const std::string word = next();
            if (word.starts_with("#:")) {
                declaration.hints = hints_of(word);
            } else if (word == "version") {
                declaration.version = std::stoi(next());
            } else if (word == "apply") {
                declaration.apply.push_back(next());
                while (peek() == ",") {
                    next();
                    declaration.apply.push_back(next());
                }
            } else {
                declaration.options[word] = next();
            }
        }
        expect("end");
        expect("declare");
    }

    std::vector<std::string> m_tokens;
    size_t m_at = 0;
};

std::string file_text() {
    std::ifstream file(VX_DECLARATION);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::map<std::string, Declaration> declarations() {
    return Parser(tokens_of(file_text())).all();
}

std::vector<std::string> typed_names(const std::vector<Member>& members) {
    std::vector<std::string> names;
    for (const Member& member : members)
        names.push_back(member.type + " " + member.name);
    return names;
}

TEST(DeclarationFile, DeclaresTheThreeShadersAndNothingElse) {
    std::vector<std::string> names;
    for (const auto& [name, declaration] : declarations())
        names.push_back(name);
    EXPECT_THAT(names, ElementsAre("vx_pc_read", "vx_pc_tag", "vx_pc_write"));
}

TEST(DeclarationFile, TagParametersInOrder) {
    EXPECT_THAT(typed_names(declarations().at("vx_pc_tag").parameters),
                ElementsAre("color color", "color bakeColor", "integer tag"));
}

TEST(DeclarationFile, WriteParametersInOrder) {
    EXPECT_THAT(typed_names(declarations().at("vx_pc_write").parameters),
                ElementsAre("boolean disable", "boolean jitter", "integer samples",
                            "integer layers", "boolean useLabels", "string labels",
                            "string pdcFileName", "string mapFileName", "integer outputMode",
                            "integer frame", "scalar radius"));
}

TEST(DeclarationFile, ReadParametersInOrder) {
    EXPECT_THAT(typed_names(declarations().at("vx_pc_read").parameters),
                ElementsAre("boolean disable", "string fileName", "integer frame", "scalar radius",
                            "integer maxPoints", "boolean useLabels", "string labels",
                            "integer facing", "scalar minAngle", "scalar maxAngle", "color falloff",
                            "color scale", "boolean useOpacity"));
}

TEST(DeclarationFile, Results) {
    const auto all = declarations();
    EXPECT_EQ(all.at("vx_pc_tag").result_type, "color");
    EXPECT_EQ(all.at("vx_pc_write").result_type, "color");
    EXPECT_EQ(all.at("vx_pc_read").result_type, "struct");
    EXPECT_THAT(typed_names(all.at("vx_pc_read").results),
                ElementsAre("color outColor", "integer pointCount"));
}

TEST(DeclarationFile, VersionsAre1) {
    for (const auto& [name, declaration] : declarations())
        EXPECT_EQ(declaration.version, 1) << name;
}

TEST(DeclarationFile, ApplyLists) {
    const auto all = declarations();
    EXPECT_THAT(all.at("vx_pc_tag").apply, ElementsAre("material", "texture"));
    EXPECT_THAT(all.at("vx_pc_write").apply, ElementsAre("lens"));
    EXPECT_THAT(all.at("vx_pc_read").apply, ElementsAre("material", "texture"));
}

// The lens casts rays of its own but leaves the eye ray alone: it needs tracing and says nothing
// about scanline rendering.
TEST(DeclarationFile, OnlyTheWriterAsksForTracing) {
    const auto all = declarations();
    EXPECT_EQ(all.at("vx_pc_write").options, (std::map<std::string, std::string>{{"trace", "on"}}));
    EXPECT_TRUE(all.at("vx_pc_tag").options.empty());
    EXPECT_TRUE(all.at("vx_pc_read").options.empty());
}

TEST(DeclarationFile, DefaultsFitTheirTypes) {
    const std::map<std::string, size_t> numbers = {
        {"boolean", 1}, {"integer", 1}, {"scalar", 1}, {"color", 4}};
    for (const auto& [name, declaration] : declarations()) {
        for (const Member& member : declaration.parameters) {
            if (member.defaults.empty()) continue;
            ASSERT_TRUE(numbers.contains(member.type)) << name << ' ' << member.name;
            EXPECT_EQ(member.defaults.size(), numbers.at(member.type))
                << name << ' ' << member.name;
        }
    }
}

TEST(DeclarationFile, EveryMemberHasAShortNameOfItsOwn) {
    for (const auto& [name, declaration] : declarations()) {
        std::set<std::string> seen;
        auto members = declaration.parameters;
        members.insert(members.end(), declaration.results.begin(), declaration.results.end());
        // A colour's channels are attributes as well, named after it.
        for (const Member& member : members) {
            ASSERT_TRUE(member.hints.contains("shortname")) << name << ' ' << member.name;
            const auto& given = member.hints.at("shortname");
            ASSERT_EQ(given.size(), 1u) << name << ' ' << member.name;
            ASSERT_GT(given[0].size(), 2u);
            EXPECT_EQ(given[0].front(), '"');
            EXPECT_EQ(given[0].back(), '"');
            const std::string text = given[0].substr(1, given[0].size() - 2);
            EXPECT_TRUE(seen.insert(text).second) << name << ' ' << text;
            if (member.type != "color") continue;
            for (const char channel : {'R', 'G', 'B'})
                EXPECT_TRUE(seen.insert(text + channel).second) << name << ' ' << text << channel;
        }
    }
}

TEST(DeclarationFile, HintsMatchTheTypesInMaya) {
    const std::map<std::string, std::set<std::string>> known = {
        {"boolean", {"shortname", "default"}},
        {"string", {"shortname"}},
        {"color", {"shortname", "default"}},
        {"integer", {"shortname", "default", "min", "max", "softmin", "softmax"}},
        {"scalar", {"shortname", "default", "min", "max", "softmin", "softmax"}}};
    for (const auto& [name, declaration] : declarations()) {
        for (const Member& member : declaration.parameters) {
            for (const auto& [key, values] : member.hints) {
                EXPECT_TRUE(known.at(member.type).contains(key)) << member.name << ' ' << key;
                const size_t wanted = member.type == "color" && key == "default" ? 3 : 1;
                EXPECT_EQ(values.size(), wanted) << member.name << ' ' << key;
            }
        }
    }
}

// What a renderer uses where a scene gives nothing is what Maya's editor shows.
TEST(DeclarationFile, MayasDefaultsAreTheRenderers) {
    for (const auto& [name, declaration] : declarations()) {
        for (const Member& member : declaration.parameters) {
            if (!member.hints.contains("default")) continue;
            const auto& shown = member.hints.at("default");
            for (size_t i = 0; i < shown.size(); ++i) {
                const double used = member.defaults.empty() ? 0 : std::stod(member.defaults.at(i));
                EXPECT_EQ(std::stod(shown[i]), used) << name << ' ' << member.name;
            }
        }
    }
}

TEST(DeclarationFile, RangesAreInOrder) {
    for (const auto& [name, declaration] : declarations()) {
        for (const Member& member : declaration.parameters) {
            double last = -1e30;
            for (const char* const key : {"min", "softmin", "softmax", "max"}) {
                if (!member.hints.contains(key)) continue;
                const double value = std::stod(member.hints.at(key).at(0));
                EXPECT_LE(last, value) << name << ' ' << member.name << ' ' << key;
                last = value;
            }
        }
    }
}

TEST(DeclarationFile, NodeIdsAreGivenAndUnique) {
    std::set<int> ids;
    for (const auto& [name, declaration] : declarations()) {
        ASSERT_TRUE(declaration.hints.contains("nodeid")) << name;
        const int id = std::stoi(declaration.hints.at("nodeid").at(0));
        EXPECT_GT(id, 0);
        EXPECT_LE(id, 0x7FFFF); // numbers above belong to whoever registered them
        EXPECT_TRUE(ids.insert(id).second) << name;
    }
}

TEST(DeclarationFile, BracesAndParenthesesBalance) {
    std::string open;
    for (const std::string& token : tokens_of(file_text())) {
        if (token == "(" || token == "{") {
            open += token;
        } else if (token == ")" || token == "}") {
            ASSERT_FALSE(open.empty());
            EXPECT_EQ(open.back(), token == ")" ? '(' : '{');
            open.pop_back();
        }
    }
    EXPECT_TRUE(open.empty());
}

TEST(DeclarationFile, ParserOfThisTestSeesMistakes) {
    EXPECT_THROW(Parser(tokens_of("declare shader color \"a\" ( color \"b\" ")).all(),
                 std::runtime_error);
    EXPECT_THROW(Parser(tokens_of("declare shader color \"a\" ( color b ) end declare")).all(),
                 std::runtime_error);
    EXPECT_THROW(tokens_of("\"open"), std::runtime_error);
    EXPECT_THROW(Parser(tokens_of("declare shader color \"a\" (color \"b\", ) end declare")).all(),
                 std::runtime_error);
}

} // namespace
