#include "cache/cloud/attribute_reader.h"
#include "cache/reader/probe.h"
#include "cache/verbs/verbs.h"

#include "src/names/frame_names.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <memory>

namespace vx::cache {

namespace {

using Json = nlohmann::ordered_json;

struct LookupPoint {
    Float3 point{};
    Float3 normal{};
};

struct Options {
    std::vector<std::string> files;
    std::string frames;
    std::vector<std::string> points;
    std::vector<std::string> normals;
    std::string queries;
    std::string direction;
    std::string falloff;
    std::string scale;
    ReaderSettings settings;

    // Whether the results depend on the normal.
    bool needs_normal() const {
        return settings.facing || settings.min_angle > 0 || settings.max_angle < 180;
    }
};

Float3 vector_of(const std::string& text, const std::string& option) {
    const std::vector<double> v = parse_numbers(text, 3, option);
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

// Parses three or four numbers; the reader ignores alpha.
Float3 color_of(const std::string& text, const std::string& option) {
    const std::vector<double> v = parse_numbers(text, 0, option);
    if (v.size() != 3 && v.size() != 4) {
        throw UsageError(option + ": needs r,g,b or r,g,b,a, '" + text + "' has " +
                         std::to_string(v.size()) + " numbers");
    }
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

std::vector<LookupPoint> queries_of_options(const Options& o) {
    if (o.normals.size() > 1 && o.normals.size() != o.points.size()) {
        throw UsageError("--normal: one for all points or as many as there are points");
    }
    std::vector<LookupPoint> queries;
    for (std::size_t i = 0; i < o.points.size(); ++i) {
        LookupPoint q;
        q.point = vector_of(o.points[i], "--point");
        if (!o.normals.empty()) {
            q.normal = vector_of(o.normals[o.normals.size() == 1 ? 0 : i], "--normal");
        }
        queries.push_back(q);
    }
    return queries;
}

void queries_of_file(const Session& session, const Options& o, std::vector<LookupPoint>& queries) {
    const OpenedCloud opened = session.open(o.queries);
    Cloud& cloud = *opened.cloud;
    TypedReader<float> positions(cloud, need_position(cloud));
    const int at = cloud.find("normalPP");
    const bool has = at >= 0 && cloud.attributes[static_cast<std::size_t>(at)].width == 3;
    if (!has && o.normals.empty() && o.needs_normal()) {
        throw FileError(cloud.file_name, -1, "has no normals, which --facing and the angles need");
    }
    TypedReader<float> normals(cloud, has ? static_cast<std::size_t>(at) : 0);
    const Float3 given = o.normals.empty() ? Float3{} : vector_of(o.normals[0], "--normal");
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto p = positions.read(first, n);
        std::span<const float> v;
        if (has) v = normals.read(first, n);
        for (std::size_t i = 0; i < 3 * static_cast<std::size_t>(n); i += 3) {
            LookupPoint q{{p[i], p[i + 1], p[i + 2]}, given};
            if (has && o.normals.empty()) q.normal = {v[i], v[i + 1], v[i + 2]};
            queries.push_back(q);
        }
    });
}

std::string number(double v) {
    char text[40];
    (void)std::snprintf(text, sizeof text, "%.6g", v);
    return text;
}
template <typename List>
std::string numbers(const List& list) {
    std::string text;
    for (const float v : list)
        text += (text.empty() ? "" : " ") + number(static_cast<double>(v));
    return text;
}
template <typename List>
Json json_of(const List& list) {
    Json out = Json::array();
    for (const float v : list)
        out.push_back(static_cast<double>(v));
    return out;
}
std::string count_of(std::int64_t n, const char* what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

// One sentence for each reason why the result is not a plain blend.
std::vector<std::string> reasons(const ReaderProbe& probe, const Options& o, const Seen& seen) {
    const Tally& t = seen.tally;
    std::vector<std::string> out;
    if (probe.disabled()) {
        out.emplace_back("the cloud has no rgbPP: the shader is disabled and returns black");
        return out;
    }
    if (!seen.success) {
        out.emplace_back("the cloud has no points: the shader returns black and false");
        return out;
    }
    if (seen.found.empty()) {
        if (o.settings.max_points < 1) {
            out.emplace_back("--max-points allows none");
        } else if (t.within == 0) {
            out.push_back("no point is within the radius of " +
                          number(static_cast<double>(o.settings.radius)) +
                          (t.nearest < 0 ? "" : "; the nearest is " + number(t.nearest) + " away"));
        } else {
            out.push_back("all " + count_of(t.within, "point") +
                          " within the radius were rejected");
        }
    } else if (seen.blended == 0) {
        out.emplace_back("every point that was found faces the same way as the normal: the mean is "
                         "of no points, its color is not a number");
    }
    return out;
}

void print_row(const char* index, const char* id, const char* distance, const char* label,
               const char* weight, const char* position, const char* color, const char* opacity) {
    char text[256];
    (void)std::snprintf(text, sizeof text, "  %9s %9s %10s %7s  %-29s %-32s %-29s %s", index, id,
                        distance, label, weight, position, color, opacity);
    std::string line(text);
    line.resize(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
}

void print_table(const Seen& seen) {
    print_row("index", "id", "distance", "label", "weight r g b", "position", "color", "opacity");
    for (const FoundPoint& p : seen.found) {
        print_row(std::to_string(p.index).c_str(), p.id ? number(*p.id).c_str() : "-",
                  number(static_cast<double>(p.distance)).c_str(),
                  p.label ? std::to_string(*p.label).c_str() : "-",
                  p.left_out ? "left out, faces away" : numbers(p.weight).c_str(),
                  numbers(p.position).c_str(), numbers(p.color).c_str(),
                  number(static_cast<double>(p.opacity)).c_str());
    }
}

void print(const ReaderProbe& probe, const Options& o, const LookupPoint& q, const Seen& seen) {
    const Tally& t = seen.tally;
    std::printf("  point     %s", numbers(q.point).c_str());
    if (o.needs_normal()) std::printf(", normal %s", numbers(q.normal).c_str());
    std::printf("\n  color     %s\n  found     %s", numbers(seen.color).c_str(),
                count_of(seen.point_count, "point").c_str());
    if (seen.blended != seen.point_count) std::printf(", %d in the mean", seen.blended);
    std::printf("\n");
    const double length = std::hypot(q.normal[0], q.normal[1], q.normal[2]);
    if (o.needs_normal() && !(std::abs(length - 1) < 1e-3)) {
        std::printf("  mind      the normal has length %s, and the shader does not normalize it\n",
                    number(length).c_str());
    }
    for (const std::string& why : reasons(probe, o, seen))
        std::printf("  because   %s\n", why.c_str());
    if (t.within > 0) {
        std::printf("  within    %s within the radius", count_of(t.within, "point").c_str());
        if (t.by_label > 0)
            std::printf(", %lld rejected by label", static_cast<long long>(t.by_label));
        if (t.by_cone > 0) std::printf(", %lld by the angles", static_cast<long long>(t.by_cone));
        if (t.by_facing > 0) std::printf(", %lld by facing", static_cast<long long>(t.by_facing));
        if (t.passed > seen.point_count) {
            std::printf(", %lld beyond --max-points",
                        static_cast<long long>(t.passed - seen.point_count));
        }
        std::printf("\n");
    }
    if (!seen.found.empty()) print_table(seen);
}

Json describe(const ReaderProbe& probe, const Options& o, const LookupPoint& q, const Seen& seen) {
    const Tally& t = seen.tally;
    Json out;
    out["point"] = json_of(q.point);
    out["normal"] = json_of(q.normal);
    out["success"] = seen.success;
    out["color"] = json_of(seen.color);
    out["point_count"] = seen.point_count;
    out["blended"] = seen.blended;
    out["because"] = reasons(probe, o, seen);
    out["tally"] = {{"points", t.total},
                    {"within_radius", t.within},
                    {"refused_by_label", t.by_label},
                    {"refused_by_angle", t.by_cone},
                    {"refused_by_facing", t.by_facing},
                    {"passed", t.passed}};
    if (t.nearest >= 0) out["tally"]["nearest"] = t.nearest;
    Json found = Json::array();
    for (const FoundPoint& p : seen.found) {
        Json one;
        one["index"] = p.index;
        if (p.id) one["id"] = *p.id;
        if (p.label) one["label"] = *p.label;
        one["distance"] = static_cast<double>(p.distance);
        one["falloff"] = static_cast<double>(p.falloff);
        one["in_mean"] = !p.left_out;
        if (!p.left_out) one["weight"] = json_of(p.weight);
        one["position"] = json_of(p.position);
        one["normal"] = json_of(p.normal);
        one["color"] = json_of(p.color);
        one["opacity"] = static_cast<double>(p.opacity);
        found.push_back(one);
    }
    out["found"] = found;
    return out;
}

void add_parameters(CLI::App& app, Options& o) {
    ReaderSettings& s = o.settings;
    const auto shader = [](CLI::Option* option) { option->group("Parameters of vx_pc_read"); };
    shader(app.add_option("--radius", s.radius, "search radius in world units")
               ->capture_default_str());
    shader(app.add_option("--max-points", s.max_points, "largest number of points that are blended")
               ->capture_default_str());
    shader(app.add_option_function<std::string>(
        "--labels", [&s](const std::string& text) { s.labels = text; },
        "useLabels on, with this list, as 1,3,5-7"));
    shader(app.add_flag("--facing", s.facing, "facing 1: only points in front of the surface"));
    shader(
        app.add_option("--min-angle", s.min_angle, "smallest angle between the normals, in degrees")
            ->capture_default_str());
    shader(
        app.add_option("--max-angle", s.max_angle, "largest angle between the normals, in degrees")
            ->capture_default_str());
    shader(app.add_option("--falloff", o.falloff, "r,g,b[,a]: exponents of the weights (1,1,1)"));
    shader(app.add_option("--scale", o.scale, "r,g,b[,a]: gains of the blend (1,1,1)"));
    shader(app.add_flag("--use-opacity", s.use_opacity,
                        "multiply the weights by the opacity of the points"));
}

void look(Session& session, const Options& o, const std::string& path, Json& all) {
    std::vector<LookupPoint> queries = queries_of_options(o);
    if (!o.queries.empty()) queries_of_file(session, o, queries);
    const Float3 direction = o.direction.empty() ? Float3{} : vector_of(o.direction, "--direction");
    OpenedCloud opened = session.open(path);
    const Format format = opened.format;
    Notes notes;
    ReaderProbe probe(std::move(opened.cloud), o.settings, notes);
    for (const std::string& note : notes) {
        if (note.starts_with("warning: ")) {
            session.note(note);
        } else {
            session.details(path + ": " + note);
        }
    }
    if (format != Format::mrmap) {
        session.details(path + ": examined as the map that convert would make of it");
    } else if (MakeFrameFileName(path, "mrmap", 1).empty()) {
        session.note("warning: " + path +
                     ": the shader cannot find a file of this name, which needs a frame number, as "
                     "cloud.0001.mrmap");
    }
    Json file;
    file["file"] = path;
    file["format"] = format_name(format);
    file["lookups"] = Json::array();
    if (!session.json) {
        std::printf("%s\n  %s, %lld points\n", path.c_str(),
                    format == Format::mrmap
                        ? "mrmap"
                        : (std::string(format_name(format)) + ", as the map made of it").c_str(),
                    static_cast<long long>(probe.cloud().count));
    }
    for (std::size_t i = 0; i < queries.size(); ++i) {
        const Seen seen = probe.look(queries[i].point, queries[i].normal, direction);
        if (session.json) {
            file["lookups"].push_back(describe(probe, o, queries[i], seen));
        } else {
            if (i > 0) std::printf("\n");
            print(probe, o, queries[i], seen);
        }
    }
    all.push_back(file);
}

} // namespace

Run add_lookup(CLI::App& app) {
    auto o = std::make_shared<Options>();
    app.add_option(
           "files", o->files,
           "map files, or other clouds, which are examined as the map that convert would make; "
           "#### stands for the frame number")
        ->required();
    app.add_option("--frames", o->frames,
                   "frames of a #### name, as 1-100x2 (default: all existing files)");
    const auto where = [](CLI::Option* option) { option->group("Shading points"); };
    where(app.add_option("--point", o->points, "x,y,z: the shading point; repeatable")
              ->allow_extra_args(false));
    where(app.add_option("--normal", o->normals,
                         "x,y,z: unit surface normal; one for all points or "
                         "one each")
              ->allow_extra_args(false));
    where(app.add_option("--points", o->queries,
                         "points and normals from a file in any supported format"));
    where(app.add_option("--direction", o->direction,
                         "x,y,z: direction of the ray; not used by any test of the shader"));
    add_parameters(app, *o);
    return [o](Session& session) {
        if (o->points.empty() && o->queries.empty()) {
            throw UsageError("give --point x,y,z or --points FILE");
        }
        if (o->normals.empty() && !o->points.empty() && o->needs_normal()) {
            throw UsageError("--facing and the angles need --normal x,y,z");
        }
        if (!o->queries.empty() && o->normals.size() > 1) {
            throw UsageError("--points takes one --normal at most");
        }
        if (!o->falloff.empty()) o->settings.falloff = color_of(o->falloff, "--falloff");
        if (!o->scale.empty()) o->settings.scale = color_of(o->scale, "--scale");
        (void)queries_of_options(*o);
        if (!o->direction.empty()) (void)vector_of(o->direction, "--direction");
        Json all = Json::array();
        for (const std::string& pattern : o->files) {
            session.attempt([&] {
                for (const FramedName& file : expand_frames(pattern, o->frames))
                    session.attempt([&] { look(session, *o, file.name, all); });
            });
        }
        if (session.json) {
            std::printf("%s\n", all.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
        }
    };
}

} // namespace vx::cache
