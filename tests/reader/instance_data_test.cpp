// What an instance reads and loads when it is made, in which order, and what it gives back.
#include "src/reader/instance_data.h"

#include "tests/reader/read_instance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <span>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vx::stub::MapContent;
using vx::stub::Maps;
using vx::test::content_of;
using vx::test::kFrameFile;
using vx::test::ReadInstance;

class ReadInstanceDataTest : public testing::Test, protected ReadInstance {
  protected:
    Maps maps{renderer};

    void TearDown() override {
        EXPECT_THAT(renderer.left_over(), IsEmpty());
        EXPECT_THAT(maps.left_over(), IsEmpty());
    }
    void connect_everything() {
        connect(offsetof(ReadParameters, disable), miFALSE);
        connect(offsetof(ReadParameters, fileName), miTag{1});
        connect(offsetof(ReadParameters, frame), miInteger{7});
        connect(offsetof(ReadParameters, radius), 1.5f);
        connect(offsetof(ReadParameters, maxPoints), miInteger{9});
        connect(offsetof(ReadParameters, useLabels), miTRUE);
        connect(offsetof(ReadParameters, labels), miTag{2});
        connect(offsetof(ReadParameters, facing), miInteger{1});
        connect(offsetof(ReadParameters, minAngle), 1.0f);
        connect(offsetof(ReadParameters, maxAngle), 2.0f);
        connect(offsetof(ReadParameters, falloff), miColor{1, 2, 3, 4});
        connect(offsetof(ReadParameters, scale), miColor{1, 2, 3, 4});
        connect(offsetof(ReadParameters, useOpacity), miInteger{5});
    }
    // A map that lacks some of the fields of a bake.
    void put_map_with(const std::vector<std::string>& names) {
        MapContent content;
        content.positions = {{0, 0, 0}};
        for (const std::string& name : names) {
            if (name == "tag")
                content.add(name, std::vector<int>{0});
            else if (name == "opacityPP")
                content.add(name, std::vector<float>{1});
            else
                content.add(name, std::vector<miVector>{{0, 0, 1}});
        }
        maps.files[kFrameFile] = content;
    }
};

TEST_F(ReadInstanceDataTest, ReadsLoadsAndChecksInOrder) {
    maps.files[kFrameFile] = content_of({{}});
    labels = "4,1-3";
    connect_everything();
    start();
    const auto record = make_record();
    EXPECT_THAT(renderer.calls(),
                ElementsAre("phen_eval(3+0)", "phen_eval(3+4)", "phen_eval(3+8)", "phen_eval(3+12)",
                            "phen_eval(3+16)", "phen_eval(3+20)", "phen_eval(3+24)", "db_access(2)",
                            "db_unpin(2)", "phen_eval(3+28)", "phen_eval(3+72)", "db_access(1)",
                            "db_unpin(1)", "string_substitute(shot.0001.mrmap, 1000)",
                            "get_interface(3)", "accessMap(shot.0007.mrmap)", "release",
                            "map.is_empty()", "get_interface(3)", "copyMapDeclaration", "release",
                            "has_field(rgbPP)", "get_field_id(rgbPP)", "has_field(opacityPP)",
                            "get_field_id(opacityPP)", "has_field(normalPP)",
                            "get_field_id(normalPP)", "has_field(tag)", "get_field_id(tag)",
                            "declaration destroyed"));
    EXPECT_EQ(record->disabled, miFALSE);
    EXPECT_EQ(record->fileName, 1u);
    EXPECT_EQ(record->frame, 7);
    EXPECT_EQ(record->radius, 1.5f);
    EXPECT_EQ(record->maxPoints, 9);
    EXPECT_EQ(record->useLabels, miTRUE);
    EXPECT_EQ(record->labels, 2u);
    EXPECT_EQ(record->facing, 1);
    EXPECT_EQ(record->useOpacity, 5);
    EXPECT_EQ(record->radiusSquared, 2.25f);
    EXPECT_THAT(std::span(record->labelValues, static_cast<size_t>(record->labelCount)),
                ElementsAre(4, 1, 2, 3));
    EXPECT_NE(record->mapHolder, nullptr);
    EXPECT_EQ(record->normalField, 0u);
    EXPECT_EQ(record->rgbField, 1u);
    EXPECT_EQ(record->opacityField, 2u);
    EXPECT_EQ(record->tagField, 3u);
    EXPECT_TRUE(record->hasRgb && record->hasOpacity && record->hasNormal && record->hasTag);
}

