// Progress and messages for programs: JSON objects, one per line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vx::render {

/// A JSON string with its quotes. Bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string json_string(std::string_view text);

/// One object, whose first member is "event".
class JsonLine {
  public:
    explicit JsonLine(std::string_view event) : m_text("{\"event\":" + json_string(event)) {}

    JsonLine& text(std::string_view name, std::string_view value);
    JsonLine& count(std::string_view name, std::int64_t value);
    JsonLine& seconds(std::string_view name, double value); ///< with three decimals
    JsonLine& list(std::string_view name, const std::vector<std::string>& values);

    /// The object, without a newline.
    [[nodiscard]] std::string line() const { return m_text + '}'; }

  private:
    JsonLine& member(std::string_view name, std::string_view value);

    std::string m_text;
};

/// A line of the log, "MODULE host.thread level: text", as an object with these members.
[[nodiscard]] std::string json_message(std::string_view line);

} // namespace vx::render
