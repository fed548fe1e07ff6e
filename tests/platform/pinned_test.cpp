// Pins and their release.
#include "src/platform/pinned.h"

#include "tests/renderer_stub/renderer_stub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::Renderer;

TEST(Pinned, AccessesAndGivesBackInReverseOrder) {
    Renderer renderer;
    const miTag shader = renderer.add_string("");
    const miTag material = renderer.add_material(shader);
    {
        const CPinned<miMaterial> outer(material);
        const CPinned<const char> inner(outer->shader);
        EXPECT_STREQ(inner.Get(), "");
        EXPECT_EQ(renderer.pins(material), 1);
    }
    EXPECT_THAT(renderer.calls(),
                ElementsAre("db_access(2)", "db_access(1)", "db_unpin(1)", "db_unpin(2)"));
    EXPECT_THAT(renderer.left_over(), IsEmpty());
}

TEST(Pinned, GivesBackWhenAnExceptionPasses) {
    Renderer renderer;
    const miTag text = renderer.add_string("");
    const auto work = [&] {
        const CPinned<const char> pinned(text);
        throw std::runtime_error("no memory, say");
    };
    EXPECT_THROW(work(), std::runtime_error);
    EXPECT_EQ(renderer.pins(text), 0);
}

} // namespace
