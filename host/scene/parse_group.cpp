// Groups: vectors, vertices and polygons. Large scenes consist mostly of groups, so they are read
// directly from the buffer, without tokens.
#include "host/scene/parse_object.h"

#include "host/scene/big_endian.h"

namespace vx::scene {

namespace {

constexpr std::size_t kPlaneLimit = 1024; // texture spaces, motion steps or user vectors per vertex

void parse_vectors(Lexer& text, std::vector<Vec3>& vectors) {
    for (;;) {
        if (text.at_number()) {
            Vec3 v;
            v.x = text.raw_float();
            v.y = text.raw_float();
            v.z = text.raw_float();
            vectors.push_back(v);
        } else if (text.peek() == '`') {
            text.skip_byte();
            vectors.push_back(big_endian_vector(text.raw_block(kBinaryVectorSize).data()));
        } else {
            return;
        }
    }
}

const Vec3& parse_vector_number(Lexer& text, const std::vector<Vec3>& vectors) {
    const std::int32_t number = text.raw_integer();
    if (number < 0 || static_cast<std::size_t>(number) >= vectors.size())
        throw SyntaxError{text.number_place(), "there is no vector " + std::to_string(number) +
                                                   ": the group has " +
                                                   std::to_string(vectors.size())};
    return vectors[static_cast<std::size_t>(number)];
}

void set_once(Lexer& text, MeshBuilder& builder, std::vector<Vec3>& plane, const Vec3& value) {
    if (!builder.set(plane, value))
        throw SyntaxError{text.number_place(), "the vertex already has a vector of this kind"};
}

std::size_t next_plane(Lexer& text, std::size_t& count) {
    if (count >= kPlaneLimit)
        throw SyntaxError{text.place(), "the vertex has too many vectors of one kind"};
    return count++;
}

void parse_derivatives(Lexer& text, MeshBuilder& builder, const std::vector<Vec3>& vectors) {
    std::array<Vec3, 5> values;
    std::size_t count = 0;
    while (text.at_number()) {
        if (count == values.size()) text.fail("at most five derivatives");
        values[count++] = parse_vector_number(text, vectors);
    }
    if (count != 2 && count != 3 && count != 5) text.fail("two, three or five derivatives");
    // Three vectors are second derivatives, which follow the two first derivatives.
    const std::size_t first = count == 3 ? 2 : 0;
    for (std::size_t i = 0; i < count; ++i)
        set_once(text, builder, MeshBuilder::plane(builder.mesh().derivatives, first + i),
                 values[i]);
}

// The data after `v NUMBER`, each item introduced by a letter.
void parse_vertex_data(Lexer& text, MeshBuilder& builder, const std::vector<Vec3>& vectors) {
    Mesh& mesh = builder.mesh();
    std::size_t spaces = 0, steps = 0, users = 0;
    for (;;) {
        switch (text.raw_letter()) {
        case 'n':
            text.skip_byte();
            set_once(text, builder, mesh.normals, parse_vector_number(text, vectors));
            break;
        case 't': {
            text.skip_byte();
            const std::size_t space = next_plane(text, spaces);
            set_once(text, builder, MeshBuilder::plane(mesh.textures, space),
                     parse_vector_number(text, vectors));
            if (!text.at_number()) break;
            set_once(text, builder, MeshBuilder::plane(mesh.bump_x, space),
                     parse_vector_number(text, vectors));
            set_once(text, builder, MeshBuilder::plane(mesh.bump_y, space),
                     parse_vector_number(text, vectors));
            break;
        }
        case 'm':
            text.skip_byte();
            set_once(text, builder, MeshBuilder::plane(mesh.motion, next_plane(text, steps)),
                     parse_vector_number(text, vectors));
            break;
        case 'u':
            text.skip_byte();
            set_once(text, builder, MeshBuilder::plane(mesh.user, next_plane(text, users)),
                     parse_vector_number(text, vectors));
            break;
        case 'd':
            text.skip_byte();
            parse_derivatives(text, builder, vectors);
            break;
        default:
            return;
        }
    }
}

// Vertex flags are used by subdivision surfaces only.
void skip_vertex_flags(Lexer& text) {
    if (text.raw_accept("dart")) return;
    if (text.raw_accept("cusp") || text.raw_accept("conic") || text.raw_accept("corner"))
        if (text.raw_accept("level")) text.raw_integer();
}

void parse_vertices(Lexer& text, MeshBuilder& builder, const std::vector<Vec3>& vectors) {
    while (text.raw_letter() == 'v') {
        text.skip_byte();
        builder.add_vertex(parse_vector_number(text, vectors));
        parse_vertex_data(text, builder, vectors);
        skip_vertex_flags(text);
        ++builder.mesh().source_vertices;
    }
}

struct Polygon {
    std::vector<std::uint32_t> corners;
    std::vector<std::size_t> rings;
};

// Reads the material or label, the corners and the holes of a polygon.
void parse_polygon(Lexer& text, MeshBuilder& builder, Polygon& polygon) {
    parse_polygon_material(text, builder);
    polygon.corners.clear();
    polygon.rings.clear();
    do {
        const std::size_t before = polygon.corners.size();
        while (text.at_number())
            polygon.corners.push_back(parse_corner(text, builder.group_vertices()));
        polygon.rings.push_back(polygon.corners.size() - before);
    } while (text.raw_accept("hole"));
}

enum class Shape : std::uint8_t { convex, any, strip, fan };

void add_polygon(Context& c, MeshBuilder& builder, Polygon& polygon, Shape shape, Location where) {
    for (const std::size_t ring : polygon.rings)
        if (ring < 3) {
            c.diagnostics.skip("small polygon", where,
                               "polygons with fewer than three corners are ignored");
            return;
        }
    const bool holes = polygon.rings.size() > 1;
    bool clipped = true;
    if (shape == Shape::strip)
        builder.add_strip(polygon.corners);
    else if (shape == Shape::any || holes)
        clipped = builder.add_polygon(polygon.corners, polygon.rings);
    else
        builder.add_fan(polygon.corners);
    if (!clipped) {
        c.diagnostics.omit(Omission::statement, "complex polygon");
        c.diagnostics.warning(where, "the polygon is too complex; its triangulation may be wrong");
    }
}

// Reads the keyword that begins a polygon.
std::optional<Shape> accept_polygon(Lexer& text) {
    switch (text.raw_letter()) {
    case 'c':
        text.skip_byte();
        return Shape::convex;
    case 'p':
        text.skip_byte();
        return Shape::any;
    case 0:
        break;
    default:
        return std::nullopt;
    }
    if (text.raw_accept("cp")) return Shape::convex;
    if (text.raw_accept("strip")) return Shape::strip;
    if (text.raw_accept("fan")) return Shape::fan;
    return std::nullopt;
}

void parse_polygons(Context& c, Lexer& text, MeshBuilder& builder) {
    Polygon polygon;
    for (;;) {
        text.peek();
        const Location where = text.place();
        const std::optional<Shape> shape = accept_polygon(text);
        if (!shape) return;
        parse_polygon(text, builder, polygon);
        add_polygon(c, builder, polygon, *shape, where);
    }
}

} // namespace

void parse_polygon_material(Lexer& text, MeshBuilder& builder) {
    if (builder.tagged()) {
        if (!text.at_number()) text.fail("the label of a polygon (the object is tagged)");
        builder.set_material(text.raw_integer());
        return;
    }
    const int next = text.peek();
    if (next == '"') {
        const Token token = text.next();
        builder.set_material(
            builder.material(token.escaped ? unescape(token) : std::string_view(token.text)));
    } else if (text.at_word_start()) {
        builder.set_material(builder.material(text.next().text));
    }
}

std::uint32_t parse_corner(Lexer& text, std::size_t vertices) {
    const std::int32_t number = text.raw_integer();
    if (number < 0 || static_cast<std::size_t>(number) >= vertices)
        throw SyntaxError{text.number_place(), "there is no vertex " + std::to_string(number) +
                                                   ": the group has " + std::to_string(vertices)};
    return static_cast<std::uint32_t>(number);
}

bool parse_group(Context& c, MeshBuilder& builder) {
    Cursor& cursor = c.cursor;
    cursor.advance();
    if (cursor.at_string()) cursor.advance();
    if (cursor.at_word() && !cursor.at_any({"merge", "v", "c", "cp", "p", "strip", "fan", "end"}) &&
        !cursor.at_any({"curve", "surface", "space", "subdivision", "ccmesh", "connect"}))
        cursor.advance(); // an unquoted name
    if (cursor.accept("merge")) cursor.number();

    std::vector<Vec3> vectors;
    builder.begin_group();
    Lexer& text = cursor.raw();
    parse_vectors(text, vectors);
    parse_vertices(text, builder, vectors);
    builder.mesh().source_vectors += vectors.size();
    for (;;) {
        parse_polygons(c, text, builder);
        cursor.end_raw();
        if (cursor.accept("end")) {
            cursor.expect("group");
            return true;
        }
        if (cursor.at_any({"curve", "surface", "space", "subdivision", "ccmesh", "connect"}))
            return false;
        if (!cursor.at_any({"approximate", "visible", "trace", "shadow", "caustic", "globillum"}))
            cursor.fail("a vector, a vertex, a polygon or 'end group'");
        skip_approximation(cursor);
        cursor.raw();
    }
}

} // namespace vx::scene
