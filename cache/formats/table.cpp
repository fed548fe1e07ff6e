#include "cache/formats/table.h"

#include <cstring>

namespace vx::cache {

namespace {

constexpr std::size_t kBlockBytes = 1 << 20;

} // namespace

void TableCloud::start(std::size_t columns) {
    while (m_columns.size() < columns)
        m_columns.emplace_back(m_budget);
}

void TableCloud::finish(const std::vector<std::string>& names, bool byte_colors,
                        Findings& findings) {
    std::vector<Type> types;
    for (const GuessedColumn& c : m_columns)
        types.push_back(c.type());
    m_groups = group_columns(names, types);
    for (Grouped& g : m_groups) {
        if (byte_colors && g.attribute.name == "rgbPP" && is_integer(g.attribute.type)) {
            m_byte_color = static_cast<int>(attributes.size());
            g.attribute.type = Type::float32;
            findings.push_back(
                {Severity::note, -1, "colors are stored as integers and are shown here as 0 to 1"});
        }
        attributes.push_back(g.attribute);
        for (const std::size_t c : g.columns) {
            const std::int64_t inexact = m_columns[c].inexact();
            if (inexact == 0 || g.attribute.type != Type::float64) continue;
            findings.push_back({Severity::warning, -1,
                                "column '" + names[c] + "': " + std::to_string(inexact) +
                                    " whole numbers have more digits than a 64-bit float "
                                    "holds and were rounded"});
        }
    }
}

void TableCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    const Grouped& g = m_groups[attribute];
    const auto points = static_cast<std::size_t>(n);
    const std::size_t size = type_size(g.attribute.type);
    const std::size_t width = g.columns.size();
    for (std::size_t k = 0; k < width; ++k) {
        const GuessedColumn& column = m_columns[g.columns[k]];
        m_raw.resize(points * 8);
        m_typed.resize(points * size);
        column.read(first, n, m_raw.data());
        convert_values(column.type(), m_raw.data(), g.attribute.type, m_typed.data(), points);
        for (std::size_t i = 0; i < points; ++i) {
            std::memcpy(static_cast<std::byte*>(out) + (i * width + k) * size,
                        m_typed.data() + i * size, size);
        }
    }
    if (static_cast<int>(attribute) != m_byte_color) return;
    auto* const colors = static_cast<float*>(out);
    for (std::size_t i = 0; i < points * width; ++i)
        colors[i] = static_cast<float>(static_cast<double>(colors[i]) / 255);
}

void write_table_rows(Cloud& cloud, std::span<const std::size_t> order, char separator,
                      OutputFile& out, const WriteOptions& options) {
    std::string text;
    std::vector<std::vector<std::byte>> columns(cloud.attributes.size());
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        for (std::size_t a = 0; a < columns.size(); ++a) {
            const Attribute& attribute = cloud.attributes[a];
            if (attribute.single && first > 0) continue;
            const std::int64_t points = attribute.single ? 1 : n;
            columns[a].resize(static_cast<std::size_t>(points) * attribute.bytes());
            cloud.read(a, attribute.single ? 0 : first, points, columns[a].data());
        }
        text.clear();
        for (std::int64_t i = 0; i < n; ++i) {
            bool begins = true;
            for (const std::size_t a : order) {
                const Attribute& attribute = cloud.attributes[a];
                const auto width = static_cast<std::size_t>(attribute.width);
                const std::size_t point = attribute.single ? 0 : static_cast<std::size_t>(i);
                for (std::size_t k = 0; k < width; ++k) {
                    if (!begins) text += separator;
                    begins = false;
                    // The shortest text of a float does not read back as the same double.
                    if (attribute.type == Type::float32) {
                        float value = 0;
                        std::memcpy(&value, columns[a].data() + (point * width + k) * 4, 4);
                        append_number(text, static_cast<double>(value));
                    } else {
                        append_value(text, attribute.type, columns[a].data(), point * width + k);
                    }
                }
            }
            text += '\n';
            if (text.size() < kBlockBytes) continue;
            out.write(text);
            text.clear();
        }
        out.write(text);
        if (options.progress) options.progress(first + n, cloud.count);
    });
}

} // namespace vx::cache
