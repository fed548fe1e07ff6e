// Reads scene files and passes their contents to a receiver.
#pragma once

#include "host/scene/description.h"
#include "host/scene/substitution.h"

#include <atomic>
#include <functional>
#include <memory>

namespace vx::scene {

struct ReaderSettings {
    // -I directories. MI_RAY_INCPATH and then built_in_includes follow them.
    std::vector<std::string> include_directories;
    std::vector<std::string> built_in_includes;
    // The renderer version, for `min version` and `max version`.
    std::string version = "3.14";
    // Reading stops after this number of errors.
    std::size_t error_limit = 100;
    // Maximum nesting of include files, and of brackets and namespaces.
    unsigned include_limit = 64;
    unsigned nesting_limit = 64;
    // Called repeatedly while a top-level file is read, and at its end, with the number of bytes
    // read and the size of the file.
    std::function<void(std::uint64_t read, std::uint64_t total)> progress;
    // If not null: reading stops once it is true, without an error. A signal handler may set it.
    const std::atomic<bool>* interrupt = nullptr;

    [[nodiscard]] bool interrupted() const {
        return interrupt != nullptr && interrupt->load(std::memory_order_relaxed);
    }
};

// Multiple files read by one reader form one scene. Errors are reported to the diagnostics; reading
// continues after the faulty statement if possible. Throws no exceptions, prints nothing and never
// executes shell commands or C source from a scene.
class Reader {
  public:
    // All references must outlive the reader. Variables may be set in `substitution` beforehand.
    Reader(SceneReceiver& receiver, Diagnostics& diagnostics, Substitution& substitution,
           ReaderSettings settings = {});
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // Reads a file, which may be gzip-compressed. A name without an extension is tried as given,
    // then with .mi. Returns true if this file has no errors.
    bool read_file(const std::string& path);
    // As read_file, from an open file descriptor such as standard input.
    bool read_descriptor(int descriptor, const std::string& name);
    // As read_file, from memory.
    bool read_text(std::string_view text, const std::string& name);

    // Whether the receiver stopped reading, an interrupt did, or the error limit was reached.
    // Further files are ignored.
    bool stopped() const;

  private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace vx::scene
