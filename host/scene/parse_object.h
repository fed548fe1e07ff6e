// The parts of the body of an object. Internal to the reader.
#pragma once

#include "host/scene/mesh_builder.h"
#include "host/scene/parse.h"

namespace vx::scene {

// parse_group.cpp: `group … end group`. Returns false if it stopped at unsupported geometry.
bool parse_group(Context& c, MeshBuilder& builder);
// parse_trilist.cpp: `trilist … end trilist`
void parse_trilist(Context& c, MeshBuilder& builder);
// Skips approximation statements up to the next polygon or `end`.
void skip_approximation(Cursor& cursor);

// Parses the material or label of a polygon or triangle.
void parse_polygon_material(Lexer& text, MeshBuilder& builder);
// Parses the index of a corner. Throws SyntaxError if the group has no such vertex.
std::uint32_t parse_corner(Lexer& text, std::size_t vertices);

} // namespace vx::scene
