// Shader libraries and their symbols.
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

    // Directories are searched in this order: those added here (-L), those of MI_LIBRARY_PATH, the
    // built-in ones.
    void add_directory(std::string directory) { m_user.push_back(std::move(directory)); }
    void add_built_in_directory(std::string directory) {
        m_built_in.push_back(std::move(directory));
    }

    // Loads a library, once per file. A relative path is searched for in the directories, then used
    // as it is. Returns the reason of a failure, else an empty text. `missing`, which may be null,
    // is set to whether there is no such file.
    std::string load(const std::string& path, bool* missing = nullptr);
    // The symbol of the first library that has it; null if none has. `path`, which may be null, is
    // set to the path of that library.
    [[nodiscard]] void* symbol(const std::string& name, std::string* path = nullptr) const;
    // Full paths of the libraries, in the order of loading.
    [[nodiscard]] std::vector<std::string> loaded() const;

  private:
    struct Library {
        std::string path;
        void* handle;
    };
    std::vector<std::string> m_user, m_built_in;
    std::vector<Library> m_libraries;
};

} // namespace vx::shading
