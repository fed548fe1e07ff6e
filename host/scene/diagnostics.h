// Where things stand in the scene text, and what is said about them. Nothing here prints.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vx::scene {

// A place in the scene text. Cheap to copy; Diagnostics knows the name behind `file`.
struct Location {
    std::uint32_t file = 0;   // from Diagnostics::add_file; 0: no place in a file
    std::uint32_t line = 0;   // from 1
    std::uint32_t column = 0; // from 1, in bytes

    bool operator==(const Location&) const = default;
};

enum class Severity { note, warning, error };

// One message. `text` is a sentence without a final stop and without the place.
struct Diagnostic {
    // One step of the chain of includes, innermost first.
    struct Place {
        std::string file;
        std::uint32_t line = 0;
        std::uint32_t column = 0;
    };

    Severity severity = Severity::error;
    Place place;              // file empty: no place
    std::vector<Place> chain; // the $include lines that led here
    std::string text;
};

// "file:line:column: text (included from a.mi:3, b.mi:9)", without severity and line end.
std::string format(const Diagnostic& diagnostic);

/*
 * Collects counts and hands every message to a callback at once. The reader and whoever receives
 * the elements use the same one, so that an error found while an element is built has its place
 * too. Not for use from several threads.
 */
class Diagnostics {
  public:
    using Sink = std::function<void(const Diagnostic&)>;

    explicit Diagnostics(Sink sink = {}) : m_sink(std::move(sink)) {}

    // Makes a file known; `included_from` is the place of the line that named it, if any.
    std::uint32_t add_file(std::string name, Location included_from = {});
    // Empty for an unknown file.
    std::string_view file_name(std::uint32_t file) const;

    void error(Location where, std::string text);
    void warning(Location where, std::string text);
    void note(Location where, std::string text);
    // Says it for the first of a kind only. `kind` is any text that tells kinds apart. True: said.
    bool warning_once(std::string_view kind, Location where, std::string text);

    std::size_t errors() const { return m_errors; }
    std::size_t warnings() const { return m_warnings; }

  private:
    struct File {
        std::string name;
        Location included_from;
    };

    void say(Severity severity, Location where, std::string text);

    Sink m_sink;
    std::vector<File> m_files;
    std::set<std::string, std::less<>> m_said;
    std::size_t m_errors = 0;
    std::size_t m_warnings = 0;
};

} // namespace vx::scene
