// Reads scene files and tells a receiver what is in them.
#pragma once

#include "host/scene/description.h"
#include "host/scene/substitution.h"

#include <functional>
#include <memory>

namespace vx::scene {

struct ReaderSettings {
    // -I directories. MI_RAY_INCPATH and then built_in_includes follow them.
    std::vector<std::string> include_directories;
    std::vector<std::string> built_in_includes;
    // The renderer's version that `min version` and `max version` are compared with.
    std::string version = "3.14";
    // Reading ends after so many errors.
    std::size_t error_limit = 100;
    // Depth of $include; of brackets and arrays inside one another.
    unsigned include_limit = 64;
    unsigned nesting_limit = 64;
    // Called now and then, and at the end of each top-level file, with the bytes read and to be
    // read in it.
    std::function<void(std::uint64_t read, std::uint64_t total)> progress;
};

/*
 * Several files read one after the other count as one scene. Errors go to the diagnostics; reading
 * goes on behind the statement that holds one, where it can. Nothing is thrown, printed or run:
 * `system` and `code` are refused.
 */
class Reader {
  public:
    // All three must outlive the reader. Variables may be set in `substitution` beforehand.
    Reader(SceneReceiver& receiver, Diagnostics& diagnostics, Substitution& substitution,
           ReaderSettings settings = {});
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // A file, which may be compressed by gzip. A name without extension is tried as written and
    // then with .mi. True when no error was found in it (errors that other files had do not count).
    bool read_file(const std::string& path);
    // The same from an open descriptor, such as standard input.
    bool read_descriptor(int descriptor, const std::string& name);
    // The same from memory; `text` must stay until the call returns.
    bool read_text(std::string_view text, const std::string& name);

    // A receiver said stop, or the error limit was reached: reading further files does nothing.
    bool stopped() const;

  private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace vx::scene
