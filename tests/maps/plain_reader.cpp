#include "tests/maps/plain_reader.h"

#include <cstdlib>
#include <cstring>
#include <sstream>

namespace plain {

namespace {

void need(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

std::uint64_t number(const std::string& bytes, std::size_t at, unsigned size) {
    need(at + size <= bytes.size(), "beyond the end");
    std::uint64_t value = 0;
    for (unsigned i = size; i > 0; --i) {
        value = value << 8 | static_cast<unsigned char>(bytes[at + i - 1]);
    }
    return value;
}

std::uint32_t word(const std::string& bytes, std::size_t at) {
    return static_cast<std::uint32_t>(number(bytes, at, 4));
}

std::size_t up(std::size_t value, std::size_t to) {
    return (value + to - 1) / to * to;
}

unsigned words_of(const Field& field) {
    const unsigned words[] = {0, 1, 1, 3, 4, 16, field.length, field.length, field.length / 4 + 1};
    return words[field.type];
}

std::vector<std::uint32_t> take(const std::string& bytes, std::size_t& at, unsigned words) {
    std::vector<std::uint32_t> values;
    for (unsigned i = 0; i < words; ++i, at += 4)
        values.push_back(word(bytes, at));
    return values;
}

void read_open(const std::string& bytes, std::size_t at, std::uint64_t count, unsigned words,
               Map& map) {
    for (std::uint64_t i = 0; i < count; ++i)
        map.records.push_back(take(bytes, at, words));
}

void read_closed(const std::string& bytes, std::size_t at, std::uint64_t count, unsigned words,
                 Map& map) {
    std::size_t nodes = 0;
    const std::size_t leaves = (count + 15) / 16;
    for (std::size_t level = leaves; level > 0;) {
        level = (level + 7) / 8;
        nodes += level;
        if (level == 1) break;
    }
    at += nodes * 64 * map.dimension;
    const std::size_t positions = at;
    at += leaves * 64 * map.dimension;
    const std::size_t order = at;
    at = up(at + 4 * count, 64);
    at = up(at + 4 * count, 64); // rank
    map.records.assign(count, std::vector<std::uint32_t>(words));
    for (std::size_t row = 0; row < count; ++row) {
        std::vector<std::uint32_t>& record = map.records.at(word(bytes, order + 4 * row));
        for (unsigned axis = 0; axis < map.dimension; ++axis) {
            record[axis] =
                word(bytes, positions + (row / 16 * map.dimension + axis) * 64 + row % 16 * 4);
        }
    }
    unsigned place = map.dimension;
    for (const Field& field : map.fields) {
        if (field.global) continue;
        const unsigned size = words_of(field);
        for (std::size_t row = 0; row < count; ++row) {
            std::vector<std::uint32_t>& record = map.records.at(word(bytes, order + 4 * row));
            for (unsigned i = 0; i < size; ++i, at += 4)
                record[place + i] = word(bytes, at);
        }
        at = up(at, 64);
        place += size;
    }
    need(at == bytes.size(), "the sections do not fill the file");
}

Map read_binary(const std::string& bytes) {
    Map map;
    need(bytes.size() % 64 == 0 && number(bytes, 32, 8) == bytes.size(), "size");
    need(word(bytes, 8) == 0x01020304 && word(bytes, 12) == 1, "byte order or version");
    need(number(bytes, 56, 8) == checksum(bytes), "checksum");
    map.form = word(bytes, 16) == 0 ? "closed" : "open";
    map.dimension = word(bytes, 20);
    std::size_t at = 64;
    unsigned words = map.dimension;
    for (std::uint32_t i = 0; i < word(bytes, 48); ++i) {
        Field field;
        field.type = word(bytes, at);
        field.length = word(bytes, at + 4);
        field.global = word(bytes, at + 8) == 1;
        const std::uint32_t letters = word(bytes, at + 12);
        field.name = bytes.substr(at + 16, letters);
        at = up(at + 16 + letters, 4);
        if (!field.global) words += words_of(field);
        map.fields.push_back(field);
    }
    for (Field& field : map.fields) {
        if (field.global) field.value = take(bytes, at, words_of(field));
    }
    at = up(at, 64);
    need(at == number(bytes, 40, 8), "where the data begin");
    const std::uint64_t count = number(bytes, 24, 8);
    (map.form == "closed" ? read_closed : read_open)(bytes, at, count, words, map);
    return map;
}

// Splits the text into tokens. A quoted string keeps its opening quote, to distinguish it from a
// word.
std::vector<std::string> tokens_of(const std::string& text) {
    std::vector<std::string> tokens;
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] == '#') {
            while (i < text.size() && text[i] != '\n')
                ++i;
        } else if (std::strchr(" \t\r\n", text[i]) != nullptr) {
            ++i;
        } else if (std::strchr("(){},", text[i]) != nullptr) {
            tokens.emplace_back(1, text[i++]);
        } else if (text[i] == '"') {
            std::string value = "\"";
            for (++i; text.at(i) != '"'; ++i) {
                if (text[i] != '\\') {
                    value += text[i];
                } else if (text.at(++i) == 'x') {
                    value += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
                    i += 2;
                } else {
                    value += text[i];
                }
            }
            ++i;
            tokens.push_back(value);
        } else {
            std::string value;
            while (i < text.size() && std::strchr(" \t\r\n(){},\"#", text[i]) == nullptr)
                value += text[i++];
            tokens.push_back(value);
        }
    }
    return tokens;
}