TEST_F(ReadInstanceDataTest, RadiusSquaredIsComputedInSinglePrecision) {
    params.radius = 0.1f;
    start();
    EXPECT_EQ(make_record()->radiusSquared, 0.1f * 0.1f);
}

TEST_F(ReadInstanceDataTest, WhenDisabledNothingElseIsReadOrLoaded) {
    maps.files[kFrameFile] = content_of({{}});
    labels = "1";
    connect_everything();
    connect(offsetof(ReadParameters, disable), miInteger{-1});
    start();
    const auto record = make_record();
    EXPECT_THAT(renderer.calls(), ElementsAre("phen_eval(3+0)"));
    EXPECT_EQ(record->disabled, -1);
    EXPECT_EQ(record->mapHolder, nullptr);
    EXPECT_EQ(record->labelValues, nullptr);
    EXPECT_EQ(record->labelCount, 0);
    EXPECT_FALSE(record->hasRgb || record->hasOpacity || record->hasNormal || record->hasTag);
}

TEST_F(ReadInstanceDataTest, AnyDisableButZeroDisables) {
    maps.files[kFrameFile] = content_of({{}});
    labels = "1";
    params.useLabels = miTRUE;
    params.facing = 1;
    params.useOpacity = miTRUE;
    for (const int disable : {1, 2, -1}) {
        params.disable = disable;
        start();
        const auto record = make_record();
        EXPECT_THAT(renderer.calls(), IsEmpty());
        EXPECT_EQ(record->disabled, disable);
        EXPECT_EQ(record->mapHolder, nullptr);
    }
}

TEST_F(ReadInstanceDataTest, DisabledRecordHoldsNothing) {
    connect_everything();
    connect(offsetof(ReadParameters, disable), miInteger{2});
    start();
    const auto record = make_record();
    EXPECT_EQ(record->fileName, miNULLTAG);
    EXPECT_EQ(record->frame, 0);
    EXPECT_EQ(record->radius, 0.0f);
    EXPECT_EQ(record->maxPoints, 0);
    EXPECT_EQ(record->useLabels, miFALSE);
    EXPECT_EQ(record->labels, miNULLTAG);
    EXPECT_EQ(record->facing, 0);
    EXPECT_EQ(record->useOpacity, miFALSE);
    EXPECT_EQ(record->radiusSquared, 0.0f);
    for (const auto field :
         {record->rgbField, record->opacityField, record->normalField, record->tagField})
        EXPECT_EQ(field, mi::shader_v3::map_no_such_field);
}

TEST_F(ReadInstanceDataTest, AnyUseLabelsButZeroReadsTheLabels) {
    labels = "4-5";
    for (const int use : {1, 2, -1}) {
        params.useLabels = use;
        start();
        const auto record = make_record();
        EXPECT_EQ(record->useLabels, use);
        EXPECT_EQ(record->labelCount, 2) << use;
    }
}

TEST_F(ReadInstanceDataTest, WithoutUseLabelsTheLabelsAreNeverEvaluated) {
    maps.files[kFrameFile] = content_of({{}});
    labels = "1-3";
    connect_everything();
    connect(offsetof(ReadParameters, useLabels), miFALSE);
    start();
    const auto record = make_record();
    EXPECT_THAT(renderer.calls_starting_with("phen_eval(3+24)"), IsEmpty());
    EXPECT_THAT(renderer.calls_starting_with("db_access(2)"), IsEmpty());
    EXPECT_EQ(record->labelValues, nullptr);
    EXPECT_EQ(record->labelCount, 0);
}

