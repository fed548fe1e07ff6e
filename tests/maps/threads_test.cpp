// Maps that many threads use at once.
#include "tests/maps/helpers.h"

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>

namespace {

using namespace vx::maps::test;
using vx::maps::remove_map;

TEST(Threads, SixteenThreadsSearchOneMapAndFindTheSame) {
    std::mt19937 random(11);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    std::vector<float> points(3 * 4000);
    for (float& x : points)
        x = uniform(random);
    const auto map = map_of_points(points, 3);
    const auto access = access_to(*map);
    constexpr std::size_t kQueries = 400;
    std::vector<float> expected;
    const auto search = [&](std::size_t i, auto& lookup) {
        lookup->search(Map_quad_distance<3>(points.data() + 3 * i), 12, 0.01f);
        float sum = 0.0f;
        for (; !lookup->at_end(); lookup->next()) {
            int index = 0;
            if (!lookup->get(0u, index).is_ok()) return -1.0f;
            sum += lookup->get_squared_distance() + static_cast<float>(index);
        }
        return sum;
    };
    {
        Map_lookup lookup(*access);
        for (std::size_t i = 0; i < kQueries; ++i)
            expected.push_back(search(i, lookup));
    }
    std::atomic<int> different{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 16; ++t) {
        threads.emplace_back([&, t] {
            Map_lookup kept(*access);
            for (std::size_t i = 0; i < kQueries; ++i) {
                const std::size_t q = (i + t * 25) % kQueries;
                // Every other search uses a new lookup, as shaders do.
                if (i % 2 == 0) {
                    if (search(q, kept) != expected[q]) ++different;
                } else {
                    Map_lookup fresh(*access);
                    if (search(q, fresh) != expected[q]) ++different;
                }
                Map_element element;
                const Access_map second(access->get_tag());
                if (!second->get(static_cast<miUint>(q), element).is_ok()) ++different;
                const Map_declaration declaration(second);
                if (!declaration->has_field("index")) ++different;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(different, 0);
}

TEST(Threads, HandlesOfOneMapStoreItOnce) {
    const Folder folder;
    (*map_of_points({1, 2, 3}, 3))->write(folder.file("map").c_str(), false);
    constexpr std::size_t kThreads = 8;
    for (int round = 0; round < 200; ++round) {
        Access_interface interface;
        std::vector<std::unique_ptr<Access_map_dbhandle>> handles;
        handles.emplace_back(interface->accessMap(folder.file("map").c_str(), nullptr));
        while (handles.size() < kThreads)
            handles.emplace_back(interface->shareMap(handles.front().get()));
        std::vector<miTag> tags(kThreads, miNULLTAG);
        std::latch start(kThreads);
        std::vector<std::thread> threads;
        for (std::size_t t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                tags[t] = handles[t]->store();
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_NE(tags[0], miNULLTAG);
        EXPECT_EQ(std::count(tags.begin(), tags.end(), tags[0]), 8);
        while (!handles.empty()) {
            EXPECT_FALSE(remove_map(tags[0])) << "each handle has a pin of its own";
            handles.pop_back();
        }
        EXPECT_TRUE(remove_map(tags[0]));
    }
}

TEST(Threads, ALookupMayBeDestroyedOnAnotherThread) {
    const auto map = map_of_points({1, 2, 3}, 3);
    const auto access = access_to(*map);
    for (int i = 0; i < 20; ++i) {
        auto lookup = std::make_unique<Map_lookup>(*access);
        std::thread([&] { lookup.reset(); }).join();
    }
}

} // namespace
