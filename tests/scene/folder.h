// A temporary folder for a test, removed by the destructor.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace vx::scene {

class Folder {
  public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "vx_scene_XXXXXX").string();
        if (const char* const made = ::mkdtemp(name.data())) m_path = made;
    }
    ~Folder() {
        std::error_code ignored;
        if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string path(const std::string& name) const { return (m_path / name).string(); }
    std::string write(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories((m_path / name).parent_path());
        std::ofstream(m_path / name, std::ios::binary) << text;
        return path(name);
    }

  private:
    std::filesystem::path m_path;
};

} // namespace vx::scene
