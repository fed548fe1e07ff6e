// Loading an existing cache, and its conversion into a map.
#include "src/writer/output.h"
#include "tests/points/pdc_bytes.h"
#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

namespace {

using pdc_bytes::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::AppendedElement;
using vx::stub::WrittenMap;
using vx::test::Folder;
using vx::test::LensScene;
using vx::test::open_descriptors;

// Particles at x = 1, 2, ... with these tags.
Bytes tagged_particles(const std::vector<double>& tags) {
    Bytes bytes;
    bytes.header(static_cast<int>(tags.size()), 2).record("tag", 3).doubles(tags);
    bytes.record("position", 5);
    for (size_t i = 0; i < tags.size(); ++i)
        bytes.doubles({static_cast<double>(i + 1), 0, 0});
    return bytes;
}

// The number of converted particles if no array has as many.
constexpr std::int32_t kUnbacked = 1 << 20;

class Convert : public testing::Test {
  protected:
    WriteInstanceData& make(const std::string& labels = "") {
        return scene.make({.use_labels = labels.empty() ? 0 : 1, .labels = labels});
    }
    bool read(WriteInstanceData& data, const Bytes& bytes) {
        vx::test::write_file(folder / "in.pdc", bytes.text);
        return data.ReadPdc(folder / "in.pdc");
    }
    // The map converted from a file with these bytes.
    WrittenMap converted(const Bytes& bytes, const std::string& labels = "") {
        WriteInstanceData& data = make(labels);
        EXPECT_TRUE(read(data, bytes));
        EXPECT_TRUE(data.PdcToMap("out.mrmap"));
        scene.exit();
        EXPECT_THAT(scene.left_over(), IsEmpty());
        return scene.maps.written.at(0);
    }

