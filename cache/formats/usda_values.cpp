#include "cache/formats/usda_values.h"

#include "cache/formats/text.h"

namespace vx::cache {

namespace {

void parse_number(UsdaLexer& lexer, UsdaArray& array) {
    const std::string& text = lexer.token().text;
    const Type type = array.attribute.type;
    if (is_integer(type)) {
        const std::optional<std::int64_t> value = parse_int(text);
        const bool fits =
            value && (type == Type::int64 || *value == static_cast<std::int32_t>(*value));
        if (!fits)
            lexer.fail("'" + text.substr(0, 40) + "' is not a valid " +
                       std::string(type_name(type)));
        if (type == Type::int64) {
            array.values.append(&*value, 8);
        } else {
            const auto small = static_cast<std::int32_t>(*value);
            array.values.append(&small, 4);
        }
    } else {
        const std::optional<double> value = parse_double(text);
        if (!value) lexer.fail("'" + text.substr(0, 40) + "' is not a number");
        const double scaled = *value * array.scale;
        if (type == Type::float64) {
            array.values.append(&scaled, 8);
        } else {
            const auto small = static_cast<float>(scaled);
            array.values.append(&small, 4);
        }
    }
    lexer.next();
}

// Whether the sample at `time` is preferred to the one at `than`. Each value holds until the next
// sample; nothing is interpolated.
bool is_better(double time, double than, std::optional<double> wanted) {
    if (!wanted) return time < than;
    const bool reached = time <= *wanted;
    const bool reached_than = than <= *wanted;
    if (reached != reached_than) return reached;
    return reached ? time > than : time < than;
}

} // namespace

bool parse_usda_type(std::string_view word, UsdaType& out) {
    out = {};
    if (word.ends_with("[]")) {
        out.array = true;
        word.remove_suffix(2);
    }
    for (const std::string_view role : {"point", "normal", "vector", "color", "texCoord"}) {
        if (!word.starts_with(role)) continue;
        word.remove_prefix(role.size());
        if (word.size() != 2 || word[0] < '2' || word[0] > '4') return false;
        out.width = word[0] - '0';
        if (word[1] == 'd') out.type = Type::float64;
        return word[1] == 'd' || word[1] == 'f' || word[1] == 'h';
    }
    if (!word.empty() && word.back() >= '2' && word.back() <= '4' && !word.starts_with("matrix") &&
        word != "int64" && word != "uint64") {
        out.width = word.back() - '0';
        word.remove_suffix(1);
    }
    if (word == "float" || word == "half") return true;
    out.type = word == "double"                    ? Type::float64
               : word == "int" || word == "uchar"  ? Type::int32
               : word == "int64" || word == "uint" ? Type::int64
                                                   : Type::float32;
    return out.type != Type::float32;
}

void parse_usda_values(UsdaLexer& lexer, const UsdaType& type, UsdaArray& array) {
    const auto tuple = [&] {
        if (type.width > 1) lexer.expect('(');
        for (int k = 0; k < type.width; ++k) {
            if (k > 0) lexer.expect(',');
            parse_number(lexer, array);
        }
        if (type.width > 1) lexer.expect(')');
        ++array.rows;
    };
    if (!type.array) {
        tuple();
        return;
    }
    lexer.expect('[');
    while (!lexer.is(']')) {
        tuple();
        if (!lexer.is(']')) lexer.expect(',');
    }
    lexer.next();
}

std::unique_ptr<UsdaArray> parse_usda_samples(UsdaLexer& lexer, const UsdaType& type,
                                              const UsdaArray& like, std::optional<double> time,
                                              SpoolBudget& budget, Findings& findings) {
    std::unique_ptr<UsdaArray> best;
    double best_time = 0;
    std::int64_t samples = 0;
    if (!lexer.is('{')) {
        lexer.skip_value(); // None
        return best;
    }
    lexer.next();
    while (!lexer.is('}')) {
        const std::string& word = lexer.token().text;
        const std::size_t colon = word.find(':');
        const std::optional<double> at = lexer.token().kind == UsdaToken::Kind::word
                                             ? parse_double(word.substr(0, colon))
                                             : std::nullopt;
        if (!at) lexer.fail("expected the time of a value here");
        if (colon == std::string::npos) {
            lexer.next();
            if (!lexer.token().text.starts_with(':')) lexer.fail("expected ':' here");
            lexer.cut(1);
        } else {
            lexer.cut(colon + 1);
        }
        ++samples;
        if (lexer.is_word("None") || (best && !is_better(*at, best_time, time))) {
            lexer.skip_value();
        } else {
            best = std::make_unique<UsdaArray>(like.attribute, budget);
            best->offset = like.offset;
            best->scale = like.scale;
            best_time = *at;
            parse_usda_values(lexer, type, *best);
        }
        if (!lexer.is('}')) lexer.expect(',');
    }
    lexer.next();
    if (best && samples > 1) {
        std::string text;
        append_number(text, best_time);
        findings.push_back({time ? Severity::note : Severity::warning, like.offset,
                            "'" + like.attribute.name + "' has values at " +
                                std::to_string(samples) + " times; those of time " + text +
                                " are read" + (time ? "" : ", --time chooses others")});
    }
    return best;
}

} // namespace vx::cache