class Text {
  public:
    explicit Text(const std::string& text) : m_tokens(tokens_of(text)) {}

    const std::string& next() {
        need(m_at < m_tokens.size(), "the text ends early");
        return m_tokens[m_at++];
    }
    void expect(const std::string& token) { need(next() == token, "another token was expected"); }
    bool has(const std::string& token) {
        const bool is = m_at < m_tokens.size() && m_tokens[m_at] == token;
        if (is) ++m_at;
        return is;
    }
    std::string quoted() {
        const std::string token = next();
        need(!token.empty() && token[0] == '"', "a quoted text was expected");
        return token.substr(1);
    }
    std::uint32_t value(bool integer) {
        const std::string token = next();
        std::uint32_t bits = 0x7fc00000;
        if (integer) return static_cast<std::uint32_t>(std::stoi(token));
        if (token.rfind("nan:", 0) == 0) {
            return static_cast<std::uint32_t>(std::stoul(token.substr(4), nullptr, 16));
        }
        if (token == "nan") return bits;
        char* end = nullptr;
        const float single = std::strtof(token.c_str(), &end);
        need(*end == 0, "a number was expected");
        std::memcpy(&bits, &single, 4);
        return bits;
    }
    void end() { need(m_at == m_tokens.size(), "something follows"); }

  private:
    std::vector<std::string> m_tokens;
    std::size_t m_at = 0;
};

void read_value(Text& text, const Field& field, std::vector<std::uint32_t>& to) {
    if (field.type == 8) {
        std::string value = text.quoted();
        value.resize(words_of(field) * std::size_t{4});
        std::size_t at = 0;
        to = take(value, at, words_of(field));
        return;
    }
    for (unsigned i = 0; i < words_of(field); ++i) {
        to.push_back(text.value(field.type == 1 || field.type == 6));
    }
}

Map read_text(const std::string& bytes) {
    Map map;
    map.form = "ascii";
    Text text(bytes);
    text.expect("declare");
    text.expect("map");
    const std::string name = text.quoted();
    text.expect("(");
    text.expect("dim");
    map.dimension = static_cast<unsigned>(std::stoul(text.next()));
    while (text.has(",")) {
        Field field;
        field.global = text.has("global");
        const std::string type = text.next();
        const char* const types[] = {"", "integer", "scalar", "vector", "color", "transform"};
        for (unsigned i = 1; i < 6; ++i) {
            if (type == types[i]) field.type = i;
        }
        if (type == "string") field.type = 8;
        if (text.has("array")) field.type += 5;
        if (field.type > 5) field.length = static_cast<unsigned>(std::stoul(text.next()));
        field.name = text.quoted();
        map.fields.push_back(field);
    }
    for (const char* token : {")", "end", "declare", "map"})
        text.expect(token);
    text.quoted();
    need(text.quoted() == name, "another declaration");
    if (text.has("global")) {
        text.expect("{");
        bool first = true;
        for (Field& field : map.fields) {
            if (!field.global) continue;
            if (!first) text.expect(",");
            first = false;
            read_value(text, field, field.value);
        }
        text.expect("}");
    }
    while (text.has("{")) {
        std::vector<std::uint32_t> record;
        for (unsigned i = 0; i < map.dimension; ++i)
            record.push_back(text.value(false));
        for (const Field& field : map.fields) {
            if (field.global) continue;
            text.expect(",");
            read_value(text, field, record);
        }
        text.expect("}");
        map.records.push_back(record);
    }
    text.expect("end");
    text.expect("map");
    text.end();
    return map;
}

} // namespace

std::uint64_t checksum(std::string bytes) {
    for (std::size_t i = 56; i < 64; ++i)
        bytes[i] = 0;
    const std::uint64_t p = 0x9E3779B97F4A7C15u;
    const auto turn = [](std::uint64_t x) { return x << 29 | x >> (64 - 29); };
    std::uint64_t lanes[8];
    for (std::uint64_t i = 0; i < 8; ++i)
        lanes[i] = p * (i + 1);
    for (std::size_t k = 0; k < bytes.size() / 8; ++k) {
        lanes[k % 8] = turn((lanes[k % 8] ^ number(bytes, 8 * k, 8)) * p);
    }
    std::uint64_t sum = bytes.size();
    for (const std::uint64_t lane : lanes)
        sum = turn((sum ^ lane) * p);
    return sum;
}

Map read(const std::string& bytes) {
    const std::string magic = "VXMAP\r\n\x1a";
    return bytes.compare(0, 8, magic) == 0 ? read_binary(bytes) : read_text(bytes);
}

} // namespace plain
