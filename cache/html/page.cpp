#include "cache/html/page.h"

#include "cache/cloud/attribute_reader.h"
#include "cache/formats/text.h"
#include "cache/html/packed.h"
#include "cache/html/sampled.h"
#include "cache/html/template.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <type_traits>

#include <nlohmann/json.hpp>

namespace vx::cache {

namespace {

constexpr std::int64_t kGroupPoints = std::int64_t{1} << 16;

// The encoding of an attribute in the page.
struct PageColumn {
    Type type = Type::float32;
    std::int64_t rounded = 0;
};

using Point = std::array<double, 3>;

// The bounds of the cloud, and the largest rounding error of positions in the page.
struct Place {
    std::optional<std::array<Point, 2>> bounds; // of the finite positions, if there are any
    Point center{};
    double error = 0; // largest difference between a position and its encoded value
    std::int64_t unfinite = 0;
};

std::string_view stored_name(Type type) {
    switch (type) {
    case Type::int32:
        return "i32";
    case Type::int64:
        return "i64";
    case Type::float32:
        return "f32";
    case Type::float64:
        break;
    }
    return "f64";
}

std::string number_text(double v) {
    std::string text;
    append_number(text, v);
    return text;
}

// Calls f(first, n) for runs of points; once, with n = 1, for a single-valued attribute of a cloud
// that is not empty.
template <typename F>
void for_groups(const Cloud& cloud, const Attribute& attribute, F&& f) {
    const std::int64_t count =
        attribute.single ? std::min<std::int64_t>(cloud.count, 1) : cloud.count;
    for (std::int64_t first = 0; first < count; first += kGroupPoints)
        f(first, std::min(kGroupPoints, count - first));
}

// Properties of all values of one attribute.
class Survey {
  public:
    template <typename T>
    void add(std::span<const T> values) {
        for (const T v : values) {
            if constexpr (std::is_integral_v<T>) {
                m_int32 = m_int32 && v == static_cast<std::int32_t>(v);
            } else {
                const double d = static_cast<double>(v);
                // The sign of a negative zero would be lost.
                m_int32 = m_int32 && std::abs(d) <= 2147483647.0 && d == std::trunc(d) &&
                          !(d == 0 && std::signbit(d));
                m_whole = m_whole && d == std::trunc(d) && std::isfinite(d);
                m_beyond = m_beyond ||
                           (std::abs(d) > std::numeric_limits<float>::max() && std::isfinite(d));
                m_rounded += d != static_cast<double>(static_cast<float>(d)) && d == d ? 1 : 0;
            }
        }
    }
    PageColumn column(Type source) const {
        if (m_int32) return {Type::int32, 0};
        if (source == Type::int64) return {Type::int64, 0};
        if (m_rounded > 0 && (m_whole || m_beyond)) return {Type::float64, 0};
        return {Type::float32, m_rounded};
    }

