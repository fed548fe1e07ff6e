// Sequences of files, one per frame, for all verbs.
#pragma once

#include "cache/verbs/session.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace vx::cache {

struct Frames {
    std::vector<int> numbers;
    // Parses "1-100x2,200". Throws UsageError.
    static Frames parse(const std::string& text);
};

// A frame field in a name: "####" (any number of them), "@@@@" (two or more), "%04d", "%d", "$F4"
// or "$F". They mean the same: the number of the frame, padded with zeros to as many digits. Of
// several fields the last one counts.
bool has_frame_field(const std::string& pattern);
std::string name_of_frame(const std::string& pattern, int frame);

// The frames for which a file exists, ascending. Throws UsageError if the field is in the name of a
// directory.
std::vector<int> existing_frames(const std::string& pattern);
// The numbers that a sequence of sorted frames leaves out, with the largest step that all of them
// fit.
std::vector<int> missing_frames(const std::vector<int>& frames);
// "1-3, 7".
std::string frame_ranges(const std::vector<int>& frames);

// The names of several inputs, and perhaps of an output, at one frame.
struct Step {
    std::vector<std::string> inputs;
    std::string output;
    int frame = 0;
    bool framed = false;
};

struct SequenceOptions {
    std::string frames;
    bool newer = false;
    int jobs = 1;

    // `writes`: with the options for outputs.
    void add(CLI::App& app, bool writes);
    // A step for each frame of the inputs; inputs without a frame field are the same in all of
    // them. Without --frames, the frames for which files exist. Missing files are reported as an
    // error, and their frames are left out. Throws UsageError unless the output, if there is one,
    // has a frame field just as the inputs have. `together`: all frames of all inputs are the
    // inputs of one step if the output has no frame field.
    std::vector<Step> steps(Session& session, const std::vector<std::string>& inputs,
                            const std::string& output = "", bool together = false) const;
    // Calls f for each step, in order or in up to `jobs` processes, with a record of its own in the
    // report. Notes of a sequence are joined into one for all frames.
    void run(Session& session, const std::vector<Step>& steps,
             const std::function<void(const Step&)>& f) const;
};

} // namespace vx::cache
