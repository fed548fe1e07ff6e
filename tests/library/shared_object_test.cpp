// The shared object: exports, dependencies, and its entry points.
#include "shader.h"
#include "tests/library/elf.h"
#include "tests/renderer_stub/map_stub.h"
#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::bytes_of;
using vx::stub::FunctionSetup;
using vx::stub::Renderer;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kInstrumented = true;
#else
constexpr bool kInstrumented = false;
#endif

bool is_instrumentation(const std::string& name) {
    for (const char* const part : {"libasan.", "libubsan.", "libtsan.", "libgcc_s."})
        if (name.starts_with(part)) return true;
    return false;
}

TEST(SharedObject, ExportsTheShaderEntriesAndNothingElse) {
    EXPECT_THAT(vx::test::read_shared_object(VX_LIBRARY).exported,
                ElementsAre("vx_pc_read", "vx_pc_read_exit", "vx_pc_read_init",
                            "vx_pc_read_version", "vx_pc_tag", "vx_pc_tag_exit", "vx_pc_tag_init",
                            "vx_pc_tag_version", "vx_pc_write", "vx_pc_write_exit",
                            "vx_pc_write_init", "vx_pc_write_version"));
}

TEST(SharedObject, NeedsNoLibraryButTheStandardOnes) {
    const std::set<std::string> allowed = {"libstdc++.so.6", "libm.so.6", "libc.so.6"};
    for (const std::string& library : vx::test::read_shared_object(VX_LIBRARY).needed)
        EXPECT_TRUE(allowed.contains(library) || (kInstrumented && is_instrumentation(library)))
            << library;
}

// Symbols that no other library defines must be functions of the renderer.
TEST(SharedObject, LeavesOnlyTheRenderersFunctionsUndefined) {
    const std::set<std::string> renderers = {"mi_api_parameter_lookup",
                                             "mi_db_access",
                                             "mi_db_type",
                                             "mi_db_unpin",
                                             "mi_delete_lock",
                                             "mi_flush_cache",
                                             "mi_get_shader_interface",
                                             "mi_info",
                                             "mi_init_lock",
                                             "mi_lock",
                                             "mi_mem_int_strdup",
                                             "mi_phen_eval",
                                             "mi_query",
                                             "mi_sample",
                                             "mi_shaderstate_get",
                                             "mi_shaderstate_set",
                                             "mi_string_substitute",
                                             "mi_trace_eye",
                                             "mi_trace_probe",
                                             "mi_trace_reflection",
                                             "mi_unlock",
                                             "mi_vector_from_camera",
                                             "mi_warning"};
    const auto object = vx::test::read_shared_object(VX_LIBRARY);
    EXPECT_THAT(object.unversioned, testing::Contains("mi_info"));
    for (const std::string& name : object.unversioned) {
        // Sanitizers replace functions of the C library without their versions.
        if (kInstrumented && !name.starts_with("mi_")) continue;
        EXPECT_TRUE(renderers.contains(name)) << name;
    }
}

class LoadedLibrary : public testing::Test {
  protected:
    void SetUp() override {
        m_library.reset(dlopen(VX_LIBRARY, RTLD_NOW | RTLD_LOCAL));
        ASSERT_NE(m_library, nullptr) << dlerror();
    }

    template <class Function>
    Function* entry(const std::string& name) {
        void* const found = dlsym(m_library.get(), name.c_str());
        EXPECT_NE(found, nullptr) << name;
        return reinterpret_cast<Function*>(found);
    }

    struct Close {
        void operator()(void* library) const { dlclose(library); }
    };
    std::unique_ptr<void, Close> m_library;
};

using Init = void(miState*, void*, miBoolean*);
using Exit = void(miState*, void*);
using Version = int(void);
using Shader = miBoolean(miColor*, miState*, void*);

class LoadedShader : public LoadedLibrary, public testing::WithParamInterface<const char*> {};

TEST_P(LoadedShader, VersionIs1) {
    EXPECT_EQ(entry<Version>(std::string(GetParam()) + "_version")(), 1);
}