TEST_F(ReadInstanceDataTest, LabelListWithoutAnyLabelStaysNull) {
    labels = "x,5-3";
    params.useLabels = 2;
    start();
    const auto record = make_record();
    EXPECT_EQ(record->labelValues, nullptr);
    EXPECT_EQ(record->labelCount, 0);
}

TEST_F(ReadInstanceDataTest, EmptyFileNameLeavesNoMapAndNoMessage) {
    file_name = "";
    start();
    const auto record = make_record();
    EXPECT_THAT(renderer.calls(),
                ElementsAre("db_access(1)", "db_unpin(1)", "string_substitute(, 1000)"));
    EXPECT_EQ(record->mapHolder, nullptr);
    EXPECT_EQ(record->disabled, miFALSE);
}

TEST_F(ReadInstanceDataTest, NameOfAnotherTypeLeavesNoMapAndNoMessage) {
    file_name = "shot.0001.pdc";
    start();
    EXPECT_EQ(make_record()->mapHolder, nullptr);
    EXPECT_THAT(renderer.messages(), IsEmpty());
    EXPECT_THAT(renderer.calls_starting_with("get_interface"), IsEmpty());
}

TEST_F(ReadInstanceDataTest, SubstitutionHappensBeforeTheFrameIsPutIn) {
    file_name = "{SHOT}.0001.mrmap";
    renderer.substitutions["{SHOT}"] = "shot";
    maps.files[kFrameFile] = content_of({{}});
    start();
    EXPECT_NE(make_record()->mapHolder, nullptr);
}

TEST_F(ReadInstanceDataTest, StringsThatWereNeverSetAreNotAskedFor) {
    params.useLabels = miTRUE;
    connect(offsetof(ReadParameters, fileName), miNULLTAG);
    connect(offsetof(ReadParameters, labels), miNULLTAG);
    start();
    const auto record = make_record();
    EXPECT_THAT(renderer.calls_starting_with("db_access"), IsEmpty());
    EXPECT_EQ(record->mapHolder, nullptr);
    EXPECT_EQ(record->labelCount, 0);
}

TEST_F(ReadInstanceDataTest, EmptyMapIsGivenBackWithoutMessage) {
    maps.files[kFrameFile] = content_of({});
    start();
    const auto record = make_record();
    EXPECT_THAT(renderer.calls(), ElementsAre("db_access(1)", "db_unpin(1)",
                                              "string_substitute(shot.0001.mrmap, 1000)",
                                              "get_interface(3)", "accessMap(shot.0007.mrmap)",
                                              "release", "map.is_empty()", "access 1 destroyed"));
    EXPECT_EQ(record->mapHolder, nullptr);
    EXPECT_EQ(record->disabled, miFALSE);
    EXPECT_THAT(maps.left_over(), IsEmpty());
}

TEST_F(ReadInstanceDataTest, MissingFileLeavesNoMapAndNoMessage) {
    start();
    EXPECT_EQ(make_record()->mapHolder, nullptr);
    EXPECT_THAT(renderer.messages(), IsEmpty());
}

TEST_F(ReadInstanceDataTest, WithoutAnInterfaceThereIsNoMap) {
    maps.has_interface = false;
    start();
    EXPECT_EQ(make_record()->mapHolder, nullptr);
    EXPECT_THAT(renderer.messages(), IsEmpty());
}

TEST_F(ReadInstanceDataTest, MissingOptionalFieldsGiveThreeWarnings) {
    put_map_with({"rgbPP"});
    start();
    const auto record = make_record();
    EXPECT_THAT(
        renderer.messages(),
        ElementsAre("warning: vx_pc_read: shot.0007.mrmap does not have a opacityPP attribute",
                    "warning: vx_pc_read: shot.0007.mrmap does not have a normalPP attribute",
                    "warning: vx_pc_read: shot.0007.mrmap does not have a tag attribute"));
    EXPECT_EQ(record->disabled, miFALSE);
    EXPECT_NE(record->mapHolder, nullptr);
    EXPECT_TRUE(record->hasRgb);
    EXPECT_FALSE(record->hasOpacity || record->hasNormal || record->hasTag);
}

