// Clouds of values that stand in a test, and files that are gone after it.
#pragma once

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/cloud.h"

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

namespace vx::cache {

class MemoryCloud final : public Cloud {
  public:
    explicit MemoryCloud(std::int64_t points) { count = points; }

    // count * width values of T, or width of them for a single attribute.
    template <typename T>
    MemoryCloud& add(const std::string& name, int width, std::vector<T> values,
                     bool single = false) {
        attributes.push_back({name, type_of<T>(), width, single});
        std::vector<std::byte> bytes(values.size() * sizeof(T));
        if (!bytes.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
        m_values.push_back(std::move(bytes));
        return *this;
    }
    void read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) override {
        const std::size_t size = attributes[attribute].bytes();
        std::memcpy(out, m_values[attribute].data() + static_cast<std::size_t>(first) * size,
                    static_cast<std::size_t>(n) * size);
    }
    bool reads_in_parallel() const override { return parallel; }

    bool parallel = false;

  private:
    std::vector<std::vector<std::byte>> m_values;
};

// All values of an attribute, as T.
template <typename T>
std::vector<T> values_of(Cloud& cloud, const std::string& name) {
    const auto index = static_cast<std::size_t>(cloud.find(name));
    TypedReader<T> reader(cloud, index);
    const auto values = reader.read(0, cloud.count);
    return {values.begin(), values.end()};
}

class TestFolder {
  public:
    TestFolder() {
        static int number = 0;
        m_path = std::filesystem::temp_directory_path() /
                 ("vx_cache_test_" + std::to_string(::getpid()) + "_" + std::to_string(++number));
        std::filesystem::create_directories(m_path);
    }
    ~TestFolder() { std::filesystem::remove_all(m_path); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string path(const std::string& name) const { return (m_path / name).string(); }
    std::string put(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    std::string get(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    // Names of all that is in it.
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
            out.push_back(entry.path().filename().string());
        return out;
    }

  private:
    std::filesystem::path m_path;
};

} // namespace vx::cache
