// view: pictures of clouds.
#include "cache/cloud/edited.h"
#include "cache/picture/legend.h"
#include "cache/verbs/sequence.h"
#include "cache/verbs/verbs.h"
#include "cache/verbs/view_camera.h"
#include "cache/verbs/view_options.h"
#include "cache/verbs/view_page.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace vx::cache {

namespace {

// A cloud with the name of its picture.
struct Shot {
    std::string cloud;
    std::string picture;
};

std::vector<Shot> shots_of(Session& session, const ViewOptions& o) {
    std::vector<Shot> shots;
    SequenceOptions sequence;
    sequence.frames = o.frames;
    for (const Step& step : sequence.steps(session, {o.input})) {
        shots.push_back(
            {step.inputs[0], step.framed ? name_of_frame(o.output, step.frame) : o.output});
    }
    return shots;
}

// Checks the output before anything is read; it is checked again when it is written.
void refuse_existing(const std::string& name, bool force) {
    std::error_code ignored;
    if (!force && std::filesystem::is_regular_file(name, ignored)) {
        throw FileError(name, -1, "the file exists; --force replaces it");
    }
}

void write_picture(const Picture& picture, const ViewOptions& o, const std::string& name) {
    OutputFile out(name, o.force);
    const std::vector<std::byte> bytes = encode_image(picture, o.format(), o.raw, name);
    out.write(bytes.data(), bytes.size());
    out.commit();
}

std::string text_of(const Vec& v) {
    char text[120];
    (void)std::snprintf(text, sizeof text, "%.6g,%.6g,%.6g", v.x, v.y, v.z);
    return text;
}

std::string number_of(double v) {
    char text[40];
    (void)std::snprintf(text, sizeof text, "%.4g", v);
    return text;
}

std::string points_text(std::int64_t n) {
    return std::to_string(n) + (n == 1 ? " point" : " points");
}

class ViewRun {
  public:
    ViewRun(Session& session, const ViewOptions& options)
        : m_session(session), m_options(options) {}

    void pictures() {
        const std::vector<Shot> shots = shots_of(m_session, m_options);
        if (m_options.turntable == 0) {
            for (const Shot& shot : shots)
                refuse_existing(shot.picture, m_options.force);
        }
        std::vector<Shot> seen;
        std::vector<Json> records; // of these
        for (const Shot& shot : shots) {
            m_session.begin({shot.cloud}, shot.picture);
            bool usable = false;
            m_session.attempt([&] {
                survey(shot.cloud);
                usable = true;
            });
            if (usable) {
                seen.push_back(shot);
                records.push_back(std::exchange(m_session.record(), Json()));
            } else {
                m_session.end(true);
            }
        }
        if (seen.empty()) return;
        if (m_survey.points > 0 && m_survey.radius == 0 && !m_options.style.radius) {
            m_session.note(
                "all radii are 0, so points are drawn as dots; --radius makes them larger");
        }
        const double across = length(m_survey.high - m_survey.low);
        if (m_survey.points > 100 && m_survey.radius > across / 2) {
            m_session.note("radii up to " + number_of(m_survey.radius) + " in a cloud that is " +
                           number_of(across) +
                           " across hide most of it and are slow; "
                           "--radius or --radius-scale makes them smaller");
        }
        if (m_survey.points == 0) {
            throw FileError(m_options.input, -1,
                            m_counted == 0 ? "nothing to draw: the cloud has no points"
                            : m_options.style.labels
                                ? "nothing to draw: no point has one of the labels"
                                : "nothing to draw: no point has a finite position");
        }
        if (m_options.range) {
            m_survey.scale.low = m_options.range->first;
            m_survey.scale.high = m_options.range->second;
        }
        place(seen);
        for (std::size_t i = 0; i < seen.size(); ++i) {
            m_session.record() = std::move(records[i]);
            m_session.attempt([&] { draw(seen[i]); });
            m_session.end(false);
        }
    }

  private:
    // An open cloud at a stable address.
    struct Opened {
        OpenedCloud opened;
        std::unique_ptr<ViewCloud> points;
    };

    // Clouds of a sequence are opened whenever they are needed; a single cloud stays open, because
    // it may come from a pipe.
    ViewCloud& open(const std::string& name, bool first) {
        if (m_current.points && name == m_current_name) return *m_current.points;
        m_current.points.reset();
        Findings ignored; // reported the first time
        m_current.opened =
            first ? m_session.open(name) : open_cloud(name, ignored, m_session.open_options);
        (void)rename_aliases(*m_current.opened.cloud);
        const auto known = m_radii.find(name);
        m_current.points = std::make_unique<ViewCloud>(
            *m_current.opened.cloud, m_options.style,
            known == m_radii.end() ? std::nullopt : std::optional(known->second));
        m_current_name = name;
        m_radii[name] = m_current.points->fixed_radius();
        return *m_current.points;
    }

