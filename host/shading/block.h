// Parameter blocks: the values and connections of a shader call in the scene, in the memory layout
// of the shader's declaration.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/scene/diagnostics.h"
#include "host/scene/values.h"
#include "host/shading/function.h"

namespace vx::shading {

// Finds the elements that values name.
class NameResolver {
  public:
    virtual ~NameResolver() = default;
    // The element of that name, for a parameter of a tag type; nothing if it is not known (yet).
    virtual std::optional<miTag> reference(miParam_type type, std::string_view name) = 0;
    // A named shader; null if it is not known (yet).
    virtual const Function* shader(std::string_view name) = 0;
    // Makes a stand-in for a shader that does not exist and warns about it; null if a declared
    // shader has that name.
    virtual const Function* stand_in(std::string_view name, scene::Location where) = 0;
    // The string element of a text.
    virtual miTag text(std::string_view text) = 0;
};

struct ParameterBlock {
    std::vector<std::byte> bytes;
    std::vector<Connection> connections;
    bool complete = true; // all names were known
};

// Findings to report; others are ignored.
struct BlockReport {
    bool mistakes = true; // unknown parameters, wrong types, connections that cannot convert
    bool unknown = false; // names of elements that do not exist
};

// Parameters that are not given have the declared default, or zero; a string that is not given is
// the tag of an empty text. A wrong value is reported at its place in the scene and replaced by the
// default.
//
// A connection "a.b" is one to the shader "a.b" if there is one, else to the member b of the struct
// result of shader a. A connection to a struct result without a member takes the first member.
ParameterBlock fill_block(const DeclaredShader& declaration,
                          const std::vector<scene::Parameter>& parameters, NameResolver& names,
                          scene::Diagnostics& diagnostics, BlockReport report);

} // namespace vx::shading
