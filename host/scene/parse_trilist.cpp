// Triangle lists: text or binary, with inline vertex data or, in the older form, with vector
// indices.
#include "host/scene/big_endian.h"
#include "host/scene/parse_object.h"

namespace vx::scene {

namespace {

constexpr int kPartLimit = 1024; // numbers in one part of a vertex

// A part of the vertex data, after the position.
struct Part {
    enum class Kind : std::uint8_t { normal, first, second, motion, bump, texture, user };
    Kind kind = Kind::normal;
    int count = 1;         // motion, bump
    std::vector<int> dims; // texture, user
};

struct Header {
    bool indexed = false; // the older form
    std::size_t vectors = 0, vertices = 0, triangles = 0, border = 0;
    std::vector<Part> parts;
};

std::size_t parse_count(Cursor& cursor, bool bracket) {
    if (bracket) cursor.expect_mark('[');
    const auto count = static_cast<std::size_t>(cursor.integer_from(0, "a count"));
    if (bracket) cursor.expect_mark(']');
    return count;
}

int parse_part_count(Cursor& cursor) {
    if (cursor.at_integer() && cursor.token().integer > kPartLimit)
        cursor.fail("a count of at most " + std::to_string(kPartLimit));
    return cursor.integer_from(0, "a count");
}

std::vector<Part> parse_parts(Cursor& cursor) {
    struct Code {
        std::string_view word;
        Part::Kind kind;
    };
    constexpr Code kCodes[] = {{"n", Part::Kind::normal},  {"d", Part::Kind::first},
                               {"d2", Part::Kind::second}, {"m", Part::Kind::motion},
                               {"b", Part::Kind::bump},    {"t", Part::Kind::texture},
                               {"u", Part::Kind::user}};
    std::vector<Part> parts;
    for (bool found = true; found;) {
        found = false;
        for (const Code& code : kCodes) {
            if (!cursor.accept(code.word)) continue;
            found = true;
            Part part;
            part.kind = code.kind;
            const bool lists = part.kind == Part::Kind::texture || part.kind == Part::Kind::user;
            const bool counts = part.kind == Part::Kind::motion || part.kind == Part::Kind::bump;
            if (counts && cursor.at_integer()) part.count = parse_part_count(cursor);
            while (lists && cursor.at_integer())
                part.dims.push_back(parse_part_count(cursor));
            if (parts.size() == static_cast<std::size_t>(kPartLimit))
                cursor.fail("at most " + std::to_string(kPartLimit) + " parts of a vertex");
            parts.push_back(std::move(part));
        }
    }
    return parts;
}

Header parse_header(Cursor& cursor) {
    Header header;
    cursor.advance();
    if (cursor.accept("vector")) {
        header.indexed = true;
        header.vectors = parse_count(cursor, true);
    }
    cursor.expect("vertex");
    header.vertices = parse_count(cursor, header.indexed);
    cursor.expect("p");
    header.parts = parse_parts(cursor);
    cursor.expect("triangle");
    header.triangles = parse_count(cursor, header.indexed);
    if (cursor.accept("border")) header.border = parse_count(cursor, header.indexed);
    if (cursor.accept("data")) {
        parse_count(cursor, false);
        parse_count(cursor, false);
    }
    return header;
}

// Read the numbers of a vertex from text or from a binary block.
class TextNumbers {
  public:
    explicit TextNumbers(Lexer& text) : m_text(text) {}
    float next() { return m_text.raw_float(); }

  private:
    Lexer& m_text;
};

class BinaryNumbers {
  public:
    explicit BinaryNumbers(const char* bytes) : m_bytes(bytes) {}
    float next() {
        const float value = big_endian_float(m_bytes);
        m_bytes += 4;
        return value;
    }

