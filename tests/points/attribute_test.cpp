// One attribute: fresh state, resizing, and its record in a file.
#include "src/points/attribute.h"

#include "src/points/big_endian.h"
#include "tests/points/pdc_bytes.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

namespace {

using pdc_bytes::Bytes;
using pdc_bytes::File;

CAttribute made(std::string name, std::int32_t kind, bool per_particle) {
    CAttribute a;
    a.name = std::move(name);
    a.kind = kind;
    a.perParticle = per_particle;
    return a;
}

std::string written(const CAttribute& a) {
    const File f = pdc_bytes::file_of("");
    EXPECT_TRUE(a.FWrite(f.get()));
    return pdc_bytes::contents(f.get());
}

TEST(VectorD, IsAPlainValueOfThreeDoublesWithoutAZeroingConstructor) {
    EXPECT_EQ(sizeof(CVectorD), 24u);
    EXPECT_EQ(offsetof(CVectorD, x), 0u);
    EXPECT_EQ(offsetof(CVectorD, y), 8u);
    EXPECT_EQ(offsetof(CVectorD, z), 16u);
    EXPECT_TRUE(std::is_trivially_default_constructible_v<CVectorD>);
    EXPECT_TRUE(std::is_trivially_copyable_v<CVectorD>);
}

TEST(Attribute, MembersStandInTheirOrder) {
    const CAttribute a;
    const auto at = [&a](const auto& member) {
        return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&a);
    };
    EXPECT_EQ(at(a.name), 0);
    EXPECT_LT(at(a.name), at(a.perParticle));
    EXPECT_LT(at(a.perParticle), at(a.kind));
    EXPECT_LT(at(a.kind), at(a.floats));
    EXPECT_LT(at(a.floats), at(a.integers));
    EXPECT_LT(at(a.integers), at(a.vectors));
}

TEST(Attribute, FreshHasNoNameAndOneZeroInEachArray) {
    const CAttribute a;
    EXPECT_EQ(a.name, "");
    EXPECT_FALSE(a.perParticle);
    EXPECT_EQ(a.kind, 0);
    ASSERT_EQ(a.floats.size(), 1u);
    EXPECT_EQ(a.floats[0], 0.0f);
    ASSERT_EQ(a.integers.size(), 1u);
    EXPECT_EQ(a.integers[0], 0);
    ASSERT_EQ(a.vectors.size(), 1u);
    EXPECT_EQ(a.vectors[0].x, 0.0);
    EXPECT_EQ(a.vectors[0].y, 0.0);
    EXPECT_EQ(a.vectors[0].z, 0.0);
}

TEST(AttributeResize, ChangesOnlyTheArrayOfTheKind) {
    for (const std::int32_t kind : {0, 1, 2, 3, 4, -1}) {
        CAttribute a = made("n", kind, false);
        a.Resize(5);
        EXPECT_EQ(a.floats.size(), kind == 1 ? 5u : 1u) << kind;
        EXPECT_EQ(a.integers.size(), kind == 2 ? 5u : 1u) << kind;
        EXPECT_EQ(a.vectors.size(), kind == 3 ? 5u : 1u) << kind;
    }
}

TEST(AttributeResize, CutsKeepingTheFirstAndGrowsWithZeros) {
    CAttribute f = made("f", 1, true);
    f.floats = {1, 2, 3, 4};
    f.Resize(2);
    f.Resize(4);
    EXPECT_EQ(f.floats, (std::vector<float>{1, 2, 0, 0}));
    CAttribute i = made("i", 2, true);
    i.integers = {1, 2, 3, 4};
    i.Resize(2);
    i.Resize(4);
    EXPECT_EQ(i.integers, (std::vector<std::int64_t>{1, 2, 0, 0}));
}

TEST(AttributeResize, NewVectorsAreZero) {
    CAttribute v = made("v", 3, true);
    v.vectors = {{1, 2, 3}, {4, 5, 6}};
    v.Resize(1);
    v.Resize(2);
    EXPECT_EQ(v.vectors[0].z, 3);
    EXPECT_EQ(v.vectors[1].x, 0);
    EXPECT_EQ(v.vectors[1].y, 0);
    EXPECT_EQ(v.vectors[1].z, 0);
}

