// The image files that a render command writes.
#pragma once

#include "host/image/write.h"
#include "host/render/settings.h"
#include "host/scene/elements.h"
#include "host/shading/context.h"

#include <vector>

namespace vx::render {

// The files named by the camera's output statements and frame buffers, with the file options of
// `settings` applied. Warnings are written to the messages of `context`.
[[nodiscard]] std::vector<image::WriteRequest> output_files(const scene::Camera& camera,
                                                            const RenderSettings& settings,
                                                            shading::Context& context);

// Whether the file contains surface data (depth, normal, motion or label) instead of color.
[[nodiscard]] bool has_surface_data(const image::WriteRequest& file);

} // namespace vx::render
