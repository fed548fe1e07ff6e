// Whole files: written against hand-made bytes, loaded from hand-made bytes.
#include "src/points/pdc_file.h"

#include "src/points/point_grid.h"
#include "tests/points/pdc_bytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>
#include <unistd.h>

namespace {

using pdc_bytes::Bytes;
using pdc_bytes::File;

struct Loaded {
    bool ok;
    std::unique_ptr<CPdc> pdc;
    CPdcLoadResult result;
};

Loaded load(const std::string& bytes) {
    const File f = pdc_bytes::file_of(bytes);
    Loaded l{false, std::make_unique<CPdc>(), {PdcError::None, 0}};
    l.ok = LoadPdc(f.get(), *l.pdc, &l.result);
    return l;
}

std::string written(const CPdc& pdc) {
    const File f = pdc_bytes::file_of("");
    WritePdc(f.get(), pdc);
    return pdc_bytes::contents(f.get());
}

void expect_fresh_values(const CPdc& pdc) {
    for (const CAttribute& slot : pdc.slots) {
        EXPECT_FALSE(slot.perParticle) << slot.name;
        ASSERT_EQ(slot.floats.size(), 1u);
        EXPECT_EQ(slot.floats[0], 0.0f);
        ASSERT_EQ(slot.integers.size(), 1u);
        EXPECT_EQ(slot.integers[0], 0);
        ASSERT_EQ(slot.vectors.size(), 1u);
        EXPECT_EQ(slot.vectors[0].y, 0.0);
    }
}

// ---- writing

TEST(PdcWrite, ABakedGridGivesTheHandMadeBytes) {
    CPointGrid grid;
    grid.Resize(4, 1);
    grid.Append(1, CPoint{1, 2, 3, 0, 0, 1, 0.125f, 0.25f, 0.5f, 0.5f, -3});
    grid.Append(3, CPoint{-4, -5, -6, 0, -1, 0, 1, 2, 4, 1.0f, 70000});
    CPdc pdc;
    grid.ToPdc(&pdc, 0.25f);
    EXPECT_EQ(written(pdc), pdc_bytes::seven_attributes().text);
}

TEST(PdcWrite, AnEmptyGridGivesSevenRecordsWithoutData) {
    const CPointGrid grid;
    CPdc pdc;
    grid.ToPdc(&pdc, 1.0f);
    Bytes b;
    b.header(0, 7).record("opacityPP", 3).record("radius", 3).record("id", 3).record("tag", 3);
    b.record("position", 5).record("rgbPP", 5).record("normalPP", 5);
    EXPECT_EQ(written(pdc), b.text);
}

TEST(PdcWrite, HeaderBytesByHand) {
    CPdc pdc;
    std::memcpy(pdc.header.magic, "PDC ", 4);
    pdc.header.formatVersion = 1;
    pdc.header.byteOrder = 1;
    pdc.header.particleCount = 0x01020304;
    pdc.header.attributeCount = 7;
    EXPECT_EQ(written(pdc), std::string("PDC "
                                        "\0\0\0\x01"
                                        "\0\0\0\x01"
                                        "\0\0\0\0"
                                        "\0\0\0\0"
                                        "\x01\x02\x03\x04"
                                        "\0\0\0\x07",
                                        28));
}

TEST(PdcWrite, EveryHeaderFieldIsWrittenAsItWasLoaded) {
    // Six different numbers; the last is the count of the records, which are in slot order.
    std::string bytes = pdc_bytes::seven_attributes().text;
    const std::string header =
        Bytes().raw("mCrP").i32(-11).i32(0x01000000).i32(33).i32(0x7fffffff).i32(2).i32(7).text;
    bytes.replace(0, header.size(), header);
    const Loaded l = load(bytes);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(written(*l.pdc), bytes);
}

TEST(PdcWrite, UnnamedSlotsAreOmittedAndOthersFollowSlotOrder) {
    CPdc pdc;
    pdc.SetNameAndType(26, "last", kKindFloat);
    pdc.SetNameAndType(3, "first", kKindInteger);
    pdc.slots[9].kind = kKindVector; // has a kind and no name
    const std::string bytes = written(pdc);
    EXPECT_EQ(bytes.substr(28), Bytes().record("first", 2).f64(0).record("last", 2).f64(0).text);
}

TEST(PdcWrite, HeaderCountsAreWrittenAsHeldNotRecounted) {
    Bytes in;
    in.header(1, 3).record("unknown", 2).f64(1).record("tag", 2).f64(4).record("other", 0).i32(1);
    const Loaded l = load(in.text);
    ASSERT_TRUE(l.ok);
    const std::string bytes = written(*l.pdc);
    EXPECT_EQ(bytes.substr(0, 28), Bytes().header(1, 3).text) << "the count of the loaded file";
    EXPECT_EQ(bytes.substr(28), Bytes()
                                    .record("opacityPP", 2)
                                    .f64(0)
                                    .record("radius", 2)
                                    .f64(0)
                                    .record("id", 2)
                                    .f64(0)
                                    .record("tag", 2)
                                    .f64(4)
                                    .record("position", 4)
                                    .doubles({0, 0, 0})
                                    .record("rgbPP", 4)
                                    .doubles({0, 0, 0})
                                    .record("normalPP", 4)
                                    .doubles({0, 0, 0})
                                    .text);
}

TEST(PdcWrite, NegativeTagIsANegativeDouble) {
    CPointGrid grid;
    grid.Resize(1, 1);
    CPoint p{};
    p.tag = -2;
    grid.Append(0, p);
    CPdc pdc;
    grid.ToPdc(&pdc, 0);
    EXPECT_NE(written(pdc).find(Bytes().record("tag", 3).f64(-2).text), std::string::npos);
}

// ---- loading

TEST(PdcLoad, SevenAttributesOfTwoPoints) {
    const Loaded l = load(pdc_bytes::seven_attributes().text);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.result.error, PdcError::None);
    const CPdc& pdc = *l.pdc;
    EXPECT_EQ(std::string(pdc.header.magic, 4), "PDC ");
    EXPECT_EQ(pdc.header.particleCount, 2);
    EXPECT_EQ(pdc.header.attributeCount, 7);
    EXPECT_EQ(pdc.slots[0].floats, (std::vector<float>{0.5f, 1}));
    EXPECT_EQ(pdc.slots[1].floats, (std::vector<float>{0.25f, 0.25f}));
    EXPECT_EQ(pdc.slots[10].integers, (std::vector<std::int64_t>{0, 1}));
    EXPECT_EQ(pdc.slots[11].integers, (std::vector<std::int64_t>{-3, 70000}));
    ASSERT_EQ(pdc.slots[16].vectors.size(), 2u);
    EXPECT_EQ(pdc.slots[16].vectors[0].z, 3);
    EXPECT_EQ(pdc.slots[16].vectors[1].x, -4);
    EXPECT_EQ(pdc.slots[17].vectors[1].z, 4);
    EXPECT_EQ(pdc.slots[18].vectors[1].y, -1);
    for (const int slot : {0, 1, 10, 11, 16, 17, 18})
        EXPECT_TRUE(pdc.slots[slot].perParticle);
    EXPECT_EQ(written(pdc), pdc_bytes::seven_attributes().text);
}

