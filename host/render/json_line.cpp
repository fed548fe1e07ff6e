#include "host/render/json_line.h"

#include <algorithm>
#include <cstddef>

namespace vx::render {

std::string json_line(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string json_message(std::string_view line) {
    const std::size_t module_end = std::min(line.find(' '), line.size());
    const std::size_t level_start = std::min(line.find(' ', module_end + 1), line.size() - 1) + 1;
    const std::size_t level_end = std::min(line.find(": ", level_start), line.size());
    return json_line({{"event", "message"},
                      {"level", line.substr(level_start, level_end - level_start)},
                      {"module", line.substr(0, module_end)},
                      {"text", line.substr(std::min(level_end + 2, line.size()))}});
}

} // namespace vx::render
