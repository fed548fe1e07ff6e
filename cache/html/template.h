/// @file
/// The page of the viewer without a cloud, which is bundled when the program is built.
#pragma once

#include <string_view>

namespace vx::cache {

/// What precedes and what follows the data of the cloud. Both are empty if the program was built
/// without Node.js.
extern const std::string_view kPageBefore;
extern const std::string_view kPageAfter;

} // namespace vx::cache
