#include "cache/formats/format.h"

#include "cache/formats/columns.h"
#include "cache/formats/format_traits.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace vx::cache {

namespace {

constexpr const FormatTraits* kTable[] = {&kPdcFormat,  &kMrmapFormat, &kPlyFormat,
                                          &kCsvFormat,  &kUsdaFormat,  &kNpzFormat,
                                          &kBgeoFormat, &kXyzFormat,   &kPtsFormat};

bool is_number(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::string lower_case(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

std::optional<Format> format_of_content(const InputFile& file) {
    char start[8] = {};
    const std::string_view text(start, file.read_some(0, start, sizeof start));
    for (const FormatTraits* traits : kTable) {
        if (traits->recognizes != nullptr && traits->recognizes(text)) return traits->format;
    }
    return std::nullopt;
}

} // namespace

std::span<const FormatTraits* const> format_table() {
    return kTable;
}

const FormatTraits& traits_of(Format format) {
    return *kTable[static_cast<std::size_t>(format)];
}

std::string_view format_name(Format format) {
    return traits_of(format).name;
}

std::optional<Format> format_of_word(std::string_view word) {
    const std::string lower = lower_case(word);
    for (const FormatTraits* traits : kTable) {
        if (traits->name == lower) return traits->format;
    }
    return std::nullopt;
}

std::optional<Format> format_of_name(std::string_view path) {
    std::string_view name = path.substr(path.rfind('/') + 1);
    std::size_t dot = name.rfind('.');
    // Caches are also called "shot.pdc.0012".
    if (dot != std::string_view::npos && is_number(name.substr(dot + 1))) {
        name = name.substr(0, dot);
        dot = name.rfind('.');
    }
    if (dot == std::string_view::npos) return std::nullopt;
    const std::string extension = lower_case(name.substr(dot + 1));
    for (const FormatTraits* traits : kTable) {
        if (std::ranges::find(traits->extensions, extension) != traits->extensions.end()) {
            return traits->format;
        }
    }
    return std::nullopt;
}

std::string_view severity_name(Severity severity) {
    switch (severity) {
    case Severity::note:
        return "note";
    case Severity::warning:
        return "warning";
    case Severity::error:
        break;
    }
    return "error";
}

OpenedCloud open_cloud(const std::string& path, Findings& findings, const OpenOptions& options) {
    auto file = std::make_unique<InputFile>(path);
    const std::optional<Format> by_name = format_of_name(path);
    std::optional<Format> format = format_of_content(*file);
    if (!format) format = by_name;
    if (!format) {
        throw FileError(file->name(), file->size() > 0 ? 0 : -1,
                        file->size() > 0
                            ? "its format is recognized neither by content nor by name"
                            : "the file is empty, and its name has no known extension");
    }
    if (by_name && *by_name != *format) {
        findings.push_back({Severity::warning, 0,
                            "named as " + std::string(format_name(*by_name)) + " but holds " +
                                std::string(format_name(*format))});
    }
    OpenedCloud opened{*format, nullptr};
    const std::string name = file->name();
    opened.cloud = traits_of(*format).open(std::move(file), findings, options);
    opened.cloud->file_name = name;
    return opened;
}

Notes write_cloud(Cloud& cloud, const std::string& path, Format format,
                  const WriteOptions& options) {
    OutputFile out(path, options.force);
    Notes notes;
    const FormatTraits& traits = traits_of(format);
    if (traits.widths.empty()) {
        traits.write(cloud, out, options, notes);
    } else {
        SplitCloud split(cloud, traits.widths, notes);
        traits.write(split, out, options, notes);
    }
    out.commit();
    return notes;
}

void note_rounding(const AttributeReader& reader, Notes& notes) {
    if (reader.changed() == 0) return;
    notes.push_back("'" + reader.attribute().name + "': " + std::to_string(reader.changed()) +
                    " of " + std::to_string(reader.converted()) + " values do not fit " +
                    std::string(type_name(reader.type())) + " and were rounded");
}

} // namespace vx::cache