TEST(PdcLoad, NamesTheSevenSlotsBeforeAnythingIsRead) {
    const Loaded l = load("");
    EXPECT_FALSE(l.ok);
    EXPECT_EQ(l.pdc->slots[16].name, "position");
    EXPECT_EQ(l.pdc->slots[16].kind, kKindVector);
}

TEST(PdcLoad, NoAttributesLoadsWithEveryNamedSlotFresh) {
    for (const int count : {0, -1, INT32_MIN}) {
        const Loaded l = load(Bytes().header(5, count).text);
        EXPECT_TRUE(l.ok) << count;
        EXPECT_EQ(l.pdc->header.particleCount, 5);
        EXPECT_EQ(l.pdc->slots[10].name, "id");
        expect_fresh_values(*l.pdc);
    }
}

TEST(PdcLoad, OnlyUnknownAttributesLoadsAndLeavesTheSlotsFresh) {
    Bytes b;
    b.header(2, 6);
    b.record("u0", 0).i32(1).record("u1", 1).i32(1).i32(2).record("u2", 2).f64(1);
    b.record("u3", 3).doubles({1, 2}).record("u4", 4).doubles({1, 2, 3});
    b.record("u5", 5).doubles({1, 2, 3, 4, 5, 6});
    const Loaded l = load(b.text);
    EXPECT_TRUE(l.ok);
    expect_fresh_values(*l.pdc);
}

