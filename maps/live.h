// Counts what the interface has handed out and not got back. Every thread counts by itself, so that
// threads that make and destroy a lookup per shading point do not wait for each other.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace vx::maps {

enum class Kept : std::size_t { Objects, Interfaces };

// Objects are declarations, elements, iterators, lookups and handles.
void count_live(Kept what, long change);
// Over all threads; exact while no other thread is counting.
long total_live(Kept what);

// A member of everything that is handed out.
class Counted {
  public:
    Counted() { count_live(Kept::Objects, 1); }
    Counted(const Counted&) { count_live(Kept::Objects, 1); }
    Counted& operator=(const Counted&) = default;
    ~Counted() { count_live(Kept::Objects, -1); }
};

} // namespace vx::maps
