/// @file
/// Binary data in the elements of a page.
#pragma once

#include "cache/cloud/file.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vx::cache {

/// Writes bytes as base64 text of a zlib stream, cut into elements
/// <script type="application/octet-stream" data-attribute="INDEX"> of limited length.
class PackedElements {
  public:
    /// The file must outlive the object.
    /// @throws std::bad_alloc
    PackedElements(OutputFile& out, std::size_t index);
    PackedElements(const PackedElements&) = delete;
    PackedElements& operator=(const PackedElements&) = delete;
    ~PackedElements();
    /// @throws FileError
    void write(std::span<const std::byte> bytes);
    /// Ends the stream and the last element. Call once, after all bytes.
    /// @throws FileError
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
