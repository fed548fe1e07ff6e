// Loading a cache without enough memory.
#include "tests/points/pdc_bytes.h"
#include "tests/points/watched_memory.h"
#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <utility>

namespace {

using pdc_bytes::Bytes;
using vx::test::Folder;
using vx::test::LensScene;
using vx::test::open_descriptors;

TEST(ConvertMemory, RefusedCacheThrowsAndLeavesTheFileClosedAndTheOldCache) {
    const Folder folder;
    vx::test::write_file(folder / "in.pdc", pdc_bytes::seven_attributes().text);
    LensScene scene;
    WriteInstanceData& data = scene.make({});
    const std::string name = folder / "in.pdc";
    const auto before = std::make_unique<CPdc>();
    data.pdc = before.get();
    const size_t open = open_descriptors();
    const size_t held = watched_memory::held();

    watched_memory::refuse_above(sizeof(CPdc) - 1);
    EXPECT_THROW(data.ReadPdc(name), std::bad_alloc);
    watched_memory::reset();

    EXPECT_EQ(open_descriptors(), open);
    EXPECT_EQ(watched_memory::held(), held);
    EXPECT_EQ(data.pdc, before.get());
    EXPECT_TRUE(data.ReadPdc(name)) << "the same file loads when there is memory";
    EXPECT_NE(data.pdc, before.get());
}

TEST(ConvertMemory, RefusedValuesAreAFailureThatReleasesTheCacheAndClosesTheFile) {
    constexpr int kN = 100000;
    const Folder folder;
    Bytes bytes;
    bytes.header(kN, 1).record("position", 5).raw(std::string(size_t{kN} * 24, '\0'));
    vx::test::write_file(folder / "in.pdc", bytes.text);
    LensScene scene;
    WriteInstanceData& data = scene.make({});
    const std::string name = folder / "in.pdc";
    const size_t open = open_descriptors();
    const size_t held = watched_memory::held();

    watched_memory::refuse_above(1000000);
    EXPECT_FALSE(data.ReadPdc(name));
    watched_memory::reset();

    EXPECT_EQ(data.pdc, nullptr);
    EXPECT_EQ(open_descriptors(), open);
    EXPECT_EQ(watched_memory::held(), held);
}

TEST(ConvertMemory, FailedLoadsReleaseTheirCache) {
    const Folder folder;
    const std::string whole = pdc_bytes::seven_attributes().text;
    LensScene scene;
    WriteInstanceData& data = scene.make({});
    const std::string name = folder / "in.pdc";
    const size_t held = watched_memory::held();
    for (size_t length = 0; length < whole.size(); length += 10) {
        vx::test::write_file(name, whole.substr(0, length));
        EXPECT_FALSE(data.ReadPdc(name)) << length;
    }
    EXPECT_EQ(watched_memory::held(), held);
}

} // namespace