TEST(PdcLoad, MagicVersionAndByteOrderAreNotValidated) {
    Bytes b;
    b.raw("what").i32(-9).i32(0x01000000).i32(5).i32(6).i32(1).i32(1).record("tag", 2).f64(3);
    const Loaded l = load(b.text);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(std::string(l.pdc->header.magic, 4), "what");
    EXPECT_EQ(l.pdc->header.formatVersion, -9);
    EXPECT_EQ(l.pdc->header.byteOrder, 0x01000000);
    EXPECT_EQ(l.pdc->header.extra1, 5);
    EXPECT_EQ(l.pdc->header.extra2, 6);
    EXPECT_EQ(l.pdc->slots[11].integers[0], 3);
}

TEST(PdcLoad, IntegersLoadFromInt32AndFromDouble) {
    struct Row {
        int code;
        Bytes data;
        std::vector<std::int64_t> expected;
    };
    const Row table[] = {
        {0, Bytes().i32(-5), {-5}},
        {1, Bytes().i32(-5).i32(6), {-5, 6}},
        {2, Bytes().f64(-2.9), {-2}},
        {3, Bytes().doubles({2.9, -2.9}), {2, -2}},
    };
    for (const Row& row : table) {
        const Loaded l = load(Bytes().header(2, 1).record("id", row.code).raw(row.data.text).text);
        ASSERT_TRUE(l.ok) << row.code;
        EXPECT_EQ(l.pdc->slots[10].integers, row.expected) << row.code;
        EXPECT_EQ(l.pdc->slots[10].perParticle, row.code % 2 == 1);
    }
}

TEST(PdcLoad, SingleValuesOfEveryKind) {
    Bytes b;
    b.header(9, 3).record("position", 4).doubles({1, 2, 3}).record("radius", 2).f64(0.5);
    b.record("tag", 2).f64(8);
    const Loaded l = load(b.text);
    ASSERT_TRUE(l.ok);
    EXPECT_FALSE(l.pdc->slots[16].perParticle);
    ASSERT_EQ(l.pdc->slots[16].vectors.size(), 1u);
    EXPECT_EQ(l.pdc->slots[16].vectors[0].y, 2);
    EXPECT_EQ(l.pdc->slots[1].floats, std::vector<float>{0.5f});
    EXPECT_EQ(l.pdc->slots[11].integers, std::vector<std::int64_t>{8});
}

TEST(PdcLoad, ARightNameWithAKindThatDoesNotFitIsPassedOver) {
    struct Row {
        const char* name;
        int code;
    };
    // Every pairing of a named slot's kind with a code that does not fit it.
    for (const Row& row : {Row{"opacityPP", 0},
                           {"opacityPP", 1},
                           {"opacityPP", 4},
                           {"opacityPP", 5},
                           {"tag", 4},
                           {"tag", 5},
                           {"position", 0},
                           {"position", 1},
                           {"position", 2},
                           {"position", 3}}) {
        constexpr int kSize[] = {4, 4, 8, 8, 24, 24};
        Bytes b;
        b.header(1, 2).record(row.name, row.code);
        b.raw(std::string(static_cast<std::size_t>(kSize[row.code]), '\x40'));
        b.record("id", 2).f64(77);
        const Loaded l = load(b.text);
        ASSERT_TRUE(l.ok) << row.name << row.code;
        EXPECT_EQ(l.pdc->slots[10].integers[0], 77) << "the record after it is found";
        l.pdc->slots[10].integers[0] = 0;
        expect_fresh_values(*l.pdc);
    }
}

TEST(PdcLoad, ALaterSlotOfTheSameNameWithAFittingKindIsTaken) {
    const File f =
        pdc_bytes::file_of(Bytes().header(1, 1).record("tag", 4).doubles({1, 2, 3}).text);
    CPdc pdc;
    pdc.SetNameAndType(20, "tag", kKindVector);
    ASSERT_TRUE(LoadPdc(f.get(), pdc));
    EXPECT_EQ(pdc.slots[20].vectors[0].z, 3);
    EXPECT_EQ(pdc.slots[11].integers[0], 0);
}

