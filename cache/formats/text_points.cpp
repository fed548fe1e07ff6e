// Plain lines of numbers. xyz: x y z and more columns, which a comment may name. pts: the number of
// points, then x y z, x y z intensity, x y z r g b or x y z intensity r g b, with colors as bytes.
#include "cache/formats/byte_color.h"
#include "cache/formats/format_traits.h"
#include "cache/formats/names.h"
#include "cache/formats/table.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <unordered_set>

namespace vx::cache {

namespace {

using Names = std::vector<std::string>;

Names words_of(std::string_view line) {
    Names out;
    Words words(line);
    for (std::string_view word = words.next(); !word.empty(); word = words.next())
        out.emplace_back(word);
    return out;
}

bool is_comment(std::string_view line) {
    const std::size_t begin = std::min(line.find_first_not_of(" \t"), line.size());
    return line.substr(begin).starts_with("#") || line.substr(begin).starts_with("//");
}

// The name of a column that a word in a file stands for. Programs write some names in capitals, and
// colors that are not bytes as Rf, Gf and Bf.
std::string column_of_word(const std::string& word) {
    constexpr std::array<std::string_view, 9> kCapitals{"X",  "Y", "Z", "Nx", "Ny",
                                                        "Nz", "R", "G", "B"};
    if (word == "Rf") return "red";
    if (word == "Gf") return "green";
    if (word == "Bf") return "blue";
    if (std::find(kCapitals.begin(), kCapitals.end(), word) == kCapitals.end()) {
        return percent_decoded(word).value_or(word);
    }
    std::string lower = word;
    lower[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(lower[0])));
    return lower;
}

// The word that stands for a column of this name.
std::string word_of_column(const std::string& column) {
    std::string word = percent_encoded(column);
    if (column_of_word(word) != column)
        word = percent_encoded(word.substr(0, 1), true) + word.substr(1);
    return word;
}

// The names of columns in a comment or a line of words, of which three are x, y and z.
std::optional<Names> names_in(std::string_view line) {
    if (is_comment(line)) {
        line.remove_prefix(std::min(line.find_first_not_of(" \t#/"), line.size()));
    }
    Names names;
    for (const std::string& word : words_of(line))
        names.push_back(column_of_word(word));
    const std::unordered_set<std::string> different(names.begin(), names.end());
    if (different.size() != names.size()) return std::nullopt;
    if (!different.contains("x") || !different.contains("y") || !different.contains("z")) {
        return std::nullopt;
    }
    return names;
}

// What columns without names are by their number.
Names usual_names(Format format, std::size_t columns) {
    Names names{"x", "y", "z"};
    const auto add = [&names](std::initializer_list<const char*> more) {
        names.insert(names.end(), more.begin(), more.end());
    };
    if (format == Format::xyz && (columns == 6 || columns == 9)) add({"nx", "ny", "nz"});
    if (format == Format::pts && columns == 6) add({"r", "g", "b"});
    if (columns == 4 || columns == 7) add({"intensity"});
    if (columns == 7 || columns == 9) add({"r", "g", "b"});
    while (names.size() < columns)
        names.push_back("column" + std::to_string(names.size() + 1));
    return names;
}

class PointsReader {
  public:
    PointsReader(const InputFile& file, Format format, const OpenOptions& options)
        : m_file(file),
          m_reader(file, 0, file.size()),
          m_format(format),
          m_cloud(std::make_unique<TableCloud>(options.memory_bytes)) {}

    CloudPtr read(Findings& findings) {
        std::optional<std::int64_t> expected;
        if (m_format == Format::pts) expected = read_count();
        std::string_view line;
        std::int64_t start = m_reader.offset();
        for (; m_cloud->count != expected && m_reader.line(line, kLongestTableLine);
             start = m_reader.offset()) {
            if (Words(line).next().empty()) continue;
            if (m_columns == 0 && (is_comment(line) || names_in(line))) {
                if (const auto names = names_in(line)) {
                    m_names = *names;
                    const Names words = words_of(line);
                    m_byte_colors = std::find(words.begin(), words.end(), "R") != words.end();
                }
            } else if (!is_comment(line)) {
                read_row(line, start);
            }
        }
        if (expected && m_cloud->count < *expected) {
            fail(start, "the file ends after " + std::to_string(m_cloud->count) + " of " +
                            std::to_string(*expected) + " points");
        }
        if (m_file.size() > start && expected) report_rest(findings);
        return finish(findings);
    }