  private:
    const char* m_bytes;
};

template <class Numbers>
Vec3 next_vector(Numbers& numbers) {
    Vec3 v;
    v.x = numbers.next();
    v.y = numbers.next();
    v.z = numbers.next();
    return v;
}

// Reads `dims` coordinates. Coordinates after the third are ignored.
template <class Numbers>
Vec3 next_coordinates(Numbers& numbers, int dims) {
    Vec3 v;
    for (int i = 0; i < dims; ++i) {
        const float value = numbers.next();
        if (i == 0) v.x = value;
        if (i == 1) v.y = value;
        if (i == 2) v.z = value;
    }
    return v;
}

// Bump vectors are ordered x, y, x, y, … by texture space.
std::vector<Vec3>& bump_plane(Mesh& mesh, int i) {
    return MeshBuilder::plane(i % 2 == 0 ? mesh.bump_x : mesh.bump_y,
                              static_cast<std::size_t>(i) / 2);
}

template <class Numbers>
void add_vertex(MeshBuilder& builder, const Header& header, Numbers& numbers) {
    Mesh& mesh = builder.mesh();
    builder.add_vertex(next_vector(numbers));
    std::size_t textures = 0, users = 0;
    for (const Part& part : header.parts) {
        switch (part.kind) {
        case Part::Kind::normal:
            builder.set(mesh.normals, next_vector(numbers));
            break;
        case Part::Kind::first:
        case Part::Kind::second: {
            const std::size_t from = part.kind == Part::Kind::first ? 0 : 2;
            const std::size_t to = part.kind == Part::Kind::first ? 2 : 5;
            for (std::size_t i = from; i < to; ++i)
                builder.set(MeshBuilder::plane(mesh.derivatives, i), next_vector(numbers));
            break;
        }
        case Part::Kind::motion:
            for (int i = 0; i < part.count; ++i)
                builder.set(MeshBuilder::plane(mesh.motion, static_cast<std::size_t>(i)),
                            next_vector(numbers));
            break;
        case Part::Kind::bump:
            for (int i = 0; i < part.count; ++i)
                builder.set(bump_plane(mesh, i), next_vector(numbers));
            break;
        case Part::Kind::texture:
            for (const int dims : part.dims)
                builder.set(MeshBuilder::plane(mesh.textures, textures++),
                            next_coordinates(numbers, dims));
            break;
        case Part::Kind::user:
            for (const int dims : part.dims)
                builder.set(MeshBuilder::plane(mesh.user, users++),
                            next_coordinates(numbers, dims));
            break;
        }
    }
}

std::size_t numbers_per_vertex(const Header& header) {
    std::size_t count = 3;
    for (const Part& part : header.parts) {
        const auto n = static_cast<std::size_t>(part.count);
        switch (part.kind) {
        case Part::Kind::normal:
            count += 3;
            break;
        case Part::Kind::first:
            count += 6;
            break;
        case Part::Kind::second:
            count += 9;
            break;
        case Part::Kind::motion:
        case Part::Kind::bump:
            count += 3 * n;
            break;
        case Part::Kind::texture:
        case Part::Kind::user:
            for (const int dims : part.dims)
                count += static_cast<std::size_t>(dims);
            break;
        }
    }
    return count;
}

// Enters brackets, whose contents are read from the buffer up to close_bracket. The current token
// is the opening bracket.
Lexer& open_bracket(Cursor& cursor) {
    if (!cursor.at_mark('[')) cursor.fail("'['");
    Lexer& text = cursor.raw();
    text.skip_byte();
    return text;
}

void close_bracket(Cursor& cursor, Lexer& text, const char* expected) {
    if (text.peek() != ']') text.fail(expected);
    text.skip_byte();
    cursor.end_raw();
}

// Parses `word` and a binary block of `count` items of `each` bytes.
std::string_view parse_block(Cursor& cursor, const char* word, std::size_t count,
                             std::size_t each) {
    if (!cursor.at(word)) cursor.fail('\'' + std::string(word) + "' and a binary block");
    cursor.advance();
    if (cursor.token().kind != TokenKind::backquote) cursor.fail("a binary block");
    Lexer& text = cursor.raw();
    text.skip_byte();
    if (count > text.remaining() / each) // as raw_block, but the product may overflow
        cursor.fail_at(text.place(), "the binary block is too short for its count");
    const std::string_view block = text.raw_block(count * each);
    cursor.end_raw();
    return block;
}

void parse_vertices(Cursor& cursor, MeshBuilder& builder, const Header& header) {
    if (cursor.at("scalar")) {
        const std::size_t each = numbers_per_vertex(header) * 4;
        const std::string_view block = parse_block(cursor, "scalar", header.vertices, each);
        BinaryNumbers numbers(block.data());
        for (std::size_t i = 0; i < header.vertices; ++i)
            add_vertex(builder, header, numbers);
        return;
    }
    Lexer& text = open_bracket(cursor);
    TextNumbers numbers(text);
    for (std::size_t i = 0; i < header.vertices; ++i)
        add_vertex(builder, header, numbers);
    close_bracket(cursor, text, "']' after the last vertex");
}

// Reads vector indices, which vertices of the older form consist of.
class IndexedNumbers {
  public:
    IndexedNumbers(Lexer& text, const std::vector<Vec3>& vectors)
        : m_text(text), m_vectors(vectors) {}
    const Vec3& next() {
        const std::int32_t i = m_text.raw_integer();
        if (i < 0 || static_cast<std::size_t>(i) >= m_vectors.size())
            throw SyntaxError{m_text.number_place(), "there is no vector " + std::to_string(i) +
                                                         ": the list has " +
                                                         std::to_string(m_vectors.size())};
        return m_vectors[static_cast<std::size_t>(i)];
    }