TEST(PdcLoad, TheFirstSlotThatFitsIsTaken) {
    const File f = pdc_bytes::file_of(Bytes().header(1, 1).record("tag", 2).f64(6).text);
    CPdc pdc;
    pdc.SetNameAndType(4, "tag", kKindFloat);
    ASSERT_TRUE(LoadPdc(f.get(), pdc));
    EXPECT_EQ(pdc.slots[4].floats[0], 6.0f);
    EXPECT_EQ(pdc.slots[11].integers[0], 0);
}

TEST(PdcLoad, NamesMustMatchExactly) {
    const std::string_view names[] = {"Tag",  "tag ", "ta",
                                      "tags", "",     std::string_view("tag\0", 4)};
    for (const std::string_view name : names) {
        const Loaded l = load(Bytes().header(1, 1).record(name, 2).f64(5).text);
        ASSERT_TRUE(l.ok);
        expect_fresh_values(*l.pdc);
    }
}

TEST(PdcLoad, AnUnknownCodeRepeatsTheLastSkippedSizeEvenForAKnownName) {
    Bytes b;
    b.header(3, 5);
    b.record("u", 1).i32(0).i32(0).i32(0);             // skips 12
    b.record("id", 3).doubles({1, 2, 3});              // read: does not change what is repeated
    b.record("position", 6).raw(std::string(12, '?')); // skips 12 again
    b.record("v", -1).raw(std::string(12, '?'));       // and again
    b.record("radius", 2).f64(2);
    const Loaded l = load(b.text);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.pdc->slots[10].integers, (std::vector<std::int64_t>{1, 2, 3}));
    EXPECT_EQ(l.pdc->slots[1].floats[0], 2.0f);
    EXPECT_EQ(l.pdc->slots[16].vectors.size(), 1u);
}

TEST(PdcLoad, AnUnknownCodeFirstSkipsNothing) {
    const Loaded l = load(Bytes().header(3, 2).record("u", 77).record("tag", 2).f64(9).text);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.pdc->slots[11].integers[0], 9);
}

TEST(PdcLoad, EndingInsideTheDataOfAnAttributeThatIsReadFails) {
    for (const int code : {2, 3}) {
        const Loaded l = load(Bytes().header(1, 1).record("tag", code).raw("1234567").text);
        EXPECT_FALSE(l.ok);
        EXPECT_EQ(l.result.error, PdcError::DataPastEnd);
        EXPECT_EQ(l.result.offset, 28 + 4 + 3 + 4);
    }
}

TEST(PdcLoad, TheOffsetOfAFailureCountsReadAndSkippedRecords) {
    Bytes b;
    b.header(1, 4).record("tag", 3).f64(1).record("u", 5).doubles({1, 2, 3});
    b.record("id", 1).i32(5).record("radius", 3).raw("1234");
    const Loaded l = load(b.text);
    EXPECT_FALSE(l.ok);
    EXPECT_EQ(l.result.error, PdcError::DataPastEnd);
    EXPECT_EQ(l.result.offset, static_cast<std::int64_t>(b.text.size()) - 4);
}

TEST(PdcLoad, EndingInsideTheDataOfASkippedLastRecordStillLoads) {
    for (const int code : {0, 1, 2, 3, 4, 5}) {
        const Loaded l =
            load(Bytes().header(1000, 2).record("tag", 2).f64(4).record("u", code).raw("1").text);
        EXPECT_TRUE(l.ok) << code;
        EXPECT_EQ(l.pdc->slots[11].integers[0], 4);
    }
}

TEST(PdcLoad, EndingInsideTheDataOfASkippedRecordThatIsNotTheLastFails) {
    const Loaded l = load(Bytes().header(1000, 2).record("u", 5).raw("1234567890").text);
    EXPECT_FALSE(l.ok);
    EXPECT_EQ(l.result.error, PdcError::ShortRecord);
}

TEST(PdcLoad, TrailingBytesAreIgnored) {
    EXPECT_TRUE(load(pdc_bytes::seven_attributes().raw("and more").text).ok);
    EXPECT_TRUE(load(Bytes().header(1, 0).raw("more").text).ok);
}

TEST(PdcLoad, NoParticlesLoadsEmptyArrays) {
    const Loaded l = load(Bytes().header(0, 2).record("tag", 3).record("position", 5).text);
    ASSERT_TRUE(l.ok);
    EXPECT_TRUE(l.pdc->slots[11].perParticle);
    EXPECT_TRUE(l.pdc->slots[11].integers.empty());
    EXPECT_TRUE(l.pdc->slots[16].vectors.empty());
}

