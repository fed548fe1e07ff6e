#include "cache/verbs/output.h"

#include "cache/formats/format_traits.h"

#include <algorithm>

namespace vx::cache {

void OutputOptions::add(CLI::App& app) {
    std::vector<std::string> names;
    for (const FormatTraits* traits : format_table())
        names.emplace_back(traits->name);
    app.add_option("--to", format, "output format, for names without a known extension")
        ->check(CLI::IsMember(names))
        ->group("Output");
    app.add_option("--encoding", encoding,
                   "ply: little (default), big, ascii; mrmap: closed (default), open, ascii")
        ->check(CLI::IsMember({"little", "big", "ascii", "closed", "open"}))
        ->group("Output");
    app.add_flag("-f,--force", force, "replace existing files")->group("Output");
    app.add_flag(
           "--byte-color{srgb}", byte_color,
           "ply: colors as bytes too, for viewers, with the sRGB curve or --byte-color=linear; "
           "pts: the curve of the colors (default: linear)")
        ->check(CLI::IsMember({"srgb", "linear"}))
        ->group("Output");
    app.add_flag("--double", full_precision,
                 "ply: 64-bit values with all their bits, not as 32-bit floats and integers")
        ->group("Output");
    app.add_option("--pdc-types", pdc_types,
                   "pdc: bake (default): arrays of numbers and vectors, as bakes have them; keep: "
                   "the cloud's own types, integers and single values too")
        ->check(CLI::IsMember({"bake", "keep"}))
        ->group("Output");
    app.add_flag("--all-fields", all_fields,
                 "pdc to mrmap: write every attribute, not only the four of the shaders' maps")
        ->group("Output");
}

Format OutputOptions::format_for(const std::string& path) const {
    const std::optional<Format> chosen =
        format.empty() ? format_of_name(path) : format_of_word(format);
    if (!chosen)
        throw UsageError("'" + path + "' has no known extension; give the format with --to");
    return *chosen;
}

WriteOptions OutputOptions::write_options(Format target) const {
    WriteOptions w;
    w.force = force;
    w.byte_color = byte_color.empty()       ? ByteColor::none
                   : byte_color == "linear" ? ByteColor::linear
                                            : ByteColor::srgb;
    w.full_precision = full_precision;
    w.encoding = encoding;
    w.pdc_keep_types = pdc_types == "keep";
    if (encoding.empty()) return w;
    const auto encodings = traits_of(target).encodings;
    if (encodings.empty()) throw UsageError("--encoding is for ply and mrmap");
    if (std::ranges::find(encodings, encoding) == encodings.end()) {
        throw UsageError("--encoding " + encoding + " is not one of " +
                         std::string(format_name(target)));
    }
    return w;
}

void OutputOptions::write(Session& session, Cloud& cloud, const std::string& path,
                          std::optional<Format> source) const {
    const Format target = format_for(path);
    WriteOptions w = write_options(target);
    w.all_fields = all_fields || source != Format::pdc;
    w.progress = session.progress(path);
    for (const std::string& note : write_cloud(cloud, path, target, w))
        session.note(path + ": " + note);
    session.details(path + ": " + std::to_string(cloud.count) + " points");
}

} // namespace vx::cache
