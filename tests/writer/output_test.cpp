// Output files in all modes, and all failures.
#include "src/writer/output.h"

#include "tests/points/pdc_bytes.h"
#include "tests/writer/lens_scene.h"
#include "tests/writer/watched_heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

using pdc_bytes::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;
using vx::test::contents_of;
using vx::test::Folder;
using vx::test::LensScene;
using vx::test::Settings;

// Two points in different rows; every number is a sum of powers of two.
void fill(WriteInstanceData& data) {
    data.grid.Append(0, {1, 2, 3, 0, 0, 1, 0.125f, 0.25f, 0.5f, 0.75f, 7});
    data.grid.Append(2, {-4, -5, -6, 0, -1, 0, 1, 2, 4, 1, 70000});
}

std::string expected_pdc() {
    return Bytes()
        .header(2, 7)
        .record("opacityPP", 3)
        .doubles({0.75, 1})
        .record("radius", 3)
        .doubles({0.5, 0.5})
        .record("id", 3)
        .doubles({0, 1})
        .record("tag", 3)
        .doubles({7, 70000})
        .record("position", 5)
        .doubles({1, 2, 3, -4, -5, -6})
        .record("rgbPP", 5)
        .doubles({0.125, 0.25, 0.5, 1, 2, 4})
        .record("normalPP", 5)
        .doubles({0, 0, 1, 0, -1, 0})
        .text;
}

class Output : public testing::Test {
  protected:
    WriteInstanceData& make(int mode, const std::string& pdc = "a.0001.pdc",
                            const std::string& map = "a.0001.mrmap") {
        WriteInstanceData& data = scene.make({.pdc_file_name = pdc.empty() ? "" : folder / pdc,
                                              .map_file_name = map.empty() ? "" : folder / map,
                                              .output_mode = mode,
                                              .frame = 12,
                                              .radius = 0.5f});
        return data;
    }
    // Another instance in the same scene.
    WriteInstanceData& make_with(Settings settings, int mode) {
        if (scene.function != 0) scene.exit();
        settings.output_mode = mode;
        return scene.make(settings);
    }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            names.push_back(entry.path().filename().string());
        return names;
    }
    // Recorded lines without the name of the folder.
    std::vector<std::string> shortened(std::vector<std::string> lines) const {
        for (std::string& line : lines)
            for (size_t at = line.find(folder.path().string()); at != std::string::npos;
                 at = line.find(folder.path().string()))
                line.erase(at, folder.path().string().size() + 1);
        return lines;
    }
    std::vector<std::string> calls() const { return shortened(scene.renderer.calls()); }
    std::vector<std::string> messages() const { return shortened(scene.renderer.messages()); }

    Folder folder;
    LensScene scene;
};

// The calls of the conversion of these particles, in order.
std::vector<std::string> map_calls(const std::vector<std::vector<std::string>>& elements,
                                   const std::string& file) {
    std::vector<std::string> calls = {"get_interface(3)",
                                      "createMapDeclaration(3)",
                                      "release",
                                      "append_field(normalPP, vector)",
                                      "append_field(rgbPP, vector)",
                                      "append_field(opacityPP, scalar)",
                                      "append_field(tag, integer)",
                                      "get_interface(3)",
                                      "createMap()",
                                      "release",
                                      "get_interface(3)",
                                      "createMapElement()",
                                      "release",
                                      "get_field_id(normalPP)",
                                      "get_field_id(rgbPP)",
                                      "get_field_id(opacityPP)",
                                      "get_field_id(tag)"};
    for (const auto& e : elements) {
        const std::vector<std::string> one = {
            "set_position(" + e[0] + ")",   "set(rgbPP, " + e[1] + ")",
            "set(opacityPP, " + e[2] + ")", "set(normalPP, " + e[3] + ")",
            "set(tag, " + e[4] + ")",       "append()"};
        calls.insert(calls.end(), one.begin(), one.end());
    }
    const std::vector<std::string> end = {
        "consolidate(0.6)", "write(" + file + ", notify, format 0)", "element destroyed",
        "map destroyed", "declaration destroyed"};
    calls.insert(calls.end(), end.begin(), end.end());
    return calls;
}

