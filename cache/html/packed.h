// Bytes as text elements of a page: deflated, base64, cut into elements of a moderate length.
#pragma once

#include "cache/cloud/file.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vx::cache {

class PackedElements {
  public:
    // Elements are <script type="application/octet-stream" data-attribute="INDEX">.
    PackedElements(OutputFile& out, std::size_t index);
    PackedElements(const PackedElements&) = delete;
    PackedElements& operator=(const PackedElements&) = delete;
    ~PackedElements();
    // Both throw FileError.
    void write(std::span<const std::byte> bytes);
    void finish();

  private:
    void deflate_some(std::span<const std::byte> bytes, bool end);
    void put_element();

    struct Stream;
    OutputFile& m_out;
    std::string m_open;
    std::unique_ptr<Stream> m_stream;
    std::vector<unsigned char> m_packed;
    std::size_t m_filled = 0;
    std::string m_text;
};

} // namespace vx::cache
