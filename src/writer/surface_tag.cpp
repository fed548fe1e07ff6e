#include "src/writer/surface_tag.h"

#include "src/platform/pinned.h"
#include "src/platform/shader_access.h"
#include "src/tag/eval.h"

#include <cstring>

namespace {

constexpr int kNoTag = -1;

bool IsNamed(const void* declaration, const char* name) {
    return std::strcmp(DeclarationName(declaration), name) == 0;
}

// Compiled shaders and phenomena.
bool IsPlainFunction(const miFunction* function) {
    return function->type < miFUNCTION_C_REQ;
}

// The shader that is connected to a parameter of `wrapper`, or the null tag.
miTag AttachedShader(const miFunction* wrapper, miTag declaration, const char* parameter) {
    miParam_type type = miTYPE_COLOR;
    miBoolean isArray = miFALSE;
    int offset = 0;
    // The lookup releases the copy of the name.
    if (!mi_api_parameter_lookup(&type, &isArray, &offset, declaration, miFALSE,
                                 NameForRenderer(parameter)))
        return miNULLTAG;
    if (wrapper->ghost_offs == 0) return miNULLTAG;
    return ConnectedShader(wrapper, wrapper->parameters + offset);
}

int TagBehindWrapper(miState* hit, const miFunction* wrapper, miTag declaration,
                     const char* parameter) {
    const miTag attached = AttachedShader(wrapper, declaration, parameter);
    if (attached == miNULLTAG || mi_db_type(attached) != miSCENE_FUNCTION) return kNoTag;
    const CPinned<miFunction> function(attached);
    if (!IsPlainFunction(function.Get())) return kNoTag;
    // Not unpinned, on purpose: each hit behind a wrapper leaves one pin.
    const void* attachedDeclaration = mi_db_access(DeclarationOf(attached));
    return IsNamed(attachedDeclaration, "vx_pc_tag") ? evalInt(hit, function.Get()) : kNoTag;
}

int TagOfMaterial(miState* hit, miTag materialTag) {
    if (materialTag == miNULLTAG || mi_db_type(materialTag) != miSCENE_MATERIAL) return kNoTag;
    const CPinned<miMaterial> material(materialTag);
    const miTag shader = material->shader;
    if (shader == miNULLTAG || mi_db_type(shader) != miSCENE_FUNCTION) return kNoTag;
    const CPinned<miFunction> function(shader);
    if (!IsPlainFunction(function.Get())) return kNoTag;
    const miTag declarationTag = DeclarationOf(shader);
    const CPinned<void> declaration(declarationTag);
    if (IsNamed(declaration.Get(), "vx_pc_tag")) return evalInt(hit, function.Get());
    if (IsNamed(declaration.Get(), "sib_setnormal"))
        return TagBehindWrapper(hit, function.Get(), declarationTag, "input");
    if (IsNamed(declaration.Get(), "adskMayaShadingEngine"))
        return TagBehindWrapper(hit, function.Get(), declarationTag, "surfaceShader");
    return kNoTag;
}

} // namespace

int FindSurfaceTag(miState* hit) {
    if (hit->instance == miNULLTAG) return kNoTag;
    const CPinned<miInstance> instance(hit->instance);
    // Without a list, `material` is a material or null.
    if (instance->mtl_array_size < 1 || instance->material == miNULLTAG) return kNoTag;
    const CPinned<const miTag> materials(instance->material);
    int tag = kNoTag;
    for (int i = 0; i < instance->mtl_array_size && tag < 0; ++i)
        tag = TagOfMaterial(hit, materials.Get()[i]);
    return tag;
}
