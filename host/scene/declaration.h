// Declarations of shaders and of user data.
#pragma once

#include "host/scene/values.h"

#include <optional>

namespace vx::scene {

enum class Type : std::uint8_t {
    boolean,
    integer,
    scalar,
    string,
    color,
    vector,
    transform,
    scalar_texture,
    vector_texture,
    color_texture,
    light,
    material,
    geometry,
    lightprofile,
    spectrum,
    shader,
    data,
    structure,
    array
};

// As written in a declaration: "color texture", "struct", …
std::string_view type_name(Type type);
// Number of components: 1, 3, 4 or 16; 0 for types without numbers.
unsigned component_count(Type type);

// One parameter, struct member or result field.
struct ParameterDeclaration {
    std::string name;
    Type type = Type::color;
    // structure: its fields. array: exactly one, the element (with the same name).
    std::vector<ParameterDeclaration> members;
    // Empty, or the numbers after `default`: one per component, three or four for a color, and no
    // reals for an integer.
    std::vector<Number> defaults;

    bool operator==(const ParameterDeclaration&) const = default;
};

// The types of shader that a shader can be used as, one bit each.
enum Apply : std::uint32_t {
    apply_lens = 1u << 0,
    apply_material = 1u << 1,
    apply_light = 1u << 2,
    apply_shadow = 1u << 3,
    apply_environment = 1u << 4,
    apply_volume = 1u << 5,
    apply_texture = 1u << 6,
    apply_photon = 1u << 7,
    apply_geometry = 1u << 8,
    apply_displace = 1u << 9,
    apply_emitter = 1u << 10,
    apply_output = 1u << 11,
    apply_lightmap = 1u << 12,
    apply_photonvol = 1u << 13,
    apply_state = 1u << 14
};

// Phenomena are not supported. Their declarations are delivered with result, name and parameters
// only, so that calls of phenomena can be distinguished from calls of undeclared shaders.
enum class DeclarationKind : std::uint8_t { shader, data, phenomenon };

struct Declaration {
    DeclarationKind kind = DeclarationKind::shader;
    std::string name;
    Type result = Type::color;
    std::vector<ParameterDeclaration> result_fields; // for result structures
    std::vector<ParameterDeclaration> parameters;    // in order
    int version = 0;
    std::uint32_t apply = 0;                         // Apply bits; 0: not given
    std::optional<bool> wants_trace, wants_scanline; // required options
    Location where;
};

// Locations are not compared.
bool operator==(const Declaration& a, const Declaration& b);

} // namespace vx::scene
