/*
 * The parameter block of a shader call: values and connections as the scene has them, laid out as
 * the declaration says.
 */
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

/* Where the names in values lead. */
class NameResolver {
  public:
    virtual ~NameResolver() = default;
    /* The element that a value of a tag type names; nothing when it is not known (yet). */
    virtual std::optional<miTag> reference(miParam_type type, std::string_view name) = 0;
    /* A named shader; null when it is not known (yet). */
    virtual const Function* shader(std::string_view name) = 0;
    /* A string element. */
    virtual miTag text(std::string_view text) = 0;
};

struct Block {
    std::vector<std::byte> bytes;
    std::vector<Connection> connections;
    bool complete = true; /* every name was known */
};

/* Which findings are reported; the others are passed over. */
struct BlockReport {
    bool mistakes = true; /* unknown parameters, wrong types, connections that cannot convert */
    bool unknown = false; /* names that lead nowhere */
};

/*
 * Parameters that are not given have the declared default, else zeros; a string that is not given
 * is the tag of an empty text. What is wrong is reported at its place and left at the default.
 *
 * A connection "a.b" is the shader "a.b" if there is one, else the member b of the struct result of
 * shader a. A bare connection to a struct result takes its first member.
 */
Block fill_block(const Declaration& declaration, const std::vector<scene::Parameter>& parameters,
                 NameResolver& names, scene::Diagnostics& diagnostics, BlockReport report);

} // namespace vx::shading
