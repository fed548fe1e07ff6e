// vx_cache_image.so: the only part of vx_cache that uses OpenImageIO.
#include "cache/picture/image_file.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <string>

extern "C" __attribute__((visibility("default"))) VxEncodeImage vx_encode_image;

extern "C" const char* vx_encode_image(const char* format, int width, int height,
                                       const void* pixels,
                                       void (*sink)(void*, const void*, std::size_t), void* user) {
    static std::string why;
    try {
        OIIO::attribute("threads", 1);
        OIIO::attribute("exr_threads", -1);
        const auto out = OIIO::ImageOutput::create(format);
        if (!out) {
            why = OIIO::geterror();
            return why.c_str();
        }
        const bool bytes = std::string(format) == "png";
        const OIIO::TypeDesc type = bytes ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT;
        OIIO::ImageSpec spec(width, height, 3, type);
        if (bytes) {
            spec.attribute("oiio:ColorSpace", "sRGB");
        } else {
            spec.attribute("compression", "zip");
            // OpenImageIO would store the current time, and equal pictures would differ.
            spec.attribute("DateTime", "1970:01:01 00:00:00");
        }
        std::vector<unsigned char> file;
        OIIO::Filesystem::IOVecOutput proxy(file);
        if (!out->set_ioproxy(&proxy) || !out->open("", spec) || !out->write_image(type, pixels) ||
            !out->close()) {
            why = out->geterror();
            if (why.empty()) why = "the picture cannot be encoded";
            return why.c_str();
        }
        sink(user, file.data(), file.size());
        return nullptr;
    } catch (const std::exception& error) {
        why = error.what();
        return why.c_str();
    }
}
