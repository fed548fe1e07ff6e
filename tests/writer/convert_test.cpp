// Loading an existing cache, and what a cache becomes as a map.
#include "tests/points/pdc_bytes.h"
#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using pdc_bytes::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::AppendedElement;
using vx::stub::WrittenMap;
using vx::test::Folder;
using vx::test::LensScene;

class Convert : public testing::Test {
  protected:
    WriteInstanceData& make(const std::string& labels = "") {
        return scene.make({.use_labels = labels.empty() ? 0 : 1, .labels = labels});
    }
    bool read(WriteInstanceData& data, const Bytes& bytes) {
        vx::test::write_file(folder / "in.pdc", bytes.text);
        return data.ReadPdc(folder / "in.pdc");
    }
    // The map of a file's contents.
    WrittenMap converted(const Bytes& bytes, const std::string& labels = "") {
        WriteInstanceData& data = make(labels);
        EXPECT_TRUE(read(data, bytes));
        EXPECT_TRUE(data.PdcToMap("out.mrmap"));
        scene.exit();
        EXPECT_THAT(scene.left_over(), IsEmpty());
        return scene.maps.written.at(0);
    }

    Folder folder;
    LensScene scene;
};

std::vector<std::string> field(const WrittenMap& map, const std::string& name) {
    std::vector<std::string> values;
    for (const AppendedElement& element : map.elements)
        values.push_back(element.fields.at(name));
    return values;
}
std::vector<float> positions_x(const WrittenMap& map) {
    std::vector<float> values;
    for (const AppendedElement& element : map.elements)
        values.push_back(element.position.at(0));
    return values;
}

// `n` particles at x = 1, 2, ..., with the tags given.
Bytes tagged_particles(const std::vector<double>& tags) {
    Bytes bytes;
    bytes.header(static_cast<int>(tags.size()), 2).record("tag", 3).doubles(tags);
    bytes.record("position", 5);
    for (size_t i = 0; i < tags.size(); ++i)
        bytes.doubles({static_cast<double>(i + 1), 0, 0});
    return bytes;
}

// ---- ReadPdc ----

TEST_F(Convert, MissingFileWarnsAndKeepsTheCache) {
    WriteInstanceData& data = make();
    auto* const before = new CPdc;
    data.pdc = before;
    EXPECT_FALSE(data.ReadPdc(folder / "none.pdc"));
    EXPECT_EQ(data.pdc, before);
    EXPECT_THAT(scene.renderer.messages(),
                ElementsAre("warning: Cannot open " + (folder / "none.pdc") + " for reading"));
}

TEST_F(Convert, EveryCutOfAFileFailsSilentlyWithoutACache) {
    const std::string whole = pdc_bytes::seven_attributes().text;
    WriteInstanceData& data = make();
    for (size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(read(data, Bytes().raw(std::string_view(whole).substr(0, length)))) << length;
        EXPECT_EQ(data.pdc, nullptr) << length;
    }
    EXPECT_TRUE(read(data, Bytes().raw(whole)));
    EXPECT_NE(data.pdc, nullptr);
    EXPECT_THAT(scene.renderer.messages(), IsEmpty());
}

TEST_F(Convert, FailureReleasesTheNewCacheAndLeavesNone) {
    WriteInstanceData& data = make();
    EXPECT_FALSE(read(data, Bytes().header(1, 1)));
    EXPECT_EQ(data.pdc, nullptr);
}

TEST_F(Convert, FolderInPlaceOfAFileFails) {
    WriteInstanceData& data = make();
    EXPECT_FALSE(data.ReadPdc(folder.path().string()));
    EXPECT_EQ(data.pdc, nullptr);
}

TEST_F(Convert, FileWithoutAttributesLoadsWithFreshSlots) {
    WriteInstanceData& data = make();
    EXPECT_TRUE(read(data, Bytes().header(5, 0)));
    ASSERT_NE(data.pdc, nullptr);
    EXPECT_EQ(data.pdc->slots[kSlotTag].name, "tag");
    EXPECT_EQ(data.pdc->slots[kSlotTag].integers.size(), 1u);
    EXPECT_FALSE(data.pdc->slots[kSlotTag].perParticle);
}

TEST_F(Convert, FileOfUnknownAttributesLoadsWithFreshSlots) {
    WriteInstanceData& data = make();
    EXPECT_TRUE(
        read(data, Bytes().header(2, 2).record("mass", 3).doubles({1, 2}).record("x", 0).i32(7)));
    ASSERT_NE(data.pdc, nullptr);
    EXPECT_EQ(data.pdc->slots[kSlotPosition].vectors.size(), 1u);
}

TEST_F(Convert, SkippedLastRecordMayEndPastTheFile) {
    WriteInstanceData& data = make();
    EXPECT_TRUE(read(data, Bytes().header(100, 1).record("mass", 3).f64(1)));
    EXPECT_NE(data.pdc, nullptr);
}

TEST_F(Convert, ReadRecordThatIsCutFails) {
    WriteInstanceData& data = make();
    EXPECT_FALSE(read(data, Bytes().header(2, 1).record("opacityPP", 3).f64(1)));
    EXPECT_EQ(data.pdc, nullptr);
}

