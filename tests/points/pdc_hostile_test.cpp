// Files that lie, are cut, or are damaged; memory that runs out.
#include "src/points/pdc_file.h"

#include "tests/points/pdc_bytes.h"
#include "tests/points/watched_memory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace {

using pdc_bytes::Bytes;
using pdc_bytes::File;

constexpr std::size_t kMemoryLimit = std::size_t{16} << 20;

struct Outcome {
    bool loaded;
    PdcError error;
    std::size_t largest;
    std::size_t peak;
    std::size_t leaked;
};

Outcome LoadWatched(std::FILE* file) {
    const std::size_t before = watched_memory::held();
    watched_memory::reset();
    CPdcLoadResult result{PdcError::None, 0};
    bool loaded = false;
    {
        CPdc pdc;
        loaded = LoadPdc(file, pdc, &result);
    }
    return {loaded, result.error, watched_memory::largest_request(),
            watched_memory::peak_held() - before, watched_memory::held() - before};
}

Outcome LoadWatched(const std::string& bytes) {
    const File f = pdc_bytes::file_of(bytes);
    return LoadWatched(f.get());
}

TEST(PdcHostile, CutAtEveryByteFailsUntilItIsWhole) {
    const std::string whole = pdc_bytes::seven_attributes().text;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const Outcome o = LoadWatched(whole.substr(0, length));
        EXPECT_EQ(o.loaded, length == whole.size()) << length;
        EXPECT_EQ(o.loaded, o.error == PdcError::None) << length;
        EXPECT_LE(o.peak, kMemoryLimit) << length;
        EXPECT_EQ(o.leaked, 0u) << length;
    }
}

TEST(PdcHostile, CutInTheLastRecordLoadsOnceThatRecordIsOneThatIsSkipped) {
    std::string whole = pdc_bytes::seven_attributes().text;
    whole[whole.size() - 48 - 4 - 8] = 'N'; // "NormalPP" is nobody's name
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        EXPECT_EQ(LoadWatched(whole.substr(0, length)).loaded, length >= whole.size() - 48)
            << length;
    }
}

TEST(PdcHostile, EveryByteChangedNeitherCrashesNorAsksForMuchNorLeaks) {
    const std::string whole = pdc_bytes::seven_attributes().text;
    int loaded = 0;
    int failed = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char value : {'\x00', '\x7f', '\x80', '\xff'}) {
            std::string changed = whole;
            changed[at] = value;
            const Outcome o = LoadWatched(changed);
            EXPECT_LE(o.peak, kMemoryLimit) << at;
            EXPECT_EQ(o.leaked, 0u) << at;
            ++(o.loaded ? loaded : failed);
        }
    }
    EXPECT_GT(loaded, 1000) << "changes in values and in the header's first words load";
    EXPECT_GT(failed, 100) << "changes in counts, lengths and codes do not";
}

TEST(PdcHostile, TwoThousandMillionParticlesIn33BytesFailAtOnce) {
    const std::string bytes = Bytes().header(2000000000, 1).raw("\0\0\0\x02t").text;
    ASSERT_EQ(bytes.size(), 33u);
    const auto start = std::chrono::steady_clock::now();
    const Outcome o = LoadWatched(bytes);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_FALSE(o.loaded);
    EXPECT_LE(o.peak, kMemoryLimit);
}

TEST(PdcHostile, ClaimedParticlesOfEveryReadCodeAskForNoMemory) {
    for (const auto& [name, code] :
         {std::pair{"tag", 1}, {"tag", 3}, {"radius", 3}, {"position", 5}}) {
        const Outcome o = LoadWatched(Bytes().header(2000000000, 1).record(name, code).f64(1).text);
        EXPECT_FALSE(o.loaded);
        EXPECT_EQ(o.error, PdcError::DataPastEnd);
        EXPECT_LE(o.largest, 65536u);
    }
}

TEST(PdcHostile, ClaimedParticlesThatAreOnlySkippedLoad) {
    const Outcome o = LoadWatched(Bytes().header(2000000000, 1).record("u", 5).text);
    EXPECT_TRUE(o.loaded);
    EXPECT_LE(o.largest, 65536u);
}

TEST(PdcHostile, ClaimedAttributesAndNamesAskForNoMemory) {
    EXPECT_LE(LoadWatched(Bytes().header(1, INT32_MAX).text).largest, 65536u);
    const Outcome name = LoadWatched(Bytes().header(1, 1).i32(INT32_MAX).raw("abcdefgh").text);
    EXPECT_EQ(name.error, PdcError::BadNameLength);
    EXPECT_LE(name.largest, 65536u);
}

TEST(PdcHostile, UnknownCodesWithoutEndComeToAnEnd) {
    Bytes b;
    b.header(INT32_MAX, 1000);
    for (int i = 0; i < 999; ++i)
        b.record("", 99);
    EXPECT_FALSE(LoadWatched(b.text).loaded);
    EXPECT_TRUE(LoadWatched(b.record("", 99).text).loaded);
}

TEST(PdcHostile, MemoryThatRunsOutIsAFailureNotAnException) {
    constexpr int n = 100000;
    Bytes b;
    b.header(n, 1).record("position", 5).raw(std::string(std::size_t{n} * 24, '\0'));
    const File f = pdc_bytes::file_of(b.text);
    const std::size_t before = watched_memory::held();
    {
        auto pdc = std::make_unique<CPdc>();
        CPdcLoadResult result{PdcError::None, 0};
        watched_memory::reset();
        watched_memory::refuse_above(1000000);
        EXPECT_FALSE(LoadPdc(f.get(), *pdc, &result));
        watched_memory::reset();
        EXPECT_EQ(result.error, PdcError::OutOfMemory);
        std::rewind(f.get());
        EXPECT_TRUE(LoadPdc(f.get(), *pdc)) << "the same file loads when there is memory";
    }
    EXPECT_EQ(watched_memory::held(), before);
}

} // namespace
