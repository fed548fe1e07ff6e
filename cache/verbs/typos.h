// Diagnosis of misspelled command lines.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace vx::cache {

// The candidate with the smallest edit distance to a word if that is at most a third of the word's
// length, at least 1; else an empty text. Insertions, deletions, replacements and exchanges of
// neighbors count 1 each.
std::string nearest_word(std::string_view word, const std::vector<std::string>& candidates);

// Names the first word of a rejected command line that is neither a verb nor an option of its verb,
// and suggests the nearest one. Empty if there is no such word.
std::string find_typo(const CLI::App& app, const std::vector<std::string>& words);

} // namespace vx::cache
