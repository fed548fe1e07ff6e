// Messages, progress and the report, for all verbs.
#pragma once

#include "cache/formats/format.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

// A text from a file on one line of a terminal: control characters, line ends and bytes that are
// not UTF-8 as "\xNN".
std::string shown(std::string_view text);

using Json = nlohmann::ordered_json;

// Verbosity of a run, its report, and whether anything has failed so far.
//
// The report has a record for each file, pair of files or frame; docs/vx_cache.md describes it.
// Messages become part of the record that is open.
class Session {
  public:
    bool quiet = false;
    bool verbose = false;
    bool json = false; // print the report instead of text
    bool failed = false;
    std::string verb;
    OpenOptions open_options;

    // Prints "vx_cache: error: ..." to standard error; the exit status will be 1.
    void error(const std::string& text);
    void error(const FileError& why) { error(why.text()); }
    void warning(const std::string& text); // unless quiet
    void note(const std::string& text);    // unless quiet
    void details(const std::string& text); // only when verbose
    // Runs f for one file. Reports exceptions, so that the caller can continue with the next file.
    void attempt(const std::function<void()>& f);
    // Opens a cloud and prints the findings. Attributes with the names of other programs are
    // renamed.
    OpenedCloud open(const std::string& path);
    // Returns a progress display on a terminal, an empty function elsewhere.
    std::function<void(std::int64_t, std::int64_t)> progress(std::string what) const;

    // Opens a record.
    void begin(const std::vector<std::string>& inputs, const std::string& output);
    Json& record() { return m_record; }
    // Closes it. `fails`: sets its "ok" to false.
    void end(bool fails);
    // Continues the open record with that of another process, and prints its messages.
    void replay(Json record);
    // Messages are recorded but not printed from now on.
    void silence() { m_silent = true; }
    // While true, notes and warnings are recorded but not printed.
    void join_notes(bool joins) { m_joins = joins; }
    // Prints the report if `json` is set.
    void print_report() const;

  private:
    void say(const char* severity, const std::string& text, bool print);

    Json m_report = Json::array();
    Json m_record;
    bool m_silent = false;
    bool m_joins = false;
};

// Parses "1,2,3". Throws UsageError unless there are `count` numbers (0: any number).
std::vector<double> parse_numbers(const std::string& text, std::size_t count,
                                  const std::string& option);

} // namespace vx::cache
