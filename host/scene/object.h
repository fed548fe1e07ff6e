// Objects: flags and a triangle mesh.
#pragma once

#include "host/scene/elements.h"

namespace vx::scene {

/*
 * Geometry of an object, all its groups joined. Arrays of vertex data are either empty or as long
 * as `positions`; groups that lack something that others have are filled up with null vectors.
 */
struct Mesh {
    std::vector<Vec3> positions;
    std::vector<Vec3> normals;                     // null vector: use the triangle's normal
    std::vector<std::vector<Vec3>> textures;       // by texture space; missing coordinates are 0
    std::vector<std::vector<Vec3>> bump_x, bump_y; // by texture space; may be fewer than textures
    std::vector<std::vector<Vec3>> motion;         // by motion step
    std::vector<std::vector<Vec3>> derivatives;    // 0, 1: dP/du, dP/dv; 2 to 4: second ones
    std::vector<std::vector<Vec3>> user;           // by user vector

    // Corners, counter-clockwise seen from the front; every index is below positions.size().
    std::vector<std::array<std::uint32_t, 3>> triangles;
    // One per triangle. Tagged objects: the label. Others: index into material_names, or -1 for
    // "the instance says".
    std::vector<std::int32_t> triangle_material;
    std::vector<std::string> material_names; // as written; not checked against the materials

    // What the text held, before triangulation.
    std::size_t source_vectors = 0, source_vertices = 0, source_polygons = 0;
};

// Ray flags: bit 0 casts (can be hit), bit 1 receives (sends rays).
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
    // None: an incremental definition without a body, the geometry delivered before stays. An
    // unsupported body gives an empty mesh.
    std::optional<Mesh> mesh;
};

} // namespace vx::scene
