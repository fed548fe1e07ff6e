// Files that are cut, damaged or crafted, and memory that runs out.
#include "src/points/pdc_file.h"

#include "tests/points/pdc_bytes.h"
#include "tests/points/watched_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

using pdc_bytes::Bytes;
using pdc_bytes::File;

// A stream over bytes in memory that counts the reads and seeks that reach it.
class CountedStream {
  public:
    explicit CountedStream(std::string bytes) : m_bytes(std::move(bytes)) {
        const cookie_io_functions_t functions = {read, nullptr, seek, nullptr};
        m_file.reset(fopencookie(this, "rb", functions));
    }
    CountedStream(const CountedStream&) = delete;
    CountedStream& operator=(const CountedStream&) = delete;

    std::FILE* file() const { return m_file.get(); }
    std::size_t size() const { return m_bytes.size(); }

    std::size_t steps = 0; // reads and seeks

  private:
    static ssize_t read(void* cookie, char* to, std::size_t wanted) {
        auto& self = *static_cast<CountedStream*>(cookie);
        ++self.steps;
        const std::size_t at = std::min(self.m_position, self.m_bytes.size());
        const std::size_t got = std::min(wanted, self.m_bytes.size() - at);
        std::copy_n(self.m_bytes.data() + at, got, to);
        self.m_position += got;
        return static_cast<ssize_t>(got);
    }
    static int seek(void* cookie, off64_t* offset, int whence) {
        auto& self = *static_cast<CountedStream*>(cookie);
        ++self.steps;
        std::size_t from = 0;
        if (whence == SEEK_CUR) from = self.m_position;
        if (whence == SEEK_END) from = self.m_bytes.size();
        *offset += static_cast<off64_t>(from);
        if (*offset < 0) return -1;
        self.m_position = static_cast<std::size_t>(*offset);
        return 0;
    }

    std::string m_bytes;
    std::size_t m_position = 0;
    File m_file;
};

struct Outcome {
    bool loaded;
    PdcError error;
    std::size_t requests; // of memory, while loading
    std::size_t peak;     // bytes, while loading
    std::size_t leaked;
    std::size_t steps;
};

Outcome load_watched(const std::string& bytes) {
    CountedStream stream(bytes);
    const std::size_t before = watched_memory::held();
    Outcome o{};
    {
        CPdc pdc;
        CPdcLoadResult result{PdcError::None, 0};
        const std::size_t fresh = watched_memory::held();
        watched_memory::reset();
        o.loaded = LoadPdc(stream.file(), pdc, &result);
        o.error = result.error;
        o.requests = watched_memory::requests();
        o.peak = watched_memory::peak_held() - fresh;
    }
    o.leaked = watched_memory::held() - before;
    o.steps = stream.steps;
    return o;
}

// What a file of less than a kilobyte may cost: a piece of a name and small arrays; reads of the
// stream's buffer, and seeks to find its size and past a few records.
constexpr std::size_t kMemoryLimit = 16384;
constexpr std::size_t kRequestLimit = 64;
constexpr std::size_t kStepLimit = 64;

void expect_cheap(const Outcome& o) {
    EXPECT_LE(o.peak, kMemoryLimit);
    EXPECT_LE(o.requests, kRequestLimit);
    EXPECT_LE(o.steps, kStepLimit);
    EXPECT_EQ(o.leaked, 0u);
}

TEST(PdcHostile, CutAtEveryByteFailsUntilItIsWhole) {
    const std::string whole = pdc_bytes::seven_attributes().text;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const Outcome o = load_watched(whole.substr(0, length));
        EXPECT_EQ(o.loaded, length == whole.size()) << length;
        EXPECT_EQ(o.loaded, o.error == PdcError::None) << length;
        expect_cheap(o);
    }
}

TEST(PdcHostile, CutInTheLastRecordLoadsOnceThatRecordIsOneThatIsSkipped) {
    std::string whole = pdc_bytes::seven_attributes().text;
    whole[whole.size() - 48 - 4 - 8] = 'N'; // "NormalPP" is the name of no slot
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        EXPECT_EQ(load_watched(whole.substr(0, length)).loaded, length >= whole.size() - 48)
            << length;
    }
}

TEST(PdcHostile, EveryByteChangedNeitherCrashesNorCostsMuchNorLeaks) {
    const std::string whole = pdc_bytes::seven_attributes().text;
    int loaded = 0;
    int failed = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char value : {'\x00', '\x7f', '\x80', '\xff'}) {
            std::string changed = whole;
            changed[at] = value;
            const Outcome o = load_watched(changed);
            expect_cheap(o);
            ++(o.loaded ? loaded : failed);
        }
    }
    EXPECT_GT(loaded, 1000) << "changes in values and in the header's first words load";
    EXPECT_GT(failed, 100) << "changes in counts, lengths and codes do not";
}

