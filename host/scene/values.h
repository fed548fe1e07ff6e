// Values of shader parameters, and shader calls, as the scene has them.
#pragma once

#include "host/scene/diagnostics.h"

#include <array>
#include <string>
#include <variant>
#include <vector>

namespace vx::scene {

struct Vec3 {
    float x = 0, y = 0, z = 0;
    bool operator==(const Vec3&) const = default;
};

struct Color {
    float r = 0, g = 0, b = 0, a = 0;
    bool operator==(const Color&) const = default;
};

// Row-major, for row vectors, translation in the last row.
using Matrix = std::array<float, 16>;
inline constexpr Matrix kIdentityMatrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// The form of a number in the scene. An integer is also a valid real, but not the reverse; the
// integers 0 and 1 are also valid booleans.
enum class NumberKind : std::uint8_t { boolean, integer, real };

struct Number {
    double value = 0; // exact for integers, which have 32 bits
    NumberKind kind = NumberKind::integer;
    bool operator==(const Number&) const = default;
};

struct Parameter;
struct Value;

struct Null {
    bool operator==(const Null&) const = default;
};
// `= "name"`: the value is computed by that shader. "ramp1.outColor" may be a shader of exactly
// that name or a member of a struct result; the receiver decides.
struct Connection {
    std::string name;
    bool operator==(const Connection&) const = default;
};
// `= interface "name"`: the value of a parameter of the phenomenon.
struct Interface {
    std::string name;
    bool operator==(const Interface&) const = default;
};
struct StructValue {
    std::vector<Parameter> members; // in the order of the scene, each name once
};
struct ArrayValue {
    std::vector<Value> elements; // never an array directly inside an array
};

// The value of a parameter. The numbers are those of one value: one for a scalar, three or four for
// a color, sixteen for a transform.
struct Value {
    std::variant<std::vector<Number>, std::string, Null, Connection, Interface, StructValue,
                 ArrayValue>
        content;
};

struct Parameter {
    std::string name;
    Value value;
    Location where; // of the name
};

bool operator==(const Value& a, const Value& b);
// Locations are not compared.
bool operator==(const Parameter& a, const Parameter& b);
inline bool operator==(const StructValue& a, const StructValue& b) {
    return a.members == b.members;
}
inline bool operator==(const ArrayValue& a, const ArrayValue& b) {
    return a.elements == b.elements;
}

// `"declared name" ( parameters )`. The declaration need not be known: the reader does not check
// names and types of parameters. The receiver does, and reports errors at `where`.
struct ShaderCall {
    std::string declaration;
    std::vector<Parameter> parameters; // each name once; the last value counts
    Location where;
};

// `= "name"` in a list of shaders: a named shader, which exists.
struct ShaderReference {
    std::string name;
    Location where;
};

using Shader = std::variant<ShaderCall, ShaderReference>;
// Called in this order on the same result.
using ShaderList = std::vector<Shader>;

} // namespace vx::scene
