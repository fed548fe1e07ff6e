// The writer's record: order of evaluation, size of the grid, release.
#include "src/writer/write_instance_data.h"

#include "tests/writer/lens_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::bytes_of;
using vx::stub::FunctionSetup;
using vx::test::LensScene;
using vx::test::Settings;

std::vector<int> labels_of(const WriteInstanceData& data) {
    return {data.labelValues, data.labelValues + data.labelCount};
}

TEST(WriteParameters, ElevenMembersInOrder) {
    EXPECT_EQ(sizeof(WriteParameters), 44u);
    EXPECT_EQ(offsetof(WriteParameters, disable), 0u);
    EXPECT_EQ(offsetof(WriteParameters, jitter), 4u);
    EXPECT_EQ(offsetof(WriteParameters, samples), 8u);
    EXPECT_EQ(offsetof(WriteParameters, layers), 12u);
    EXPECT_EQ(offsetof(WriteParameters, useLabels), 16u);
    EXPECT_EQ(offsetof(WriteParameters, labels), 20u);
    EXPECT_EQ(offsetof(WriteParameters, pdcFileName), 24u);
    EXPECT_EQ(offsetof(WriteParameters, mapFileName), 28u);
    EXPECT_EQ(offsetof(WriteParameters, outputMode), 32u);
    EXPECT_EQ(offsetof(WriteParameters, frame), 36u);
    EXPECT_EQ(offsetof(WriteParameters, radius), 40u);
}

TEST(WriteInstanceData, CopiesItsParameters) {
    LensScene scene(3, 2);
    const WriteInstanceData& data = scene.make({.disable = 1,
                                                .jitter = 1,
                                                .samples = 4,
                                                .layers = 3,
                                                .use_labels = 1,
                                                .labels = "1,3,5-7",
                                                .output_mode = 2,
                                                .frame = 12,
                                                .radius = 0.25f});
    EXPECT_EQ(data.params.disable, 1);
    EXPECT_EQ(data.params.jitter, 1);
    EXPECT_EQ(data.params.samples, 4);
    EXPECT_EQ(data.params.layers, 3);
    EXPECT_EQ(data.params.useLabels, 1);
    EXPECT_EQ(data.params.labels, scene.params()->labels);
    EXPECT_EQ(data.params.pdcFileName, scene.params()->pdcFileName);
    EXPECT_EQ(data.params.mapFileName, scene.params()->mapFileName);
    EXPECT_EQ(data.params.outputMode, 2);
    EXPECT_EQ(data.params.frame, 12);
    EXPECT_EQ(data.params.radius, 0.25f);
    EXPECT_THAT(labels_of(data), ElementsAre(1, 3, 5, 6, 7));
    EXPECT_FALSE(data.done);
    EXPECT_EQ(data.pdc, nullptr);
}

TEST(WriteInstanceData, LaterChangesOfTheParametersHaveNoEffect) {
    LensScene scene;
    const WriteInstanceData& data = scene.make({.layers = 3});
    scene.params()->layers = 8;
    EXPECT_EQ(data.params.layers, 3);
}

TEST(WriteInstanceData, GridHasARowForEverySample) {
    LensScene scene(3, 2);
    const WriteInstanceData& data = scene.make({.jitter = 1, .samples = 4, .layers = 5});
    EXPECT_EQ(data.grid.rowCount, 24);
    EXPECT_EQ(data.grid.rows.size(), 24u);
    EXPECT_EQ(data.grid.rowCapacity, 5);
    for (const CPointArray& row : data.grid.rows)
        EXPECT_TRUE(row.points.empty());
}

TEST(WriteInstanceData, WithoutJitterThereIsOneSample) {
    LensScene scene(3, 2);
    const WriteInstanceData& data = scene.make({.jitter = 0, .samples = 8});
    EXPECT_EQ(data.params.samples, 1);
    EXPECT_EQ(data.grid.rowCount, 6);
}

TEST(WriteInstanceData, SamplesBelow1AreStoredAs1) {
    for (const int samples : {0, -1, -2147483647 - 1, 1}) {
        LensScene scene(3, 2);
        const WriteInstanceData& data = scene.make({.jitter = 1, .samples = samples});
        EXPECT_EQ(data.params.samples, 1) << samples;
        EXPECT_EQ(data.grid.rowCount, 6) << samples;
    }
}

TEST(WriteInstanceData, SwitchesAreAnyNonZeroValueAndKeptAsTheyAre) {
    for (const int on : {2, -1, -2147483647 - 1}) {
        LensScene scene;
        const WriteInstanceData& data =
            scene.make({.jitter = on, .samples = 4, .use_labels = on, .labels = "5,6"});
        EXPECT_EQ(data.params.samples, 4) << on;
        EXPECT_EQ(data.params.jitter, on);
        EXPECT_THAT(labels_of(data), ElementsAre(5, 6)) << on;
        EXPECT_EQ(data.params.useLabels, on);
    }
}

