// What all verbs share: messages, progress, the names of frames.
#pragma once

#include "cache/formats/format.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace vx::cache {

// Verbosity of a run, and whether anything has failed so far.
class Session {
  public:
    bool quiet = false;
    bool verbose = false;
    bool json = false;
    bool failed = false;
    OpenOptions open_options;

    // "vx_cache: error: ..." on the standard error; the run ends with status 1.
    void error(const std::string& text);
    void error(const FileError& why) { error(why.text()); }
    void note(const std::string& text) const;    // unless quiet
    void details(const std::string& text) const; // only when verbose
    // Runs f for one file. Reports exceptions, so that the caller can go on with the next file.
    void attempt(const std::function<void()>& f);
    // Opens a cloud and prints what was found in it.
    OpenedCloud open(const std::string& path) const;
    // Returns a progress display on a terminal, an empty function elsewhere.
    std::function<void(std::int64_t, std::int64_t)> progress(std::string what) const;
};

struct Frames {
    std::vector<int> numbers;
    // "1-100x2,200": UsageError for anything else.
    static Frames parse(const std::string& text);
};

// "shot.####.pdc" with frames: a name per frame, padded to the number of #. Without frames: the
// files that exist, in order; FileError if there are none. A name without "#" is returned as it is.
struct FramedName {
    std::string name;
    int frame = 0;
    bool framed = false;
};
std::vector<FramedName> expand_frames(const std::string& pattern, const std::string& frames);
bool has_frame_field(const std::string& pattern);
std::string name_of_frame(const std::string& pattern, int frame);

// "1,2,3" as numbers; UsageError unless there are `count` of them (0: any number).
std::vector<double> parse_numbers(const std::string& text, std::size_t count,
                                  const std::string& option);

} // namespace vx::cache