TEST(PdcLoad, ARecordThatComesTwiceOverwrites) {
    Bytes b;
    b.header(2, 2).record("tag", 3).doubles({1, 2}).record("tag", 1).i32(3).i32(4);
    const Loaded l = load(b.text);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.pdc->slots[11].integers, (std::vector<std::int64_t>{3, 4}));
}

TEST(PdcLoad, ASingleValueAfterAnEmptyPerParticleRecordHasItsElement) {
    Bytes b;
    b.header(0, 2).record("position", 5).record("position", 4).doubles({1, 2, 3});
    const Loaded l = load(b.text);
    ASSERT_TRUE(l.ok);
    ASSERT_EQ(l.pdc->slots[16].vectors.size(), 1u);
    EXPECT_EQ(l.pdc->slots[16].vectors[0].z, 3);
}

TEST(PdcLoad, NegativeParticleCountFailsOnlyWhereItIsNeeded) {
    const Loaded single = load(Bytes().header(-4, 2).record("tag", 2).f64(1).record("u", 4).text);
    EXPECT_TRUE(single.ok);
    EXPECT_EQ(single.pdc->header.particleCount, -4);
    for (const char* name : {"tag", "unknown"}) {
        const Loaded l = load(Bytes().header(-4, 1).record(name, 3).f64(1).text);
        EXPECT_FALSE(l.ok) << name;
        EXPECT_EQ(l.result.error, PdcError::BadParticleCount);
    }
}

TEST(PdcLoad, BadNameLengthsFail) {
    for (const std::int64_t length :
         {std::int64_t{-1}, std::int64_t{INT32_MIN}, std::int64_t{13}, std::int64_t{INT32_MAX}}) {
        const Loaded l = load(Bytes().header(1, 1).i32(length).i32(2).f64(0).text);
        EXPECT_FALSE(l.ok);
        EXPECT_EQ(l.result.error, PdcError::BadNameLength);
        EXPECT_EQ(l.result.offset, 28);
    }
}

TEST(PdcLoad, AttributesThatFillTheFileLoad) {
    // Each of the smallest size: no name, no data.
    EXPECT_TRUE(load(Bytes().header(0, 3).record("", 3).record("", 3).record("", 3).text).ok);
}

TEST(PdcLoad, MoreAttributesThanTheFileCanHoldFails) {
    const Loaded l = load(Bytes().header(1, 2).record("tag", 2).text);
    EXPECT_FALSE(l.ok);
    EXPECT_EQ(l.result.error, PdcError::BadAttributeCount);
    EXPECT_EQ(l.result.offset, 24);
}

TEST(PdcLoad, NullStreamAndDirectoryFail) {
    CPdc pdc;
    EXPECT_FALSE(LoadPdc(nullptr, pdc));
    const File directory(std::fopen("/", "rb"));
    ASSERT_NE(directory, nullptr);
    EXPECT_FALSE(LoadPdc(directory.get(), pdc));
}

TEST(PdcLoad, LargerThanOneBlockAndBack) {
    CPointGrid grid;
    constexpr int kN = 10001;
    grid.Resize(kN, 1);
    for (int i = 0; i < kN; ++i) {
        const auto f = static_cast<float>(i);
        grid.Append(i, CPoint{f, -f, f / 3, 0, 1, 0, f / 7, 0.5f, 1, f / 11, i - 5000});
    }
    CPdc pdc;
    grid.ToPdc(&pdc, 0.01f);
    const std::string bytes = written(pdc);
    EXPECT_EQ(bytes.size(), 28u + 7 * 8 + 41 + std::size_t{kN} * 104);
    const Loaded l = load(bytes);
    ASSERT_TRUE(l.ok);
    for (const int slot : {0, 1, 10, 11, 16, 17, 18}) {
        const CAttribute& a = pdc.slots[slot];
        const CAttribute& b = l.pdc->slots[slot];
        EXPECT_EQ(a.floats, b.floats);
        EXPECT_EQ(a.integers, b.integers);
        ASSERT_EQ(a.vectors.size(), b.vectors.size());
        EXPECT_EQ(std::memcmp(a.vectors.data(), b.vectors.data(), a.vectors.size() * 24), 0);
    }
    EXPECT_EQ(l.pdc->slots[16].vectors.capacity(), std::size_t{kN})
        << "no memory beyond the values";
}

