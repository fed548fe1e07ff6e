// Contents of the database elements that are C++ objects, and what a render is asked to show.
#pragma once

#include <string>
#include <vector>

#include "host/scene/description.h"
#include "shader.h"

namespace vx::shading {

// The element of an object.
struct ObjectElement {
    scene::Object description; // always with a mesh
    // By index into mesh->material_names; 0 for a name without a material.
    std::vector<miTag> materials;
    unsigned revision = 0; // grows with each redefinition that may change the mesh
};

// The element of a texture that has pixels or a file.
struct TextureElement {
    scene::Texture description;
    unsigned revision = 0; // grows with each redefinition
};

struct RenderRequest {
    miTag root = miNULLTAG; // a group
    miTag camera_instance = miNULLTAG;
    miTag options = miNULLTAG;
    scene::Location where;
    std::string place; // `where` as text, for messages
};

} // namespace vx::shading
