#include "cache/verbs/session.h"

#include "cache/formats/text.h"
#include "host/scene/frame_list.h"
#include "host/scene/printable.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>

#include <unistd.h>

namespace vx::cache {

namespace {

void say(const char* kind, const std::string& text) {
    (void)std::fprintf(stderr, "vx_cache: %s%s\n", kind, shown(text).c_str());
}

std::string seconds(double s) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.1f s", s);
    return text;
}

} // namespace

std::string shown(std::string_view text) {
    std::string line;
    for (const char c : scene::printable(text)) {
        if (c == '\n' || c == '\t') {
            line += c == '\n' ? "\\x0a" : "\\x09";
        } else {
            line += c;
        }
    }
    return line;
}

void Session::error(const std::string& text) {
    failed = true;
    say("error: ", text);
}

void Session::note(const std::string& text) const {
    if (!quiet) say("", text);
}

void Session::details(const std::string& text) const {
    if (verbose) say("", text);
}

void Session::attempt(const std::function<void()>& f) {
    try {
        f();
    } catch (const FileError& why) {
        error(why);
    } catch (const std::bad_alloc&) {
        error("not enough memory");
    }
}

OpenedCloud Session::open(const std::string& path) const {
    Findings findings;
    OpenedCloud opened = open_cloud(path, findings, open_options);
    for (const Finding& f : findings) {
        const std::string where = f.offset < 0 ? "" : "byte " + std::to_string(f.offset) + ": ";
        const std::string text = opened.cloud->file_name + ": " + where + f.text;
        if (f.severity == Severity::note) {
            details(text);
        } else {
            note("warning: " + text);
        }
    }
    return opened;
}

std::function<void(std::int64_t, std::int64_t)> Session::progress(std::string what) const {
    if (quiet || ::isatty(STDERR_FILENO) == 0) return {};
    using Clock = std::chrono::steady_clock;
    return [what = std::move(what), start = Clock::now(),
            last = Clock::time_point{}](std::int64_t done, std::int64_t total) mutable {
        const Clock::time_point now = Clock::now();
        const bool end = done >= total;
        if (!end && now - last < std::chrono::milliseconds(200)) return;
        const bool drawn = last != Clock::time_point{};
        last = now;
        const double used = std::chrono::duration<double>(now - start).count();
        if (end) {
            if (drawn) (void)std::fprintf(stderr, "\r\033[K");
            return;
        }
        const double rate = static_cast<double>(done) / std::max(used, 1e-3);
        (void)std::fprintf(stderr, "\r\033[K%s  %3.0f %%  %.2f million/s  %s left",
                           shown(what).c_str(),
                           100.0 * static_cast<double>(done) / static_cast<double>(total),
                           rate * 1e-6, seconds(static_cast<double>(total - done) / rate).c_str());
    };
}

Frames Frames::parse(const std::string& text) {
    Frames frames;
    const std::string why = scene::parse_frame_list(text, frames.numbers);
    if (!why.empty()) throw UsageError("--frames: " + why);
    return frames;
}

bool has_frame_field(const std::string& pattern) {
    return pattern.find('#') != std::string::npos;
}

std::string name_of_frame(const std::string& pattern, int frame) {
    const std::size_t begin = pattern.rfind('#');
    std::size_t first = begin;
    while (first > 0 && pattern[first - 1] == '#')
        --first;
    const std::size_t width = begin + 1 - first;
    std::string number = std::to_string(frame);
    if (number.size() < width) number.insert(0, width - number.size(), '0');
    return pattern.substr(0, first) + number + pattern.substr(begin + 1);
}

std::vector<FramedName> expand_frames(const std::string& pattern, const std::string& frames) {
    if (!has_frame_field(pattern)) return {{pattern, 0, false}};
    std::vector<FramedName> names;
    if (!frames.empty()) {
        for (const int f : Frames::parse(frames).numbers)
            names.push_back({name_of_frame(pattern, f), f, true});
        return names;
    }
    const std::filesystem::path whole(pattern);
    const std::string file = whole.filename().string();
    const std::size_t end = file.rfind('#') + 1;
    std::size_t begin = file.find('#');
    if (end == 0)
        throw UsageError("'" + pattern + "': '#' stands for a frame in the file's name only");
    while (file.find_first_not_of('#', begin) < end)
        begin = file.find('#', file.find_first_not_of('#', begin));
    std::error_code ignored;
    const std::filesystem::path folder = whole.has_parent_path() ? whole.parent_path() : ".";
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        const std::string name = entry.path().filename().string();
        const std::size_t rest = file.size() - end;
        if (name.size() <= begin + rest || name.compare(0, begin, file, 0, begin) != 0 ||
            name.compare(name.size() - rest, rest, file, end) != 0) {
            continue;
        }
        const auto frame = parse_int(name.substr(begin, name.size() - rest - begin));
        if (!frame || *frame < 0 || *frame > 1000000000) continue;
        const int f = static_cast<int>(*frame);
        if (name_of_frame(file, f) != name) continue;
        names.push_back({(whole.parent_path() / name).string(), f, true});
    }
    std::sort(names.begin(), names.end(), [](auto& a, auto& b) { return a.frame < b.frame; });
    if (names.empty()) throw FileError(pattern, -1, "no file has such a name");
    return names;
}

std::vector<double> parse_numbers(const std::string& text, std::size_t count,
                                  const std::string& option) {
    std::vector<double> numbers;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        const auto value = parse_double(std::string_view(text).substr(at, end - at));
        if (!value || *value != *value)
            throw UsageError(option + ": '" + text + "' is not a list of numbers");
        numbers.push_back(*value);
        at = end + 1;
    }
    if (count != 0 && numbers.size() != count) {
        throw UsageError(option + ": needs " + std::to_string(count) + " numbers, '" + text +
                         "' has " + std::to_string(numbers.size()));
    }
    return numbers;
}

} // namespace vx::cache
