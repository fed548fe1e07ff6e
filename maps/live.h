// Counts objects that shaders have not destroyed and interfaces that they have not released, for
// tests. Each thread has counters of its own: a lookup is created and destroyed per shading point,
// and threads must not wait for each other.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace vx::maps {

enum class Kept : std::size_t { objects, interfaces };

// Objects are declarations, elements, iterators, lookups and handles.
void count_live(Kept what, long change);
// Sum over all threads; exact while no other thread counts.
long total_live(Kept what);

// A member of each class whose objects are counted.
class Counted {
  public:
    Counted() { count_live(Kept::objects, 1); }
    Counted(const Counted&) { count_live(Kept::objects, 1); }
    Counted& operator=(const Counted&) = default;
    ~Counted() { count_live(Kept::objects, -1); }
};

} // namespace vx::maps
