#include "host/image/write.h"

#include "host/image/encode.h"
#include "host/image/formats.h"
#include "host/image/output_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace vx::image {

namespace fs = std::filesystem;

namespace {

using Reason = std::optional<std::string>;

std::string extension_of(const fs::path& path) {
    const std::string extension = path.extension().string();
    return extension.empty() ? extension : extension.substr(1);
}

// Fills in the format from the file name, and checks that name and format agree.
Reason complete(WriteRequest& request) {
    const std::string extension = extension_of(request.path);
    if (request.format.empty()) request.format = extension;
    if (request.format.empty()) return "no format is given, and the file name has no extension";
    if (!can_write(request.format))
        return fmt::format("pictures of the format '{}' cannot be written", request.format);
    const std::string by_name = format_name(extension);
    if (!by_name.empty() && by_name != format_name(request.format))
        return fmt::format("the format is '{}', but the name ends in '.{}'", request.format,
                           extension);
    return std::nullopt;
}

// Encodes an empty picture.
Reason check_encoding(const WriteRequest& request, int width, int height) {
    std::vector<unsigned char> bytes;
    return encode_picture(Frame(width, height, false), request, bytes);
}

// The path by which files are compared; empty for devices and pipes, which take any number of
// pictures.
fs::path identity(const WriteRequest& request) {
    OutputTarget target;
    if (resolve_output(request.path, target) || target.stream) return {};
    std::error_code error;
    const fs::path absolute = fs::absolute(target.path, error);
    fs::path folder = fs::weakly_canonical(absolute.parent_path(), error);
    if (error) folder = absolute.parent_path().lexically_normal();
    return folder / absolute.filename();
}

} // namespace

Reason write_picture(const Frame& frame, const WriteRequest& request) {
    try {
        WriteRequest whole = request;
        if (Reason reason = complete(whole)) return reason;
        std::vector<unsigned char> bytes;
        if (Reason reason = encode_picture(frame, whole, bytes)) return reason;
        return write_output(request.path, bytes);
    } catch (const std::exception& e) {
        return e.what();
    }
}

Reason check_picture(const WriteRequest& request, int width, int height) {
    // More than the lines that some formats need for their coarsest version of the picture.
    constexpr int kStrip = 64;
    try {
        WriteRequest whole = request;
        if (Reason reason = complete(whole)) return reason;
        OutputTarget target;
        if (Reason reason = resolve_output(request.path, target)) return reason;
        if (Reason reason = check_encoding(whole, width, std::min(height, kStrip))) return reason;
        if (height <= kStrip) return std::nullopt;
        return check_encoding(whole, std::min(width, kStrip), height);
    } catch (const std::exception& e) {
        return e.what();
    }
}

bool is_finished(const WriteRequest& request, int width, int height) {
    Pixels pixels;
    return !read_picture(request.path.string(), pixels) && pixels.width == width &&
           pixels.height == height;
}

std::vector<std::string> PictureFiles::check(std::span<const WriteRequest> pictures, int width,
                                             int height) const {
    std::vector<std::string> reasons;
    std::map<fs::path, std::string> files;
    const auto report = [&](const WriteRequest& picture, const std::string& reason) {
        reasons.push_back(fmt::format("{}: {}", picture.path.string(), reason));
    };
    for (const WriteRequest& picture : pictures) {
        if (const Reason reason = check_picture(picture, width, height)) report(picture, *reason);
        const fs::path file = identity(picture);
        if (file.empty()) continue;
        if (const auto old = m_written.find(file); old != m_written.end())
            report(picture, fmt::format("this is the picture '{}' of an earlier frame, which would "
                                        "be lost",
                                        old->second));
        const auto [other, is_new] = files.try_emplace(file, picture.path.string());
        if (!is_new)
            report(picture, fmt::format("this is the file of another picture of the frame, '{}'",
                                        other->second));
    }
    return reasons;
}

void PictureFiles::keep(const WriteRequest& request) {
    const fs::path file = identity(request);
    if (!file.empty()) m_written.insert_or_assign(file, request.path.string());
}

Reason PictureFiles::write(const Frame& frame, const WriteRequest& request) {
    Reason reason = write_picture(frame, request);
    if (!reason) keep(request);
    return reason;
}

} // namespace vx::image
