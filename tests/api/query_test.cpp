#include "tests/api/api_test.h"

#include <gmock/gmock.h>

#include <cstring>
#include <thread>

using namespace vx;
using namespace vx::testing;

using ApiQuery = ApiTest;

TEST_F(ApiQuery, ARunningShaderCanQueryAllOfItsProperties) {
    const miTag first = shader(
        "q", {call("test_queries", {set("value", numbers(1, 2, 3, 4))}), call("test_black")});
    context.lights = {41, 42};
    TestQueries q{};
    state.user = &q;
    run(first, miSHADER_ENVIRONMENT);

    const shading::Function& f = function(first);
    const auto* const decl =
        context.database.find<miFunction_decl>(f.record->function_decl, miSCENE_FUNCTION_DECL);
    EXPECT_EQ(q.answered, 19);
    EXPECT_EQ(q.unknown, miFALSE);
    EXPECT_EQ(q.declaration_lock, &decl->lock);
    EXPECT_STREQ(q.declaration_name, "test_queries");
    EXPECT_STREQ(q.declaration_parameters, "color \"value\"");
    EXPECT_EQ(q.declaration_result_size, 16);
    EXPECT_EQ(q.declaration_type, miTYPE_COLOR);
    EXPECT_EQ(q.declaration_version, 5);
    ASSERT_NE(q.user_pointer, nullptr);
    EXPECT_EQ(*q.user_pointer, nullptr);
    EXPECT_EQ(q.declaration, f.record->function_decl);
    EXPECT_EQ(q.call_type, miSHADER_ENVIRONMENT);
    EXPECT_EQ(q.indirect, 0u);
    EXPECT_EQ(q.lock, &f.lock);
    EXPECT_EQ(q.next, f.record->next_function);
    EXPECT_NE(q.next, 0u);
    EXPECT_EQ(q.parameters, f.record->parameters);
    EXPECT_EQ(q.parameter_size, 16);
    EXPECT_THAT(q.date, ::testing::MatchesRegex("[0-3][0-9] [A-Z][a-z]+ 20[0-9][0-9]"));
    EXPECT_EQ(q.final_gather, 0);
    EXPECT_EQ(q.moving, 0);
    ASSERT_EQ(q.light_count, 2);
    EXPECT_EQ(q.lights[1], 42u);
}

TEST_F(ApiQuery, FunctionsAndDeclarationsCanBeAskedForByTag) {
    const miTag s = shader("s", "test_struct");
    inside([&](void*, miState*, void*) {
        miTag declaration = 0;
        EXPECT_TRUE(mi_query(static_cast<miQ_type>(54), nullptr, s, &declaration));
        EXPECT_EQ(declaration, function(s).record->function_decl);
        int version = 0, size = 0, type = 0;
        char* name = nullptr;
        EXPECT_TRUE(mi_query(miQ_DECL_VERSION, nullptr, declaration, &version));
        EXPECT_TRUE(mi_query(miQ_DECL_RESULT_SIZE, nullptr, s, &size));
        EXPECT_TRUE(mi_query(miQ_DECL_TYPE, nullptr, declaration, &type));
        EXPECT_TRUE(mi_query(miQ_DECL_NAME, nullptr, s, &name));
        EXPECT_EQ(version, 2);
        EXPECT_EQ(size, 40);
        EXPECT_EQ(type, miTYPE_STRUCT);
        EXPECT_STREQ(name, "test_struct");
        return miTRUE;
    });
}

TEST_F(ApiQuery, UnsupportedQueriesReturnFalseAndKeepTheVariable) {
    const miTag string = context.database.create_string("x");
    inside([&](void*, miState* s, void*) {
        miTag tag = 7;
        EXPECT_FALSE(mi_query(miQ_FUNC_DECL, nullptr, 99999, &tag));
        EXPECT_FALSE(mi_query(miQ_FUNC_DECL, nullptr, string, &tag));
        EXPECT_FALSE(mi_query(miQ_FUNC_DECL, nullptr, miNULLTAG, &tag));
        EXPECT_FALSE(mi_query(miQ_DECL_VERSION, nullptr, string, &tag));
        EXPECT_FALSE(mi_query(miQ_DATA_LABEL, nullptr, string, &tag));
        EXPECT_FALSE(mi_query(miQ_NONE, s, miNULLTAG, &tag));
        EXPECT_FALSE(mi_query(miQ_FUNC_CALLTYPE, nullptr, miNULLTAG, &tag));
        EXPECT_FALSE(mi_query(miQ_FUNC_DECL, s, miNULLTAG, nullptr));
        EXPECT_EQ(tag, 7u);
        return miTRUE;
    });
}