TEST(PdcHostile, TwoThousandMillionParticlesIn33BytesFailAtOnce) {
    const std::string bytes = Bytes().header(2000000000, 1).raw("\0\0\0\x02t").text;
    ASSERT_EQ(bytes.size(), 33u);
    const Outcome o = load_watched(bytes);
    EXPECT_FALSE(o.loaded);
    expect_cheap(o);
}

TEST(PdcHostile, ClaimedParticlesOfEveryReadCodeAskForNoMemory) {
    for (const auto& [name, code] :
         {std::pair{"tag", 1}, {"tag", 3}, {"radius", 3}, {"position", 5}}) {
        const Outcome o =
            load_watched(Bytes().header(2000000000, 1).record(name, code).f64(1).text);
        EXPECT_FALSE(o.loaded);
        EXPECT_EQ(o.error, PdcError::DataPastEnd);
        expect_cheap(o);
    }
}

// The size of a pipe is unknown: what it delivers is all that may cost memory.
TEST(PdcHostile, ClaimedParticlesOfAPipeAskForNoMoreThanItDelivers) {
    for (const auto& [name, code] :
         {std::pair{"tag", 1}, {"tag", 3}, {"radius", 3}, {"position", 5}}) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const std::string bytes =
            Bytes().header(2000000000, 1).record(name, code).raw(std::string(10000, 'x')).text;
        ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(ends[1]);
        const File f(fdopen(ends[0], "rb"));
        CPdc pdc;
        CPdcLoadResult result{PdcError::None, 0};
        const std::size_t before = watched_memory::held();
        watched_memory::reset();
        EXPECT_FALSE(LoadPdc(f.get(), pdc, &result));
        EXPECT_EQ(result.error, PdcError::DataPastEnd);
        EXPECT_LE(watched_memory::peak_held() - before, 4 * bytes.size());
    }
}

TEST(PdcHostile, ClaimedParticlesThatAreOnlySkippedLoad) {
    const Outcome o = load_watched(Bytes().header(2000000000, 1).record("u", 5).text);
    EXPECT_TRUE(o.loaded);
    expect_cheap(o);
}

TEST(PdcHostile, ClaimedAttributesAndNamesAskForNoMemory) {
    expect_cheap(load_watched(Bytes().header(1, INT32_MAX).text));
    const Outcome name = load_watched(Bytes().header(1, 1).i32(INT32_MAX).raw("abcdefgh").text);
    EXPECT_EQ(name.error, PdcError::BadNameLength);
    expect_cheap(name);
}

TEST(PdcHostile, UnknownCodesTakeAStepOrTwoPerRecord) {
    constexpr std::size_t kRecords = 1000;
    Bytes b;
    b.header(INT32_MAX, kRecords);
    for (std::size_t i = 1; i < kRecords; ++i)
        b.record("", 99);
    EXPECT_FALSE(load_watched(b.text).loaded);
    const Outcome whole = load_watched(b.record("", 99).text);
    EXPECT_TRUE(whole.loaded);
    EXPECT_LE(whole.steps, 2 * kRecords + kStepLimit);
    EXPECT_LE(whole.requests, kRequestLimit);
}

// Nothing but the arrays themselves: a second copy of the values would double the peak.
TEST(PdcHostile, ValuesOfAFileAreReadStraightIntoTheirArrays) {
    constexpr std::size_t kN = 100000;
    Bytes b;
    b.header(kN, 1).record("position", 5).raw(std::string(kN * 24, '\0'));
    const Outcome o = load_watched(b.text);
    EXPECT_TRUE(o.loaded);
    EXPECT_LE(o.peak, kN * sizeof(CVectorD) + kMemoryLimit);
}

TEST(PdcHostile, MemoryThatRunsOutIsAFailureNotAnException) {
    constexpr int kN = 100000;
    Bytes b;
    b.header(kN, 1).record("position", 5).raw(std::string(std::size_t{kN} * 24, '\0'));
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
        EXPECT_EQ(result.offset, 28 + 4 + 8 + 4);
        std::rewind(f.get());
        EXPECT_TRUE(LoadPdc(f.get(), *pdc)) << "the same file loads when there is memory";
    }
    EXPECT_EQ(watched_memory::held(), before);
}

} // namespace
