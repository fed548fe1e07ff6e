#include "host/shading/errors.h"

#include <cstdio>

namespace vx::shading {

OutOfMemory::OutOfMemory(std::size_t bytes) noexcept {
    (void)std::snprintf(m_text, sizeof m_text, "out of memory: cannot allocate %zu bytes", bytes);
}

std::string caught_reason() {
    try {
        throw;
    } catch (const OutOfMemory& e) {
        return e.what();
    } catch (const std::bad_alloc&) {
        return "out of memory";
    } catch (const std::exception& e) {
        return std::string("uncaught exception: ") + e.what();
    } catch (...) {
        return "uncaught exception that is not a std::exception";
    }
}

} // namespace vx::shading