TEST_F(ReadInstanceDataTest, EachMissingFieldIsWarnedAboutByItself) {
    const std::array<std::string, 3> fields = {"opacityPP", "normalPP", "tag"};
    for (const std::string& missing : fields) {
        std::vector<std::string> names = {"rgbPP"};
        for (const std::string& name : fields)
            if (name != missing) names.push_back(name);
        put_map_with(names);
        start();
        // Elements are numbered on; the parameters' strings with them.
        const auto record = make_record();
        EXPECT_THAT(renderer.messages(),
                    ElementsAre("warning: vx_pc_read: shot.0007.mrmap does not have a " + missing +
                                " attribute"));
        EXPECT_EQ(record->hasOpacity, missing != "opacityPP");
        EXPECT_EQ(record->hasNormal, missing != "normalPP");
        EXPECT_EQ(record->hasTag, missing != "tag");
    }
}

TEST_F(ReadInstanceDataTest, MapWithoutColorIsDroppedWithOneWarningAndDisables) {
    put_map_with({});
    start();
    const auto record = make_record();
    EXPECT_THAT(
        renderer.calls(),
        ElementsAre(
            "db_access(1)", "db_unpin(1)", "string_substitute(shot.0001.mrmap, 1000)",
            "get_interface(3)", "accessMap(shot.0007.mrmap)", "release", "map.is_empty()",
            "get_interface(3)", "copyMapDeclaration", "release", "has_field(rgbPP)",
            "warning: vx_pc_read: shot.0007.mrmap does not have a rgbPP attribute, aborting",
            "access 1 destroyed", "declaration destroyed"));
    EXPECT_NE(record->disabled, miFALSE);
    EXPECT_FALSE(record->hasRgb);
}

TEST_F(ReadInstanceDataTest, MissingFieldsHaveNoIdentifier) {
    put_map_with({"rgbPP"});
    start();
    const auto record = make_record();
    EXPECT_EQ(record->rgbField, 0u);
    for (const auto field : {record->opacityField, record->normalField, record->tagField})
        EXPECT_EQ(field, mi::shader_v3::map_no_such_field);
    EXPECT_THAT(renderer.calls_starting_with("get_field_id"), ElementsAre("get_field_id(rgbPP)"));
}

TEST_F(ReadInstanceDataTest, MapWithoutColorIsReleasedOnceOnly) {
    put_map_with({"opacityPP", "normalPP", "tag"});
    start();
    {
        const auto record = make_record();
        EXPECT_THAT(maps.left_over(), IsEmpty());
    }
    EXPECT_THAT(renderer.calls_starting_with("access 1 destroyed"), testing::SizeIs(1));
}

TEST_F(ReadInstanceDataTest, EndReleasesTheMap) {
    maps.files[kFrameFile] = content_of({{}});
    params.useLabels = miTRUE;
    labels = "1-30";
    start();
    {
        const auto record = make_record();
        EXPECT_EQ(record->labelCount, 30);
        EXPECT_THAT(maps.left_over(), ElementsAre("access 1"));
        renderer.clear_calls();
    }
    EXPECT_THAT(renderer.calls(), ElementsAre("access 1 destroyed"));
}

TEST_F(ReadInstanceDataTest, PartialFailureReleasesEverything) {
    maps.files[kFrameFile] = content_of({{}});
    params.useLabels = miTRUE;
    labels = "1-30"; // a sanitizer sees whether they are released
    connect(offsetof(ReadParameters, facing), miInteger{1});
    start();
    renderer.connected.clear();
    EXPECT_THROW(make_record(), std::logic_error);
}

} // namespace
