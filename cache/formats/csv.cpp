// Tables: a line of column names, then a line per point.
#include "cache/formats/format_traits.h"
#include "cache/formats/names.h"
#include "cache/formats/table.h"

#include <algorithm>
#include <numeric>
#include <unordered_set>

namespace vx::cache {

namespace {

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
    if (!reader.line(line, kLongestTableLine)) throw FileError(name, 0, "the file is empty");
    std::string header(line);
    if (header.starts_with("\xef\xbb\xbf")) header.erase(0, 3);
    const char separator = separator_of(header);
    const std::vector<std::string> names = read_names(name, header, separator);
    auto cloud = std::make_unique<TableCloud>(options.memory_bytes);
    cloud->start(names.size());
    std::string cell;
    std::int64_t blank_lines = 0;
    for (std::int64_t start = reader.offset(); reader.line(line, kLongestTableLine);
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
    cloud->finish(names, false, findings);
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
    if (text.size() >= kLongestTableLine) {
        throw FileError(out.name(), -1,
                        "the names of the columns have more than " +
                            std::to_string(kLongestTableLine) + " bytes");
    }
    text += '\n';
    out.write(text);
}

void write_csv(Cloud& cloud, OutputFile& out, const WriteOptions& options, Notes& notes) {
    write_header(cloud, out, notes);
    std::vector<std::size_t> order(cloud.attributes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    write_table_rows(cloud, order, ',', out, options);
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