TEST(AttributeResize, ToNothingAndBelowLeavesAnEmptyArray) {
    CAttribute f = made("f", 1, true);
    f.Resize(0);
    EXPECT_TRUE(f.floats.empty());
    f.Resize(3);
    f.Resize(-1);
    EXPECT_TRUE(f.floats.empty());
}

// Rows of the type-code table, as this library writes them.

TEST(AttributeWrite, SingleFloatIsCode2) {
    CAttribute a = made("radius", 1, false);
    a.floats = {0.1f};
    EXPECT_EQ(written(a), Bytes().record("radius", 2).f64(double{0.1f}).text);
}

TEST(AttributeWrite, FloatPerParticleIsCode3WidenedToDouble) {
    CAttribute a = made("opacityPP", 1, true);
    a.floats = {0.1f, -2.5f, std::numeric_limits<float>::infinity()};
    EXPECT_EQ(written(a),
              Bytes()
                  .record("opacityPP", 3)
                  .doubles({double{0.1f}, -2.5, std::numeric_limits<double>::infinity()})
                  .text);
}

TEST(AttributeWrite, SingleIntegerIsADoubleWithCode2NotAnInt32) {
    CAttribute a = made("id", 2, false);
    a.integers = {-7};
    EXPECT_EQ(written(a), Bytes().record("id", 2).f64(-7.0).text);
}

TEST(AttributeWrite, IntegerPerParticleIsCode3ConvertedToDouble) {
    CAttribute a = made("tag", 2, true);
    a.integers = {0, -1, INT64_MIN, 9007199254740993};
    EXPECT_EQ(
        written(a),
        Bytes().record("tag", 3).doubles({0, -1, -9223372036854775808.0, 9007199254740992.0}).text);
}

TEST(AttributeWrite, SingleVectorIsCode4) {
    CAttribute a = made("position", 3, false);
    a.vectors = {{1, -2, 0.1}};
    EXPECT_EQ(written(a), Bytes().record("position", 4).doubles({1, -2, 0.1}).text);
}

TEST(AttributeWrite, VectorPerParticleIsCode5InOrderXYZ) {
    CAttribute a = made("position", 3, true);
    a.vectors = {{1, 2, 3}, {4, 5, 6}};
    EXPECT_EQ(written(a), Bytes().record("position", 5).doubles({1, 2, 3, 4, 5, 6}).text);
}

TEST(AttributeWrite, HandMadeBytesOfOneRecord) {
    CAttribute a = made("id", 2, true);
    a.integers = {1, -2};
    EXPECT_EQ(written(a), std::string("\0\0\0\x02"
                                      "id"
                                      "\0\0\0\x03"
                                      "\x3f\xf0\0\0\0\0\0\0"
                                      "\xc0\0\0\0\0\0\0\0",
                                      26));
}

TEST(AttributeWrite, NothingFollowsTheNameOfAKindlessAttribute) {
    for (const std::int32_t kind : {0, 4, -1}) {
        EXPECT_EQ(written(made("odd", kind, true)), Bytes().i32(3).raw("odd").text) << kind;
    }
}

TEST(AttributeWrite, ArrayShorterThanTheHeadersCountIsWrittenWithItsOwnLength) {
    CAttribute a = made("radius", 1, true);
    a.floats = {3.0f};
    EXPECT_EQ(written(a), Bytes().record("radius", 3).f64(3.0).text);
}

TEST(AttributeWrite, SingleValueWritesOneEvenIfItsArrayHoldsMore) {
    CAttribute f = made("a", 1, false);
    f.floats = {1, 2, 3};
    EXPECT_EQ(written(f), Bytes().record("a", 2).f64(1).text);
    CAttribute i = made("a", 2, false);
    i.integers = {1, 2, 3};
    EXPECT_EQ(written(i), Bytes().record("a", 2).f64(1).text);
    CAttribute v = made("a", 3, false);
    v.vectors = {{1, 2, 3}, {4, 5, 6}};
    EXPECT_EQ(written(v), Bytes().record("a", 4).doubles({1, 2, 3}).text);
}