  private:
    [[noreturn]] void fail(std::int64_t offset, const std::string& why) const {
        throw FileError(m_file.name(), offset, why);
    }
    std::int64_t read_count() {
        std::string_view line;
        if (!m_reader.line(line, kLongestTableLine)) fail(0, "the file is empty");
        Words words(line);
        const std::string_view word = words.next();
        const std::optional<std::int64_t> count = parse_int(word);
        if (!count || *count < 0 || !words.next().empty()) {
            fail(0, "the first line must be the number of points, this is '" +
                        std::string(line.substr(0, 40)) + "'");
        }
        return *count;
    }
    void read_row(std::string_view line, std::int64_t start) {
        if (m_columns == 0) {
            m_columns = words_of(line).size();
            if (m_columns < 3) fail(start, "a line of less than three values");
            if (m_columns > kMostColumns) fail(start, "more than 4096 columns");
            m_cloud->start(m_columns);
        }
        Words words(line);
        for (std::size_t k = 0; k < m_columns; ++k) {
            const std::string_view word = words.next();
            const std::int64_t offset = start + static_cast<std::int64_t>(words.offset());
            if (word.empty()) {
                fail(start, "a line of " + std::to_string(k) + " values for " +
                                std::to_string(m_columns) + " columns");
            }
            if (!m_cloud->column(k).append(word)) {
                fail(offset, "'" + std::string(word.substr(0, 40)) + "' is not a number");
            }
        }
        if (!words.next().empty()) {
            fail(start, "more values than the " + std::to_string(m_columns) + " columns");
        }
        ++m_cloud->count;
    }
    void report_rest(Findings& findings) {
        std::string_view line;
        for (std::int64_t at = m_reader.offset(); m_reader.line(line, kLongestTableLine);
             at = m_reader.offset()) {
            if (Words(line).next().empty()) continue;
            findings.push_back(
                {Severity::warning, at,
                 std::to_string(m_file.size() - at) + " bytes after the last point"});
            return;
        }
    }
    CloudPtr finish(Findings& findings) {
        if (m_columns == 0) {
            m_columns = std::max<std::size_t>(m_names.size(), 3);
            m_cloud->start(m_columns);
        }
        const bool named = m_names.size() == m_columns;
        const Names names = named ? m_names : usual_names(m_format, m_columns);
        if (!named && m_columns > 3) {
            std::string text;
            for (const std::string& name : names)
                text += " " + name;
            findings.push_back({Severity::note, -1, "the columns are taken for" + text});
        }
        m_cloud->finish(names, !named || m_byte_colors, findings);
        return std::move(m_cloud);
    }

