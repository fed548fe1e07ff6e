#include "cache/verbs/sequence.h"

#include "cache/formats/text.h"
#include "cache/verbs/jobs.h"
#include "host/scene/frame_list.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <numeric>
#include <optional>
#include <set>

namespace vx::cache {

namespace fs = std::filesystem;

namespace {

struct FrameField {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t digits = 1; // at least
};

bool is_digit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// The field that begins here.
std::optional<FrameField> field_at(const std::string& s, std::size_t begin) {
    std::size_t end = begin + 1;
    if (s[begin] == '#' || s[begin] == '@') {
        while (end < s.size() && s[end] == s[begin])
            ++end;
        if (s[begin] == '@' && end - begin < 2) return std::nullopt;
        return FrameField{begin, end, end - begin};
    }
    if (s[begin] == '$') {
        if (end >= s.size() || s[end++] != 'F') return std::nullopt;
        if (end >= s.size() || !is_digit(s[end])) return FrameField{begin, end, 1};
        return FrameField{begin, end + 1, static_cast<std::size_t>(s[end] - '0')};
    }
    if (s[begin] != '%') return std::nullopt;
    std::size_t digits = 1;
    if (end + 1 < s.size() && s[end] == '0' && is_digit(s[end + 1])) {
        digits = static_cast<std::size_t>(s[end + 1] - '0');
        end += 2;
    }
    if (end >= s.size() || s[end] != 'd') return std::nullopt;
    return FrameField{begin, end + 1, digits};
}

std::optional<FrameField> find_field(const std::string& pattern) {
    std::optional<FrameField> last;
    for (std::size_t i = 0; i < pattern.size();) {
        const std::optional<FrameField> field = field_at(pattern, i);
        if (field) last = field;
        i = field ? field->end : i + 1;
    }
    return last;
}

// Whether the output exists and none of the inputs was changed after it, as make decides it.
bool is_newer(const Step& step) {
    std::error_code why;
    const auto written = fs::last_write_time(step.output, why);
    if (why) return false;
    return std::all_of(step.inputs.begin(), step.inputs.end(), [&](const std::string& input) {
        const auto changed = fs::last_write_time(input, why);
        return !why && changed <= written;
    });
}

} // namespace

Frames Frames::parse(const std::string& text) {
    Frames frames;
    const std::string why = scene::parse_frame_list(text, frames.numbers);
    if (!why.empty()) throw UsageError("--frames: " + why);
    return frames;
}

bool has_frame_field(const std::string& pattern) {
    return find_field(pattern).has_value();
}

std::string name_of_frame(const std::string& pattern, int frame) {
    const std::optional<FrameField> field = find_field(pattern);
    if (!field) return pattern;
    std::string number = std::to_string(frame);
    if (number.size() < field->digits) {
        number.insert(frame < 0 ? 1 : 0, field->digits - number.size(), '0');
    }
    return pattern.substr(0, field->begin) + number + pattern.substr(field->end);
}

std::vector<int> existing_frames(const std::string& pattern) {
    const fs::path whole(pattern);
    const std::string file = whole.filename().string();
    const std::optional<FrameField> field = find_field(file);
    if (!field) {
        throw UsageError("'" + pattern + "': a frame number can stand in the name of a file only");
    }
    std::vector<int> frames;
    const std::size_t rest = file.size() - field->end;
    std::error_code ignored;
    const fs::path directory = whole.has_parent_path() ? whole.parent_path() : ".";
    for (const auto& entry : fs::directory_iterator(directory, ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.size() <= field->begin + rest) continue;
        const auto number = parse_int(name.substr(field->begin, name.size() - rest - field->begin));
        if (!number || *number < 0 || *number > 1000000000) continue;
        const int frame = static_cast<int>(*number);
        if (name_of_frame(file, frame) == name) frames.push_back(frame);
    }
    std::sort(frames.begin(), frames.end());
    return frames;
}

std::vector<int> missing_frames(const std::vector<int>& frames) {
    int step = 0;
    for (std::size_t i = 1; i < frames.size(); ++i)
        step = std::gcd(step, frames[i] - frames[i - 1]);
    std::vector<int> missing;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        for (int f = frames[i - 1] + step; f < frames[i] && missing.size() < 100000; f += step)
            missing.push_back(f);
    }
    return missing;
}

