#include "tests/reader/cloud_file.h"

#include "mi_shader_if.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <stdexcept>

namespace vx::test {

CloudFile::CloudFile(const std::vector<BakedPoint>& points) {
    static std::atomic<int> number = 0;
    m_folder = std::filesystem::path(testing::TempDir()) /
               ("vx_cloud_" + std::to_string(getpid()) + "_" + std::to_string(++number));
    std::filesystem::create_directories(m_folder);
    m_name = (m_folder / "cloud.0001.mrmap").string();

    using mi::shader_v3::Map_field_type;
    mi::shader_v3::Map_declaration declaration(3);
    declaration->append_field("normalPP", Map_field_type::Vector);
    declaration->append_field("rgbPP", Map_field_type::Vector);
    declaration->append_field("opacityPP", Map_field_type::Scalar);
    declaration->append_field("tag", Map_field_type::Integer);
    mi::shader_v3::Edit_map map(declaration);
    mi::shader_v3::Map_element element(declaration);
    for (const BakedPoint& point : points) {
        element->set_position(point.position.data());
        element->set(0, point.normal);
        element->set(1, point.color);
        element->set(2, point.opacity);
        element->set(3, point.label);
        if (!map->append(element).is_ok()) throw std::runtime_error("a point was refused");
    }
    map->consolidate();
    if (!map->write(m_name.c_str(), false).is_ok())
        throw std::runtime_error(m_name + " cannot be written");
}

CloudFile::~CloudFile() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

} // namespace vx::test
