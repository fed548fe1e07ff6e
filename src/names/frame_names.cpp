#include "src/names/frame_names.h"

#include "src/names/wd_string.h"
#include "src/platform/pinned.h"
#include "src/platform/shader_access.h"

#include <cstring>

std::string GetTagString(miTag tag) {
    std::string text;
    {
        const CPinned<const char> element(tag);
        text = element.Get();
    }

    char buffer[1000] = {};
    SubstituteVariables(buffer, text.c_str(), sizeof buffer);
    return {buffer, strnlen(buffer, sizeof buffer)};
}

std::string MakeFrameFileName(const std::string& name, const std::string& type, int frame) {
    if (name.empty()) return {};
    CWdFilename filename{CWdString(name)};
    // SetType alone would also accept the type in front of the number.
    if (filename.GetExtension() != type) return {};
    filename.SetType(type);
    return filename.MakeUpFrame(type, 1, frame);
}
