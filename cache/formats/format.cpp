#include "cache/formats/format.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace vx::cache {

namespace {

constexpr std::array<std::pair<std::string_view, Format>, 6> names{{{"pdc", Format::pdc},
                                                                    {"mrmap", Format::mrmap},
                                                                    {"ply", Format::ply},
                                                                    {"csv", Format::csv},
                                                                    {"usda", Format::usda},
                                                                    {"npz", Format::npz}}};

bool is_number(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::optional<Format> format_of_content(const InputFile& file) {
    char start[8] = {};
    const std::string_view text(start, file.read_some(0, start, sizeof start));
    if (text.starts_with("PDC ")) return Format::pdc;
    if (text.starts_with("ply\n") || text.starts_with("ply\r")) return Format::ply;
    if (text.starts_with("PK\x03\x04") || text.starts_with("PK\x05\x06")) return Format::npz;
    if (text.starts_with("#usda")) return Format::usda;
    return std::nullopt;
}

} // namespace

std::string_view format_name(Format format) {
    for (const auto& [name, value] : names) {
        if (value == format) return name;
    }
    return "";
}

std::optional<Format> format_of_word(std::string_view word) {
    std::string lower(word);
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const auto& [name, value] : names) {
        if (name == lower) return value;
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
    return format_of_word(name.substr(dot + 1));
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
                        file->size() > 0 ? "neither its content nor its name tells its format"
                                         : "the file is empty, and its name tells no format");
    }
    if (by_name && *by_name != *format) {
        findings.push_back({Severity::warning, 0,
                            "named as " + std::string(format_name(*by_name)) + " but holds " +
                                std::string(format_name(*format))});
    }
    OpenedCloud opened{*format, nullptr};
    const std::string name = file->name();
    switch (*format) {
    case Format::pdc:
        opened.cloud = open_pdc(std::move(file), findings);
        break;
    case Format::mrmap:
        opened.cloud = open_mrmap(std::move(file), findings);
        break;
    case Format::ply:
        opened.cloud = open_ply(std::move(file), findings, options);
        break;
    case Format::csv:
        opened.cloud = open_csv(std::move(file), findings, options);
        break;
    case Format::usda:
        opened.cloud = open_usda(std::move(file), findings, options);
        break;
    case Format::npz:
        opened.cloud = open_npz(std::move(file), findings, options);
        break;
    }
    opened.cloud->file_name = name;
    return opened;
}

Notes write_cloud(Cloud& cloud, const std::string& path, Format format,
                  const WriteOptions& options) {
    OutputFile out(path, options.force);
    Notes notes;
    switch (format) {
    case Format::pdc:
        write_pdc(cloud, out, options, notes);
        break;
    case Format::mrmap:
        write_mrmap(cloud, out, options, notes);
        break;
    case Format::ply:
        write_ply(cloud, out, options, notes);
        break;
    case Format::csv:
        write_csv(cloud, out, options, notes);
        break;
    case Format::usda:
        write_usda(cloud, out, options, notes);
        break;
    case Format::npz:
        write_npz(cloud, out, options, notes);
        break;
    }
    out.commit();
    return notes;
}

Narrowing::Narrowing(Cloud& cloud, std::size_t attribute, Type to)
    : m_cloud(cloud), m_attribute(attribute), m_to(to) {}

const std::byte* Narrowing::read(std::int64_t first, std::int64_t n) {
    const Attribute& attribute = m_cloud.attributes[m_attribute];
    const auto values = static_cast<std::size_t>(n) * static_cast<std::size_t>(attribute.width);
    m_raw.resize(values * type_size(attribute.type));
    m_cloud.read(m_attribute, first, n, m_raw.data());
    if (attribute.type == m_to) return m_raw.data();
    m_values.resize(values * type_size(m_to));
    m_changed += convert_values(attribute.type, m_raw.data(), m_to, m_values.data(), values);
    m_total += static_cast<std::int64_t>(values);
    return m_values.data();
}

void Narrowing::report(Notes& notes) const {
    if (m_changed == 0) return;
    const std::string name = "'" + m_cloud.attributes[m_attribute].name + "'";
    notes.push_back(name + ": " + std::to_string(m_changed) + " of " + std::to_string(m_total) +
                    " values do not fit " + std::string(type_name(m_to)) + " and were rounded");
}

} // namespace vx::cache
