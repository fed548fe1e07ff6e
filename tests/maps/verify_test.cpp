// Closed files that are opened without reading all of them: what is checked nevertheless, and that
// damage elsewhere is harmless.
#include "maps/testing.h"
#include "tests/maps/helpers.h"
#include "tests/maps/plain_reader.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace vx::maps::test;

// Opens all files as if they were large.
class LargeFiles {
  public:
    LargeFiles() { vx::maps::set_verified_size(0); }
    ~LargeFiles() { vx::maps::set_verified_size(vx::maps::kVerifiedBytes); }
    LargeFiles(const LargeFiles&) = delete;
    LargeFiles& operator=(const LargeFiles&) = delete;
};

std::vector<float> random_points(std::size_t count) {
    std::mt19937 random(12);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    std::vector<float> points(3 * count);
    for (float& x : points)
        x = uniform(random);
    return points;
}

// A file of a map of points, with offsets by the format's definition: in dimension 3 a node and a
// leaf take 192 bytes each.
struct MapFile {
    std::string bytes;
    std::size_t data = 0, order = 0, rank = 0;
    std::uint32_t count = 0;

    MapFile(const Folder& folder, std::uint32_t elements) : count(elements) {
        const std::string file = folder.file("whole");
        (*map_of_points(random_points(elements), 3))->write(file.c_str(), false);
        bytes = bytes_of(file);
        std::uint64_t head = 0;
        std::memcpy(&head, bytes.data() + 40, 8);
        data = head;
        std::size_t units = (count + 15) / 16;
        order = data + units * 192;
        do {
            units = (units + 7) / 8;
            order += units * 192;
        } while (units > 1);
        rank = order + (std::size_t{count} * 4 + 63) / 64 * 64;
    }
};

void set_u32(std::string& bytes, std::size_t at, std::uint32_t value) {
    std::memcpy(bytes.data() + at, &value, 4);
}

std::uint32_t u32_at(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, 4);
    return value;
}

Map_status::Status_code status_of(const std::string& file) {
    Map_status status = Map_status::Failure;
    const Access_map map(file.c_str(), &status);
    EXPECT_EQ(status.is_ok(), !map->is_empty());
    return status.get_code();
}

TEST(Verify, OrderAndRankOfALargeFileMustBeBelowTheCount) {
    const Folder folder;
    const MapFile whole(folder, 300);
    const std::string file = folder.file("map");
    const LargeFiles large;
    write_bytes(file, whole.bytes);
    EXPECT_EQ(status_of(file), Map_status::OK);
    for (const std::size_t section : {whole.order, whole.rank}) {
        for (const std::uint32_t row : {0u, 150u, 299u}) {
            for (const std::uint32_t value : {300u, 0x80000000u, 0xffffffffu}) {
                std::string bytes = whole.bytes;
                set_u32(bytes, section + row * 4, value);
                write_bytes(file, bytes);
                EXPECT_EQ(status_of(file), Map_status::File_not_a_map) << row << ' ' << value;
            }
            std::string bytes = whole.bytes;
            set_u32(bytes, section + row * 4, 299);
            write_bytes(file, bytes);
            EXPECT_EQ(status_of(file), Map_status::OK);
        }
    }
}

TEST(Verify, HeaderAndSizeOfALargeFileAreChecked) {
    const Folder folder;
    const MapFile whole(folder, 300);
    const std::string file = folder.file("map");
    const LargeFiles large;
    for (const std::size_t at : {8, 12, 16, 20, 24, 32, 40, 48, 64, 68, 72, 76}) {
        std::string bytes = whole.bytes;
        set_u32(bytes, at, 0x7fffffffu);
        write_bytes(file, bytes);
        EXPECT_NE(status_of(file), Map_status::OK) << at;
    }
    write_bytes(file, whole.bytes.substr(0, whole.bytes.size() - 64));
    EXPECT_EQ(status_of(file), Map_status::File_not_a_map);
    write_bytes(file, whole.bytes + std::string(64, '\0'));
    EXPECT_EQ(status_of(file), Map_status::File_not_a_map);
}