    const InputFile& m_file;
    ByteReader m_reader;
    Format m_format;
    std::unique_ptr<TableCloud> m_cloud;
    std::size_t m_columns = 0; // known from the first row on
    Names m_names;
    bool m_byte_colors = false; // columns R, G and B: other programs' colors
};

CloudPtr open_xyz(FilePtr file, Findings& findings, const OpenOptions& options) {
    return PointsReader(*file, Format::xyz, options).read(findings);
}

CloudPtr open_pts(FilePtr file, Findings& findings, const OpenOptions& options) {
    return PointsReader(*file, Format::pts, options).read(findings);
}

void write_xyz(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    std::vector<std::size_t> order{need_position(cloud)};
    // Many programs take the next three columns for normals.
    for (const std::string_view name : {"normalPP", "rgbPP"}) {
        const int at = cloud.find(name);
        if (at >= 0 && cloud.attributes[static_cast<std::size_t>(at)].width == 3) {
            order.push_back(static_cast<std::size_t>(at));
        }
    }
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        if (std::find(order.begin(), order.end(), i) == order.end()) order.push_back(i);
    }
    if (count_columns(cloud.attributes) > kMostColumns) {
        throw FileError(out.name(), -1,
                        "lines of " + std::to_string(count_columns(cloud.attributes)) +
                            " values; the most are " + std::to_string(kMostColumns));
    }
    Names wanted;
    for (const Attribute& a : cloud.attributes)
        wanted.push_back(a.name.empty() ? "unnamed" : a.name.substr(0, kLongestName));
    const ColumnNames names = name_columns(cloud.attributes, wanted, true);
    // Other programs expect no blank behind the slashes.
    std::string header = "//";
    for (const std::size_t i : order) {
        const Attribute& a = cloud.attributes[i];
        if (a.name != names.attributes[i]) {
            notes.push_back(note_of_name(a.name, names.attributes[i]));
        }
        if (a.single) {
            notes.push_back("'" + a.name +
                            "': one value for all points is written for every point");
        }
        const bool color = a.name == "rgbPP" && a.width == 3;
        for (const std::string& name : names.columns[i]) {
            const std::string word =
                color ? std::string(1, static_cast<char>(std::toupper(name[0]))) + "f"
                      : word_of_column(name);
            header += (header.size() > 2 ? " " : "") + word;
        }
    }
    if (header.size() >= kLongestTableLine) {
        throw FileError(out.name(), -1, "the names of the columns are too long for a line");
    }
    out.write(header + "\n");
    write_table_rows(cloud, order, ' ', out, options);
}

void write_pts(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    const std::size_t position = need_position(cloud);
    const auto optional_reader = [&](std::string_view name, int width) {
        std::optional<TypedReader<double>> reader;
        const int at = cloud.find(name);
        if (at >= 0 && cloud.attributes[static_cast<std::size_t>(at)].width == width) {
            reader.emplace(cloud, static_cast<std::size_t>(at));
        }
        return reader;
    };
    TypedReader<double> positions(cloud, position);
    std::optional<TypedReader<double>> intensity = optional_reader("intensity", 1);
    std::optional<TypedReader<double>> color = optional_reader("rgbPP", 3);
    for (std::size_t i = 0; i < cloud.attributes.size(); ++i) {
        const std::string& name = cloud.attributes[i].name;
        const bool carried =
            i == position || (intensity && name == "intensity") || (color && name == "rgbPP");
        if (!carried) notes.push_back("'" + name + "': is not carried into a pts file");
    }
    if (color) notes.emplace_back("'rgbPP': cut to 0..1 and rounded to bytes");
    out.write(std::to_string(cloud.count) + "\n");
    std::string text;
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto p = positions.read(first, n);
        const auto i = intensity ? intensity->read(first, n) : std::span<const double>{};
        const auto c = color ? color->read(first, n) : std::span<const double>{};
        text.clear();
        for (std::size_t k = 0; k < static_cast<std::size_t>(n); ++k) {
            append_number(text, p[3 * k]);
            for (std::size_t axis = 1; axis < 3; ++axis) {
                text += ' ';
                append_number(text, p[3 * k + axis]);
            }
            if (intensity) {
                text += ' ';
                append_number(text, i[k]);
            }
            for (std::size_t channel = 0; color && channel < 3; ++channel) {
                text += ' ';
                append_number(text, int{color_byte(c[3 * k + channel], options.byte_color)});
            }
            text += '\n';
        }
        out.write(text);
        if (options.progress) options.progress(first + n, cloud.count);
    });
}

constexpr std::string_view kXyzExtensions[] = {"xyz"};
constexpr std::string_view kPtsExtensions[] = {"pts"};

} // namespace

const FormatTraits kXyzFormat{.format = Format::xyz,
                              .name = "xyz",
                              .extensions = kXyzExtensions,
                              .recognizes = nullptr,
                              .open = open_xyz,
                              .write = write_xyz,
                              .widths = {},
                              .encodings = {}};

const FormatTraits kPtsFormat{.format = Format::pts,
                              .name = "pts",
                              .extensions = kPtsExtensions,
                              .recognizes = nullptr,
                              .open = open_pts,
                              .write = write_pts,
                              .widths = {},
                              .encodings = {}};

} // namespace vx::cache
