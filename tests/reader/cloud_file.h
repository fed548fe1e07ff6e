// Clouds of baked points, and the map files that hold them, written through the map interface.
#ifndef VX_TESTS_READER_CLOUD_FILE_H
#define VX_TESTS_READER_CLOUD_FILE_H

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

    const std::string& name() const { return name_; }

  private:
    std::filesystem::path folder_;
    std::string name_;
};

} // namespace vx::test

#endif
