// The figures that matter, in one form. `./vx bench` gathers these lines into its closing table.
#pragma once

#include <cstdio>
#include <string>

namespace vx::bench {

enum class Aim { at_most, at_least };

// A figure that misses its aim by less than this part of it counts as reached.
inline constexpr double kNoise = 0.1;

// Prints a figure, its aim, and whether it misses it. Returns false if it does.
inline bool print_ratio(const std::string& name, double value, Aim kind, double aim) {
    const bool missed =
        kind == Aim::at_most ? value > aim * (1.0 + kNoise) : value < aim * (1.0 - kNoise);
    std::printf("ratio  %-70s %8.2f  at %s %.2f%s\n", name.c_str(), value,
                kind == Aim::at_most ? "most " : "least", aim, missed ? "  MISSED" : "");
    (void)std::fflush(stdout);
    return !missed;
}

// Prints a figure that has no aim.
inline void print_ratio(const std::string& name, double value) {
    std::printf("ratio  %-70s %8.2f\n", name.c_str(), value);
    (void)std::fflush(stdout);
}

} // namespace vx::bench
