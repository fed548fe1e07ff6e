// Baked caches for benchmarks, and the reading of a file that others are compared with.
#pragma once

#include <string>

namespace vx::bench {

// Writes hills in scan order, as an eye ray per pixel finds them; six labels in patches. Returns
// false if the file cannot be written.
bool write_cache(const std::string& path, int points);

// Reads a file with read(2) in large blocks.
void plain_read(const std::string& path);

double now(); // in seconds
// Processor time of all threads.
double processor_seconds();

} // namespace vx::bench
