// Declared shaders, with the memory layout of their parameters and results: C structures in the
// order of the declaration, all basic types aligned to 4.
//
// An array parameter x of T is `int i_x; int n_x; T x[1]`; its elements are x[i_x] to
// x[i_x + n_x - 1] and lie behind the fixed part of the block if there is more than one.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/scene/declaration.h"
#include "shader.h"

namespace vx::shading {

miParam_type param_type(scene::Type type);
// Bytes of a value of a basic type: 4, 12, 16 or 64. 0 for structs and arrays.
int basic_size(miParam_type type);
// "color", "scalar texture", ...
std::string_view param_type_name(miParam_type type);

// A parameter, a struct member or a field of a result.
struct Member {
    std::string name;
    miParam_type type = miTYPE_COLOR; // of the elements if it is an array
    bool array = false;
    int offset = 0;              // from the start of the struct or block; of i_x if it is an array
    int size = 0;                // of one value or array element
    std::vector<Member> members; // of a struct, with offsets from its start
    std::vector<scene::Number> defaults;

    // Bytes in the fixed part of the block.
    [[nodiscard]] int room() const { return array ? 8 + size : size; }
};

// The member that a dotted name refers to, and its offset from the start of the block. Names cannot
// refer to elements of arrays.
struct FoundMember {
    const Member* member;
    int offset;
};
std::optional<FoundMember> find_member(std::span<const Member> members,
                                       std::string_view dotted_name);

// Entry points of a shader.
struct ShaderCode {
    using Main = miBoolean (*)(void* result, miState* state, void* parameters);
    using Init = void (*)(miState* state, void* parameters, miBoolean* instances_too);
    using Exit = void (*)(miState* state, void* parameters);
    using Version = int (*)();
    Main main = nullptr;
    Init init = nullptr;
    Exit exit = nullptr;
    Version version = nullptr;
};

struct DeclaredShader {
    enum class Stage { cold, ready, refused };

    scene::Declaration source;
    std::vector<Member> parameters;
    int fixed_size = 0; // bytes of the block without the elements of arrays
    miParam_type result_type = miTYPE_COLOR;
    std::vector<Member> result_members; // of a struct result
    int result_size = 0;

    miTag tag = miNULLTAG; // its element
    // Code of the host instead of a library: see stand_in.h.
    std::optional<ShaderCode> built_in;

    // Life cycle, guarded by the init lock of the context.
    Stage stage = Stage::cold;
    ShaderCode code;
    std::string library;        // file that contains the code
    bool instance_init = false; // the shader wants an init per instance

    [[nodiscard]] const std::string& name() const { return source.name; }
};

// Computes the layout. FunctionTable makes the element.
std::unique_ptr<DeclaredShader> lay_out(const scene::Declaration& source);

} // namespace vx::shading