TEST(AttributeWrite, NoParticlesIsNameLengthNameAndTypeCodeOnly) {
    for (const std::int32_t kind : {1, 2, 3}) {
        CAttribute a = made("empty", kind, true);
        a.Resize(0);
        EXPECT_EQ(written(a), Bytes().record("empty", kind == 3 ? 5 : 3).text);
    }
}

TEST(AttributeWrite, SingleValueOfAnEmptyArrayIsZero) {
    for (const std::int32_t kind : {1, 2, 3}) {
        CAttribute a = made("e", kind, false);
        a.floats = {7}; // the memory of an empty array may still hold values
        a.integers = {7};
        a.vectors = {{7, 7, 7}};
        a.Resize(0);
        const Bytes head = Bytes().record("e", kind == 3 ? 4 : 2);
        EXPECT_EQ(written(a), head.text + std::string(kind == 3 ? 24 : 8, '\0'));
    }
}

TEST(AttributeWrite, NotANumberPayloadsOfVectorsSurvive) {
    const auto quiet = std::bit_cast<double>(std::uint64_t{0x7ff8000012345678});
    const auto signalling = std::bit_cast<double>(std::uint64_t{0xfff0000000000abc});
    CAttribute a = made("position", 3, true);
    a.vectors = {{quiet, signalling, -0.0}};
    const std::string bytes = written(a);
    EXPECT_EQ(bytes, Bytes()
                         .record("position", 5)
                         .bits(0x7ff8000012345678, 8)
                         .bits(0xfff0000000000abc, 8)
                         .bits(0x8000000000000000, 8)
                         .text);
    CAttribute back = made("position", 3, true);
    const File f = pdc_bytes::file_of(bytes.substr(bytes.size() - 24));
    ASSERT_TRUE(back.FRead(f.get(), false));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back.vectors[0].x), 0x7ff8000012345678u);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back.vectors[0].y), 0xfff0000000000abcu);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back.vectors[0].z), 0x8000000000000000u);
}

TEST(AttributeWrite, IsTrueEvenWhenTheStreamTakesNothing) {
    const File f(std::fopen("/dev/full", "wb"));
    if (f == nullptr) return; // a system without that device
    (void)std::setvbuf(f.get(), nullptr, _IONBF, 0);
    CAttribute a = made("position", 3, true);
    a.Resize(100000);
    EXPECT_TRUE(a.FWrite(f.get()));
    EXPECT_NE(std::ferror(f.get()), 0);
}

TEST(AttributeWrite, NullStreamSkipsLengthCodeAndValues) {
    for (const std::int32_t kind : {0, 1, 2, 3}) {
        EXPECT_TRUE(made("", kind, false).FWrite(nullptr));
        EXPECT_TRUE(made("", kind, true).FWrite(nullptr));
    }
}

// The write of the name is the only one without a test for a null stream.
TEST(AttributeWriteDeathTest, NullStreamIsNotSkippedByTheName) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH((void)made("n", 0, false).FWrite(nullptr), "");
}

// The rows of the type-code table, as files may have them.

TEST(AttributeRead, Code0OneInt32SignExtended) {
    CAttribute a = made("i", 2, false);
    const File f = pdc_bytes::file_of(Bytes().i32(-5).i32(99).text);
    EXPECT_TRUE(a.FRead(f.get(), true));
    EXPECT_EQ(a.integers, std::vector<std::int64_t>{-5});
    EXPECT_EQ(std::ftell(f.get()), 4);
}

TEST(AttributeRead, Code1Int32PerParticleSignExtended) {
    CAttribute a = made("i", 2, true);
    a.Resize(3);
    const File f = pdc_bytes::file_of(Bytes().i32(INT32_MIN).i32(INT32_MAX).i32(-1).text);
    EXPECT_TRUE(a.FRead(f.get(), true));
    EXPECT_EQ(a.integers, (std::vector<std::int64_t>{INT32_MIN, INT32_MAX, -1}));
}