TEST_F(Convert, MagicVersionAndByteOrderAreNotChecked) {
    WriteInstanceData& data = make();
    EXPECT_TRUE(read(data, Bytes().raw("JUNK").i32(9).i32(0).i32(1).i32(2).i32(1).i32(0)));
}

// ---- PdcToMap ----

TEST_F(Convert, MapDeclaresItsFieldsInOrder) {
    const WrittenMap map = converted(pdc_bytes::seven_attributes());
    EXPECT_EQ(map.file_name, "out.mrmap");
    EXPECT_EQ(map.dimension, 3u);
    EXPECT_THAT(map.fields,
                ElementsAre("normalPP vector", "rgbPP vector", "opacityPP scalar", "tag integer"));
    EXPECT_TRUE(map.consolidated);
}

TEST_F(Convert, EveryFieldArrives) {
    const WrittenMap map = converted(pdc_bytes::seven_attributes());
    ASSERT_EQ(map.elements.size(), 2u);
    EXPECT_THAT(map.elements[1].position, ElementsAre(-4, -5, -6));
    EXPECT_THAT(field(map, "normalPP"), ElementsAre("vector 0 0 1", "vector 0 -1 0"));
    EXPECT_THAT(field(map, "rgbPP"), ElementsAre("vector 0.125 0.25 0.5", "vector 1 2 4"));
    EXPECT_THAT(field(map, "opacityPP"), ElementsAre("scalar 0.5", "scalar 1"));
    EXPECT_THAT(field(map, "tag"), ElementsAre("integer -3", "integer 70000"));
}

TEST_F(Convert, EveryUseOfTheInterfaceGetsAndReleasesIt) {
    converted(pdc_bytes::seven_attributes());
    std::vector<std::string> uses;
    for (const std::string& call : scene.renderer.calls())
        if (call.starts_with("get_interface") || call == "release") uses.push_back(call);
    EXPECT_THAT(uses, ElementsAre("get_interface(3)", "release", "get_interface(3)", "release",
                                  "get_interface(3)", "release"));
}

TEST_F(Convert, LabelFilterLeavesOutOthersAndKeepsTheOrder) {
    const WrittenMap map = converted(tagged_particles({5, 1, 9, 5, 2, 1}), "5,1");
    EXPECT_THAT(positions_x(map), ElementsAre(1, 2, 4, 6));
}

TEST_F(Convert, WithoutTheFilterEveryTagIsKept) {
    EXPECT_THAT(positions_x(converted(tagged_particles({5, -1, 9}))), ElementsAre(1, 2, 3));
}

TEST_F(Convert, EmptyLabelListKeepsNothing) {
    EXPECT_THAT(converted(tagged_particles({0, 1}), "x").elements, IsEmpty());
}

TEST_F(Convert, NoParticlesMakeAnEmptyMap) {
    const WrittenMap map = converted(tagged_particles({}));
    EXPECT_EQ(map.file_name, "out.mrmap");
    EXPECT_THAT(map.elements, IsEmpty());
}

TEST_F(Convert, NegativeCountMakesAnEmptyMap) {
    EXPECT_THAT(converted(Bytes().header(-5, 0)).elements, IsEmpty());
}

TEST_F(Convert, SingleValuedPositionIsEveryElements) {
    Bytes bytes;
    bytes.header(3, 2)
        .record("position", 4)
        .doubles({1, 2, 3})
        .record("opacityPP", 3)
        .doubles({0.25, 0.5, 0.75});
    const WrittenMap map = converted(bytes);
    ASSERT_EQ(map.elements.size(), 3u);
    for (const AppendedElement& element : map.elements)
        EXPECT_THAT(element.position, ElementsAre(1, 2, 3));
    EXPECT_THAT(field(map, "opacityPP"), ElementsAre("scalar 0.25", "scalar 0.5", "scalar 0.75"));
}

TEST_F(Convert, SingleValuedPositionHoldsWhenTheFirstParticleIsLeftOut) {
    Bytes bytes;
    bytes.header(2, 2).record("tag", 3).doubles({1, 2}).record("position", 4).doubles({7, 8, 9});
    const WrittenMap map = converted(bytes, "2");
    ASSERT_EQ(map.elements.size(), 1u);
    EXPECT_THAT(map.elements[0].position, ElementsAre(7, 8, 9));
}

TEST_F(Convert, SingleValuedSlotGivesElement0WhateverElseItsArrayHolds) {
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, pdc_bytes::seven_attributes()));
    data.pdc->slots[kSlotPosition].perParticle = false;
    data.pdc->slots[kSlotTag].perParticle = false;
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    EXPECT_THAT(positions_x(scene.maps.written.at(0)), ElementsAre(1, 1));
    EXPECT_THAT(field(scene.maps.written.at(0), "tag"), ElementsAre("integer -3", "integer -3"));
}

