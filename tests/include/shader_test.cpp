// The renderer's interface header: sizes, offsets, known values, and the inline vector helpers.
#include "shader.h"

#include <gtest/gtest.h>

#include <type_traits>

extern "C" {
int shader_h_c_param_size(void);
float shader_h_c_dot(void);
}

namespace {

TEST(ShaderHeader, CompilesAsC) {
    EXPECT_EQ(shader_h_c_param_size(), 20);
    EXPECT_EQ(shader_h_c_dot(), 12.0f);
}

TEST(ShaderHeader, CacheIsTheWordBeforeOrg) {
    EXPECT_EQ(offsetof(miState, org) - offsetof(miState, cache), sizeof(void*));
}

TEST(ShaderHeader, StateGroupsFollowTheDocumentedOrder) {
    EXPECT_LT(offsetof(miState, options), offsetof(miState, raster_x));
    EXPECT_LT(offsetof(miState, thread), offsetof(miState, parent));
    EXPECT_LT(offsetof(miState, child), offsetof(miState, type));
    EXPECT_LT(offsetof(miState, face), offsetof(miState, refraction_volume));
    EXPECT_LT(offsetof(miState, importance), offsetof(miState, tex_list));
    EXPECT_LT(offsetof(miState, derivs), offsetof(miState, user));
}

TEST(ShaderHeader, CameraFieldsStandAtTheirDocumentedOffsets) {
    EXPECT_EQ(offsetof(miCamera, orthographic), 0u);
    EXPECT_EQ(offsetof(miCamera, focal), 4u);
    EXPECT_EQ(offsetof(miCamera, aperture), 8u);
    EXPECT_EQ(offsetof(miCamera, aspect), 12u);
    EXPECT_EQ(offsetof(miCamera, clip), 16u);
    EXPECT_EQ(offsetof(miCamera, x_resolution), 24u);
    EXPECT_EQ(offsetof(miCamera, y_resolution), 28u);
    EXPECT_EQ(offsetof(miCamera, window), 32u);
    EXPECT_EQ(offsetof(miCamera, volume), 48u);
    EXPECT_EQ(offsetof(miCamera, environment), 52u);
    EXPECT_EQ(offsetof(miCamera, lens), 56u);
    EXPECT_EQ(offsetof(miCamera, output), 60u);
    EXPECT_EQ(offsetof(miCamera, frame), 64u);
    EXPECT_EQ(offsetof(miCamera, frame_time), 68u);
    EXPECT_EQ(offsetof(miCamera, frame_field), 72u);
    EXPECT_EQ(offsetof(miCamera, x_offset), 76u);
    EXPECT_EQ(offsetof(miCamera, y_offset), 80u);
    EXPECT_EQ(offsetof(miCamera, userdata), 84u);
    EXPECT_EQ(offsetof(miCamera, pass), 88u);
    EXPECT_EQ(offsetof(miCamera, focus), 92u);
    EXPECT_EQ(offsetof(miCamera, radius), 96u);
    EXPECT_EQ(offsetof(miCamera, pass_mask), 100u);
    EXPECT_EQ(sizeof(miCamera), 148u);
}

TEST(ShaderHeader, InstanceFieldsStandAtTheirDocumentedOffsets) {
    EXPECT_EQ(offsetof(miInstance, tf), 0u);
    EXPECT_EQ(offsetof(miInstance, motion_transform), 144u);
    EXPECT_EQ(offsetof(miInstance, item), 208u);
    EXPECT_EQ(offsetof(miInstance, material), 212u);
    EXPECT_EQ(offsetof(miInstance, parent), 216u);
    EXPECT_EQ(offsetof(miInstance, boxes), 220u);
    EXPECT_EQ(offsetof(miInstance, next), 224u);
    EXPECT_EQ(offsetof(miInstance, prev), 228u);
    EXPECT_EQ(offsetof(miInstance, mtl_array_size), 232u);
    EXPECT_EQ(offsetof(miInstance, light_obj_ring), 236u);
    EXPECT_EQ(offsetof(miInstance, userdata), 240u);
    EXPECT_EQ(offsetof(miInstance, label), 244u);
    EXPECT_EQ(offsetof(miInstance, geogroup), 248u);
    EXPECT_EQ(offsetof(miInstance, off), 252u);
    EXPECT_EQ(offsetof(miInstance, gen_motion), 253u);
}

TEST(ShaderHeader, MaterialFieldsStandAtTheirDocumentedOffsets) {
    EXPECT_EQ(offsetof(miMaterial, opaque), 0u);
    EXPECT_EQ(offsetof(miMaterial, shader), 4u);
    EXPECT_EQ(offsetof(miMaterial, displace), 8u);
    EXPECT_EQ(offsetof(miMaterial, shadow), 12u);
    EXPECT_EQ(offsetof(miMaterial, volume), 16u);
    EXPECT_EQ(offsetof(miMaterial, environment), 20u);
    EXPECT_EQ(offsetof(miMaterial, contour), 24u);
    EXPECT_EQ(offsetof(miMaterial, photon), 28u);
    EXPECT_EQ(offsetof(miMaterial, photonvol), 32u);
    EXPECT_EQ(offsetof(miMaterial, lightmap), 36u);
    EXPECT_EQ(offsetof(miMaterial, hardware), 40u);
}

TEST(ShaderHeader, FunctionFieldsStandAtTheirDocumentedOffsets) {
    EXPECT_EQ(offsetof(miFunction, spare), 0u);
    EXPECT_EQ(offsetof(miFunction, type), 56u);
    EXPECT_EQ(offsetof(miFunction, out_typemap), 60u);
    EXPECT_EQ(offsetof(miFunction, out_interpmap), 64u);
    EXPECT_EQ(offsetof(miFunction, function_decl), 68u);
    EXPECT_EQ(offsetof(miFunction, next_function), 72u);
    EXPECT_EQ(offsetof(miFunction, parameter_indirect), 76u);
    EXPECT_EQ(offsetof(miFunction, interfacephen), 80u);
    EXPECT_EQ(offsetof(miFunction, parameter_size), 88u);
    EXPECT_EQ(offsetof(miFunction, result_size), 92u);
    EXPECT_EQ(offsetof(miFunction, ghost_offs), 96u);
    EXPECT_EQ(offsetof(miFunction, pass_read), 100u);
    EXPECT_EQ(offsetof(miFunction, pass_write), 104u);
    EXPECT_EQ(offsetof(miFunction, pass_maxsamples), 108u);
    EXPECT_EQ(offsetof(miFunction, parameters) % 8, 0u);
}

TEST(ShaderHeader, KnownValues) {
    EXPECT_EQ(miRAY_EYE, 0);
    EXPECT_EQ(miRAY_REFLECT, 2);
    EXPECT_EQ(miSCENE_FUNCTION, 2);
    EXPECT_EQ(miSCENE_MATERIAL, 3);
    EXPECT_EQ(miQ_FUNC_USERPTR, 51);
    EXPECT_EQ(miQ_FUNC_DECL, 54);
    EXPECT_EQ(miQ_FUNC_TLS_GET, 124);
    EXPECT_EQ(miQ_FUNC_TLS_SET, 126);
    EXPECT_EQ(miFUNCTION_C, 0);
    EXPECT_EQ(miFUNCTION_PHEN, 1);
    EXPECT_EQ(miFUNCTION_C_REQ, 2);
    EXPECT_EQ(miFUNCTION_HARDWARE, 9);
    EXPECT_EQ(miTYPE_BOOLEAN, 0);
    EXPECT_EQ(miTYPE_COLOR, 4);
    EXPECT_EQ(miTYPE_SPECTRUM, 19);
    EXPECT_EQ(miNTYPES, 20);
    EXPECT_EQ(miNULLTAG, 0u);
    EXPECT_TRUE((std::is_same_v<miTag, unsigned>));
}

TEST(ShaderHeader, RayTypeTestsDistinguishThreeGroups) {
    EXPECT_TRUE(miRAY_PRIMARY(miRAY_EYE));
    EXPECT_FALSE(miRAY_PRIMARY(miRAY_REFLECT));
    EXPECT_TRUE(miRAY_SECONDARY(miRAY_REFLECT));
    EXPECT_FALSE(miRAY_SECONDARY(miRAY_SHADOW));
    EXPECT_TRUE(miRAY_PHOTON(miPHOTON_LIGHT));
    EXPECT_TRUE(miRAY_PHOTON(miPHOTON_EMIT_GLOBILLUM));
    EXPECT_FALSE(miRAY_PHOTON(miRAY_NONE));
}

TEST(ShaderHeader, VectorHelpers) {
    const miVector x = {1, 0, 0};
    const miVector y = {0, 1, 0};
    miVector r;
    mi_vector_prod(&r, &x, &y);
    EXPECT_EQ(r.x, 0);
    EXPECT_EQ(r.y, 0);
    EXPECT_EQ(r.z, 1);
    miVector v = {3, 0, 4};
    EXPECT_EQ(mi_vector_norm(&v), 5);
    mi_vector_normalize(&v);
    EXPECT_FLOAT_EQ(v.x, 0.6f);
    EXPECT_FLOAT_EQ(v.z, 0.8f);
    EXPECT_EQ(mi_vector_det(&x, &y, &r), 1);
}

TEST(ShaderHeader, DivisionByZeroLeavesTheVectorAlone) {
    miVector v = {1, 2, 3};
    mi_vector_div(&v, 0);
    EXPECT_EQ(v.x, 1);
    miVector null = {0, 0, 0};
    mi_vector_normalize(&null);
    EXPECT_EQ(null.x, 0);
}

TEST(ShaderHeader, CrossProductMayOverwriteAnOperand) {
    miVector a = {1, 2, 3};
    const miVector b = {4, 5, 6};
    mi_vector_prod(&a, &a, &b);
    EXPECT_EQ(a.x, -3);
    EXPECT_EQ(a.y, 6);
    EXPECT_EQ(a.z, -3);
}

} // namespace