std::string frame_ranges(const std::vector<int>& frames) {
    std::string text;
    for (std::size_t i = 0; i < frames.size();) {
        std::size_t end = i + 1;
        while (end < frames.size() && frames[end] == frames[end - 1] + 1)
            ++end;
        text += (text.empty() ? "" : ", ") + std::to_string(frames[i]);
        if (end - i > 1) text += "-" + std::to_string(frames[end - 1]);
        i = end;
    }
    return text;
}

void SequenceOptions::add(CLI::App& app, bool writes) {
    const char* const group = "Sequences";
    app.add_option("--frames", frames,
                   "frames of a #### name, as 1-100x2 (default: all existing files); @@@@, %04d "
                   "and $F4 mean the same as ####")
        ->group(group);
    app.add_option("--jobs", jobs, "number of frames that are processed at the same time")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str()
        ->group(group);
    if (!writes) return;
    app.add_flag("--newer", newer,
                 "skip outputs that are not older than their inputs, and replace the others")
        ->group(group);
}

std::vector<Step> SequenceOptions::steps(Session& session, const std::vector<std::string>& inputs,
                                         const std::string& output, bool together) const {
    const bool framed = std::any_of(inputs.begin(), inputs.end(), has_frame_field);
    const bool framed_output = has_frame_field(output);
    if (!output.empty() && framed != framed_output && !(together && framed)) {
        throw UsageError("either both names have #### or neither");
    }
    if (!framed) return {Step{inputs, output, 0, false}};

    std::set<int> wanted;
    std::vector<int> order;
    if (!frames.empty()) {
        order = Frames::parse(frames).numbers;
        wanted.insert(order.begin(), order.end());
    } else {
        for (const std::string& input : inputs) {
            if (!has_frame_field(input)) continue;
            const std::vector<int> found = existing_frames(input);
            if (found.empty()) throw FileError(input, -1, "no file has such a name");
            wanted.insert(found.begin(), found.end());
        }
        order.assign(wanted.begin(), wanted.end());
        for (const int frame : missing_frames(order))
            wanted.insert(frame);
    }
    std::set<int> incomplete;
    for (const std::string& input : inputs) {
        if (!has_frame_field(input)) continue;
        std::vector<int> missing;
        for (const int frame : wanted) {
            std::error_code ignored;
            if (!fs::exists(name_of_frame(input, frame), ignored)) missing.push_back(frame);
        }
        if (missing.empty()) continue;
        incomplete.insert(missing.begin(), missing.end());
        session.begin({input}, "");
        session.record()["missing_frames"] = missing;
        session.error(input + ": " + std::to_string(missing.size()) + " of " +
                      std::to_string(wanted.size()) + " frames missing: " + frame_ranges(missing) +
                      " (" + name_of_frame(input, missing.front()) +
                      (missing.size() > 1 ? " and so on)" : ")"));
        session.end(true);
    }
    std::vector<Step> steps;
    for (const int frame : order) {
        if (incomplete.contains(frame)) continue;
        Step step{{}, name_of_frame(output, frame), frame, true};
        for (const std::string& input : inputs)
            step.inputs.push_back(name_of_frame(input, frame));
        steps.push_back(std::move(step));
    }
    if (!together || framed_output) return steps;
    Step all{{}, output, 0, false};
    for (const std::string& input : inputs) {
        if (!has_frame_field(input)) all.inputs.push_back(input);
        for (const Step& step : steps) {
            if (has_frame_field(input)) all.inputs.push_back(name_of_frame(input, step.frame));
        }
    }
    return {all};
}

void SequenceOptions::run(Session& session, const std::vector<Step>& steps,
                          const std::function<void(const Step&)>& f) const {
    std::vector<Step> stale;
    std::int64_t skipped = 0;
    for (const Step& step : steps) {
        if (newer && !step.output.empty() && is_newer(step)) {
            session.begin(step.inputs, step.output);
            session.record()["skipped"] = true;
            session.details(step.output + ": not older than its input, skipped");
            session.end(false);
            ++skipped;
        } else {
            stale.push_back(step);
        }
    }
    const bool is_sequence = steps.size() > 1 && steps[0].framed;
    const std::int64_t failed = run_jobs(session, stale, is_sequence, jobs, f);
    if (!is_sequence) return;
    std::string text = std::to_string(steps.size()) +
                       " frames: " + std::to_string(std::ssize(stale) - failed) +
                       (steps[0].output.empty() ? " read" : " written");
    if (skipped > 0) text += ", " + std::to_string(skipped) + " skipped";
    if (failed > 0) text += ", " + std::to_string(failed) + " failed";
    if (!steps[0].output.empty() || failed > 0) session.note(text);
}

} // namespace vx::cache