// The same index in several rows: the elements are those of the rows that `rank` names.
TEST(Verify, RepeatedIndicesAreHarmless) {
    const Folder folder;
    MapFile damaged(folder, 300);
    for (std::uint32_t i = 0; i < damaged.count; ++i) {
        set_u32(damaged.bytes, damaged.order + i * 4, 7);
        set_u32(damaged.bytes, damaged.rank + i * 4, 299);
    }
    const std::string file = folder.file("map");
    write_bytes(file, damaged.bytes);
    const LargeFiles large;
    const Access_map map(file.c_str());
    ASSERT_EQ(map->size(), 300u);
    Map_lookup lookup(map);
    const float center[3] = {0.5f, 0.5f, 0.5f};
    ASSERT_TRUE(lookup->search(Map_quad_distance<3>(center), 300, 4.0f).is_ok());
    EXPECT_EQ(lookup->size(), 300u);
    for (; !lookup->at_end(); lookup->next()) {
        miUint index = 0;
        ASSERT_TRUE(lookup->get_index(index).is_ok());
        EXPECT_EQ(index, 7u);
    }
    Map_element first;
    Map_element last;
    ASSERT_TRUE(map->get(0, first).is_ok());
    ASSERT_TRUE(map->get(299, last).is_ok());
    int a = -1;
    int b = -2;
    ASSERT_TRUE(first->get(0u, a).is_ok());
    ASSERT_TRUE(last->get(0u, b).is_ok());
    EXPECT_EQ(a, b);
}

// Everything that reads a map, with any content. Returns the number of elements found.
std::size_t use(const Access_map& map) {
    const miUint count = map->size();
    std::size_t found = 0;
    if (Map_declaration(map)->get_dimension() == 3) {
        Map_lookup lookup(map);
        for (const float x : {0.1f, 0.9f}) {
            const float point[3] = {x, 0.4f, 0.6f};
            for (const int wanted : {3, 40}) {
                EXPECT_TRUE(lookup->search(Map_quad_distance<3>(point), wanted, 0.5f).is_ok());
                EXPECT_LE(lookup->size(), static_cast<miUint>(wanted));
                float before = 0.0f;
                for (; !lookup->at_end(); lookup->next(), ++found) {
                    miUint index = 0;
                    float position[3];
                    EXPECT_TRUE(lookup->get_index(index).is_ok());
                    EXPECT_TRUE(lookup->get_position(position).is_ok());
                    EXPECT_LT(index, count);
                    EXPECT_LE(before, lookup->get_squared_distance());
                    before = lookup->get_squared_distance();
                }
            }
        }
    }
    Map_iterator row(map);
    miUint visited = 0;
    for (; !row->at_end(); row->next())
        ++visited;
    EXPECT_EQ(visited, count);
    const std::optional<vx::maps::Rows> rows = vx::maps::rows_of(*map.operator->());
    EXPECT_TRUE(rows.has_value());
    for (std::uint64_t i = 0; rows && i < rows->count; ++i) {
        EXPECT_LT(rows->order[i], rows->count);
        EXPECT_LT(rows->rank[i], rows->count);
    }
    return found;
}

// Changes of a few bytes anywhere in the file. Either the file is refused, or all uses of the map
// stay within it.
TEST(Verify, DamageOfALargeFileIsHarmless) {
    const Folder folder;
    const MapFile whole(folder, 200);
    const std::string file = folder.file("map");
    const LargeFiles large;
    std::mt19937 random(3);
    std::size_t opened = 0;
    std::size_t found = 0;
    constexpr int kMutations = 4000;
    for (int i = 0; i < kMutations; ++i) {
        std::string bytes = whole.bytes;
        const unsigned changes = 1 + random() % 8;
        for (unsigned k = 0; k < changes; ++k) {
            // Words of the search tree, of all sections, or single bytes.
            const std::size_t limit = random() % 2 == 0 ? whole.rank : bytes.size();
            const std::size_t at = whole.data + random() % (limit - whole.data);
            const std::uint32_t hard[] = {0,          0x7f800000, 0xff800000, 0x7fc00000,
                                          0xffffffff, 199,        200,        0x7f7fffff};
            if (random() % 3 == 0) {
                bytes[at] = static_cast<char>(random());
            } else {
                set_u32(bytes, at / 4 * 4, hard[random() % 8]);
            }
        }
        if (i % 4 == 0) bytes[random() % whole.data] = static_cast<char>(random());
        write_bytes(file, bytes);
        Map_status status = Map_status::Failure;
        const Access_map map(file.c_str(), &status);
        if (!status.is_ok()) {
            ASSERT_TRUE(map->is_empty());
            continue;
        }
        ++opened;
        found += use(map);
        if (HasFailure()) FAIL() << "mutation " << i;
    }
    EXPECT_GT(opened, 500u);
    EXPECT_LT(opened, std::size_t{kMutations});
    EXPECT_GT(found, opened);
}

