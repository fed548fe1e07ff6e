#include "cache/verbs/output.h"

#include "cache/cloud/edited.h"
#include "cache/formats/format_traits.h"

#include <algorithm>

namespace vx::cache {

namespace {

bool has(const Cloud& cloud, const char* name) {
    const int at = cloud.find(name);
    return at >= 0 && cloud.attributes[static_cast<std::size_t>(at)].width == known_width(name);
}

Json describe_attribute(const Attribute& a) {
    return {
        {"name", a.name}, {"type", type_name(a.type)}, {"width", a.width}, {"single", a.single}};
}

// Without positions or colors a map is of no use to vx_pc_read; other missing attributes make some
// of its parameters useless.
void check_map(Session& session, const Cloud& cloud, const std::string& path) {
    struct Need {
        const char* name;
        const char* fill;
    };
    for (const Need& need : {Need{"position", "position=0,0,0"}, Need{"rgbPP", "rgbPP=1,1,1"}}) {
        if (has(cloud, need.name)) continue;
        throw FileError(path, -1,
                        std::string("the points have no '") + need.name +
                            "', without which vx_pc_read cannot use a map; --fill " + need.fill +
                            " would give them one");
    }
    struct Use {
        const char* name;
        const char* parameters;
    };
    for (const Use& use : {Use{"normalPP", "facing, minAngle and maxAngle"},
                           Use{"opacityPP", "useOpacity"}, Use{"tag", "useLabels"}}) {
        if (has(cloud, use.name)) continue;
        session.note(path + ": '" + use.name + "': missing, so " + use.parameters +
                     " of vx_pc_read will not work on this map");
    }
}

} // namespace

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
    app.add_option(
           "--fill", fills,
           "NAME=VALUES, as rgbPP=1,1,1: values for points without this attribute; repeatable")
        ->allow_extra_args(false)
        ->group("Output");
    edits.add(app);
}

Cloud& OutputOptions::fill(Cloud& cloud, std::vector<CloudPtr>& layers) const {
    Cloud* last = &cloud;
    for (const std::string& text : fills) {
        const std::size_t equal = text.find('=');
        if (equal == 0 || equal == std::string::npos) {
            throw UsageError("--fill: '" + text + "' is not NAME=VALUES");
        }
        const std::string name = text.substr(0, equal);
        const auto width = static_cast<std::size_t>(known_width(name));
        std::vector<double> values = parse_numbers(text.substr(equal + 1), width, "--fill " + name);
        if (last->find(name) >= 0) continue;
        layers.push_back(std::make_unique<FilledCloud>(*last, name, std::move(values)));
        last = layers.back().get();
    }
    return *last;
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

void OutputOptions::write(Session& session, Cloud& source_cloud, const std::string& path,
                          std::optional<Format> source) const {
    std::vector<CloudPtr> layers;
    EditLayers chosen;
    Cloud& cloud = edits.choose(fill(source_cloud, layers), chosen);
    const Format target = format_for(path);
    if (target == Format::mrmap) check_map(session, cloud, path);
    WriteOptions w = write_options(target);
    w.all_fields = all_fields || source != Format::pdc;
    w.progress = session.progress(path);
    if (path == "-" && session.json) {
        throw UsageError("the standard output cannot take both the cloud and the report of --json");
    }
    for (const std::string& note : write_cloud(cloud, path, target, w))
        session.note(path + ": " + note);
    session.details(path + ": " + std::to_string(cloud.count) + " points");
    Json& record = session.record();
    record["format"] = format_name(target);
    record["points"] = cloud.count;
    record["attributes"] = Json::array();
    for (const Attribute& a : cloud.attributes)
        record["attributes"].push_back(describe_attribute(a));
}

void need_labels(const std::string& option, const std::string& text) {
    if (!LabelSet(text).empty()) return;
    throw UsageError(option + ": '" + text + "' has no label; lists look like 1,3,5-7");
}

} // namespace vx::cache
