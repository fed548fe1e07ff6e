// As little of a renderer as the reader needs, and nothing that costs time: one string element, one
// user pointer.
#ifndef VX_BENCH_READER_SMALL_RENDERER_H
#define VX_BENCH_READER_SMALL_RENDERER_H

#include <string>

namespace vx::bench {

// The text of every string element: the file name and the label list, as tags 1 and 2.
inline std::string strings[3];
inline void* user_pointer = nullptr;

} // namespace vx::bench

#endif