// An edited map has elements of the damaged body, and can be consolidated and written.
TEST(Verify, ADamagedLargeFileCanBeEdited) {
    const Folder folder;
    MapFile damaged(folder, 200);
    set_u32(damaged.bytes, damaged.rank, u32_at(damaged.bytes, damaged.rank + 4));
    const std::string file = folder.file("map");
    write_bytes(file, damaged.bytes);
    const LargeFiles large;
    Edit_map map(file.c_str());
    Map_element element;
    ASSERT_TRUE(map->get(1, element).is_ok());
    ASSERT_TRUE(map->append(element).is_ok());
    ASSERT_FALSE(vx::maps::rows_of(*map.operator->()).has_value()) << "the rows lack an element";
    ASSERT_TRUE(map->consolidate().is_ok());
    ASSERT_TRUE(map->write(file.c_str(), false).is_ok());
    EXPECT_TRUE(vx::maps::verify_file(file.c_str()).is_ok());
    const Access_map again(file.c_str());
    ASSERT_EQ(again->size(), 201u);
    for (const miUint i : {0u, 1u, 200u}) {
        int value = -1;
        ASSERT_TRUE(again->get(i, element).is_ok());
        ASSERT_TRUE(element->get(0u, value).is_ok());
        EXPECT_EQ(value, 1);
    }
}

TEST(Verify, VerificationNoticesAnyChangedByte) {
    const Folder folder;
    const MapFile whole(folder, 40);
    const std::string file = folder.file("map");
    const LargeFiles large;
    write_bytes(file, whole.bytes);
    EXPECT_TRUE(vx::maps::verify_file(file.c_str()).is_ok());
    for (std::size_t at = 0; at < whole.bytes.size(); ++at) {
        std::string bytes = whole.bytes;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
        write_bytes(file, bytes);
        ASSERT_FALSE(vx::maps::verify_file(file.c_str()).is_ok()) << at;
    }
    EXPECT_EQ(vx::maps::verify_file(folder.file("none").c_str()).get_code(),
              Map_status::File_could_not_be_opened);
}

TEST(Verify, VerificationNoticesRowsThatAreNotAPermutation) {
    const Folder folder;
    MapFile damaged(folder, 40);
    const std::string file = folder.file("map");
    set_u32(damaged.bytes, damaged.order, u32_at(damaged.bytes, damaged.order + 4));
    const std::uint64_t sum = plain::checksum(damaged.bytes);
    std::memcpy(damaged.bytes.data() + 56, &sum, 8);
    write_bytes(file, damaged.bytes);
    const LargeFiles large;
    EXPECT_EQ(status_of(file), Map_status::OK);
    EXPECT_EQ(vx::maps::verify_file(file.c_str()).get_code(), Map_status::File_not_a_map);
}

// The checksum of an open file is always compared: all of it is read anyway.
TEST(Verify, OpenFilesAreAlwaysCheckedWhole) {
    const Folder folder;
    const std::string file = folder.file("map");
    const auto map = map_of_points(random_points(20), 3);
    (*map)->write(file.c_str(), false, Map_base::Open_binary);
    std::string bytes = bytes_of(file);
    const LargeFiles large;
    EXPECT_EQ(status_of(file), Map_status::OK);
    bytes[bytes.size() - 60] ^= 1;
    write_bytes(file, bytes);
    EXPECT_EQ(status_of(file), Map_status::File_not_a_map);
}

} // namespace