TEST_F(Convert, SingleValuedFieldsAreEveryElements) {
    Bytes bytes;
    bytes.header(2, 4).record("tag", 0).i32(6).record("rgbPP", 4).doubles({1, 2, 3});
    bytes.record("normalPP", 4).doubles({0, 1, 0}).record("opacityPP", 2).f64(0.5);
    const WrittenMap map = converted(bytes);
    EXPECT_THAT(field(map, "tag"), ElementsAre("integer 6", "integer 6"));
    EXPECT_THAT(field(map, "rgbPP"), ElementsAre("vector 1 2 3", "vector 1 2 3"));
    EXPECT_THAT(field(map, "normalPP"), ElementsAre("vector 0 1 0", "vector 0 1 0"));
    EXPECT_THAT(field(map, "opacityPP"), ElementsAre("scalar 0.5", "scalar 0.5"));
}

TEST_F(Convert, IntegersLoadFromBothWaysOfStoringThem) {
    Bytes ints;
    ints.header(2, 1).record("tag", 1).i32(7).i32(-8);
    EXPECT_THAT(field(converted(ints), "tag"), ElementsAre("integer 7", "integer -8"));
}

TEST_F(Convert, FractionsOfTagsAreCut) {
    EXPECT_THAT(field(converted(tagged_particles({2.9, -2.9})), "tag"),
                ElementsAre("integer 2", "integer -2"));
}

TEST_F(Convert, TagsKeepTheirLow32Bits) {
    EXPECT_THAT(field(converted(tagged_particles({4294967303.0, 2147483648.0})), "tag"),
                ElementsAre("integer 7", "integer -2147483648"));
}

TEST_F(Convert, ArraysThatAreTooShortLeaveThePreviousValues) {
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, pdc_bytes::seven_attributes()));
    data.pdc->header.particleCount = 4; // arrays of two
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    const WrittenMap& map = scene.maps.written.at(0);
    EXPECT_THAT(positions_x(map), ElementsAre(1, -4, -4, -4));
    EXPECT_THAT(field(map, "normalPP"),
                ElementsAre("vector 0 0 1", "vector 0 -1 0", "vector 0 -1 0", "vector 0 -1 0"));
    EXPECT_THAT(field(map, "opacityPP"),
                ElementsAre("scalar 0.5", "scalar 1", "scalar 1", "scalar 1"));
    EXPECT_THAT(field(map, "tag"),
                ElementsAre("integer -3", "integer 70000", "integer 70000", "integer 70000"));
}

// The tag is taken over from the particle before even if that one was left out; the other values
// from the last one that was kept.
TEST_F(Convert, TagOfAParticleThatWasLeftOutIsTakenOver) {
    WriteInstanceData& data = make("3");
    ASSERT_TRUE(read(data, tagged_particles({3, 4})));
    data.pdc->header.particleCount = 3;
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    EXPECT_THAT(positions_x(scene.maps.written.at(0)), ElementsAre(1));
}

TEST_F(Convert, EmptyPerParticleArraysGiveZeros) {
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, Bytes().header(0, 2).record("position", 5).record("tag", 3)));
    data.pdc->header.particleCount = 1;
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    const WrittenMap& map = scene.maps.written.at(0);
    EXPECT_THAT(positions_x(map), ElementsAre(0));
    EXPECT_THAT(field(map, "tag"), ElementsAre("integer 0"));
}

TEST_F(Convert, RefusedElementEndsTheLoopAndWhatThereIsIsWritten) {
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, tagged_particles({1, 2, 3, 4})));
    scene.maps.refuse_append = 2;
    EXPECT_FALSE(data.PdcToMap("out.mrmap"));
    const WrittenMap& map = scene.maps.written.at(0);
    EXPECT_THAT(positions_x(map), ElementsAre(1, 2));
    EXPECT_TRUE(map.consolidated);
    EXPECT_THAT(scene.renderer.calls_starting_with("append()"), testing::SizeIs(3));
    scene.exit();
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST_F(Convert, StatusesOfConsolidatingAndWritingAreIgnored) {
    // The stand-in answers both with a failure.
    EXPECT_EQ(converted(tagged_particles({1})).elements.size(), 1u);
}

TEST_F(Convert, RendererWithoutTheInterfaceGetsNoMap) {
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, tagged_particles({1})));
    scene.maps.has_interface = false;
    EXPECT_FALSE(data.PdcToMap("out.mrmap"));
    EXPECT_THAT(scene.maps.written, IsEmpty());
}

// 28 bytes may claim two thousand million particles: copies of one another, as nothing backs them.
TEST_F(Convert, CountThatNothingBacksIsBelievedUpToAMillion) {
    scene.maps.quiet_elements = true;
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, Bytes().header(2147483647, 0)));
    EXPECT_FALSE(data.PdcToMap("out.mrmap"));
    EXPECT_EQ(scene.maps.written.at(0).count, 1048576u);
}

TEST_F(Convert, CountThatAnArrayBacksIsBelieved) {
    scene.maps.quiet_elements = true;
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, Bytes().header(0, 0)));
    data.pdc->slots[kSlotOpacity].perParticle = true;
    data.pdc->slots[kSlotOpacity].floats.resize(1100000);
    data.pdc->header.particleCount = 1100000;
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    EXPECT_EQ(scene.maps.written.at(0).count, 1100000u);
}

} // namespace
