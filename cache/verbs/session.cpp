#include "cache/verbs/session.h"

#include "cache/cloud/edited.h"
#include "cache/formats/text.h"
#include "host/scene/printable.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include <unistd.h>

namespace vx::cache {

namespace {

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

void Session::say(const char* severity, const std::string& text, bool print) {
    const std::string_view kind(severity);
    if (m_record.is_object()) {
        m_record["messages"].push_back({{"severity", kind}, {"text", text}});
        if (kind == "error") m_record["ok"] = false;
    } else if (kind == "error") {
        // An error that concerns no file in particular has a record of its own.
        begin({}, "");
        m_record["messages"].push_back({{"severity", kind}, {"text", text}});
        end(true);
    }
    const bool joined = m_joins && (kind == "note" || kind == "warning");
    if (!print || m_silent || joined) return;
    const bool marked = kind == "error" || kind == "warning";
    (void)std::fprintf(stderr, "vx_cache: %s%s%s\n", marked ? severity : "", marked ? ": " : "",
                       shown(text).c_str());
}

void Session::error(const std::string& text) {
    failed = true;
    say("error", text, true);
}

void Session::warning(const std::string& text) {
    say("warning", text, !quiet);
}

void Session::note(const std::string& text) {
    say("note", text, !quiet);
}

void Session::details(const std::string& text) {
    say("details", text, verbose);
}

void Session::begin(const std::vector<std::string>& inputs, const std::string& output) {
    m_record = Json::object();
    m_record["verb"] = verb;
    m_record["file"] = inputs.empty() ? "" : inputs[0];
    if (inputs.size() > 1) m_record["inputs"] = inputs;
    if (!output.empty()) m_record["output"] = output;
    m_record["ok"] = true;
    m_record["messages"] = Json::array();
}

void Session::end(bool fails) {
    if (fails) m_record["ok"] = false;
    if (m_record.is_object()) m_report.push_back(std::move(m_record));
    m_record = Json();
}

void Session::replay(Json record) {
    const Json messages = std::move(record["messages"]);
    record["messages"] = Json::array();
    const bool ok = record["ok"] == true;
    m_record = std::move(record);
    for (const Json& message : messages) {
        const std::string severity = message["severity"];
        const std::string text = message["text"];
        const bool wanted = severity == "error" || (severity == "details" ? verbose : !quiet);
        say(severity.c_str(), text, wanted);
    }
    failed = failed || !ok;
}

void Session::print_report() const {
    if (!json) return;
    std::printf("%s\n", m_report.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
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

OpenedCloud Session::open(const std::string& path) {
    Findings findings;
    OpenedCloud opened = open_cloud(path, findings, open_options);
    for (const Finding& f : findings) {
        const std::string where = f.offset < 0 ? "" : "byte " + std::to_string(f.offset) + ": ";
        const std::string text = opened.cloud->file_name + ": " + where + f.text;
        if (f.severity == Severity::note) {
            details(text);
        } else {
            warning(text);
        }
    }
    for (const std::string& renamed : rename_aliases(*opened.cloud))
        note(opened.cloud->file_name + ": " + renamed);
    return opened;
}

std::function<void(std::int64_t, std::int64_t)> Session::progress(std::string what) const {
    if (quiet || m_silent || ::isatty(STDERR_FILENO) == 0) return {};
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
