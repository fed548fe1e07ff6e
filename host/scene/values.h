// Values of shader parameters and the calls that hold them, as written in the scene.
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

// How a number was written: an integer may stand for a real, a real never for an integer; booleans
// stand for themselves, and the integers 0 and 1 may stand for a boolean.
enum class NumberKind : std::uint8_t { boolean, integer, real };

struct Number {
    double value = 0; // integers are 32 bits wide, so every one of them is exact here
    NumberKind kind = NumberKind::integer;
    bool operator==(const Number&) const = default;
};

struct Parameter;
struct Value;

struct Null {
    bool operator==(const Null&) const = default;
};
// `= "name"`: computed by that shader. The name is as written: "ramp1.outColor" may be a shader of
// exactly that name or the member of a struct result; whoever builds the shader decides.
struct Connection {
    std::string name;
    bool operator==(const Connection&) const = default;
};
// `= interface "name"`: the value that the caller of the phenomenon gave.
struct Interface {
    std::string name;
    bool operator==(const Interface&) const = default;
};
struct StructValue {
    std::vector<Parameter> members; // in the order written, each name once
};
struct ArrayValue {
    std::vector<Value> elements; // never a bare array inside an array
};

// What stands after a parameter's name. Numbers are all numbers of one value: one for a scalar,
// three or four for a colour, sixteen for a transform.
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
// Places are not compared.
bool operator==(const Parameter& a, const Parameter& b);
inline bool operator==(const StructValue& a, const StructValue& b) {
    return a.members == b.members;
}
inline bool operator==(const ArrayValue& a, const ArrayValue& b) {
    return a.elements == b.elements;
}

// `"declared name" ( parameters )`. The declaration need not be known: the reader does not check
// names and types of parameters; whoever builds the shader does, and reports with `where`.
struct ShaderCall {
    std::string declaration;
    std::vector<Parameter> parameters; // as written; each name once (the last one given counts)
    Location where;
};

// `= "name"` in a list of shaders: a named shader (the reader has checked that there is one).
struct ShaderReference {
    std::string name;
    Location where;
};

using Shader = std::variant<ShaderCall, ShaderReference>;
// To be called in this order on the same result.
using ShaderList = std::vector<Shader>;

} // namespace vx::scene
