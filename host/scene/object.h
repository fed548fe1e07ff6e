// Objects: flags and a triangle mesh.
#pragma once

#include "host/scene/elements.h"

namespace vx::scene {

// The geometry of an object, with all groups combined. Arrays of vertex data are empty or have the
// size of `positions`. Vectors that are missing in some groups are null vectors.
struct Mesh {
    std::vector<Vec3> positions;
    std::vector<Vec3> normals;                     // null vector: use the triangle's normal
    std::vector<std::vector<Vec3>> textures;       // by texture space; missing coordinates are 0
    std::vector<std::vector<Vec3>> bump_x, bump_y; // by texture space; may be fewer than textures
    std::vector<std::vector<Vec3>> motion;         // by motion step
    std::vector<std::vector<Vec3>> derivatives;    // 0, 1: dP/du, dP/dv; 2 to 4: second derivatives
    std::vector<std::vector<Vec3>> user;           // by user vector

    // Corners, counterclockwise when seen from the front. All indices are less than
    // positions.size().
    std::vector<std::array<std::uint32_t, 3>> triangles;
    // One per triangle. Tagged objects: the label. Others: an index into material_names, or -1 for
    // the material of the instance.
    std::vector<std::int32_t> triangle_material;
    std::vector<std::string> material_names; // as written; may not exist

    // Counts in the scene text, before triangulation.
    std::size_t source_vectors = 0, source_vertices = 0, source_polygons = 0;
};

// Ray flags: bit 0: can be hit; bit 1: sends rays.
struct ObjectFlags {
    bool visible = false;
    std::uint8_t shadow = 0, reflection = 0, refraction = 0, finalgather = 0, caustic = 0,
                 globillum = 0;
    std::uint8_t transparency = 3;
    Face face = Face::both;
    bool select = true;
    bool shadowmap = false;
    bool tagged = false;
};

struct Object : Element {
    ObjectFlags flags;
    std::uint32_t label = 0;
    std::optional<Matrix> transform;
    std::vector<std::string> data;
    // None for an incremental definition without a body, which keeps the earlier geometry. Empty
    // for unsupported geometry.
    std::optional<Mesh> mesh;
};

} // namespace vx::scene
