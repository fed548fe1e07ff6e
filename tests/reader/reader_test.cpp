// The life of an instance through its user pointer.
#include "src/reader/reader.h"

#include "tests/reader/read_instance.h"
#include "tests/reader/watched_blocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::Maps;
using vx::test::content_of;
using vx::test::kFrameFile;
using vx::test::ReadInstance;
using vx::test::watch_block;

class ReaderTest : public testing::Test, protected ReadInstance {
  protected:
    Maps maps{renderer};

    void TearDown() override {
        EXPECT_THAT(renderer.left_over(), IsEmpty());
        EXPECT_THAT(maps.left_over(), IsEmpty());
    }
};

TEST_F(ReaderTest, InitReadsAndExitReleases) {
    maps.files[kFrameFile] = content_of({{.color = {0.5f, 0.25f, 1}}});
    start();
    InitReadInstance(&state, block());
    EXPECT_EQ(renderer.calls().front(), "query(51)");
    EXPECT_NE(*renderer.user_pointer(state.shader), nullptr);
    renderer.clear_calls();

    ReadResult result = {};
    EXPECT_EQ(ReadCloud(&result, &state, block()), miTRUE);
    EXPECT_EQ(renderer.calls().front(), "query(51)");
    EXPECT_EQ(result.outColor.g, 0.25f);
    EXPECT_EQ(result.pointCount, 1);
    renderer.clear_calls();

    void* const record = *renderer.user_pointer(state.shader);
    ExitReadInstance(&state);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(51)", "access 1 destroyed"));
    EXPECT_EQ(*renderer.user_pointer(state.shader), record) << "the pointer is not reset";
}

TEST_F(ReaderTest, ExitReleasesTheMapThenTheLabelsThenTheRecord) {
    maps.files[kFrameFile] = content_of({{}});
    params.useLabels = miTRUE;
    labels = "1-3";
    start();
    InitReadInstance(&state, block());
    const auto* const record =
        static_cast<const ReadInstanceData*>(*renderer.user_pointer(state.shader));
    watch_block(record, "record");
    watch_block(record->labelValues, "labels");
    watch_block(record->mapHolder, "holder");
    renderer.clear_calls();
    ExitReadInstance(&state);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(51)", "access 1 destroyed", "holder released",
                                              "labels released", "record released"));
}

TEST_F(ReaderTest, WithoutARecordTheResultIsUntouchedAndFalse) {
    start();
    ReadResult result = {{1, 2, 3, 4}, 5};
    EXPECT_EQ(ReadCloud(&result, &state, block()), miFALSE);
    EXPECT_EQ(result.outColor.r, 1);
    EXPECT_EQ(result.outColor.a, 4);
    EXPECT_EQ(result.pointCount, 5);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(51)"));
}

TEST_F(ReaderTest, WithoutAnAddressOfTheUserPointerNothingIsMadeAndTheResultIsFalse) {
    start();
    ReadParameters* const parameters = block();
    state.shader = nullptr; // the renderer answers no address then
    InitReadInstance(&state, parameters);
    ReadResult result = {{1, 2, 3, 4}, 5};
    EXPECT_EQ(ReadCloud(&result, &state, parameters), miFALSE);
    EXPECT_EQ(result.pointCount, 5);
    ExitReadInstance(&state);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(51)", "query(51)", "query(51)"));
}

TEST_F(ReaderTest, ExitWithoutARecordDoesNothing) {
    start();
    ExitReadInstance(&state);
    EXPECT_THAT(renderer.calls(), ElementsAre("query(51)"));
}

TEST_F(ReaderTest, FailedInitLeavesTheUserPointerAlone) {
    connect(offsetof(ReadParameters, radius), 1.0f);
    start();
    renderer.connected.clear();
    EXPECT_THROW(InitReadInstance(&state, block()), std::logic_error);
    EXPECT_EQ(*renderer.user_pointer(state.shader), nullptr);
}

TEST_F(ReaderTest, InstancesKeepTheirOwnMaps) {
    maps.files[kFrameFile] = content_of({{.color = {1, 0, 0}}});
    start();
    InitReadInstance(&state, block());
    miState first = state;
    maps.files["shot.0008.mrmap"] = content_of({{.color = {0, 1, 0}}});
    params.frame = 8;
    // A second instance; its strings are elements 4 and 5.
    start();
    InitReadInstance(&state, block());

    ReadResult result = {};
    ReadCloud(&result, &first, reinterpret_cast<ReadParameters*>(first.shader->parameters));
    EXPECT_EQ(result.outColor.r, 1);
    ReadCloud(&result, &state, block());
    EXPECT_EQ(result.outColor.r, 0);
    EXPECT_EQ(result.outColor.g, 1);
    ExitReadInstance(&first);
    ExitReadInstance(&state);
}

} // namespace
