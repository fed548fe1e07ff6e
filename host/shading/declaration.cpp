#include "host/shading/declaration.h"

#include <algorithm>

namespace vx::shading {

miParam_type param_type(scene::Type type) {
    switch (type) {
    case scene::Type::boolean:
        return miTYPE_BOOLEAN;
    case scene::Type::integer:
        return miTYPE_INTEGER;
    case scene::Type::scalar:
        return miTYPE_SCALAR;
    case scene::Type::string:
        return miTYPE_STRING;
    case scene::Type::color:
        return miTYPE_COLOR;
    case scene::Type::vector:
        return miTYPE_VECTOR;
    case scene::Type::transform:
        return miTYPE_TRANSFORM;
    case scene::Type::scalar_texture:
        return miTYPE_SCALAR_TEX;
    case scene::Type::vector_texture:
        return miTYPE_VECTOR_TEX;
    case scene::Type::color_texture:
        return miTYPE_COLOR_TEX;
    case scene::Type::light:
        return miTYPE_LIGHT;
    case scene::Type::material:
        return miTYPE_MATERIAL;
    case scene::Type::geometry:
        return miTYPE_GEOMETRY;
    case scene::Type::lightprofile:
        return miTYPE_LIGHTPROFILE;
    case scene::Type::spectrum:
        return miTYPE_SPECTRUM;
    case scene::Type::shader:
        return miTYPE_SHADER;
    case scene::Type::data:
        return miTYPE_DATA;
    case scene::Type::structure:
        return miTYPE_STRUCT;
    case scene::Type::array:
        return miTYPE_ARRAY;
    }
    return miTYPE_COLOR;
}

int basic_size(miParam_type type) {
    switch (type) {
    case miTYPE_COLOR:
        return static_cast<int>(sizeof(miColor));
    case miTYPE_VECTOR:
        return static_cast<int>(sizeof(miVector));
    case miTYPE_TRANSFORM:
        return static_cast<int>(sizeof(miMatrix));
    case miTYPE_STRUCT:
    case miTYPE_ARRAY:
        return 0;
    default:
        return 4;
    }
}

std::string_view param_type_name(miParam_type type) {
    switch (type) {
    case miTYPE_BOOLEAN:
        return "boolean";
    case miTYPE_INTEGER:
        return "integer";
    case miTYPE_SCALAR:
        return "scalar";
    case miTYPE_STRING:
        return "string";
    case miTYPE_COLOR:
        return "color";
    case miTYPE_VECTOR:
        return "vector";
    case miTYPE_TRANSFORM:
        return "transform";
    case miTYPE_SHADER:
        return "shader";
    case miTYPE_SCALAR_TEX:
        return "scalar texture";
    case miTYPE_COLOR_TEX:
        return "color texture";
    case miTYPE_VECTOR_TEX:
        return "vector texture";
    case miTYPE_LIGHT:
        return "light";
    case miTYPE_STRUCT:
        return "struct";
    case miTYPE_ARRAY:
        return "array";
    case miTYPE_TEX:
        return "texture";
    case miTYPE_MATERIAL:
        return "material";
    case miTYPE_GEOMETRY:
        return "geometry";
    case miTYPE_LIGHTPROFILE:
        return "lightprofile";
    case miTYPE_DATA:
        return "data";
    case miTYPE_SPECTRUM:
        return "spectrum";
    case miNTYPES:
        break;
    }
    return "unknown";
}

namespace {

// Members lie one behind the other; all are aligned to 4, so there are no gaps.
std::vector<Member> lay_out_members(const std::vector<scene::ParameterDeclaration>& declared,
                                    int& total) {
    std::vector<Member> members;
    members.reserve(declared.size());
    total = 0;
    for (const scene::ParameterDeclaration& parameter : declared) {
        const bool array = parameter.type == scene::Type::array && parameter.members.size() == 1;
        const scene::ParameterDeclaration& element = array ? parameter.members.front() : parameter;
        Member member;
        member.name = parameter.name;
        member.type = param_type(element.type);
        member.array = array;
        member.offset = total;
        member.defaults = element.defaults;
        member.size = basic_size(member.type);
        if (member.type == miTYPE_STRUCT)
            member.members = lay_out_members(element.members, member.size);
        total += member.room();
        members.push_back(std::move(member));
    }
    return members;
}

} // namespace

std::optional<FoundMember> find_member(std::span<const Member> members,
                                       std::string_view dotted_name) {
    int offset = 0;
    while (true) {
        const std::size_t dot = dotted_name.find('.');
        const std::string_view first = dotted_name.substr(0, dot);
        const auto found =
            std::find_if(members.begin(), members.end(),
                         [first](const Member& member) { return member.name == first; });
        if (found == members.end()) return std::nullopt;
        offset += found->offset;
        if (dot == std::string_view::npos) return FoundMember{&*found, offset};
        if (found->array || found->type != miTYPE_STRUCT) return std::nullopt;
        members = found->members;
        dotted_name.remove_prefix(dot + 1);
    }
}

std::unique_ptr<DeclaredShader> lay_out(const scene::Declaration& source) {
    auto declaration = std::make_unique<DeclaredShader>();
    declaration->source = source;
    declaration->parameters = lay_out_members(source.parameters, declaration->fixed_size);
    declaration->result_type = param_type(source.result);
    if (declaration->result_type == miTYPE_STRUCT)
        declaration->result_members =
            lay_out_members(source.result_fields, declaration->result_size);
    else
        declaration->result_size = basic_size(declaration->result_type);
    return declaration;
}

} // namespace vx::shading