TEST(AttributeRead, Code2OneDoubleIntoFloatNarrows) {
    CAttribute a = made("f", 1, false);
    a.floats = {9, 8};
    const File f = pdc_bytes::file_of(Bytes().f64(0.1).f64(7).text);
    EXPECT_TRUE(a.FRead(f.get(), false));
    EXPECT_EQ(a.floats, (std::vector<float>{0.1f, 8}));
    EXPECT_EQ(std::ftell(f.get()), 8);
}

TEST(AttributeRead, Code3DoublePerParticleIntoFloatNarrows) {
    CAttribute a = made("f", 1, true);
    a.Resize(3);
    const File f = pdc_bytes::file_of(Bytes().doubles({0.1, 1e300, -1e-300}).text);
    EXPECT_TRUE(a.FRead(f.get(), false));
    EXPECT_EQ(a.floats[0], 0.1f);
    EXPECT_EQ(a.floats[1], std::numeric_limits<float>::infinity());
    EXPECT_EQ(a.floats[2], 0.0f);
    EXPECT_TRUE(std::signbit(a.floats[2]));
}

TEST(AttributeRead, FloatsIgnoreTheInt32Switch) {
    CAttribute a = made("f", 1, false);
    const File f = pdc_bytes::file_of(Bytes().f64(2.5).text);
    EXPECT_TRUE(a.FRead(f.get(), true));
    EXPECT_EQ(a.floats[0], 2.5f);
}

TEST(AttributeRead, IntegersInDoublesAreTruncatedTowardZero) {
    CAttribute a = made("i", 2, true);
    a.Resize(4);
    const File f = pdc_bytes::file_of(Bytes().doubles({2.9, -2.9, 0.999, -0.999}).text);
    EXPECT_TRUE(a.FRead(f.get(), false));
    EXPECT_EQ(a.integers, (std::vector<std::int64_t>{2, -2, 0, 0}));
}

TEST(AttributeRead, IntegersWithoutAValueBecomeTheSmallest) {
    constexpr double kLimit = 9223372036854775808.0;
    EXPECT_EQ(TruncateToInt64(std::nan("")), INT64_MIN);
    EXPECT_EQ(TruncateToInt64(kLimit), INT64_MIN);
    EXPECT_EQ(TruncateToInt64(-1e300), INT64_MIN);
    EXPECT_EQ(TruncateToInt64(std::numeric_limits<double>::infinity()), INT64_MIN);
    EXPECT_EQ(TruncateToInt64(-kLimit), INT64_MIN);
    EXPECT_EQ(TruncateToInt64(std::nextafter(kLimit, 0.0)), 9223372036854774784);
    EXPECT_EQ(TruncateToInt64(std::nextafter(-kLimit, 0.0)), -9223372036854774784);
}

TEST(AttributeRead, Code4OneVector) {
    CAttribute a = made("v", 3, false);
    const File f = pdc_bytes::file_of(Bytes().doubles({1, 2, 3, 4}).text);
    EXPECT_TRUE(a.FRead(f.get(), false));
    ASSERT_EQ(a.vectors.size(), 1u);
    EXPECT_EQ(a.vectors[0].x, 1);
    EXPECT_EQ(a.vectors[0].y, 2);
    EXPECT_EQ(a.vectors[0].z, 3);
    EXPECT_EQ(std::ftell(f.get()), 24);
}

TEST(AttributeRead, Code5VectorPerParticle) {
    CAttribute a = made("v", 3, true);
    a.Resize(2);
    const File f = pdc_bytes::file_of(Bytes().doubles({1, 2, 3, 4, 5, 6}).text);
    EXPECT_TRUE(a.FRead(f.get(), false));
    EXPECT_EQ(a.vectors[1].x, 4);
    EXPECT_EQ(a.vectors[1].y, 5);
    EXPECT_EQ(a.vectors[1].z, 6);
}

TEST(AttributeRead, WrittenAndReadBackThroughCode3IsTruncated) {
    CAttribute a = made("i", 2, true);
    a.integers = {-12, 0, 1234567890123};
    const std::string bytes = written(a);
    CAttribute back = made("i", 2, true);
    back.Resize(3);
    const File f = pdc_bytes::file_of(bytes.substr(bytes.size() - 24));
    EXPECT_TRUE(back.FRead(f.get(), false));
    EXPECT_EQ(back.integers, a.integers);
}

