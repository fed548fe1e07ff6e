// Helpers of the tests of maps: maps with known content, temporary files.
#pragma once

#include "maps/interface.h"
#include "shader.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace vx::maps::test {

using namespace mi::shader_v3;

// The fields that a point cloud writer declares.
inline Map_declaration cloud_declaration() {
    Map_declaration declaration(3);
    declaration->append_field("normalPP", Map_field_type::Vector);
    declaration->append_field("rgbPP", Map_field_type::Vector);
    declaration->append_field("opacityPP", Map_field_type::Scalar);
    declaration->append_field("tag", Map_field_type::Integer);
    return declaration;
}

// A map of points, given as rows of `dimension` floats. Its only field, "index", counts them.
inline std::unique_ptr<Edit_map> map_of_points(const std::vector<float>& points, unsigned dimension,
                                               float quality = 0.6f) {
    Map_declaration declaration(dimension);
    declaration->append_field("index", Map_field_type::Integer);
    auto map = std::make_unique<Edit_map>(declaration);
    Map_element element(declaration);
    for (std::size_t i = 0; i * dimension < points.size(); ++i) {
        element->set_position(points.data() + i * dimension);
        element->set(0u, static_cast<int>(i));
        (*map)->append(element);
    }
    (*map)->consolidate(quality);
    return map;
}

// A read-only access to the map of an Edit_map, which is stored.
inline std::unique_ptr<Access_map> access_to(Edit_map& map) {
    return std::make_unique<Access_map>(map.store());
}

// A temporary folder for the running test.
class Folder {
  public:
    Folder() {
        const auto* const info = ::testing::UnitTest::GetInstance()->current_test_info();
        // Tests write thousands of small files: use a memory file system if there is one.
        const std::filesystem::path in_memory = "/dev/shm";
        const bool usable = ::access(in_memory.c_str(), W_OK) == 0;
        m_path = (usable ? in_memory : std::filesystem::temp_directory_path()) /
                 (std::string("maps_") + info->test_suite_name() + "_" + info->name() + "_" +
                  std::to_string(::getpid()));
        std::filesystem::create_directories(m_path);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string file(const std::string& name) const { return (m_path / name).string(); }
    std::size_t count() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_path),
                                                      std::filesystem::directory_iterator()));
    }

  private:
    std::filesystem::path m_path;
};

inline std::string bytes_of(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void write_bytes(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<long>(bytes.size()));
}

} // namespace vx::maps::test
