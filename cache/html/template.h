// The viewer's page without a cloud, bundled when the program is built.
#pragma once

#include <string_view>

namespace vx::cache {

// The cloud's data goes between the two. Both are empty in a build without Node.js.
extern const std::string_view kPageBefore;
extern const std::string_view kPageAfter;

} // namespace vx::cache