  private:
    Lexer& m_text;
    const std::vector<Vec3>& m_vectors;
};

void add_indexed_vertex(MeshBuilder& builder, const Header& header, IndexedNumbers& vectors) {
    Mesh& mesh = builder.mesh();
    builder.add_vertex(vectors.next());
    std::size_t textures = 0, users = 0;
    for (const Part& part : header.parts) {
        const int slots = part.dims.empty() ? part.count : part.dims.front();
        switch (part.kind) {
        case Part::Kind::normal:
            builder.set(mesh.normals, vectors.next());
            break;
        case Part::Kind::first:
        case Part::Kind::second:
            vectors.next(); // a single vector, which cannot be two or three derivatives
            break;
        case Part::Kind::motion:
            for (int i = 0; i < slots; ++i)
                builder.set(MeshBuilder::plane(mesh.motion, static_cast<std::size_t>(i)),
                            vectors.next());
            break;
        case Part::Kind::bump:
            for (int i = 0; i < slots; ++i)
                builder.set(bump_plane(mesh, i), vectors.next());
            break;
        case Part::Kind::texture:
            for (int i = 0; i < slots; ++i)
                builder.set(MeshBuilder::plane(mesh.textures, textures++), vectors.next());
            break;
        case Part::Kind::user:
            for (int i = 0; i < slots; ++i)
                builder.set(MeshBuilder::plane(mesh.user, users++), vectors.next());
            break;
        }
    }
}

void parse_indexed_vertices(Cursor& cursor, MeshBuilder& builder, const Header& header) {
    std::vector<Vec3> vectors;
    Lexer& text = open_bracket(cursor);
    TextNumbers numbers(text);
    for (std::size_t i = 0; i < header.vectors; ++i)
        vectors.push_back(next_vector(numbers));
    close_bracket(cursor, text, "']' after the last vector");
    builder.mesh().source_vectors += vectors.size();
    open_bracket(cursor);
    IndexedNumbers indices(text, vectors);
    for (std::size_t i = 0; i < header.vertices; ++i)
        add_indexed_vertex(builder, header, indices);
    close_bracket(cursor, text, "']' after the last vertex");
}

void parse_binary_triangles(Context& c, MeshBuilder& builder, std::size_t count, bool keep) {
    Cursor& cursor = c.cursor;
    const Location where = cursor.where();
    if (!builder.tagged()) cursor.fail_at(where, "only tagged objects may have binary triangles");
    const std::string_view corners = parse_block(cursor, "integer", count, 12);
    const std::string_view labels = parse_block(cursor, "integer", count, 4);
    if (!keep) return;
    const std::size_t vertices = builder.group_vertices();
    for (std::size_t i = 0; i < count; ++i) {
        Triangle t;
        for (std::size_t k = 0; k < t.size(); ++k) {
            t[k] = big_endian_word(corners.data() + 12 * i + 4 * k);
            if (t[k] >= vertices)
                cursor.fail_at(where, "triangle " + std::to_string(i) + " uses vertex " +
                                          std::to_string(t[k]) + " of " + std::to_string(vertices));
        }
        builder.set_material(static_cast<std::int32_t>(big_endian_word(labels.data() + 4 * i)));
        builder.add_triangle(t[0], t[1], t[2]);
    }
}

void parse_triangles(Context& c, MeshBuilder& builder, std::size_t count) {
    Cursor& cursor = c.cursor;
    builder.mesh().source_polygons += count;
    if (cursor.at("integer")) return parse_binary_triangles(c, builder, count, true);
    Lexer& text = open_bracket(cursor);
    const std::size_t vertices = builder.group_vertices();
    for (std::size_t i = 0; i < count; ++i) {
        parse_polygon_material(text, builder);
        const std::uint32_t a = parse_corner(text, vertices);
        const std::uint32_t b = parse_corner(text, vertices);
        const std::uint32_t last = parse_corner(text, vertices);
        builder.add_triangle(a, b, last);
    }
    close_bracket(cursor, text, "']' after the last triangle");
}

} // namespace

void parse_trilist(Context& c, MeshBuilder& builder) {
    Cursor& cursor = c.cursor;
    const Header header = parse_header(cursor);
    builder.begin_group();
    builder.mesh().source_vertices += header.vertices;
    if (header.indexed)
        parse_indexed_vertices(cursor, builder, header);
    else
        parse_vertices(cursor, builder, header);
    parse_triangles(c, builder, header.triangles);
    // Neighbor triangles, which are used for approximation only.
    if (cursor.accept("border")) {
        if (cursor.at("integer"))
            parse_binary_triangles(c, builder, header.border, false);
        else if (cursor.at_mark('['))
            cursor.skip_brackets();
        else
            cursor.fail("the border triangles");
    }
    if (cursor.at("topology"))
        while (!cursor.at("end") && !cursor.at_end())
            cursor.advance();
    cursor.expect("end");
    cursor.expect("trilist");
}

} // namespace vx::scene