TEST(AttributeRead, ShortReadIsFalseAndKeepsEarlierValues) {
    CAttribute fl = made("f", 1, true);
    fl.floats = {9, 9, 9};
    const File f = pdc_bytes::file_of(Bytes().f64(1).raw("\x40\x00\x00\x00").text);
    EXPECT_FALSE(fl.FRead(f.get(), false));
    EXPECT_EQ(fl.floats, (std::vector<float>{1, 9, 9}));

    CAttribute in = made("i", 2, true);
    in.integers = {9, 9, 9};
    const File i = pdc_bytes::file_of(Bytes().i32(1).i32(2).raw("\0").text);
    EXPECT_FALSE(in.FRead(i.get(), true));
    EXPECT_EQ(in.integers, (std::vector<std::int64_t>{1, 2, 9}));

    CAttribute ve = made("v", 3, true);
    ve.vectors = {{9, 9, 9}, {9, 9, 9}};
    const File v = pdc_bytes::file_of(Bytes().doubles({1, 2, 3, 4}).text);
    EXPECT_FALSE(ve.FRead(v.get(), false));
    EXPECT_EQ(ve.vectors[0].z, 3);
    EXPECT_EQ(ve.vectors[1].x, 4) << "a component is a value of its own";
    EXPECT_EQ(ve.vectors[1].y, 9);
}

TEST(AttributeRead, ShortSingleValueIsFalse) {
    for (const std::int32_t kind : {1, 2, 3}) {
        CAttribute a = made("s", kind, false);
        const File f = pdc_bytes::file_of("1234567");
        EXPECT_FALSE(a.FRead(f.get(), false)) << kind;
    }
}

TEST(AttributeRead, NullStreamIsFalse) {
    for (const std::int32_t kind : {1, 2, 3}) {
        EXPECT_FALSE(made("n", kind, false).FRead(nullptr, false));
        EXPECT_FALSE(made("n", kind, true).FRead(nullptr, true));
    }
}

TEST(AttributeRead, KindlessReadsNothingAndIsTrueEvenOfANullStream) {
    const File f = pdc_bytes::file_of("12345678");
    EXPECT_TRUE(made("k", 0, true).FRead(f.get(), false));
    EXPECT_TRUE(made("k", 7, false).FRead(f.get(), true));
    EXPECT_EQ(std::ftell(f.get()), 0);
    EXPECT_TRUE(made("k", 0, false).FRead(nullptr, false));
}

TEST(AttributeRead, NoParticlesReadsNothing) {
    CAttribute a = made("v", 3, true);
    a.Resize(0);
    const File f = pdc_bytes::file_of("12345678");
    EXPECT_TRUE(a.FRead(f.get(), false));
    EXPECT_EQ(std::ftell(f.get()), 0);
}

TEST(AttributeRead, SingleValueIntoAnEmptyArrayMakesItsElement) {
    CAttribute a = made("i", 2, false);
    a.Resize(0);
    const File f = pdc_bytes::file_of(Bytes().f64(6).text);
    EXPECT_TRUE(a.FRead(f.get(), false));
    EXPECT_EQ(a.integers, std::vector<std::int64_t>{6});
}

TEST(AttributeRead, EveryValueAroundBlockBordersArrives) {
    constexpr int kBlock = static_cast<int>(kStageBytes / sizeof(double));
    for (const int n : {1, kBlock - 1, kBlock, kBlock + 1, 2 * kBlock + 7}) {
        Bytes b;
        for (int i = 0; i < 3 * n; ++i)
            b.f64(i);
        CAttribute a = made("v", 3, true);
        a.Resize(n);
        const File f = pdc_bytes::file_of(b.text);
        ASSERT_TRUE(a.FRead(f.get(), false));
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(a.vectors[static_cast<std::size_t>(i)].x, 3 * i);
            ASSERT_EQ(a.vectors[static_cast<std::size_t>(i)].z, 3 * i + 2);
        }
    }
}

} // namespace