    // A record whose cache counts `count` particles with these tags and no other values.
    WriteInstanceData& counted(std::int32_t count, const std::vector<double>& tags,
                               const std::string& labels) {
        scene.maps.quiet_elements = true;
        WriteInstanceData& data = make(labels);
        EXPECT_TRUE(read(data, tagged_particles(tags)));
        data.pdc->header.particleCount = count;
        return data;
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

TEST_F(Convert, FailureLeavesNoCacheAlsoWhereOneWasBefore) {
    WriteInstanceData& data = make();
    const auto before = std::make_unique<CPdc>();
    data.pdc = before.get();
    EXPECT_FALSE(read(data, Bytes().header(1, 1)));
    EXPECT_EQ(data.pdc, nullptr);
}

TEST_F(Convert, SuccessReplacesACacheThatIsNotReleased) {
    WriteInstanceData& data = make();
    const auto before = std::make_unique<CPdc>(); // ReadPdc must not release it
    data.pdc = before.get();
    EXPECT_TRUE(read(data, pdc_bytes::seven_attributes()));
    EXPECT_NE(data.pdc, before.get());
    EXPECT_EQ(data.pdc->header.particleCount, 2);
}

TEST_F(Convert, EveryFileIsClosed) {
    WriteInstanceData& data = make();
    const std::string whole = pdc_bytes::seven_attributes().text;
    const size_t before = open_descriptors();
    EXPECT_TRUE(read(data, Bytes().raw(whole)));
    delete std::exchange(data.pdc, nullptr);
    EXPECT_EQ(open_descriptors(), before) << "after a file was loaded";
    EXPECT_FALSE(data.ReadPdc(folder / "none.pdc"));
    EXPECT_EQ(open_descriptors(), before) << "without a file";
    EXPECT_FALSE(data.ReadPdc(folder.path().string()));
    EXPECT_EQ(open_descriptors(), before) << "after a folder was tried";
    for (const size_t length : {0U, 27U, 30U, 100U}) {
        EXPECT_FALSE(read(data, Bytes().raw(std::string_view(whole).substr(0, length))));
        EXPECT_EQ(open_descriptors(), before) << "after a file cut at " << length;
    }
    EXPECT_FALSE(read(data, Bytes().header(1, 1000)));
    EXPECT_EQ(open_descriptors(), before) << "after a count that the file cannot hold";
    EXPECT_TRUE(read(data, Bytes().header(100, 1).record("mass", 3).f64(1)));
    EXPECT_EQ(open_descriptors(), before) << "after a record that was skipped";
}

TEST_F(Convert, TheWrittenPdcFileIsClosed) {
    WriteInstanceData& data =
        scene.make({.pdc_file_name = folder / "a.0001.pdc", .output_mode = 1, .frame = 2});
    const size_t before = open_descriptors();
    WriteOutput(&data);
    EXPECT_TRUE(std::filesystem::exists(folder / "a.0002.pdc"));
    EXPECT_EQ(open_descriptors(), before);
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

TEST_F(Convert, SingleValuedSlotGivesElement0) {
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
    EXPECT_THAT(field(map, "rgbPP"), ElementsAre("vector 0.125 0.25 0.5", "vector 1 2 4",
                                                 "vector 1 2 4", "vector 1 2 4"));
    EXPECT_THAT(field(map, "opacityPP"),
                ElementsAre("scalar 0.5", "scalar 1", "scalar 1", "scalar 1"));
    EXPECT_THAT(field(map, "tag"),
                ElementsAre("integer -3", "integer 70000", "integer 70000", "integer 70000"));
}

// A short array does not affect the others.
TEST_F(Convert, EachArrayThatIsTooShortLeavesItsOwnPreviousValue) {
    struct Row {
        const char* name;
        std::vector<std::string> expected; // of the third particle: position and four fields
    };
    const Row table[] = {
        {"position", {"4", "vector 7 8 9", "scalar 3", "vector 0 1 0", "integer 3"}},
        {"rgbPP", {"7", "vector 4 5 6", "scalar 3", "vector 0 1 0", "integer 3"}},
        {"opacityPP", {"7", "vector 7 8 9", "scalar 2", "vector 0 1 0", "integer 3"}},
        {"normalPP", {"7", "vector 7 8 9", "scalar 3", "vector 0 0 2", "integer 3"}},
        {"tag", {"7", "vector 7 8 9", "scalar 3", "vector 0 1 0", "integer 2"}},
    };
    for (const Row& row : table) {
        WriteInstanceData& data = make();
        ASSERT_TRUE(read(data, Bytes()
                                   .header(3, 5)
                                   .record("tag", 3)
                                   .doubles({1, 2, 3})
                                   .record("position", 5)
                                   .doubles({1, 2, 3, 4, 5, 6, 7, 8, 9})
                                   .record("rgbPP", 5)
                                   .doubles({1, 2, 3, 4, 5, 6, 7, 8, 9})
                                   .record("opacityPP", 3)
                                   .doubles({1, 2, 3})
                                   .record("normalPP", 5)
                                   .doubles({1, 0, 0, 0, 0, 2, 0, 1, 0})));
        for (CAttribute& slot : data.pdc->slots)
            if (slot.name == row.name) slot.Resize(2);
        EXPECT_TRUE(data.PdcToMap("out.mrmap"));
        const AppendedElement& third = scene.maps.written.back().elements.at(2);
        EXPECT_EQ(vx::stub::text_of(third.position.at(0)), row.expected[0]) << row.name;
        EXPECT_EQ(third.fields.at("rgbPP"), row.expected[1]) << row.name;
        EXPECT_EQ(third.fields.at("opacityPP"), row.expected[2]) << row.name;
        EXPECT_EQ(third.fields.at("normalPP"), row.expected[3]) << row.name;
        EXPECT_EQ(third.fields.at("tag"), row.expected[4]) << row.name;
        scene.exit();
    }
}

// The labels exclude the second particle; the third has no values.
TEST_F(Convert, ValuesAreTakenOverFromTheLastKeptParticle) {
    WriteInstanceData& data = make("1");
    ASSERT_TRUE(read(data, Bytes()
                               .header(2, 4)
                               .record("position", 5)
                               .doubles({1, 2, 3, 4, 5, 6})
                               .record("rgbPP", 5)
                               .doubles({7, 8, 9, 10, 11, 12})
                               .record("opacityPP", 3)
                               .doubles({0.25, 0.75})
                               .record("normalPP", 5)
                               .doubles({0, 0, 1, 0, 1, 0})));
    data.pdc->header.particleCount = 3;
    data.pdc->slots[kSlotTag].perParticle = true;
    data.pdc->slots[kSlotTag].integers = {1, 9, 1};
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    const WrittenMap& map = scene.maps.written.at(0);
    ASSERT_EQ(map.elements.size(), 2u);
    EXPECT_THAT(map.elements[1].position, ElementsAre(1, 2, 3));
    EXPECT_EQ(map.elements[1].fields.at("rgbPP"), "vector 7 8 9");
    EXPECT_EQ(map.elements[1].fields.at("opacityPP"), "scalar 0.25");
    EXPECT_EQ(map.elements[1].fields.at("normalPP"), "vector 0 0 1");
}

// Unlike the other values, the tag also comes from excluded particles.
TEST_F(Convert, TagOfAParticleThatWasLeftOutIsTakenOver) {
    WriteInstanceData& data = make("3");
    ASSERT_TRUE(read(data, tagged_particles({3, 4})));
    data.pdc->header.particleCount = 3;
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    EXPECT_THAT(positions_x(scene.maps.written.at(0)), ElementsAre(1));
}

TEST_F(Convert, EmptyPerParticleArraysGiveZeros) {
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, Bytes()
                               .header(0, 5)
                               .record("position", 5)
                               .record("rgbPP", 5)
                               .record("opacityPP", 3)
                               .record("normalPP", 5)
                               .record("tag", 3)));
    data.pdc->header.particleCount = 1;
    EXPECT_TRUE(data.PdcToMap("out.mrmap"));
    const WrittenMap& map = scene.maps.written.at(0);
    ASSERT_EQ(map.elements.size(), 1u);
    EXPECT_THAT(map.elements[0].position, ElementsAre(0, 0, 0));
    EXPECT_THAT(field(map, "rgbPP"), ElementsAre("vector 0 0 0"));
    EXPECT_THAT(field(map, "opacityPP"), ElementsAre("scalar 0"));
    EXPECT_THAT(field(map, "normalPP"), ElementsAre("vector 0 0 0"));
    EXPECT_THAT(field(map, "tag"), ElementsAre("integer 0"));
}

TEST_F(Convert, RefusedElementEndsTheLoopAndTheMapIsWritten) {
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
    // The stand-in returns a failure from both.
    EXPECT_EQ(converted(tagged_particles({1})).elements.size(), 1u);
}

TEST_F(Convert, RendererWithoutTheInterfaceGetsNoMap) {
    WriteInstanceData& data = make();
    ASSERT_TRUE(read(data, tagged_particles({1})));
    scene.maps.has_interface = false;
    EXPECT_FALSE(data.PdcToMap("out.mrmap"));
    EXPECT_THAT(scene.maps.written, IsEmpty());
}

// The renderer returns an interface for the first calls only.
TEST_F(Convert, MissingMapOrElementGivesNoMap) {
    for (const int interfaces : {1, 2}) {
        WriteInstanceData& data = make();
        ASSERT_TRUE(read(data, tagged_particles({1})));
        scene.maps.interface_limit = interfaces;
        EXPECT_FALSE(data.PdcToMap("out.mrmap"));
        EXPECT_THAT(scene.maps.written, IsEmpty());
        scene.exit();
        EXPECT_THAT(scene.left_over(), IsEmpty());
    }
}

// ---- counts beyond all arrays ----

// A header of 28 bytes may count 2^31 - 1 particles.
TEST_F(Convert, CountWithoutValuesIsConvertedUpToTheLimit) {
    WriteInstanceData& data = counted(0, {}, "");
    for (const std::int32_t count : {kUnbacked - 1, kUnbacked, kUnbacked + 1, INT32_MAX}) {
        data.pdc->header.particleCount = count;
        EXPECT_EQ(data.PdcToMap("out.mrmap"), count <= kUnbacked) << count;
        EXPECT_EQ(scene.maps.written.back().count, static_cast<size_t>(std::min(count, kUnbacked)));
    }
}

TEST_F(Convert, CountThatAnArrayOfAnyKindBacksIsConverted) {
    constexpr std::int32_t kN = kUnbacked + 5;
    for (const int slot : {kSlotOpacity, kSlotId, kSlotNormal}) {
        WriteInstanceData& data = counted(kN, {}, "");
        data.pdc->slots[slot].perParticle = true;
        data.pdc->slots[slot].Resize(kN);
        EXPECT_TRUE(data.PdcToMap("out.mrmap")) << slot;
        EXPECT_EQ(scene.maps.written.back().count, static_cast<size_t>(kN)) << slot;
        scene.exit();
    }
}

// Particles beyond the arrays have the tag of the last element.
TEST_F(Convert, NothingIsMissingWhereTheLabelsLeaveOutEverythingBeyondTheLimit) {
    EXPECT_TRUE(counted(INT32_MAX, {3, 3, 4}, "3").PdcToMap("out.mrmap"));
    EXPECT_EQ(scene.maps.written.back().count, 2u);
}

TEST_F(Convert, LabelsThatKeepParticlesBeyondTheLimitGiveAnIncompleteMap) {
    EXPECT_FALSE(counted(INT32_MAX, {3, 3, 4}, "4").PdcToMap("out.mrmap"));
    EXPECT_EQ(scene.maps.written.back().count, static_cast<size_t>(kUnbacked - 2));
}

TEST_F(Convert, CountsBelowTheLimitGiveACompleteMap) {
    EXPECT_TRUE(counted(100, {3, 3, 4}, "3").PdcToMap("out.mrmap"));
    EXPECT_EQ(scene.maps.written.back().count, 2u);
    scene.exit();
    EXPECT_TRUE(counted(100, {3, 3, 4}, "9").PdcToMap("out.mrmap"));
    EXPECT_EQ(scene.maps.written.back().count, 0u);
}

TEST_F(Convert, RefusedElementMakesAnUnbackedMapIncompleteToo) {
    WriteInstanceData& data = counted(INT32_MAX, {3, 4}, "3");
    scene.maps.refuse_append = 0;
    EXPECT_FALSE(data.PdcToMap("out.mrmap"));
    EXPECT_EQ(scene.maps.written.back().count, 0u);
}

} // namespace
