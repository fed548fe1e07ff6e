// For builds without Node.js: the program reports an error if a page is requested.
#include "cache/html/template.h"

namespace vx::cache {

extern constexpr std::string_view kPageBefore{};
extern constexpr std::string_view kPageAfter{};

} // namespace vx::cache
