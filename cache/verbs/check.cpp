#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/edited.h"
#include "cache/verbs/sequence.h"
#include "cache/verbs/verbs.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>

namespace vx::cache {

namespace {

// Counts one kind of problem and keeps the position of the first.
class OddityCount {
  public:
    OddityCount(Severity severity, std::string what)
        : m_severity(severity), m_what(std::move(what)) {}
    void add(const Cloud& cloud, std::size_t attribute, std::int64_t point) {
        if (m_count++ > 0) return;
        m_offset = cloud.byte_offset(attribute, point);
        m_point = point;
    }
    void report(Findings& findings) const {
        if (m_count == 0) return;
        findings.push_back({m_severity, m_offset,
                            std::to_string(m_count) + " " + m_what + ", the first is point " +
                                std::to_string(m_point)});
    }

  private:
    Severity m_severity;
    std::string m_what;
    std::int64_t m_count = 0;
    std::int64_t m_offset = -1;
    std::int64_t m_point = 0;
};

void check_values(Cloud& cloud, std::size_t index, Findings& findings) {
    const Attribute& a = cloud.attributes[index];
    const std::string name = "'" + a.name + "'";
    if (is_integer(a.type)) return;
    const bool is_position = a.name == "position";
    OddityCount not_finite(is_position ? Severity::error : Severity::warning,
                           "values of " + name + " are not finite");
    OddityCount length(Severity::warning, "values of " + name + " are not of length 1");
    OddityCount range(Severity::warning, "values of " + name + " are outside 0..1");
    OddityCount negative(Severity::warning, "values of " + name + " are not above 0");
    OddityCount fraction(Severity::warning, "values of " + name + " are not whole numbers");
    const bool whole = a.name == "id" || a.name == "tag";
    TypedReader<double> reader(cloud, index);
    const auto width = static_cast<std::size_t>(a.width);
    for_blocks(a.single ? 1 : cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto values = reader.read(first, n);
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            const std::int64_t point = first + static_cast<std::int64_t>(i);
            double square = 0;
            bool finite = true;
            for (std::size_t k = 0; k < width; ++k) {
                const double v = values[i * width + k];
                finite = finite && std::isfinite(v);
                square += v * v;
            }
            if (!finite) {
                not_finite.add(cloud, index, point);
                continue;
            }
            const double v = values[i * width];
            if (a.name == "normalPP" && std::abs(std::sqrt(square) - 1) > 1e-3) {
                length.add(cloud, index, point);
            }
            if (a.name == "opacityPP" && (v < 0 || v > 1)) range.add(cloud, index, point);
            if (a.name == "radius" && v <= 0) negative.add(cloud, index, point);
            if (whole && v != std::trunc(v)) fraction.add(cloud, index, point);
        }
    });
    for (const OddityCount* tally : {&not_finite, &length, &range, &negative, &fraction})
        tally->report(findings);
}

// Ids of a cache are nearly always 0 to n-1, so one bit per id finds the duplicates.
void check_ids(Cloud& cloud, std::size_t index, Findings& findings) {
    if (cloud.attributes[index].single || cloud.attributes[index].width != 1) return;
    TypedReader<std::int64_t> reader(cloud, index);
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    std::int64_t most = std::numeric_limits<std::int64_t>::min();
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        for (const std::int64_t id : reader.read(first, n)) {
            least = std::min(least, id);
            most = std::max(most, id);
        }
    });
    if (cloud.count < 2) return;
    const auto span = static_cast<std::uint64_t>(most) - static_cast<std::uint64_t>(least);
    if (span > static_cast<std::uint64_t>(cloud.count) * 64 + 1024) {
        findings.push_back(
            {Severity::note, -1, "the ids are too far apart to be searched for duplicates"});
        return;
    }
    std::vector<bool> seen(span + 1);
    OddityCount twins(Severity::warning, "values of 'id' occur more than once");
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        const auto ids = reader.read(first, n);
        for (std::size_t i = 0; i < ids.size(); ++i) {
            const auto slot =
                static_cast<std::uint64_t>(ids[i]) - static_cast<std::uint64_t>(least);
            if (seen[slot]) twins.add(cloud, index, first + static_cast<std::int64_t>(i));
            seen[slot] = true;
        }
    });
    twins.report(findings);
}

Findings check_file(const std::string& path, const OpenOptions& options, std::string& format) {
    Findings findings;
    try {
        const OpenedCloud opened = open_cloud(path, findings, options);
        Cloud& cloud = *opened.cloud;
        for (const std::string& renamed : rename_aliases(cloud))
            findings.push_back({Severity::note, -1, renamed});
        format = format_name(opened.format);
        if (cloud.count == 0) findings.push_back({Severity::warning, -1, "there are no points"});
        const int position = cloud.find("position");
        if (position < 0) findings.push_back({Severity::error, -1, "there is no 'position'"});
        if (position >= 0 && cloud.attributes[static_cast<std::size_t>(position)].single &&
            cloud.count > 1) {
            findings.push_back({Severity::warning, -1, "all points are at one position"});
        }
        if (cloud.find("rgbPP") < 0) {
            findings.push_back(
                {Severity::warning, -1, "there is no 'rgbPP': the reader shader needs it"});
        }
        for (const auto& [offset, text] : cloud.verify())
            findings.push_back({Severity::error, offset, text});
        for (std::size_t i = 0; i < cloud.attributes.size(); ++i)
            check_values(cloud, i, findings);
        if (const int id = cloud.find("id"); id >= 0) {
            check_ids(cloud, static_cast<std::size_t>(id), findings);
        }
    } catch (const FileError& why) {
        findings.push_back({Severity::error, why.offset, why.what()});
    }
    return findings;
}

} // namespace

Run add_check(CLI::App& app) {
    struct Options {
        std::vector<std::string> files;
        SequenceOptions sequence;
        bool strict = false;
    };
    auto o = std::make_shared<Options>();
    app.add_option("files", o->files,
                   "files to check; #### stands for the frame number, - for standard input")
        ->required();
    o->sequence.add(app, false);
    app.add_flag("--strict", o->strict, "exit with status 1 for warnings, too");
    return [o](Session& session) {
        const auto check = [&](const std::string& path) {
            std::string format = "unknown";
            const Findings findings = check_file(path, session.open_options, format);
            Json list = Json::array();
            bool bad = false;
            for (const Finding& f : findings) {
                bad = bad || f.severity == Severity::error ||
                      (o->strict && f.severity == Severity::warning);
                const std::string word(severity_name(f.severity));
                if (session.json) {
                    Json one{{"severity", word}, {"text", f.text}};
                    one["offset"] = f.offset < 0 ? Json(nullptr) : Json(f.offset);
                    list.push_back(one);
                } else if (f.severity != Severity::note || session.verbose) {
                    const std::string where =
                        f.offset < 0 ? "" : "byte " + std::to_string(f.offset) + ": ";
                    std::printf("%s: %s: %s%s\n", shown(path).c_str(), word.c_str(), where.c_str(),
                                shown(f.text).c_str());
                }
            }
            session.failed = session.failed || bad;
            session.record()["format"] = format;
            session.record()["findings"] = std::move(list);
            if (bad) session.record()["ok"] = false;
            if (!session.json && !bad && !session.quiet) {
                std::printf("%s: ok (%s)\n", shown(path).c_str(), format.c_str());
            }
        };
        for (const std::string& pattern : o->files) {
            session.attempt([&] {
                const std::vector<Step> steps = o->sequence.steps(session, {pattern});
                o->sequence.run(session, steps, [&](const Step& step) { check(step.inputs[0]); });
            });
        }
    };
}

} // namespace vx::cache
