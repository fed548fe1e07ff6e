// Crashes of shaders, shader libraries and texture readers: a message that names what crashed, and
// an exit status of their own.
#pragma once

#include <string>

namespace vx::shading {

inline constexpr int kCrashStatus = 5;

// From now on, SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT on a thread that runs a shader or an
// Activity write a message to standard error, call `clean_up`, and end the process with
// kCrashStatus. On other threads they have their default actions. `clean_up` must be
// async-signal-safe. Does nothing under sanitizers, which have handlers of their own.
void report_crashes(void (*clean_up)());

// Gives the calling thread a stack for the handler, so that stack overflows are reported as well.
// Does nothing before report_crashes().
void prepare_thread_for_crashes() noexcept;

// What the thread does besides calls of shader instances, for the message: "shader library NAME".
// The texts must outlive the object.
class Activity {
  public:
    Activity(const char* what, const std::string& name) noexcept;
    ~Activity();
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;

    const char* const what;
    const std::string& name;
    const Activity* const outer;
};

} // namespace vx::shading