TEST_P(LoadedShader, ShaderInitRequestsInstancesAndReportsItsVersion) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG);
    miBoolean request = miFALSE;
    entry<Init>(std::string(GetParam()) + "_init")(&state, nullptr, &request);
    EXPECT_EQ(request, 1);
    EXPECT_THAT(renderer.calls(), ElementsAre("info: " + std::string(GetParam()) + " - V. 1"));
}

TEST_P(LoadedShader, ShaderExitDoesNothing) {
    Renderer renderer;
    miState state = renderer.new_state(miNULLTAG);
    entry<Exit>(std::string(GetParam()) + "_exit")(&state, nullptr);
    EXPECT_THAT(renderer.calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Every, LoadedShader,
                         testing::Values("vx_pc_read", "vx_pc_tag", "vx_pc_write"),
                         [](const auto& shader) { return std::string(shader.param); });

TEST_F(LoadedLibrary, TagReturnsItsColors) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block = bytes_of(std::array<float, 9>{1, 2, 3, 4, 5, 6, 7, 8, 0});
    miState state = renderer.new_state(renderer.add_function(setup));
    miState lens = renderer.new_state(miNULLTAG);
    state.parent = &lens;
    state.type = miRAY_REFLECT;
    auto* const tag = entry<Shader>("vx_pc_tag");
    miColor color = {};

    EXPECT_EQ(tag(&color, &state, state.shader->parameters), miTRUE);
    EXPECT_EQ(color.r, 1);
    EXPECT_EQ(color.a, 4);

    int bake = 1;
    mi_shaderstate_set(&lens, "vx_pc", &bake, sizeof bake, 1);
    EXPECT_EQ(tag(&color, &state, state.shader->parameters), miTRUE);
    EXPECT_EQ(color.r, 5);
    EXPECT_EQ(color.a, 8);
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

TEST_F(LoadedLibrary, TagInstanceInitAndExitDoNothing) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block.resize(36);
    miState state = renderer.new_state(renderer.add_function(setup));
    miBoolean request = miFALSE;
    entry<Init>("vx_pc_tag_init")(&state, state.shader->parameters, &request);
    entry<Exit>("vx_pc_tag_exit")(&state, state.shader->parameters);
    EXPECT_EQ(request, miFALSE);
    EXPECT_THAT(renderer.calls(), IsEmpty());
}

