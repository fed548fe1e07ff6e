// From a string parameter to the file name of a frame.
#ifndef VX_SRC_NAMES_FRAME_NAMES_H
#define VX_SRC_NAMES_FRAME_NAMES_H

#include "src/platform/renderer.h"

#include <string>

// The text of the string element `tag`, with the renderer's substitutions made, at most 999 bytes.
// The element is pinned only while it is copied. `tag` must name a string: the null tag ends the
// render, so callers pass parameters that are set.
std::string GetTagString(miTag tag);

// `name` is a sample name for some frame ("shot.0001.pdc"); the result is the name for `frame`.
// "" when the extension is not exactly `type` (without its dot) or no frame number is found.
// The width of the number is kept when it has leading zeros, else there is no padding.
std::string MakeFrameFileName(const std::string& name, const std::string& type, int frame);

#endif
