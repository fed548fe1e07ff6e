// Locations in scene text, and messages about them. Nothing is printed.
#pragma once

#include "host/scene/omissions.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vx::scene {

// A location in the scene text. Cheap to copy; Diagnostics stores the name of the file.
struct Location {
    std::uint32_t file = 0;   // from Diagnostics::add_file; 0: no file
    std::uint32_t line = 0;   // from 1
    std::uint32_t column = 0; // from 1, in bytes

    bool operator==(const Location&) const = default;
};

enum class Severity { note, warning, error };

// One message. `text` is a sentence without a final period and without the location.
struct Diagnostic {
    // One step of the chain of includes, innermost first.
    struct Place {
        std::string file;
        std::uint32_t line = 0;
        std::uint32_t column = 0;
    };

    Severity severity = Severity::error;
    Place place;              // empty file: no location
    std::vector<Place> chain; // the $include directives of enclosing files
    std::string text;
};

// "file:line:column: text (included from a.mi:3, b.mi:9)", without severity and newline.
std::string format(const Diagnostic& diagnostic);

// Counts messages and passes them to a callback immediately. The reader and the receiver of the
// elements share one object, so that errors found later have locations, too. Not thread-safe.
class Diagnostics {
  public:
    using Sink = std::function<void(const Diagnostic&)>;

    // `omissions`, if not null, collects what omit() and skip() pass on.
    explicit Diagnostics(Sink sink = {}, Omissions* omissions = nullptr)
        : m_sink(std::move(sink)), m_omissions(omissions) {}

    // Registers a file. `included_from` is the location of the $include directive, if any.
    std::uint32_t add_file(std::string name, Location included_from = {});
    // Empty for an unknown file. Valid as long as the object.
    std::string_view file_name(std::uint32_t file) const;

    void error(Location where, std::string text);
    void warning(Location where, std::string text);
    void note(Location where, std::string text);
    // Issues only the first warning of each kind. `kind` is any string that identifies the kind.
    // Returns true if the warning was issued.
    bool warning_once(std::string_view kind, Location where, std::string text);
    // Counts an omission, without a message.
    void omit(Omission kind, std::string_view name);
    // Counts a statement or property without effect; the first one of each kind gives a warning.
    void skip(std::string_view kind, Location where, std::string text);

    std::size_t errors() const { return m_errors; }
    std::size_t warnings() const { return m_warnings; }

  private:
    struct File {
        std::string name;
        Location included_from;
    };

    void say(Severity severity, Location where, std::string text);

    Sink m_sink;
    Omissions* m_omissions;
    std::deque<File> m_files; // which don't move
    std::set<std::string, std::less<>> m_issued;
    std::size_t m_errors = 0;
    std::size_t m_warnings = 0;
};

} // namespace vx::scene