TEST_F(LoadedLibrary, ReadLoadsBlendsAndReleases) {
    Renderer renderer;
    vx::stub::Maps maps(renderer);
    vx::stub::MapContent content;
    content.positions = {{1, 0, 0}};
    content.add("rgbPP", std::vector<miVector>{{1, 2, 4}});
    maps.files["shot.0002.mrmap"] = content;

    // Thirteen parameters in the order of the declaration; angles and colors as bits.
    const auto bits = [](float value) {
        int word = 0;
        std::memcpy(&word, &value, sizeof word);
        return word;
    };
    const auto name = static_cast<int>(renderer.add_string("shot.0001.mrmap"));
    const std::array<int, 19> words = {0,          name,       2,          bits(2.0f), 16,
                                       0,          0,          0,          0,          bits(180.0f),
                                       bits(1.0f), bits(1.0f), bits(1.0f), 0,          bits(2.0f),
                                       bits(2.0f), bits(2.0f), 0,          0};
    FunctionSetup setup;
    setup.block = bytes_of(words);
    miState state = renderer.new_state(renderer.add_function(setup));
    state.normal = {0, 0, 1};
    miBoolean request = miFALSE;
    entry<Init>("vx_pc_read_init")(&state, state.shader->parameters, &request);
    EXPECT_EQ(request, miFALSE);
    EXPECT_THAT(renderer.calls_starting_with("info"), IsEmpty()) << "once per shader, not instance";
    EXPECT_THAT(renderer.calls_starting_with("warning"), testing::SizeIs(3));

    struct {
        miColor color = {9, 9, 9, 9};
        int count = 9;
    } result;
    EXPECT_EQ(entry<Shader>("vx_pc_read")(&result.color, &state, state.shader->parameters), miTRUE);
    // Halfway to the radius, the falloff is 1/2; the gain is 2.
    EXPECT_EQ(result.color.r, 1);
    EXPECT_EQ(result.color.g, 2);
    EXPECT_EQ(result.color.b, 4);
    EXPECT_EQ(result.color.a, 0);
    EXPECT_EQ(result.count, 1);

    entry<Exit>("vx_pc_read_exit")(&state, state.shader->parameters);
    EXPECT_THAT(renderer.left_over(), IsEmpty());
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

// ---- the writer, from its init to its exit ----

struct WriterBlock {
    int disable, jitter, samples, layers, use_labels;
    miTag labels, pdc_file_name, map_file_name;
    int output_mode, frame;
    float radius;
};

TEST_F(LoadedLibrary, WriterBakesOnceAndGivesEverythingBack) {
    Renderer renderer;
    vx::stub::Maps maps(renderer);
    const miTag name = renderer.add_string("shot.0001.mrmap");
    FunctionSetup setup;
    setup.block = bytes_of(WriterBlock{0, 0, 1, 1, 0, 0, 0, name, 0, 5, 0.5f});
    miState state = renderer.new_state(renderer.add_function(setup));
    void* const params = state.shader->parameters;

    entry<Init>("vx_pc_write_init")(&state, params, nullptr);
    auto* const write = entry<Shader>("vx_pc_write");
    miColor color = {};
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(write(&color, &state, params), miTRUE);
    EXPECT_EQ(color.b, 0.75f);
    EXPECT_EQ(renderer.calls_starting_with("trace_probe").size(), 4u);
    EXPECT_THAT(renderer.messages(),
                ElementsAre("info: vx_pc_write: 0 points written",
                            "info: vx_pc_write: Writing File shot.0005.mrmap"));
    ASSERT_EQ(maps.written.size(), 1u);
    EXPECT_EQ(maps.written[0].file_name, "shot.0005.mrmap");
    entry<Exit>("vx_pc_write_exit")(&state, params);
    EXPECT_THAT(renderer.left_over(), IsEmpty());
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

TEST_F(LoadedLibrary, WriterWithoutAnInitIsFalse) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block.resize(sizeof(WriterBlock));
    miState state = renderer.new_state(renderer.add_function(setup));
    miColor color = {};
    EXPECT_EQ(entry<Shader>("vx_pc_write")(&color, &state, state.shader->parameters), miFALSE);
    entry<Exit>("vx_pc_write_exit")(&state, state.shader->parameters);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(51)", "query(51)"));
}

// Exceptions of an instance init propagate to the caller, out of the shared object. Here the
// stand-in throws, which has no value for a connection.
TEST_F(LoadedLibrary, ExceptionOfAnInstanceInitReachesTheCaller) {
    Renderer renderer;
    FunctionSetup setup;
    setup.block.resize(sizeof(WriterBlock));
    setup.connections[36] = 500; // of the last parameter but one
    miState state = renderer.new_state(renderer.add_function(setup));
    auto* const init = entry<Init>("vx_pc_write_init");
    EXPECT_THROW(init(&state, state.shader->parameters, nullptr), std::logic_error);
    EXPECT_THAT(renderer.calls_starting_with("delete_lock"), testing::SizeIs(1));
    EXPECT_EQ(*renderer.user_pointer(state.shader), nullptr);
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

// An image with more samples than a grid can count is rendered without a bake.
TEST_F(LoadedLibrary, WriterOfAnImageWithTooManySamplesWarnsAndPassesTheEyeRay) {
    Renderer renderer;
    renderer.camera.x_resolution = renderer.camera.y_resolution = 1 << 20;
    FunctionSetup setup;
    setup.block = bytes_of(WriterBlock{0, 0, 1, 1, 0, 0, 0, 0, 2, 1, 0.5f});
    miState state = renderer.new_state(renderer.add_function(setup));
    void* const params = state.shader->parameters;
    entry<Init>("vx_pc_write_init")(&state, params, nullptr);
    miColor color = {};
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(entry<Shader>("vx_pc_write")(&color, &state, params), miTRUE);
    EXPECT_EQ(color.b, 0.75f);
    EXPECT_THAT(renderer.messages(),
                ElementsAre(testing::StartsWith(
                    "warning: vx_pc_write: 1048576 x 1048576 pixels with 1 samples each exceed")));
    entry<Exit>("vx_pc_write_exit")(&state, params);
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

} // namespace
