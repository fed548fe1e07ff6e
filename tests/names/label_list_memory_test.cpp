// Memory of label lists. The program is linked with --wrap, which redirects calls of calloc,
// realloc and free here.
#include "src/names/label_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

namespace {

// The calls while the object exists, and the blocks that were not released.
class HeapCalls {
  public:
    HeapCalls() { current = this; }
    ~HeapCalls() { current = nullptr; }
    HeapCalls(const HeapCalls&) = delete;
    HeapCalls& operator=(const HeapCalls&) = delete;

    std::vector<std::string> requests;
    std::set<void*> held;
    int unknown = 0; // released blocks that were not held

    void take_back(void* block) {
        if (block != nullptr && held.erase(block) == 0) ++unknown;
    }

    static HeapCalls* current;
};
HeapCalls* HeapCalls::current = nullptr;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker gives
extern "C" {

void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void __real_free(void* block);

void* __wrap_calloc(size_t count, size_t size) {
    void* const block = __real_calloc(count, size);
    if (HeapCalls* const calls = HeapCalls::current) {
        HeapCalls::current = nullptr; // recording needs memory
        calls->requests.push_back("calloc " + std::to_string(count * size));
        calls->held.insert(block);
        HeapCalls::current = calls;
    }
    return block;
}

void* __wrap_realloc(void* block, size_t size) {
    HeapCalls* const calls = HeapCalls::current;
    HeapCalls::current = nullptr;
    if (calls != nullptr) calls->take_back(block);
    void* const larger = __real_realloc(block, size);
    if (calls != nullptr) {
        calls->requests.push_back("realloc " + std::to_string(size));
        calls->held.insert(larger);
    }
    HeapCalls::current = calls;
    return larger;
}

void __wrap_free(void* block) {
    HeapCalls* const calls = HeapCalls::current;
    HeapCalls::current = nullptr;
    if (calls != nullptr) calls->take_back(block);
    __real_free(block);
    HeapCalls::current = calls;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Allocations of the list's array. They follow those of the parser: the array of items, the item
// and its range.
std::vector<std::string> array_requests(const std::string& item) {
    int* labels = nullptr;
    std::vector<std::string> requests;
    {
        HeapCalls calls;
        parse_label_list(item.c_str(), &labels);
        requests = calls.requests;
    }
    free(labels);
    EXPECT_GE(requests.size(), 3u);
    EXPECT_EQ(requests.at(0), "realloc " + std::to_string(sizeof(char*)));
    EXPECT_EQ(requests.at(1), "calloc " + std::to_string(item.size() + 1));
    EXPECT_EQ(requests.at(2), "calloc " + std::to_string(2 * sizeof(int)));
    requests.erase(requests.begin(), requests.begin() + 3);
    return requests;
}

TEST(LabelListMemory, CapacityIsTheCountRoundedUpToFive) {
    EXPECT_THAT(array_requests("x"), IsEmpty());
    EXPECT_THAT(array_requests("1"), ElementsAre("calloc 20"));
    EXPECT_THAT(array_requests("1-4"), ElementsAre("calloc 20"));
    EXPECT_THAT(array_requests("1-5"), ElementsAre("calloc 20"));
    EXPECT_THAT(array_requests("1-6"), ElementsAre("calloc 20", "realloc 40"));
    EXPECT_THAT(array_requests("1-10"), ElementsAre("calloc 20", "realloc 40"));
    EXPECT_THAT(array_requests("1-11"), ElementsAre("calloc 20", "realloc 40", "realloc 60"));
}

TEST(LabelListMemory, GivenArrayIsReallocated) {
    auto* labels = static_cast<int*>(calloc(5, sizeof(int)));
    std::vector<std::string> requests;
    {
        HeapCalls calls;
        calls.held.insert(labels);
        parse_label_list("7", &labels);
        requests = calls.requests;
        EXPECT_EQ(calls.unknown, 0);
    }
    EXPECT_EQ(requests.back(), "realloc 20");
    free(labels);
}

TEST(LabelListMemory, OnlyTheArrayIsLeftBehind) {
    for (const char* const text : {"", ",,", "x", "1", "4,1-3,,2,9-7,x,5-6", "1-100,3,-,7"}) {
        int* labels = nullptr;
        {
            HeapCalls calls;
            const int count = parse_label_list(text, &labels);
            EXPECT_EQ(calls.unknown, 0) << text;
            if (count == 0) {
                EXPECT_THAT(calls.held, IsEmpty()) << text;
            } else {
                EXPECT_THAT(calls.held, ElementsAre(labels)) << text;
            }
        }
        free(labels);
    }
}

TEST(LabelListMemory, EachItemIsCopiedWithItsTerminatorAlone) {
    int* labels = nullptr;
    std::vector<std::string> requests;
    {
        HeapCalls calls;
        parse_label_list(",12-13,,7,", &labels);
        requests = calls.requests;
    }
    free(labels);
    EXPECT_THAT(requests, ElementsAre("realloc 8", "calloc 6", "realloc 16", "calloc 2",
                                      "calloc 16", "calloc 20"));
}

} // namespace