std::vector<std::string> filled_map_calls() {
    return map_calls({{"1 2 3", "0.125 0.25 0.5", "0.75", "0 0 1", "7"},
                      {"-4 -5 -6", "1 2 4", "1", "0 -1 0", "70000"}},
                     "a.0012.mrmap");
}

std::vector<std::string> joined(std::vector<std::string> first,
                                const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Elements 2 and 3 are the two file name parameters.
const std::vector<std::string> kPdcCalls = {"db_access(2)", "db_unpin(2)",
                                            "string_substitute(a.0001.pdc, 1000)",
                                            "info: vx_pc_write: Writing File a.0012.pdc"};
const std::vector<std::string> kMapNameCalls = {"db_access(3)", "db_unpin(3)",
                                                "string_substitute(a.0001.mrmap, 1000)"};
const std::string kMapMessage = "info: vx_pc_write: Writing File a.0012.mrmap";

// ---- after a pass ----

TEST_F(Output, Mode0WritesTheMapOnlyFromTheCacheInMemory) {
    WriteInstanceData& data = make(0);
    fill(data);
    WriteOutput(&data);
    EXPECT_EQ(calls(), joined(joined(kMapNameCalls, filled_map_calls()), {kMapMessage}));
    EXPECT_THAT(files(), IsEmpty());
    ASSERT_NE(data.pdc, nullptr);
    EXPECT_EQ(data.pdc->header.particleCount, 2);
}

TEST_F(Output, Mode1WritesThePdcFileOnly) {
    WriteInstanceData& data = make(1);
    fill(data);
    WriteOutput(&data);
    EXPECT_EQ(calls(), kPdcCalls);
    EXPECT_EQ(contents_of(folder / "a.0012.pdc"), expected_pdc());
    EXPECT_THAT(scene.maps.written, IsEmpty());
}

TEST_F(Output, Mode2WritesThePdcFileAndThenTheMap) {
    WriteInstanceData& data = make(2);
    fill(data);
    WriteOutput(&data);
    EXPECT_EQ(calls(),
              joined(joined(joined(kPdcCalls, kMapNameCalls), filled_map_calls()), {kMapMessage}));
    EXPECT_EQ(contents_of(folder / "a.0012.pdc"), expected_pdc());
    EXPECT_THAT(files(), ElementsAre("a.0012.pdc"));
}

TEST_F(Output, UnknownModesWriteNothingButBuildTheCache) {
    for (const int mode : {-1, 4, 1000}) {
        WriteInstanceData& data = make(mode);
        fill(data);
        WriteOutput(&data);
        EXPECT_THAT(calls(), IsEmpty()) << mode;
        EXPECT_THAT(files(), IsEmpty()) << mode;
        ASSERT_NE(data.pdc, nullptr) << mode;
        EXPECT_EQ(data.pdc->header.particleCount, 2) << mode;
        scene.exit();
    }
}

TEST_F(Output, CacheThatWasThereBeforeIsNotReleased) {
    WriteInstanceData& data = make(7);
    const std::unique_ptr<CPdc> before(new CPdc);
    data.pdc = before.get();
    const vx::test::WatchedBlock watched(before.get(), "cache");
    WriteOutput(&data);
    EXPECT_NE(data.pdc, before.get());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Output, EmptyGridStillMakesFiles) {
    WriteInstanceData& data = make(2);
    WriteOutput(&data);
    Bytes bytes;
    bytes.header(0, 7);
    for (const char* const name : {"opacityPP", "radius", "id", "tag"})
        bytes.record(name, 3);
    for (const char* const name : {"position", "rgbPP", "normalPP"})
        bytes.record(name, 5);
    EXPECT_EQ(contents_of(folder / "a.0012.pdc"), bytes.text);
    ASSERT_EQ(scene.maps.written.size(), 1u);
    EXPECT_THAT(scene.maps.written[0].elements, IsEmpty());
}

TEST_F(Output, NamesAreSubstitutedBeforeTheyAreFramed) {
    scene.renderer.substitutions["{SHOT}"] = folder.path().string() + "/s_007";
    WriteInstanceData& data =
        scene.make({.pdc_file_name = "{SHOT}.pdc", .output_mode = 1, .frame = 3, .radius = 0.5f});
    fill(data);
    WriteOutput(&data);
    EXPECT_EQ(contents_of(folder / "s_003.pdc"), expected_pdc());
}

TEST_F(Output, ExistingFileIsReplaced) {
    vx::test::write_file(folder / "a.0012.pdc", std::string(100000, 'x'));
    WriteInstanceData& data = make(1);
    fill(data);
    WriteOutput(&data);
    EXPECT_EQ(contents_of(folder / "a.0012.pdc"), expected_pdc());
}

TEST_F(Output, SlotsWithoutANameAreNotWrittenAndTheOthersInSlotOrder) {
    WriteInstanceData& data = make(1);
    fill(data);
    WriteOutput(&data);
    const std::string bytes = contents_of(folder / "a.0012.pdc");
    size_t last = 0;
    for (const char* const name :
         {"opacityPP", "radius", "id", "tag", "position", "rgbPP", "normalPP"}) {
        const size_t at = bytes.find(std::string(name) + std::string(3, '\0'), 28);
        ASSERT_NE(at, std::string::npos) << name;
        EXPECT_GT(at, last) << name;
        last = at;
    }
}

// ---- failures after a pass ----

TEST_F(Output, Mode2WithAnEmptyPdcNameWarnsAndStillWritesTheMap) {
    WriteInstanceData& data = make(2, "");
    fill(data);
    WriteOutput(&data);
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for , aborting", kMapMessage));
    ASSERT_EQ(scene.maps.written.size(), 1u);
    EXPECT_EQ(scene.maps.written[0].elements.size(), 2u);
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Output, BadPdcNameIsReportedAsGiven) {
    WriteInstanceData& data = make(2, "noframe.pdc");
    WriteOutput(&data);
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for noframe.pdc, aborting",
                            kMapMessage));
}

