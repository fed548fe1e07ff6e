#include "cache/verbs/jobs.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vx::cache {

namespace {

// One note for all frames of a sequence.
class JoinedNotes {
  public:
    void add(const Step& step, const Json& record) {
        for (const Json& message : record["messages"]) {
            const std::string severity = message["severity"];
            if (severity != "note" && severity != "warning") continue;
            std::string text = message["text"];
            // The name of the frame is not part of what is the same in all frames.
            for (const std::string& name : step.inputs)
                remove_name(text, name);
            remove_name(text, step.output);
            auto [note, is_new] = m_notes.try_emplace(pattern_of(text), m_order.size());
            if (is_new) m_order.push_back({severity, text, 0});
            ++m_order[note->second].frames;
        }
    }
    void print(Session& session) const {
        for (const Note& note : m_order) {
            const std::string text = note.text + " (" + std::to_string(note.frames) +
                                     (note.frames == 1 ? " frame)" : " frames)");
            note.severity == "warning" ? session.warning(text) : session.note(text);
        }
    }

  private:
    struct Note {
        std::string severity;
        std::string text; // of the first frame
        std::int64_t frames = 0;
    };
    static void remove_name(std::string& text, const std::string& name) {
        if (!name.empty() && text.starts_with(name + ": ")) text.erase(0, name.size() + 2);
    }
    // The text with each number as "0", except in quotes.
    static std::string pattern_of(const std::string& text) {
        std::string pattern;
        bool quoted = false;
        for (const char c : text) {
            if (c == '\'') quoted = !quoted;
            const bool digit = std::isdigit(static_cast<unsigned char>(c)) != 0 && !quoted;
            if (!digit) pattern += c;
            if (digit && !pattern.ends_with('0')) pattern += '0';
        }
        return pattern;
    }

    std::vector<Note> m_order;
    std::map<std::string, std::size_t> m_notes;
};

struct CloseFile {
    void operator()(std::FILE* f) const { (void)std::fclose(f); }
};
using Stream = std::unique_ptr<std::FILE, CloseFile>;

std::string contents(std::FILE* file) {
    std::string text;
    char buffer[65536];
    std::rewind(file);
    for (std::size_t n = 0; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
        text.append(buffer, n);
    return text;
}

// A step in a process of its own.
struct Job {
    Stream printed; // what it writes to the standard output
    Stream record;
    ::pid_t process = -1;
    int status = 0;
};

Stream temporary_stream() {
    Stream file(std::tmpfile());
    if (!file) throw FileError("temporary file", -1, std::strerror(errno));
    return file;
}

Job start(Session& session, const Step& step, const std::function<void(const Step&)>& f) {
    Job job{temporary_stream(), temporary_stream()};
    (void)std::fflush(stdout);
    const ::pid_t parent = ::getpid();
    job.process = ::fork();
    if (job.process < 0) throw FileError("fork", -1, std::strerror(errno));
    if (job.process > 0) return job;
    // The child ends with its parent.
    (void)::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(1);
    int status = 0;
    try {
        (void)::dup2(::fileno(job.printed.get()), STDOUT_FILENO);
        session.silence();
        session.begin(step.inputs, step.output);
        session.attempt([&] { f(step); });
        const std::string text =
            session.record().dump(-1, ' ', false, Json::error_handler_t::replace);
        const bool written =
            std::fwrite(text.data(), 1, text.size(), job.record.get()) == text.size();
        if (!written || std::fflush(job.record.get()) != 0 || std::fflush(stdout) != 0) status = 1;
    } catch (const UsageError& why) {
        (void)std::fputs(why.what(), job.record.get());
        (void)std::fflush(job.record.get());
        status = 2;
    } catch (...) {
        status = 1;
    }
    ::_exit(status);
}

// Takes over what a finished job has printed and recorded.
void collect(Session& session, const Step& step, Job& job) {
    const std::string text = contents(job.record.get());
    if (WIFEXITED(job.status) && WEXITSTATUS(job.status) == 2) throw UsageError(text);
    const std::string printed = contents(job.printed.get());
    (void)std::fwrite(printed.data(), 1, printed.size(), stdout);
    session.begin(step.inputs, step.output);
    Json record = Json::parse(text, nullptr, false);
    if (job.status != 0 || record.is_discarded()) {
        session.error((step.output.empty() ? step.inputs[0] : step.output) +
                      (WIFSIGNALED(job.status)
                           ? ": ended by signal " + std::to_string(WTERMSIG(job.status))
                           : ": the process of this frame failed"));
        return;
    }
    session.replay(std::move(record));
}

} // namespace

std::int64_t run_jobs(Session& session, const std::vector<Step>& steps, bool is_sequence, int jobs,
                      const std::function<void(const Step&)>& f) {
    JoinedNotes notes;
    std::int64_t failed = 0;
    const auto finish = [&](const Step& step) {
        if (session.record()["ok"] == false) ++failed;
        if (is_sequence) notes.add(step, session.record());
        session.end(false);
    };
    session.join_notes(is_sequence);
    if (jobs <= 1 || steps.size() <= 1) {
        for (const Step& step : steps) {
            session.begin(step.inputs, step.output);
            session.attempt([&] { f(step); });
            finish(step);
        }
    } else {
        std::vector<Job> all(steps.size());
        std::size_t started = 0;
        for (std::size_t i = 0; i < steps.size(); ++i) {
            for (; started < steps.size() && started < i + static_cast<std::size_t>(jobs);
                 ++started)
                all[started] = start(session, steps[started], f);
            while (::waitpid(all[i].process, &all[i].status, 0) < 0 && errno == EINTR) {
            }
            collect(session, steps[i], all[i]);
            all[i] = Job{};
            finish(steps[i]);
        }
    }
    session.join_notes(false);
    notes.print(session);
    return failed;
}

} // namespace vx::cache
