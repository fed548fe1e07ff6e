#include "cache/cloud/attribute_reader.h"
#include "cache/formats/integers.h"
#include "cache/formats/names.h"
#include "cache/formats/text.h"
#include "cache/formats/usda.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>

namespace vx::cache {

namespace {

// The schema attribute that stores an attribute of this name and width.
struct SchemaAttribute {
    std::string_view name;
    std::string_view usd_type;
    std::string_view usd_name;
    int width;
    Type type;
};
constexpr std::array<SchemaAttribute, 6> kKnown{
    {{"position", "point3f[]", "points", 3, Type::float32},
     {"normalPP", "normal3f[]", "normals", 3, Type::float32},
     {"rgbPP", "color3f[]", "primvars:displayColor", 3, Type::float32},
     {"opacityPP", "float[]", "primvars:displayOpacity", 1, Type::float32},
     {"radius", "float[]", "widths", 1, Type::float32},
     {"id", "int64[]", "ids", 1, Type::int64}}};

// An identifier.
std::string safe(const std::string& name) {
    std::string out = name.empty() ? "unnamed" : name.substr(0, kLongestName);
    for (char& c : out) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_') c = '_';
    }
    if (std::isdigit(static_cast<unsigned char>(out[0])) != 0) out.insert(0, "_");
    return out;
}

const SchemaAttribute* schema_of(const Attribute& a) {
    for (const SchemaAttribute& k : kKnown) {
        if (k.name == a.name && k.width == a.width) return &k;
    }
    return nullptr;
}

// Names of attributes in the file, the schema's or primvars.
std::vector<std::string> choose_names(const Cloud& cloud, Notes& notes) {
    constexpr std::string_view kPrefix = "primvars:";
    NameSet taken;
    // Readers take these for the color and the opacity of the schema.
    taken.insert("displayColor");
    taken.insert("displayOpacity");
    std::vector<std::string> others;
    for (const Attribute& a : cloud.attributes) {
        if (schema_of(a) != nullptr) {
            taken.insert(a.name);
        } else {
            others.push_back(a.name);
        }
    }
    const std::vector<std::string> chosen = add_names(taken, others, safe);
    std::vector<std::string> names;
    std::size_t next = 0;
    for (const Attribute& a : cloud.attributes) {
        if (const SchemaAttribute* schema = schema_of(a); schema != nullptr) {
            names.emplace_back(schema->usd_name);
            continue;
        }
        const std::string& name = chosen[next++];
        if (name != a.name) notes.push_back(note_of_name(a.name, name));
        names.push_back(std::string(kPrefix) + name);
    }
    return names;
}

// A quoted string; other characters than those of ASCII are written byte by byte.
std::string quoted(const std::string& text) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte >= 0x7f) {
            out += "\\x";
            out += kDigits[byte >> 4];
            out += kDigits[byte & 15];
        } else {
            if (c == '"' || c == '\\') out += '\\';
            out += c;
        }
    }
    return out + '"';
}

// The metadata behind a value: how it is interpolated, and the attribute's name if the file has
// another one.
std::string metadata(const Attribute& a, const std::string& usd_name) {
    const bool is_primvar = usd_name.starts_with("primvars:");
    std::string out;
    if (is_primvar || a.name == "normalPP" || a.name == "radius") {
        out +=
            std::string("        interpolation = \"") + (a.single ? "constant" : "vertex") + "\"\n";
    }
    const bool renamed = is_primvar && schema_of(a) == nullptr && usd_name.substr(9) != a.name;
    if (renamed && !a.name.empty() && a.name.size() <= kLongestName) {
        out += "        customData = {\n            string vx_cache_name = " + quoted(a.name) +
               "\n        }\n";
    }
    return out.empty() ? out : " (\n" + out + "    )";
}

// Labels are integers, whatever their type.
Type own_type(Cloud& cloud, std::size_t index) {
    const Type type = cloud.attributes[index].type;
    return !is_integer(type) && holds_int32(cloud, index) ? Type::int32 : type;
}

std::string generic_type(Type type, int width) {
    std::string word = type == Type::int32     ? "int"
                       : type == Type::int64   ? "int64"
                       : type == Type::float32 ? "float"
                                               : "double";
    if (width > 1) word += std::to_string(width);
    return word + "[]";
}

