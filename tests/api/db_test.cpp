#include "tests/api/api_test.h"

#include <thread>

using namespace vx;
using namespace vx::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

using ApiDb = ApiTest;

TEST_F(ApiDb, ElementsHaveTypeSizeAndAddress) {
    const miTag tag = context.database.create_string("cloud.pdc");
    inside([&](void*, miState*, void*) {
        EXPECT_EQ(mi_db_type(tag), miSCENE_STRING);
        EXPECT_EQ(mi_db_size(tag), 10);
        EXPECT_STREQ(static_cast<char*>(mi_db_access(tag)), "cloud.pdc");
        EXPECT_EQ(context.database.pins(tag), 1u);
        mi_db_flush(tag);
        mi_db_unpin(tag);
        context.settle_pins();
        EXPECT_EQ(context.database.pins(tag), 0u);
        return miTRUE;
    });
    EXPECT_TRUE(lines.empty());
}

TEST_F(ApiDb, ShadersAndMaterialsHaveTheDocumentedTypeNumbers) {
    const miTag s = shader("s", "test_black");
    scene::Material m;
    m.name = "m";
    m.surface = {named("s")};
    builder.on_material(m);
    const miTag material = builder.find(shading::SceneBuilder::Kind::material, "m");
    inside([&](void*, miState*, void*) {
        EXPECT_EQ(mi_db_type(s), 2);
        EXPECT_EQ(mi_db_type(material), 3);
        return miTRUE;
    });
}

TEST_F(ApiDb, BadTagEndsTheRenderWithTheNameOfTheShader) {
    const auto access = [](miTag tag) {
        return [tag](void*, miState*, void*) {
            mi_db_access(tag);
            return miTRUE;
        };
    };
    EXPECT_EQ(fatal(access(99999)), "RC 0.0 fatal: shader \"test_run\" (instance \"runner\"): "
                                    "access of tag 99999, which names no element");
    EXPECT_EQ(fatal(access(0)),
              "RC 0.0 fatal: shader \"test_run\" (instance \"runner\"): access of the null tag");
    EXPECT_THAT(fatal([](void*, miState*, void*) { return mi_db_type(99999); }),
                HasSubstr("type of tag 99999"));
    EXPECT_THAT(fatal([](void*, miState*, void*) { return mi_db_size(99999); }),
                HasSubstr("size of tag 99999"));
    EXPECT_THAT(fatal([](void*, miState*, void*) {
                    mi_db_unpin(99999);
                    return miTRUE;
                }),
                HasSubstr("unpinning of tag 99999"));
    EXPECT_THAT(fatal([](void*, miState*, void*) {
                    mi_db_flush(0);
                    return miTRUE;
                }),
                HasSubstr("flush of the null tag"));
}

TEST_F(ApiDb, MorePinsThanTheLimitAreAWarningOnceAndWork) {
    const miTag tag = context.database.create_string("x");
    context.database.set_name(tag, "kept");
    inside([&](void*, miState*, void*) {
        for (int i = 0; i < 70000; ++i)
            EXPECT_STREQ(static_cast<char*>(mi_db_access(tag)), "x");
        return miTRUE;
    });
    EXPECT_THAT(lines, ElementsAre(HasSubstr(
                           "warning: shader \"test_run\" (instance \"runner\"): element " +
                           std::to_string(tag) + " \"kept\" has more than 65535 pins")));
}

TEST_F(ApiDb, UnpinWithoutAPinIsAWarning) {
    const miTag tag = context.database.create_string("x");
    inside([&](void*, miState*, void*) {
        mi_db_unpin(tag);
        return miTRUE;
    });
    EXPECT_THAT(lines, ElementsAre(HasSubstr("is unpinned but not pinned")));
}

TEST_F(ApiDb, UnpinTooManyInAnotherThreadIsAWarningAtTheEnd) {
    const miTag tag = context.database.create_string("x");
    context.database.set_name(tag, "shared");
    mi_db_access(tag);
    mi_db_unpin(tag);
    std::thread other([&] { mi_db_unpin(tag); });
    other.join();
    EXPECT_TRUE(lines.empty());
    context.settle_pins();
    EXPECT_THAT(lines, ElementsAre("RC 0.0 warning: element " + std::to_string(tag) +
                                   " \"shared\" was unpinned 1 time without a pin"));
    lines.clear();
    context.settle_pins();
    EXPECT_TRUE(lines.empty());
}

TEST_F(ApiDb, ThreadsAccessAtOnce) {
    const miTag tag = context.database.create_string("x");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                ASSERT_STREQ(static_cast<char*>(mi_db_access(tag)), "x");
                mi_db_unpin(tag);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    context.settle_pins();
    EXPECT_EQ(context.database.pins(tag), 0u);
}