    void survey(const std::string& name) {
        ViewCloud& cloud = open(name, true);
        const Cloud& file = *m_current.opened.cloud;
        m_coloring = cloud.coloring();
        if (m_options.range && m_coloring.kind != ColorKind::scalar) {
            throw UsageError(
                "--range applies to numbers; the points are colored by " +
                (m_coloring.title.empty() ? "no attribute" : "'" + m_coloring.title + "'"));
        }
        m_counted += file.count;
        m_survey.add(cloud);
        if (cloud.without_position > 0) {
            m_session.note(file.file_name + ": " + points_text(cloud.without_position) +
                           " left out: the position is not finite");
        }
        if (cloud.without_value > 0) {
            m_session.note(file.file_name + ": " + points_text(cloud.without_value) +
                           " drawn in gray: '" + m_coloring.title + "' is not finite");
        }
    }

    void place(const std::vector<Shot>& shots) {
        const CameraChoice& c = m_options.camera;
        m_legend = m_options.legend ? make_legend(m_coloring, m_survey.scale) : Legend{};
        const int aside =
            legend_width(m_legend, c.width > 0 ? c.width : 1280, c.height > 0 ? c.height : 960);
        m_placed = place_camera(m_options, m_survey, aside, [&](const auto& f) {
            for (const Shot& shot : shots) {
                open(shot.cloud, false).each([&](const ViewCloud::Point& p, ColorReader&) {
                    f(p.position, p.radius);
                });
            }
        });
        const Matrix& m = m_placed.camera.to_camera;
        const Vec t = m.translation();
        const Vec eye(-t.dot(row_of(m, 0)), -t.dot(row_of(m, 1)), -t.dot(row_of(m, 2)));
        m_session.details("the eye is at " + text_of(eye) + ", the center of the cloud at " +
                          text_of((m_survey.low + m_survey.high) * 0.5));
        if (m_options.legend && m_legend.kind != Legend::Kind::none &&
            legend_width(m_legend, m_placed.camera.width, m_placed.camera.height) == 0) {
            m_session.note("the picture is too small for a legend");
        }
    }

    void draw(const Shot& shot) {
        ViewCloud& cloud = open(shot.cloud, false);
        if (m_options.turntable == 0) {
            finish(draw_cloud(cloud, m_options.style, m_placed.camera, m_survey.scale,
                              m_session.progress(shot.picture)),
                   shot.picture);
            return;
        }
        const auto progress = m_session.progress(m_options.output);
        if (m_options.turntable > 1) cloud.keep(m_survey.scale);
        for (int i = 0; i < m_options.turntable; ++i) {
            m_session.attempt([&] {
                const std::string name = name_of_frame(m_options.output, i + 1);
                refuse_existing(name, m_options.force);
                const Camera camera =
                    turned(m_placed, m_options.camera.up, 360.0 * i / m_options.turntable);
                finish(draw_cloud(cloud, m_options.style, camera, m_survey.scale, {}), name);
            });
            if (progress) progress(i + 1, m_options.turntable);
        }
    }

    void finish(DrawnCloud drawn, const std::string& name) {
        Picture& picture = drawn.picture;
        if (drawn.points == 0) m_session.note(name + ": no point lies within the picture");
        draw_legend(picture, m_legend, m_options.style.background);
        write_picture(picture, m_options, name);
        m_session.record()["width"] = picture.width;
        m_session.record()["height"] = picture.height;
        m_session.record()["points"] = drawn.points;
        m_session.details(name + ": " + std::to_string(picture.width) + " x " +
                          std::to_string(picture.height) + " pixels");
    }

    Session& m_session;
    const ViewOptions& m_options;
    SequenceSummary m_survey;
    Coloring m_coloring;
    Legend m_legend;
    PlacedCamera m_placed;
    std::int64_t m_counted = 0;
    Opened m_current;
    std::string m_current_name;
    std::map<std::string, double> m_radii; // by the cloud's name
};

} // namespace

Run add_view(CLI::App& app) {
    auto o = std::make_shared<ViewOptions>();
    o->add(app);
    return [o](Session& session) {
        o->settle();
        if (!o->output.empty()) session.attempt([&] { ViewRun(session, *o).pictures(); });
        if (!o->html.empty()) write_pages(session, *o);
    };
}

} // namespace vx::cache
