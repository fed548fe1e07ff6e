// The viewer's page without a cloud, bundled when the program is built.
#pragma once

#include <string_view>

namespace vx::cache {

// The cloud's data goes between the two. Both are empty in a build without Node.js.
extern const std::string_view page_before;
extern const std::string_view page_after;

} // namespace vx::cache