  private:
    bool m_int32 = true;
    bool m_whole = true;
    bool m_beyond = false; // a value exceeds the range of 32-bit floats
    std::int64_t m_rounded = 0;
};

PageColumn survey(Cloud& cloud, std::size_t index) {
    const Attribute& attribute = cloud.attributes[index];
    return with_type(attribute.type, [&](auto* type) {
        using T = std::remove_pointer_t<decltype(type)>;
        Survey found;
        TypedReader<T> reader(cloud, index);
        for_groups(cloud, attribute,
                   [&](std::int64_t first, std::int64_t n) { found.add(reader.read(first, n)); });
        return found.column(attribute.type);
    });
}

// A center that does not add rounding to 32-bit positions: the origin if it is near, else a
// multiple of a power of two as large as the cloud, so that differences of 32-bit floats stay
// 32-bit floats.
Point center_of(const std::array<Point, 2>& bounds) {
    double extent = 0;
    for (std::size_t k = 0; k < 3; ++k)
        extent = std::max(extent, bounds[1][k] - bounds[0][k]);
    Point center{};
    for (std::size_t k = 0; k < 3; ++k) {
        const double middle = bounds[0][k] / 2 + bounds[1][k] / 2;
        if (std::abs(middle) <= 2 * extent) continue;
        const double step = std::exp2(std::ceil(std::log2(extent)));
        const double rounded = std::round(middle / step) * step;
        center[k] = extent > 0 && std::isfinite(rounded) ? rounded : middle;
    }
    return center;
}

Place locate(Cloud& whole, SampledCloud& part, std::size_t position) {
    Place place;
    TypedReader<double> all(whole, position);
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    std::array<Point, 2> bounds{Point{kInfinity, kInfinity, kInfinity},
                                Point{-kInfinity, -kInfinity, -kInfinity}};
    for_groups(whole, whole.attributes[position], [&](std::int64_t first, std::int64_t n) {
        const auto p = all.read(first, n);
        for (std::size_t i = 0; i < p.size(); i += 3) {
            if (!std::isfinite(p[i]) || !std::isfinite(p[i + 1]) || !std::isfinite(p[i + 2])) {
                ++place.unfinite;
                continue;
            }
            for (std::size_t k = 0; k < 3; ++k) {
                bounds[0][k] = std::min(bounds[0][k], p[i + k]);
                bounds[1][k] = std::max(bounds[1][k], p[i + k]);
            }
        }
    });
    if (bounds[0][0] > bounds[1][0]) return place;
    place.bounds = bounds;
    place.center = center_of(bounds);
    TypedReader<double> kept(part, position);
    for_groups(part, part.attributes[position], [&](std::int64_t first, std::int64_t n) {
        const auto p = kept.read(first, n);
        for (std::size_t i = 0; i < p.size(); ++i) {
            const double c = place.center[i % 3];
            const double error =
                std::abs(static_cast<double>(static_cast<float>(p[i] - c)) + c - p[i]);
            if (error > place.error && std::isfinite(p[i])) place.error = error;
        }
    });
    return place;
}

// Transposes the bytes of n points: all first bytes, then all second bytes, and so on.
void to_planes(std::span<const std::byte> items, std::size_t n, std::vector<std::byte>& planes) {
    planes.resize(items.size());
    const std::size_t width = n == 0 ? 0 : items.size() / n;
    for (std::size_t k = 0; k < width; ++k) {
        for (std::size_t i = 0; i < n; ++i)
            planes[k * n + i] = items[i * width + k];
    }
}

template <typename T, typename Change>
void write_values(Cloud& cloud, std::size_t index, OutputFile& out, Change&& change) {
    PackedElements elements(out, index);
    std::vector<std::byte> planes;
    std::vector<T> values;
    // Only doubles are converted from doubles, which cannot hold every int64.
    const auto run = [&](auto& reader) {
        for_groups(cloud, cloud.attributes[index], [&](std::int64_t first, std::int64_t n) {
            const auto read = reader.read(first, n);
            values.resize(read.size());
            for (std::size_t i = 0; i < read.size(); ++i)
                values[i] = static_cast<T>(change(read[i], i));
            to_planes(std::as_bytes(std::span(values)), static_cast<std::size_t>(n), planes);
            elements.write(planes);
        });
    };
    if (is_integer(cloud.attributes[index].type)) {
        TypedReader<std::int64_t> reader(cloud, index);
        run(reader);
    } else {
        TypedReader<double> reader(cloud, index);
        run(reader);
    }
    elements.finish();
}

std::string rounding_note(const Attribute& attribute, const PageColumn& column,
                          std::int64_t points) {
    return "'" + attribute.name + "': " + std::to_string(column.rounded) + " of " +
           std::to_string((attribute.single ? 1 : points) * attribute.width) +
           " values are rounded to 32-bit floats";
}

Notes notes_of(const Cloud& whole, const SampledCloud& part, const Place& place,
               const std::vector<PageColumn>& columns) {
    Notes notes;
    if (part.count < whole.count) {
        notes.push_back("has " + std::to_string(part.count) + " of the " +
                        std::to_string(whole.count) +
                        " points, spread evenly over the file; more with --max-points");
    }
    if (place.error > 0) {
        notes.push_back("positions are 32-bit floats relative to " + number_text(place.center[0]) +
                        ", " + number_text(place.center[1]) + ", " + number_text(place.center[2]) +
                        "; they are off by at most " + number_text(place.error));
    }
    for (std::size_t a = 0; a < columns.size(); ++a) {
        if (columns[a].rounded > 0)
            notes.push_back(rounding_note(part.attributes[a], columns[a], part.count));
    }
    if (place.unfinite > 0) {
        notes.push_back(std::to_string(place.unfinite) +
                        (place.unfinite == 1
                             ? " point has no finite position and is not drawn"
                             : " points have no finite position and are not drawn"));
    }
    return notes;
}

nlohmann::json describe_start(const PageStart& start) {
    nlohmann::json json = nlohmann::json::object();
    if (start.mode) {
        json["mode"] = static_cast<int>(*start.mode);
        json["attribute"] = start.attribute;
        json["component"] = start.component;
        if (start.range) json["range"] = {start.range->first, start.range->second};
    }
    if (start.labels) json["labels"] = *start.labels;
    return json;
}

nlohmann::json describe(const Cloud& whole, const SampledCloud& part, const Place& place,
                        const std::vector<PageColumn>& columns, const Notes& notes) {
    nlohmann::json page;
    page["version"] = 1;
    // Without directories: pages are shared with others.
    page["file"] = std::filesystem::path(whole.file_name).filename().string();
    page["count"] = whole.count;
    page["points"] = part.count;
    page["groupPoints"] = kGroupPoints;
    page["center"] = place.center;
    page["positionError"] = place.error;
    page["bounds"] = nullptr;
    if (place.bounds) page["bounds"] = *place.bounds;
    page["notes"] = notes;
    if (notes.empty()) page["notes"] = {"All values are exact."};
    page["attributes"] = nlohmann::json::array();
    for (std::size_t a = 0; a < columns.size(); ++a) {
        const Attribute& attribute = part.attributes[a];
        page["attributes"].push_back({{"name", attribute.name},
                                      {"type", type_name(attribute.type)},
                                      {"stored", stored_name(columns[a].type)},
                                      {"width", attribute.width},
                                      {"single", attribute.single}});
    }
    return page;
}

// JSON for a script element: no name in a file can close the element or open another.
std::string element_text(const nlohmann::json& page) {
    const std::string text = page.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        // In JSON these characters occur in strings only.
        if (c == '<') {
            out += "\\u003c";
        } else if (c == '>') {
            out += "\\u003e";
        } else if (c == '&') {
            out += "\\u0026";
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

bool can_write_page() {
    return !kPageBefore.empty();
}

void write_page(Cloud& cloud, OutputFile& out, const PageOptions& options, Notes& notes) {
    const std::size_t position = need_position(cloud);
    SampledCloud part(cloud, std::min(options.most_points, kMostPagePoints));
    const auto steps = static_cast<std::int64_t>(2 * part.attributes.size() + 1);
    std::int64_t step = 0;
    const auto advance = [&] {
        if (options.progress) options.progress(++step, steps);
    };
    const Place place = locate(cloud, part, position);
    advance();
    std::vector<PageColumn> columns(part.attributes.size());
    for (std::size_t a = 0; a < columns.size(); ++a) {
        if (a != position) columns[a] = survey(part, a);
        advance();
    }
    const Notes own = notes_of(cloud, part, place, columns);
    notes.insert(notes.end(), own.begin(), own.end());

    nlohmann::json about = describe(cloud, part, place, columns, own);
    about["start"] = describe_start(options.start);
    out.write(kPageBefore);
    out.write("<script type=\"application/json\" id=\"vx-cloud\">");
    out.write(element_text(about));
    out.write("</script>\n");
    const auto same = [](auto v, std::size_t) { return v; };
    for (std::size_t a = 0; a < columns.size(); ++a) {
        if (a == position) {
            write_values<float>(part, a, out, [&](auto v, std::size_t i) {
                return static_cast<double>(v) - place.center[i % 3];
            });
        } else {
            with_type(columns[a].type, [&](auto* type) {
                write_values<std::remove_pointer_t<decltype(type)>>(part, a, out, same);
            });
        }
        advance();
    }
    out.write(kPageAfter);
}

} // namespace vx::cache
