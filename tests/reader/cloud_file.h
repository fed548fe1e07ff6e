// Clouds of baked points, and the map files that hold them, written through the map interface.
#pragma once

#include "tests/reader/read_instance.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vx::test {

// A file for frame 1 that is gone at the end. Throws when it cannot be written.
class CloudFile {
  public:
    explicit CloudFile(const std::vector<BakedPoint>& points);
    ~CloudFile();
    CloudFile(const CloudFile&) = delete;
    CloudFile& operator=(const CloudFile&) = delete;

    const std::string& name() const { return m_name; }

  private:
    std::filesystem::path m_folder;
    std::string m_name;
};

} // namespace vx::test
