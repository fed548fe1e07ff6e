#include "cache/cloud/attribute_reader.h"
#include "cache/verbs/lookup_report.h"
#include "cache/verbs/verbs.h"

#include "src/names/frame_names.h"

#include <cstdio>
#include <memory>

namespace vx::cache {

namespace {

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

std::vector<LookupPoint> queries_of_options(const LookupOptions& o) {
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

void queries_of_file(Session& session, const LookupOptions& o, std::vector<LookupPoint>& queries) {
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

void add_parameters(CLI::App& app, LookupOptions& o) {
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

void look(Session& session, const LookupOptions& o, const std::string& path) {
    std::vector<LookupPoint> queries = queries_of_options(o);
    if (!o.queries.empty()) queries_of_file(session, o, queries);
    const Float3 direction = o.direction.empty() ? Float3{} : vector_of(o.direction, "--direction");
    OpenedCloud opened = session.open(path);
    const Format format = opened.format;
    Notes notes;
    ReaderProbe probe(std::move(opened.cloud), o.settings, notes);
    for (const std::string& note : notes) {
        if (note.starts_with("warning: ")) {
            session.warning(note.substr(std::string_view("warning: ").size()));
        } else {
            session.details(path + ": " + note);
        }
    }
    if (format != Format::mrmap) {
        session.details(path + ": examined as the map that convert would make of it");
    } else if (MakeFrameFileName(path, "mrmap", 1).empty()) {
        session.warning(
            path + ": the shader cannot find a file of this name, which needs a frame number, as "
                   "cloud.0001.mrmap");
    }
    Json& file = session.record();
    file["format"] = format_name(format);
    file["lookups"] = Json::array();
    if (!session.json) {
        std::printf("%s\n  %s, %lld points\n", shown(path).c_str(),
                    format == Format::mrmap
                        ? "mrmap"
                        : (std::string(format_name(format)) + ", as the map made of it").c_str(),
                    static_cast<long long>(probe.cloud().count));
    }
    for (std::size_t i = 0; i < queries.size(); ++i) {
        const Seen seen = probe.look(queries[i].point, queries[i].normal, direction);
        if (session.json) {
            file["lookups"].push_back(describe_lookup(probe, o, queries[i], seen));
        } else {
            if (i > 0) std::printf("\n");
            print_lookup(probe, o, queries[i], seen);
        }
    }
}

} // namespace

Run add_lookup(CLI::App& app) {
    auto o = std::make_shared<LookupOptions>();
    app.add_option(
           "files", o->files,
           "map files, or other clouds, which are examined as the map that convert would make; "
           "#### stands for the frame number")
        ->required();
    o->sequence.add(app, false);
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
        for (const std::string& pattern : o->files) {
            session.attempt([&] {
                const std::vector<Step> steps = o->sequence.steps(session, {pattern});
                o->sequence.run(session, steps,
                                [&](const Step& step) { look(session, *o, step.inputs[0]); });
            });
        }
    };
}

} // namespace vx::cache
