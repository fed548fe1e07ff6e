// The parts of an object's body. Internal to the reader.
#pragma once

#include "host/scene/mesh_builder.h"
#include "host/scene/parse.h"

namespace vx::scene {

// parse_group.cpp: `group … end group`. False: stopped before geometry that is not supported.
bool parse_group(Context& c, MeshBuilder& builder);
// parse_trilist.cpp: `trilist … end trilist`
void parse_trilist(Context& c, MeshBuilder& builder);
// Over approximation statements, up to the next polygon or `end`.
void skip_approximation(Cursor& cursor);

// Index or label of a polygon or triangle, before its corners. Works on the buffer.
void parse_polygon_material(Lexer& text, MeshBuilder& builder);
// The number of a corner; throws when the group has no such vertex.
std::uint32_t parse_corner(Lexer& text, std::size_t vertices);

} // namespace vx::scene
