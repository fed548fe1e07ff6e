// Progress and messages for programs: JSON objects, one per line.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace vx::render {

using Json = nlohmann::ordered_json;

/// The object as one line, without a newline. Bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string json_line(const Json& object);

/// A line of the log, "MODULE host.thread level: text", as an object with these members.
[[nodiscard]] std::string json_message(std::string_view line);

} // namespace vx::render