TEST(PdcLoad, SkipsFurtherThanFourGibibytes) {
    constexpr std::int64_t kN = 300000000; // 7.2 GB of vectors, all of them a hole in the file
    const std::string head = Bytes().header(kN, 2).record("u", 5).text;
    const File f = pdc_bytes::file_of(head);
    const auto after = static_cast<std::int64_t>(head.size()) + 24 * kN;
    ASSERT_EQ(std::fseek(f.get(), static_cast<long>(after), SEEK_SET), 0);
    const std::string tail = Bytes().record("tag", 2).f64(-6).text;
    (void)std::fwrite(tail.data(), 1, tail.size(), f.get());
    std::rewind(f.get());
    CPdc pdc;
    ASSERT_TRUE(LoadPdc(f.get(), pdc));
    EXPECT_EQ(pdc.slots[11].integers[0], -6);
}

Loaded load_through_pipe(const std::string& bytes) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const File in(fdopen(ends[0], "rb"));
    std::thread writer([&bytes, fd = ends[1]] {
        const File out(fdopen(fd, "wb"));
        (void)std::fwrite(bytes.data(), 1, bytes.size(), out.get());
    });
    Loaded l{false, std::make_unique<CPdc>(), {PdcError::None, 0}};
    l.ok = LoadPdc(in.get(), *l.pdc, &l.result);
    writer.join();
    return l;
}

TEST(PdcLoad, APipeLoadsAsLongAsNothingIsSkipped) {
    const Loaded l = load_through_pipe(pdc_bytes::seven_attributes().text);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.pdc->slots[11].integers, (std::vector<std::int64_t>{-3, 70000}));
    const Loaded skipping = load_through_pipe(Bytes().header(1, 1).record("u", 2).f64(1).text);
    EXPECT_FALSE(skipping.ok);
    EXPECT_EQ(skipping.result.error, PdcError::SeekFailed);
}

TEST(PdcLoad, APipeLoadsAttributesOfEverySize) {
    for (const int n : {0, 1, 1000, 100000}) {
        Bytes b;
        b.header(n, 3).record("position", 5);
        for (int i = 0; i < n; ++i)
            b.doubles({1.0 * i, -1.0 * i, 0.5 * i});
        b.record("radius", 2).f64(0.25).record("tag", 1);
        for (int i = 0; i < n; ++i)
            b.i32(7 - i);
        const Loaded l = load_through_pipe(b.text);
        ASSERT_TRUE(l.ok) << n;
        EXPECT_EQ(l.pdc->slots[1].floats, std::vector<float>{0.25f});
        ASSERT_EQ(l.pdc->slots[16].vectors.size(), static_cast<std::size_t>(n));
        ASSERT_EQ(l.pdc->slots[11].integers.size(), static_cast<std::size_t>(n));
        for (int i = 0; i < n; ++i) {
            const auto at = static_cast<std::size_t>(i);
            ASSERT_EQ(l.pdc->slots[16].vectors[at].x, i);
            ASSERT_EQ(l.pdc->slots[16].vectors[at].z, 0.5 * i);
            ASSERT_EQ(l.pdc->slots[11].integers[at], 7 - i);
        }
    }
}

TEST(PdcLoad, APipeThatPromisesTooMuchFailsWhereItEnds) {
    const Loaded l =
        load_through_pipe(Bytes().header(2000000000, 1).record("position", 5).f64(1).text);
    EXPECT_FALSE(l.ok);
    EXPECT_EQ(l.result.error, PdcError::DataPastEnd);
    EXPECT_EQ(l.result.offset, 28 + 4 + 8 + 4);
    EXPECT_EQ(l.pdc->slots[16].vectors.size(), 1u) << "not resized for values that never came";
    const Loaded single =
        load_through_pipe(Bytes().header(1, 1).record("tag", 2).raw("1234567").text);
    EXPECT_FALSE(single.ok);
    EXPECT_EQ(single.result.error, PdcError::DataPastEnd);
    const Loaded name = load_through_pipe(Bytes().header(1, 1).i32(INT32_MAX).raw("abc").text);
    EXPECT_FALSE(name.ok);
    EXPECT_EQ(name.result.error, PdcError::ShortRecord);
    EXPECT_EQ(name.result.offset, 32);
}

} // namespace