TEST_F(Output, BadMapNameIsReportedAsTheEmptyBuiltName) {
    WriteInstanceData& data = make(2, "a.0001.pdc", "noframe.mrmap");
    WriteOutput(&data);
    EXPECT_THAT(messages(), ElementsAre("info: vx_pc_write: Writing File a.0012.pdc",
                                        "warning: vx_pc_write: Invalid file name for , aborting"));
    EXPECT_THAT(scene.maps.written, IsEmpty());
    EXPECT_THAT(scene.renderer.calls_starting_with("get_interface"), IsEmpty());
}

TEST_F(Output, BadNamesAreReportedWithTheirSubstitutionsAndAfterAPassTheMapsNotAtAll) {
    scene.renderer.substitutions["{SHOT}"] = "take";
    const Settings settings = {.pdc_file_name = "{SHOT}.pdc", .map_file_name = "{SHOT}.mrmap"};
    WriteOutput(&make_with(settings, 2));
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for take.pdc, aborting",
                            "warning: vx_pc_write: Invalid file name for , aborting"));
    ConvertOutput(&make_with(settings, 3));
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for take.pdc, aborting"));
    ConvertOutput(&make_with({.pdc_file_name = "a.1.pdc", .map_file_name = "{SHOT}.mrmap"}, 3));
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for take.mrmap, aborting"));
    EXPECT_THAT(scene.maps.written, IsEmpty());
}

TEST_F(Output, NameOfTheWrongTypeIsInvalid) {
    WriteInstanceData& data = make(2, "a.0001.mrmap", "a.0001.pdc");
    WriteOutput(&data);
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for a.0001.mrmap, aborting",
                            "warning: vx_pc_write: Invalid file name for , aborting"));
}

TEST_F(Output, UnwritableDirectoryAndFileAreBothReported) {
    WriteInstanceData& data = make(1, "missing/a.0001.pdc");
    WriteOutput(&data);
    EXPECT_THAT(messages(), ElementsAre("warning: Cannot open missing/a.0012.pdc for writing",
                                        "info: vx_pc_write: Writing File missing/a.0012.pdc"));
    EXPECT_THAT(files(), IsEmpty());
    EXPECT_NE(data.pdc, nullptr);
}