void write_extent(Cloud& cloud, OutputFile& out) {
    const int at = cloud.find("position");
    if (at < 0 || cloud.count == 0) return;
    double low[3];
    double high[3];
    std::fill_n(low, 3, std::numeric_limits<double>::infinity());
    std::fill_n(high, 3, -std::numeric_limits<double>::infinity());
    double radius = 0;
    TypedReader<double> positions(cloud, static_cast<std::size_t>(at));
    const int r = cloud.find("radius");
    TypedReader<double> radii(cloud, static_cast<std::size_t>(std::max(r, 0)));
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto p = positions.read(first, n);
        for (std::size_t i = 0; i < p.size(); ++i) {
            if (!std::isfinite(p[i])) continue;
            low[i % 3] = std::min(low[i % 3], p[i]);
            high[i % 3] = std::max(high[i % 3], p[i]);
        }
        if (r < 0 || radii.width() != 1) return;
        for (const double v : radii.read(first, n)) {
            if (std::isfinite(v)) radius = std::max(radius, v);
        }
    });
    if (!(low[0] <= high[0] && low[1] <= high[1] && low[2] <= high[2])) return;
    std::string text = "    float3[] extent = [(";
    for (int side = 0; side < 2; ++side) {
        for (int k = 0; k < 3; ++k) {
            if (k > 0) text += ", ";
            append_number(text, static_cast<float>(side == 0 ? low[k] - radius : high[k] + radius));
        }
        text += side == 0 ? "), (" : ")]\n";
    }
    out.write(text);
}

void write_values(Cloud& cloud, OutputFile& out, AttributeReader& source, const Attribute& a,
                  Type type, double scale, const std::function<void(std::int64_t)>& step) {
    const auto width = static_cast<std::size_t>(a.width);
    std::string text;
    std::vector<std::byte> scaled;
    for_blocks(a.single ? 1 : cloud.count, [&](std::int64_t first, std::int64_t n) {
        const std::byte* values = source.read(first, n);
        const std::size_t total = static_cast<std::size_t>(n) * width;
        if (scale != 1) {
            scaled.assign(values, values + total * 4);
            auto* v = reinterpret_cast<float*>(scaled.data());
            for (std::size_t i = 0; i < total; ++i)
                v[i] *= static_cast<float>(scale);
            values = scaled.data();
        }
        text.clear();
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            if (first + static_cast<std::int64_t>(i) > 0) text += ", ";
            if (width > 1) text += '(';
            for (std::size_t k = 0; k < width; ++k) {
                if (k > 0) text += ", ";
                append_value(text, type, values, i * width + k);
            }
            if (width > 1) text += ')';
        }
        out.write(text);
        step(n);
    });
}

} // namespace

void write_usda(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    const int position = cloud.find("position");
    if (position < 0 || cloud.attributes[static_cast<std::size_t>(position)].width != 3) {
        throw FileError(out.name(), -1,
                        "a Points prim needs the attribute 'position' with three values");
    }
    const std::vector<std::string> names = choose_names(cloud, notes);
    out.write("#usda 1.0\n(\n    defaultPrim = \"cloud\"\n    metersPerUnit = 0.01\n    upAxis = "
              "\"Y\"\n)\n\n"
              "def Points \"cloud\"\n{\n");
    write_extent(cloud, out);
    std::int64_t total = 0;
    for (const Attribute& a : cloud.attributes)
        total += a.single ? 1 : cloud.count;
    std::int64_t done = 0;
    const auto step = [&](std::int64_t n) {
        done += n;
        if (options.progress) options.progress(done, total);
    };
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        const SchemaAttribute* const schema = schema_of(a);
        const Type type = schema != nullptr ? schema->type : own_type(cloud, i);
        const std::string usd_type =
            schema != nullptr ? std::string(schema->usd_type) : generic_type(type, a.width);
        // The schema allows neither a constant position nor a constant id.
        const bool spread =
            a.single && (a.name == "position" || a.name == "id") && schema != nullptr;
        out.write("    " + usd_type + " " + names[i] + " = [");
        AttributeReader source(cloud, i, type);
        const double scale = schema != nullptr && a.name == "radius" ? 2.0 : 1.0;
        if (spread) {
            notes.push_back("'" + a.name +
                            "': one value for all points is written for every point");
            const std::byte* value = source.read(0, 1);
            for (std::int64_t p = 0; p < cloud.count; ++p) {
                std::string text = p > 0 ? ", " : "";
                if (a.width > 1) text += '(';
                for (std::size_t k = 0; k < static_cast<std::size_t>(a.width); ++k) {
                    if (k > 0) text += ", ";
                    append_value(text, type, value, k);
                }
                if (a.width > 1) text += ')';
                out.write(text);
            }
        } else {
            write_values(cloud, out, source, a, type, scale, step);
        }
        out.write("]" + metadata(a, names[i]) + "\n");
        note_rounding(source, notes);
    }
    out.write("}\n");
}

} // namespace vx::cache