TEST_F(ApiQuery, UserPointerSlotStaysTheSameForTheInstance) {
    void** first = nullptr;
    int value = 5;
    inside([&](void*, miState* s, void*) {
        mi_query(static_cast<miQ_type>(51), s, miNULLTAG, &first);
        *first = &value;
        return miTRUE;
    });
    inside([&](void*, miState* s, void*) {
        void** second = nullptr;
        mi_query(static_cast<miQ_type>(51), s, miNULLTAG, &second);
        EXPECT_EQ(second, first);
        EXPECT_EQ(*second, &value);
        return miTRUE;
    });
}

TEST_F(ApiQuery, ThreadPointerIsSetAndReadPerThread) {
    const auto get = [](miState* s) {
        void* pointer = s;
        EXPECT_TRUE(mi_query(static_cast<miQ_type>(124), s, miNULLTAG, &pointer));
        return pointer;
    };
    int mine = 0;
    inside([&](void*, miState* s, void*) {
        EXPECT_EQ(get(s), nullptr);
        void* pointer = &mine;
        EXPECT_TRUE(mi_query(static_cast<miQ_type>(126), s, miNULLTAG, &pointer));
        EXPECT_EQ(get(s), &mine);
        return miTRUE;
    });
    std::thread([&] {
        miState other = fresh_state();
        other.shader = function(runner).record;
        EXPECT_EQ(get(&other), nullptr);
    }).join();
    inside([&](void*, miState* s, void*) {
        EXPECT_EQ(get(s), &mine);
        return miTRUE;
    });
}

TEST_F(ApiQuery, UserDataIsDescribed) {
    scene::UserData data;
    data.name = "d";
    data.label = 9;
    data.bytes = {std::byte{1}, std::byte{2}};
    builder.on_data(data);
    scene::Declaration declared = declaration("blob", Type::color, {parameter("x", Type::scalar)});
    declared.kind = scene::DeclarationKind::data;
    builder.on_declare(declared);
    scene::UserData block;
    block.name = "b";
    block.call = call("blob");
    builder.on_data(block);
    scene::Camera c;
    c.name = "cam";
    c.data = {"d", "b"};
    builder.on_camera(c);
    const miTag d = builder.find(shading::SceneBuilder::Kind::data, "d");
    const miTag b = builder.find(shading::SceneBuilder::Kind::data, "b");
    inside([&](void*, miState*, void*) {
        miUint label = 0;
        int size = 0;
        miTag next = 0, decl = 0;
        void* contents = nullptr;
        miBoolean swap = miTRUE;
        EXPECT_TRUE(mi_query(miQ_DATA_LABEL, nullptr, d, &label));
        EXPECT_TRUE(mi_query(miQ_DATA_PARAM_SIZE, nullptr, d, &size));
        EXPECT_TRUE(mi_query(miQ_DATA_NEXT, nullptr, d, &next));
        EXPECT_TRUE(mi_query(miQ_DATA_PARAM, nullptr, d, &contents));
        EXPECT_TRUE(mi_query(miQ_DATA_NEEDSWAP, nullptr, d, &swap));
        EXPECT_FALSE(mi_query(miQ_DATA_DECL, nullptr, d, &decl));
        EXPECT_EQ(label, 9u);
        EXPECT_EQ(size, 2);
        EXPECT_EQ(next, b);
        EXPECT_EQ(static_cast<unsigned char*>(contents)[1], 2);
        EXPECT_EQ(swap, miFALSE);
        EXPECT_TRUE(mi_query(miQ_DATA_DECL, nullptr, b, &decl));
        char* name = nullptr;
        EXPECT_TRUE(mi_query(miQ_DECL_NAME, nullptr, decl, &name));
        EXPECT_STREQ(name, "blob");
        return miTRUE;
    });
}
