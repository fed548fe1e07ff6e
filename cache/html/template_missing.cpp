// For builds on machines without Node.js: the tool says so when a page is asked for.
#include "cache/html/template.h"

namespace vx::cache {

extern constexpr std::string_view page_before{};
extern constexpr std::string_view page_after{};

} // namespace vx::cache
