// Tables: a line of column names, then a line per point.
#include "cache/formats/columns.h"
#include "cache/formats/format_traits.h"
#include "cache/formats/names.h"
#include "cache/formats/text.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

namespace vx::cache {

namespace {

constexpr std::size_t kLongestLine = 1 << 20;
constexpr std::size_t kBlockBytes = 1 << 20;

// A cloud of parsed columns.
class TableCloud final : public Cloud {
  public:
    explicit TableCloud(std::int64_t memory) : m_budget(memory) {}

    void start(std::size_t columns) {
        while (m_columns.size() < columns)
            m_columns.emplace_back(m_budget);
    }
    GuessedColumn& column(std::size_t i) { return m_columns[i]; }

    void finish(const std::vector<std::string>& names, Findings& findings) {
        std::vector<Type> types;
        for (const GuessedColumn& c : m_columns)
            types.push_back(c.type());
        m_groups = group_columns(names, types);
        for (const Grouped& g : m_groups) {
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

    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
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
    }

  private:
    SpoolBudget m_budget;
    std::vector<GuessedColumn> m_columns;
    std::vector<Grouped> m_groups;
    std::vector<std::byte> m_raw;
    std::vector<std::byte> m_typed;
};

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// The next cell of a line, without surrounding quotes; a doubled quote inside becomes a single one.
// Returns false if a quote is not closed.
bool next_cell(std::string_view line, char separator, std::size_t& at, std::string& cell) {
    cell.clear();
    std::size_t begin = at;
    while (begin < line.size() && line[begin] == ' ')
        ++begin;
    if (begin >= line.size() || line[begin] != '"') {
        const std::size_t end = std::min(line.find(separator, at), line.size());
        cell = trimmed(line.substr(at, end - at));
        at = end + 1;
        return true;
    }
    for (std::size_t i = begin + 1; i < line.size(); ++i) {
        if (line[i] != '"') {
            cell += line[i];
        } else if (i + 1 < line.size() && line[i + 1] == '"') {
            cell += line[++i];
        } else {
            const std::size_t end = std::min(line.find(separator, i), line.size());
            at = end + 1;
            return trimmed(line.substr(i + 1, end - i - 1)).empty();
        }
    }
    return false;
}

char separator_of(std::string_view header) {
    for (const char c : {',', ';', '\t'}) {
        if (header.find(c) != std::string_view::npos) return c;
    }
    return ',';
}

// Spreadsheets run cells that begin with these characters, and take numbers for values: an
// apostrophe marks such a name as text.
bool needs_mark(std::string_view name) {
    // Marks of names that begin with an apostrophe themselves are told apart this way.
    name.remove_prefix(std::min(name.find_first_not_of('\''), name.size()));
    if (name.empty()) return false;
    return std::string_view("=+-@").find(name[0]) != std::string_view::npos ||
           parse_double(name).has_value();
}

std::vector<std::string> read_names(const std::string& file, std::string_view header,
                                    char separator) {
    std::vector<std::string> names;
    std::unordered_set<std::string> different;
    std::string cell;
    for (std::size_t at = 0; at <= header.size();) {
        const std::size_t begin = at;
        if (!next_cell(header, separator, at, cell)) {
            throw FileError(file, static_cast<std::int64_t>(begin), "a quote without its end");
        }
        if (cell.empty() || parse_double(cell)) {
            throw FileError(file, static_cast<std::int64_t>(begin),
                            "the first line must name the columns; '" + cell + "' is not a name");
        }
        if (names.size() == kMostColumns) {
            throw FileError(file, static_cast<std::int64_t>(begin), "more than 4096 columns");
        }
        if (cell[0] == '\'' && needs_mark(cell)) cell.erase(0, 1);
        if (!different.insert(cell).second) {
            throw FileError(file, static_cast<std::int64_t>(begin), "two columns '" + cell + "'");
        }
        names.push_back(cell);
    }
    return names;
}

// A name as a cell that reads as the same name.
std::string cell_of(const std::string& name) {
    std::string text = needs_mark(name) ? "'" + name : name;
    const bool plain = text.find_first_of(",;\t\"") == std::string::npos && text.front() != ' ' &&
                       text.back() != ' ' && !text.starts_with("\xef\xbb\xbf");
    if (plain) return text;
    for (std::size_t at = text.find('"'); at != std::string::npos; at = text.find('"', at + 2))
        text.insert(at, 1, '"');
    return '"' + text + '"';
}

// Lines end at control characters, and a name has at least one character.
std::string safe(const std::string& name) {
    std::string out = name.empty() ? "unnamed" : name.substr(0, kLongestName);
    for (char& c : out) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '_';
    }
    return out;
}

CloudPtr open_csv(FilePtr file, Findings& findings, const OpenOptions& options) {
    const std::string& name = file->name();
    ByteReader reader(*file, 0, file->size());
    std::string_view line;
    if (!reader.line(line, kLongestLine)) throw FileError(name, 0, "the file is empty");
    std::string header(line);
    if (header.starts_with("\xef\xbb\xbf")) header.erase(0, 3);
    const char separator = separator_of(header);
    const std::vector<std::string> names = read_names(name, header, separator);
    auto cloud = std::make_unique<TableCloud>(options.memory_bytes);
    cloud->start(names.size());
    std::string cell;
    std::int64_t blank_lines = 0;
    for (std::int64_t start = reader.offset(); reader.line(line, kLongestLine);
         start = reader.offset()) {
        if (trimmed(line).empty()) {
            ++blank_lines;
            continue;
        }
        std::size_t column = 0;
        for (std::size_t at = 0; at <= line.size(); ++column) {
            const std::int64_t offset = start + static_cast<std::int64_t>(at);
            if (!next_cell(line, separator, at, cell)) {
                throw FileError(name, offset, "a quote without its end");
            }
            if (column == names.size()) {
                throw FileError(name, offset,
                                "more values than the " + std::to_string(names.size()) +
                                    " columns");
            }
            if (!cloud->column(column).append(cell)) {
                throw FileError(name, offset, "'" + cell.substr(0, 40) + "' is not a number");
            }
        }
        if (column < names.size()) {
            throw FileError(name, start,
                            "a line of " + std::to_string(column) + " values for " +
                                std::to_string(names.size()) + " columns");
        }
        ++cloud->count;
    }
    if (blank_lines > 0) {
        findings.push_back(
            {Severity::note, -1, std::to_string(blank_lines) + " empty lines were skipped"});
    }
    cloud->finish(names, findings);
    return cloud;
}

void write_header(const Cloud& cloud, OutputFile& out, Notes& notes) {
    if (count_columns(cloud.attributes) > kMostColumns) {
        throw FileError(out.name(), -1,
                        "a table of " + std::to_string(count_columns(cloud.attributes)) +
                            " columns; the most are " + std::to_string(kMostColumns));
    }
    if (cloud.attributes.empty()) {
        throw FileError(out.name(), -1, "a table needs at least one attribute");
    }
    std::vector<std::string> wanted;
    for (const Attribute& a : cloud.attributes)
        wanted.push_back(safe(a.name));
    const ColumnNames names = name_columns(cloud.attributes, wanted, false);
    std::string text;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const Attribute& a = cloud.attributes[i];
        if (a.name != names.attributes[i]) {
            notes.push_back(note_of_name(a.name, names.attributes[i]));
        }
        if (a.single) {
            notes.push_back("'" + a.name +
                            "': one value for all points is written for every point");
        }
        if (a.type == Type::float32) {
            notes.push_back("'" + a.name +
                            "': 32-bit floats are written exactly and read back as 64-bit ones");
        }
        for (const std::string& name : names.columns[i]) {
            if (!text.empty()) text += ',';
            text += cell_of(name);
        }
    }
    if (text.size() >= kLongestLine) {
        throw FileError(out.name(), -1,
                        "the names of the columns have more than " + std::to_string(kLongestLine) +
                            " bytes");
    }
    text += '\n';
    out.write(text);
}

void write_csv(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    write_header(cloud, out, notes);
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
            for (std::size_t a = 0; a < columns.size(); ++a) {
                const Attribute& attribute = cloud.attributes[a];
                const auto width = static_cast<std::size_t>(attribute.width);
                const std::size_t point = attribute.single ? 0 : static_cast<std::size_t>(i);
                for (std::size_t k = 0; k < width; ++k) {
                    if (a + k > 0) text += ',';
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

constexpr std::string_view kExtensions[] = {"csv"};

} // namespace

const FormatTraits kCsvFormat{.format = Format::csv,
                              .name = "csv",
                              .extensions = kExtensions,
                              .recognizes = nullptr,
                              .open = open_csv,
                              .write = write_csv,
                              .widths = {},
                              .encodings = {}};

} // namespace vx::cache