TEST_F(Output, UnwritablePdcFileDoesNotStopTheMap) {
    WriteInstanceData& data = make(2, "missing/a.0001.pdc");
    fill(data);
    WriteOutput(&data);
    EXPECT_THAT(messages(),
                ElementsAre("warning: Cannot open missing/a.0012.pdc for writing",
                            "info: vx_pc_write: Writing File missing/a.0012.pdc", kMapMessage));
    EXPECT_EQ(scene.maps.written.size(), 1u);
}

TEST_F(Output, FailedMapIsReportedAsWritten) {
    scene.maps.refuse_append = 0;
    WriteInstanceData& data = make(0);
    fill(data);
    WriteOutput(&data);
    EXPECT_THAT(messages(), ElementsAre(kMapMessage));
}

TEST_F(Output, ParameterThatWasNeverSetIsAnEmptyName) {
    scene.set_up({.output_mode = 2});
    scene.params()->pdcFileName = miNULLTAG;
    scene.params()->mapFileName = miNULLTAG;
    InitWriteInstance(&scene.state, scene.params());
    WriteOutput(&scene.record());
    EXPECT_THAT(messages(), ElementsAre("warning: vx_pc_write: Invalid file name for , aborting",
                                        "warning: vx_pc_write: Invalid file name for , aborting"));
    scene.exit();
}

TEST_F(Output, NothingIsLeftOver) {
    for (int mode = 0; mode < 4; ++mode) {
        WriteInstanceData& data = make(mode);
        fill(data);
        WriteOutput(&data);
        scene.exit();
        EXPECT_THAT(scene.left_over(), IsEmpty()) << mode;
    }
}

// ---- conversion ----

TEST_F(Output, ConversionMakesTheMapOfTheFramesPdcFile) {
    vx::test::write_file(folder / "a.0012.pdc", expected_pdc());
    WriteInstanceData& data = make(3);
    ConvertOutput(&data);
    EXPECT_EQ(calls(),
              joined(joined({"db_access(2)", "db_unpin(2)", "string_substitute(a.0001.pdc, 1000)"},
                            kMapNameCalls),
                     filled_map_calls()));
}

TEST_F(Output, ConversionOfAMissingFileReportsTheReadingError) {
    WriteInstanceData& data = make(3);
    ConvertOutput(&data);
    EXPECT_THAT(messages(),
                ElementsAre("warning: Cannot open a.0012.pdc for reading",
                            "warning: vx_pc_write: Error reading a.0012.pdc, aborting"));
    EXPECT_THAT(scene.maps.written, IsEmpty());
    EXPECT_EQ(data.pdc, nullptr);
}

TEST_F(Output, ConversionOfADamagedFileReportsTheReadingErrorAlone) {
    vx::test::write_file(folder / "a.0012.pdc", expected_pdc().substr(0, 300));
    WriteInstanceData& data = make(3);
    ConvertOutput(&data);
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Error reading a.0012.pdc, aborting"));
    EXPECT_THAT(scene.maps.written, IsEmpty());
}

TEST_F(Output, ConversionStopsAtABadPdcNameBeforeItLooksAtTheMaps) {
    WriteInstanceData& data = make(3, "noframe.pdc");
    ConvertOutput(&data);
    EXPECT_THAT(calls(),
                ElementsAre("db_access(2)", "db_unpin(2)", "string_substitute(noframe.pdc, 1000)",
                            "warning: vx_pc_write: Invalid file name for noframe.pdc, "
                            "aborting"));
}

TEST_F(Output, ConversionReportsABadMapNameAsGiven) {
    vx::test::write_file(folder / "a.0012.pdc", expected_pdc());
    WriteInstanceData& data = make(3, "a.0001.pdc", "noframe.mrmap");
    ConvertOutput(&data);
    EXPECT_THAT(messages(),
                ElementsAre("warning: vx_pc_write: Invalid file name for noframe.mrmap, aborting"));
    EXPECT_EQ(data.pdc, nullptr); // the file was not opened
}

TEST_F(Output, ConversionReportsNoWrittenFile) {
    vx::test::write_file(folder / "a.0012.pdc", expected_pdc());
    WriteInstanceData& data = make(3);
    ConvertOutput(&data);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(scene.maps.written.size(), 1u);
}

} // namespace
