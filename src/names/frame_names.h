// File names of frames from string parameters.
#pragma once

#include "src/platform/renderer.h"

#include <string>

// The text of the string element `tag` after the renderer's substitution of variables, cut to 1000
// bytes. `tag` must name a string element: the renderer aborts the render otherwise.
std::string GetTagString(miTag tag);

// The name for `frame`, made from the name for any frame ("shot.0001.pdc"). Returns "" if the
// extension is not exactly `type` (given without its dot) or if the name has no frame number.
// A number with leading zeros keeps its width; other numbers are not padded.
std::string MakeFrameFileName(const std::string& name, const std::string& type, int frame);
