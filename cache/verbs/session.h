// Messages, progress and names of frames, for all verbs.
#pragma once

#include "cache/formats/format.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

// A text from a file on one line of a terminal: control characters, line ends and bytes that are
// not UTF-8 as "\xNN".
std::string shown(std::string_view text);

// Verbosity of a run, and whether anything has failed so far.
class Session {
  public:
    bool quiet = false;
    bool verbose = false;
    bool json = false;
    bool failed = false;
    OpenOptions open_options;

    // Prints "vx_cache: error: ..." to standard error; the exit status will be 1.
    void error(const std::string& text);
    void error(const FileError& why) { error(why.text()); }
    void note(const std::string& text) const;    // unless quiet
    void details(const std::string& text) const; // only when verbose
    // Runs f for one file. Reports exceptions, so that the caller can continue with the next file.
    void attempt(const std::function<void()>& f);
    // Opens a cloud and prints the findings.
    OpenedCloud open(const std::string& path) const;
    // Returns a progress display on a terminal, an empty function elsewhere.
    std::function<void(std::int64_t, std::int64_t)> progress(std::string what) const;
};

struct Frames {
    std::vector<int> numbers;
    // Parses "1-100x2,200". Throws UsageError.
    static Frames parse(const std::string& text);
};

// Expands "shot.####.pdc" to a name per frame, padded to the number of #. Without frames, returns
// the existing files, in order; throws FileError if there are none. Names without "#" are returned
// unchanged.
struct FramedName {
    std::string name;
    int frame = 0;
    bool framed = false;
};
std::vector<FramedName> expand_frames(const std::string& pattern, const std::string& frames);
bool has_frame_field(const std::string& pattern);
std::string name_of_frame(const std::string& pattern, int frame);

// Parses "1,2,3". Throws UsageError unless there are `count` numbers (0: any number).
std::vector<double> parse_numbers(const std::string& text, std::size_t count,
                                  const std::string& option);

} // namespace vx::cache