TEST(WriteInstanceData, SamplesFrom1OnAreStoredAsTheyAre) {
    for (const int samples : {1, 2, 3, 100}) {
        LensScene scene;
        EXPECT_EQ(scene.make({.jitter = 1, .samples = samples}).params.samples, samples);
    }
}

TEST(WriteInstanceData, WithoutUseLabelsTheLabelsAreNeverRead) {
    LensScene scene;
    const WriteInstanceData& data = scene.make({.use_labels = 0, .labels = "1,2"});
    EXPECT_EQ(data.labelCount, 0);
    EXPECT_EQ(data.labelValues, nullptr);
    EXPECT_EQ(data.params.labels, miNULLTAG);
    scene.exit();
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

TEST(WriteInstanceData, LayersOf0GiveACapacityOf0) {
    LensScene scene;
    EXPECT_EQ(scene.make({.layers = 0}).grid.rowCapacity, 0);
}

TEST(WriteInstanceData, BadLabelsAreTheParsersBusiness) {
    LensScene scene;
    const WriteInstanceData& data = scene.make({.use_labels = 1, .labels = "x,5-3"});
    EXPECT_EQ(data.labelCount, 0);
    EXPECT_EQ(data.labelValues, nullptr);
}

TEST(WriteInstanceData, LabelsThatWereNeverSetAreNoLabels) {
    LensScene scene;
    scene.set_up({.use_labels = 1});
    scene.params()->labels = miNULLTAG;
    InitWriteInstance(&scene.state, scene.params());
    EXPECT_EQ(scene.record().labelCount, 0);
    scene.exit();
}

// ---- the order of evaluation ----

// With all parameters connected, every evaluation is recorded.
class Connected {
  public:
    explicit Connected(int jitter, int use_labels) {
        FunctionSetup setup;
        for (int i = 0; i < 11; ++i)
            setup.connections[4 * i] = static_cast<miTag>(1000 + i);
        const miTag text = scene.renderer.add_string("2-3"); // element 1
        const std::vector<int> values = {0,
                                         jitter,
                                         5,
                                         6,
                                         use_labels,
                                         static_cast<int>(text),
                                         static_cast<int>(text),
                                         static_cast<int>(text),
                                         1,
                                         9,
                                         0};
        for (size_t i = 0; i < values.size(); ++i)
            scene.renderer.connected[static_cast<miTag>(1000 + i)] = bytes_of(values[i]);
        scene.renderer.connected[1010] = bytes_of(1.5f);
        scene.set_up({}, setup); // strings 2 to 4, function 5
        InitWriteInstance(&scene.state, scene.params());
    }
    ~Connected() { scene.exit(); }

    LensScene scene;
};

TEST(WriteInstanceData, ReadsEveryParameterThroughItsConnectionInOrder) {
    Connected connected(1, 1);
    EXPECT_THAT(connected.scene.renderer.calls(), ElementsAre("query(51)", "init_lock(1)",
                                                              "phen_eval(5+0)",  // disable
                                                              "phen_eval(5+4)",  // jitter
                                                              "phen_eval(5+8)",  // samples
                                                              "phen_eval(5+12)", // layers
                                                              "phen_eval(5+40)", // radius
                                                              "phen_eval(5+16)", // useLabels
                                                              "phen_eval(5+20)", // labels
                                                              "db_access(1)", "db_unpin(1)",
                                                              "phen_eval(5+24)",   // pdcFileName
                                                              "phen_eval(5+28)",   // mapFileName
                                                              "phen_eval(5+32)",   // outputMode
                                                              "phen_eval(5+36)")); // frame
    const WriteInstanceData& data = connected.scene.record();
    EXPECT_EQ(data.params.samples, 5);
    EXPECT_EQ(data.params.layers, 6);
    EXPECT_EQ(data.params.radius, 1.5f);
    EXPECT_THAT(labels_of(data), ElementsAre(2, 3));
    EXPECT_EQ(data.params.outputMode, 1);
    EXPECT_EQ(data.params.frame, 9);
}

TEST(WriteInstanceData, ParametersThatASwitchTurnsOffAreNotEvaluated) {
    Connected connected(0, 0);
    EXPECT_THAT(connected.scene.renderer.calls(),
                ElementsAre("query(51)", "init_lock(1)", "phen_eval(5+0)", "phen_eval(5+4)",
                            "phen_eval(5+12)", "phen_eval(5+40)", "phen_eval(5+16)",
                            "phen_eval(5+24)", "phen_eval(5+28)", "phen_eval(5+32)",
                            "phen_eval(5+36)"));
}

// ---- the size of the grid ----

TEST(GridRows, IsThreeFactors) {
    EXPECT_EQ(GridRows(3, 2, 4), 24);
    EXPECT_EQ(GridRows(1, 1, 1), 1);
    EXPECT_EQ(GridRows(1920, 1080, 16), 33177600);
}

// 2147483647 is a prime.
TEST(GridRows, CountsTo2147483647) {
    constexpr int kMost = 2147483647;
    EXPECT_EQ(GridRows(kMost, 1, 1), kMost);
    EXPECT_EQ(GridRows(1, kMost, 1), kMost);
    EXPECT_EQ(GridRows(1, 1, kMost), kMost);
    EXPECT_EQ(GridRows(2, 3, 357913941), kMost - 1);
    EXPECT_EQ(GridRows(65536, 32768, 1), std::nullopt); // one more
    EXPECT_EQ(GridRows(2, 1, 1 << 30), std::nullopt);
    EXPECT_EQ(GridRows(1, 2, 1 << 30), std::nullopt);
    EXPECT_EQ(GridRows(3000, 3000, 238), 2142000000);
    EXPECT_EQ(GridRows(3000, 3000, 239), std::nullopt);
}

TEST(GridRows, ProductsBeyond32And64BitsAreRefusedToo) {
    constexpr int kMost = 2147483647;
    EXPECT_EQ(GridRows(65536, 65536, 1), std::nullopt);
    EXPECT_EQ(GridRows(65536, 65536, 1 << 30), std::nullopt);
    EXPECT_EQ(GridRows(kMost, kMost, kMost), std::nullopt);
    EXPECT_EQ(GridRows(1 << 30, 1 << 30, 16), std::nullopt); // 0 in 64 bits
}

TEST(GridRows, ImageWithoutPixelsHasNone) {
    EXPECT_EQ(GridRows(0, 5, 2), 0);
    EXPECT_EQ(GridRows(5, 0, 2), 0);
    EXPECT_EQ(GridRows(-3, 2, 2), 0);
    EXPECT_EQ(GridRows(3, -2, 2), 0);
    EXPECT_EQ(GridRows(-3, -2, 2), 0);
    EXPECT_EQ(GridRows(-65536, 49152, 1), 0); // 2^30 in 32 bits
}

TEST(WriteInstanceData, NegativeImageSizesGiveNoRows) {
    LensScene scene(-3, 2);
    const WriteInstanceData& data = scene.make({});
    EXPECT_EQ(data.grid.rows.size(), 0u);
    EXPECT_EQ(data.grid.rowCount, 0);
    EXPECT_FALSE(data.tooManySamples);
}

TEST(WriteInstanceData, TooManySamplesLeaveTheGridEmptyWithoutAMessage) {
    LensScene scene(3000, 3000);
    scene.set_up({.jitter = 1, .samples = 300});
    InitWriteInstance(&scene.state, scene.params());
    EXPECT_TRUE(scene.record().tooManySamples);
    EXPECT_EQ(scene.record().grid.rows.size(), 0u);
    EXPECT_EQ(scene.record().params.samples, 300);
    EXPECT_THAT(scene.renderer.calls(), ElementsAre("query(51)", "init_lock(1)"));
    scene.exit();
    EXPECT_THAT(scene.left_over(), IsEmpty());
}

// The number of samples per pixel has an effect only with jitter.
TEST(WriteInstanceData, SamplesThatAreNotTakenAreNotTooMany) {
    LensScene scene(2, 2);
    const WriteInstanceData& data = scene.make({.jitter = 0, .samples = 2147483647});
    EXPECT_FALSE(data.tooManySamples);
    EXPECT_EQ(data.grid.rows.size(), 4u);
}

TEST(WriteInstanceData, InstanceThatNeverBakesHasNoGridAndNoLimit) {
    for (const Settings& settings :
         {Settings{.disable = 1, .jitter = 1, .samples = 300},
          Settings{.jitter = 1, .samples = 300, .output_mode = kOutputConvert}}) {
        for (const int size : {2, 3000}) {
            LensScene scene(size, size);
            const WriteInstanceData& data = scene.make(settings);
            EXPECT_FALSE(data.tooManySamples) << size;
            EXPECT_EQ(data.grid.rows.size(), 0u) << size;
        }
    }
}

TEST(WriteInstanceData, OnlyDisable1SparesTheGrid) {
    for (const int disable : {0, 2, -1}) {
        LensScene scene;
        EXPECT_EQ(scene.make({.disable = disable}).grid.rows.size(), 4u) << disable;
    }
}

} // namespace
