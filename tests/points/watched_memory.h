// operator new and delete of a test program that watches memory: the number of requests, the
// largest of them and the bytes held, and a limit above which a request is refused.
#pragma once

#include <cstddef>

namespace watched_memory {

// Starts anew: requests, largest and peak are counted from here, and no request is refused.
void reset();

// Requests of more than this many bytes throw std::bad_alloc, until the next reset.
void refuse_above(std::size_t bytes);

std::size_t requests();        // number since reset
std::size_t largest_request(); // bytes, since reset
std::size_t held();            // bytes asked for and not given back, since the program started
std::size_t peak_held();       // the most of that since reset

} // namespace watched_memory
