// A shader library that crashes while it is loaded.
#include <cstdlib>

namespace {
[[gnu::constructor]] void crash() {
    std::abort();
}
} // namespace
