// Notes in the stand-in renderer's record when chosen blocks of memory are released. The linker
// puts the noting versions of free and of the global operator delete in their place (--wrap).
#pragma once

namespace vx::test {

// Adds "NAME released" to the record when `block` is released; forgotten then. Four at a time.
void watch_block(const void* block, const char* name);

} // namespace vx::test
