/*
 * Shader libraries: one table of symbols that every attached library adds to.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vx::shading {

class Libraries {
  public:
    Libraries() = default;
    ~Libraries();
    Libraries(const Libraries&) = delete;
    Libraries& operator=(const Libraries&) = delete;

    /* -L directories, in their order; then those of MI_LIBRARY_PATH, then the built-in ones. */
    void add_directory(std::string directory) { m_user.push_back(std::move(directory)); }
    void add_built_in_directory(std::string directory) {
        m_built_in.push_back(std::move(directory));
    }

    /* Attaches a library; a file that is attached already is not attached again. Names without an
     * absolute path are looked for in the directories, then as written. Gives the reason of a
     * failure, else an empty text. */
    std::string load(const std::string& path);
    /* The symbol in the first library that has it; null when none has. */
    [[nodiscard]] void* symbol(const std::string& name) const;
    /* Full paths of what is attached, in order. */
    [[nodiscard]] std::vector<std::string> loaded() const;

  private:
    struct Library {
        std::string path;
        void* handle;
    };
    std::vector<std::string> m_user, m_built_in;
    std::vector<Library> m_libraries;
};

/* <directory of the running program>/../lib; empty when it cannot be found out. */
std::string library_directory_of_program();

} // namespace vx::shading
