// Map files: round trips, statuses, damaged files, replacing files.
#include "tests/maps/helpers.h"
#include "tests/maps/plain_reader.h"

#include <cmath>
#include <csignal>
#include <cstring>
#include <limits>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace vx::maps::test;

constexpr Map_base::File_format kForms[] = {Map_base::Closed_binary, Map_base::Open_binary,
                                            Map_base::Open_ASCII};

// A small map with a field of every kind, and with values that are difficult to write.
std::unique_ptr<Edit_map> awkward_map(int count) {
    Map_declaration d(3);
    using T = Map_field_type;
    d->append_field("i", T::Integer);
    d->append_field("s", T::Scalar);
    d->append_field("v", T::Vector);
    d->append_field("c", T::Color);
    d->append_field("t", T::Transform);
    d->append_field("ia", T::Integer_array, 2);
    d->append_field("sa", T::Scalar_array, 3);
    d->append_field("by", T::String, 8, true);
    d->append_field("g", T::Scalar, 0, true);
    auto map = std::make_unique<Edit_map>(d);
    (*map)->set(7u, "#\"}\n");
    (*map)->set(8u, -0.0f);
    Map_element element(d);
    const std::uint32_t hard[] = {0x7fc00000, 0xffc00001, 0x7f800001, 0x7f800000, 0xff800000,
                                  0x80000000, 0x00000001, 0x7f7fffff, 0x3dcccccd, 0x00800000};
    for (int i = 0; i < count; ++i) {
        const float position[3] = {static_cast<float>(i) * 0.1f, 1.0f / static_cast<float>(i + 3),
                                   7};
        element->set_position(position);
        element->set(0u, i % 2 == 0 ? std::numeric_limits<int>::min() : i);
        float value;
        std::memcpy(&value, &hard[i % 10], 4);
        element->set(1u, value);
        element->set(2u, miVector{static_cast<float>(i), value, -1});
        const int ints[2] = {i, -i};
        element->set(5u, ints);
        const float floats[3] = {value, 0.3f, 1e-20f};
        element->set(6u, floats);
        (*map)->append(element);
    }
    (*map)->consolidate();
    return map;
}

// Compares declaration, global values and records bit for bit.
void expect_equal(const Map_base& a, const Map_base& b) {
    Access_interface interface;
    const std::unique_ptr<Map_declaration_base> da(interface->copyMapDeclaration(&a, nullptr));
    const std::unique_ptr<Map_declaration_base> db(interface->copyMapDeclaration(&b, nullptr));
    ASSERT_TRUE(da && db && da->is_equal(db.get()));
    ASSERT_EQ(a.size(), b.size());
    char ta[16] = "";
    char tb[16] = "";
    ASSERT_EQ(a.get(7u, ta).get_code(), b.get(7u, tb).get_code());
    EXPECT_STREQ(ta, tb);
    Map_element ea;
    Map_element eb;
    for (miUint i = 0; i < a.size(); ++i) {
        ASSERT_TRUE(a.get(i, ea).is_ok());
        ASSERT_TRUE(b.get(i, eb).is_ok());
        float pa[3], pb[3], sa[3], sb[3], fa, fb;
        int ia[2], ib[2], na, nb;
        miMatrix ma, mb;
        ea->get_position(pa);
        eb->get_position(pb);
        // NOLINTBEGIN(bugprone-suspicious-memory-comparison): compares bits
        EXPECT_EQ(std::memcmp(pa, pb, sizeof pa), 0);
        ea->get(0u, na);
        eb->get(0u, nb);
        EXPECT_EQ(na, nb);
        ea->get(1u, fa);
        eb->get(1u, fb);
        EXPECT_EQ(std::memcmp(&fa, &fb, 4), 0) << "element " << i;
        ea->get(4u, &ma);
        eb->get(4u, &mb);
        EXPECT_EQ(std::memcmp(ma, mb, sizeof ma), 0);
        ea->get(5u, ia);
        eb->get(5u, ib);
        EXPECT_EQ(ia[1], ib[1]);
        ea->get(6u, sa);
        eb->get(6u, sb);
        EXPECT_EQ(std::memcmp(sa, sb, sizeof sa), 0);
        // NOLINTEND(bugprone-suspicious-memory-comparison)
    }
}

TEST(Files, RoundTripsBetweenTheThreeFormsKeepEveryBit) {
    const Folder folder;
    const auto map = awkward_map(300);
    for (const auto first : kForms) {
        for (const auto second : kForms) {
            const std::string one = folder.file("one");
            const std::string two = folder.file("two");
            ASSERT_TRUE((*map)->write(one.c_str(), false, first).is_ok());
            Edit_map read;
            ASSERT_TRUE(read->read(one.c_str(), false).is_ok());
            ASSERT_TRUE(read->write(two.c_str(), false, second).is_ok());
            Map_status status = Map_status::Failure;
            const Access_map again(two.c_str(), &status);
            ASSERT_TRUE(status.is_ok());
            expect_equal(*map->operator->(), *again.operator->());
        }
    }
    EXPECT_EQ(folder.count(), 2u) << "no temporary file is left";
}

TEST(Files, LoadedMapsCanBeSearched) {
    const Folder folder;
    std::mt19937 random(4);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    std::vector<float> points(3 * 2000);
    for (float& x : points)
        x = uniform(random);
    const auto map = map_of_points(points, 3);
    const auto access = access_to(*map);
    Map_lookup lookup(*access);
    for (const auto format : kForms) {
        const std::string file = folder.file("map");
        ASSERT_TRUE((*map)->write(file.c_str(), false, format).is_ok());
        const Access_map read(file.c_str());
        Map_lookup other(read);
        for (std::size_t i = 0; i < 200; ++i) {
            const Map_quad_distance<3> distance(points.data() + 3 * i);
            lookup->search(distance, 8, 0.02f);
            other->search(distance, 8, 0.02f);
            ASSERT_EQ(lookup->size(), other->size());
            for (; !lookup->at_end(); lookup->next(), other->next()) {
                int a = 0;
                int b = 0;
                ASSERT_TRUE(lookup->get(0u, a).is_ok());
                ASSERT_TRUE(other->get(0u, b).is_ok());
                ASSERT_EQ(a, b);
                ASSERT_EQ(lookup->get_squared_distance(), other->get_squared_distance());
            }
        }
    }
}

TEST(Files, AMapThatIsNotConsolidatedIsWrittenWhole) {
    const Folder folder;
    const auto map = awkward_map(50);
    Map_element element;
    (*map)->get(3, element);
    (*map)->append(element);
    (*map)->set(4, element);
    for (const auto format : kForms) {
        const std::string file = folder.file("map");
        ASSERT_TRUE((*map)->write(file.c_str(), false, format).is_ok());
        const Access_map read(file.c_str());
        expect_equal(*map->operator->(), *read.operator->());
    }
}

TEST(Files, AMapReadFromAFileCanBeEdited) {
    const Folder folder;
    const std::string file = folder.file("map");
    const auto map = awkward_map(40);
    (*map)->write(file.c_str(), false);
    Edit_map edit(file.c_str());
    Map_element element;
    ASSERT_TRUE(edit->get(5, element).is_ok());
    EXPECT_TRUE(edit->append(element).is_ok());
    EXPECT_TRUE(edit->set(0, element).is_ok());
    EXPECT_TRUE(edit->set(8u, 4.0f).is_ok());
    EXPECT_TRUE(edit->consolidate().is_ok());
    EXPECT_EQ(edit->size(), 41u);
    // Editing did not change the file, and the file can be replaced while it is mapped.
    expect_equal(*map->operator->(), *Access_map(file.c_str()).operator->());
    Edit_map mapped(file.c_str());
    EXPECT_TRUE(mapped->write(file.c_str(), false).is_ok());
    EXPECT_TRUE(edit->write(file.c_str(), false).is_ok());
    expect_equal(*map->operator->(), *mapped.operator->());
    EXPECT_EQ(Access_map(file.c_str())->size(), 41u);
}

TEST(Files, StatusesOfFilesThatCannotBeRead) {
    const Folder folder;
    Map_status status;
    const auto read = [&](const std::string& file) {
        const Access_map map(file.c_str(), &status);
        EXPECT_TRUE(map->is_empty());
        EXPECT_FALSE(map->has_declaration());
        return status.get_code();
    };
    EXPECT_EQ(read(folder.file("missing")), Map_status::File_could_not_be_opened);
    EXPECT_EQ(read(folder.file("")), Map_status::File_could_not_be_opened) << "a folder";
    EXPECT_EQ(read("/dev/null"), Map_status::File_could_not_be_opened);
    write_bytes(folder.file("empty"), "");
    EXPECT_EQ(read(folder.file("empty")), Map_status::File_not_a_map);
    write_bytes(folder.file("text"), "hello, world\n");
    EXPECT_EQ(read(folder.file("text")), Map_status::File_not_a_map);
    write_bytes(folder.file("zeros"), std::string(1000, '\0'));
    EXPECT_EQ(read(folder.file("zeros")), Map_status::File_not_a_map);

    const auto map = awkward_map(3);
    (*map)->write(folder.file("map").c_str(), false);
    std::string bytes = bytes_of(folder.file("map"));
    bytes[12] = 2;
    write_bytes(folder.file("newer"), bytes);
    EXPECT_EQ(read(folder.file("newer")), Map_status::File_version_unsupported);
    bytes = bytes_of(folder.file("map"));
    std::swap(bytes[8], bytes[11]);
    std::swap(bytes[9], bytes[10]);
    write_bytes(folder.file("swapped"), bytes);
    EXPECT_EQ(read(folder.file("swapped")), Map_status::File_version_unsupported);
}

TEST(Files, AFailedReadLeavesTheMapEmpty) {
    const Folder folder;
    const auto map = awkward_map(3);
    EXPECT_TRUE((*map)->read(folder.file("missing").c_str(), false) ==
                Map_status::File_could_not_be_opened);
    EXPECT_TRUE((*map)->is_empty());
    EXPECT_FALSE((*map)->has_declaration());
}

TEST(Files, CutOffAtAnyByteAFileIsNotAMap) {
    const Folder folder;
    const auto map = awkward_map(20);
    for (const auto format : kForms) {
        const std::string file = folder.file("whole");
        ASSERT_TRUE((*map)->write(file.c_str(), false, format).is_ok());
        const std::string bytes = bytes_of(file);
        // An ASCII file is complete without the end of its last line.
        const std::size_t lengths = bytes.size() - (format == Map_base::Open_ASCII ? 1 : 0);
        const std::string cut = folder.file("cut");
        for (std::size_t length = 0; length < lengths; ++length) {
            write_bytes(cut, bytes.substr(0, length));
            Map_status status;
            const Access_map read(cut.c_str(), &status);
            ASSERT_TRUE(status == Map_status::File_not_a_map) << length << " of " << bytes.size();
            ASSERT_TRUE(read->is_empty());
        }
        write_bytes(cut, bytes + std::string(64, '\0'));
        Map_status status;
        const Access_map longer(cut.c_str(), &status);
        EXPECT_TRUE(status == Map_status::File_not_a_map) << "something follows";
    }
}

TEST(Files, AnyChangedByteOfABinaryFileIsNoticed) {
    const Folder folder;
    const auto map = awkward_map(18);
    for (const auto format : {Map_base::Closed_binary, Map_base::Open_binary}) {
        const std::string file = folder.file("whole");
        (*map)->write(file.c_str(), false, format);
        std::string bytes = bytes_of(file);
        const std::string changed = folder.file("changed");
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const char before = bytes[i];
            for (const int flip : {1, 0x80, 0xff}) {
                bytes[i] = static_cast<char>(before ^ flip);
                write_bytes(changed, bytes);
                Map_status status;
                const Access_map read(changed.c_str(), &status);
                ASSERT_FALSE(status.is_ok()) << "byte " << i;
                ASSERT_TRUE(read->is_empty());
            }
            bytes[i] = before;
        }
    }
}

TEST(Files, AnyChangedByteOfAnAsciiFileGivesAStatusOrAnotherMap) {
    const Folder folder;
    const auto map = awkward_map(4);
    const std::string file = folder.file("whole");
    (*map)->write(file.c_str(), false, Map_base::Open_ASCII);
    std::string bytes = bytes_of(file);
    const std::string changed = folder.file("changed");
    std::size_t refused = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char before = bytes[i];
        for (const char other : {'\0', ' ', '"', '#', '{', '}', ',', '9', '-', 'e', '\xff'}) {
            bytes[i] = other;
            write_bytes(changed, bytes);
            Map_status status;
            const Access_map read(changed.c_str(), &status);
            if (!status.is_ok()) {
                ++refused;
                ASSERT_TRUE(read->is_empty());
            }
        }
        bytes[i] = before;
    }
    EXPECT_GT(refused, bytes.size());
}

void set_u32(std::string& bytes, std::size_t at, std::uint32_t value) {
    std::memcpy(bytes.data() + at, &value, 4);
}

void sign(std::string& bytes) {
    const std::uint64_t sum = plain::checksum(bytes);
    std::memcpy(bytes.data() + 56, &sum, 8);
}

TEST(Files, DamageWithAMatchingChecksumNeitherCrashesNorAllocates) {
    const Folder folder;
    const auto map = awkward_map(40);
    const std::string file = folder.file("whole");
    const std::string forged = folder.file("forged");
    for (const auto format : {Map_base::Closed_binary, Map_base::Open_binary}) {
        (*map)->write(file.c_str(), false, format);
        const std::string whole = bytes_of(file);
        for (std::size_t at = 8; at < whole.size(); at += 4) {
            if (at == 56 || at == 60) continue;
            for (const std::uint32_t value :
                 {0u, 1u, 0x7fu, 0x7fffffffu, 0x80000000u, 0xffffffffu, 0x7fc00000u}) {
                std::string bytes = whole;
                set_u32(bytes, at, value);
                sign(bytes);
                write_bytes(forged, bytes);
                Map_status status;
                const Access_map read(forged.c_str(), &status);
                if (!status.is_ok()) {
                    ASSERT_TRUE(read->is_empty());
                    continue;
                }
                // A search must end and stay within the file, whatever the nodes contain.
                if (Map_declaration(read)->get_dimension() != 3) continue;
                Map_lookup lookup(read);
                const float point[3] = {1, 0.1f, 7};
                EXPECT_TRUE(lookup->search(Map_quad_distance<3>(point), 5, 1.0f).is_ok());
                Map_element element;
                for (miUint i = 0; i < read->size(); i += 37)
                    read->get(i, element);
            }
        }
    }
}

TEST(Files, RepeatedRowNameIsAnError) {
    const Folder folder;
    const auto map = map_of_points({1, 2, 3, 4, 5}, 1);
    const std::string file = folder.file("map");
    (*map)->write(file.c_str(), false);
    std::string bytes = bytes_of(file);
    std::uint64_t data = 0;
    std::memcpy(&data, bytes.data() + 40, 8);
    const std::size_t order = data + 64 + 64; // behind one node and one leaf of dimension 1
    for (const std::uint32_t value : {1u, 5u, 0xffffffffu}) {
        std::string changed = bytes;
        set_u32(changed, order, value == 1u && bytes[order] == 1 ? 2u : value);
        sign(changed);
        write_bytes(file, changed);
        Map_status status;
        const Access_map read(file.c_str(), &status);
        EXPECT_TRUE(status == Map_status::File_not_a_map);
    }
}

TEST(Files, AnAsciiFileMayBeEditedByHand) {
    const Folder folder;
    const std::string file = folder.file("map");
    write_bytes(file, "# by hand\ndeclare map \"a\" ( vector \"v\", array integer 2 \"p\",scalar\n"
                      "\"s\" # a comment\n) end declare map \"m\" \"a\"\n"
                      "{ 1 2 +3, 4 5 6, -7 8, 1e50 },{1 1 1,2 2 2,3 3,-1e-60}\nend map");
    Map_status status;
    const Access_map map(file.c_str(), &status);
    ASSERT_TRUE(status.is_ok());
    ASSERT_EQ(map->size(), 2u);
    Map_element element;
    map->get(0, element);
    int pair[2];
    element->get(1u, pair);
    EXPECT_EQ(pair[0], -7);
    float s = 0;
    element->get(2u, s);
    EXPECT_EQ(s, std::numeric_limits<float>::infinity());
    float position[3];
    element->get_position(position);
    EXPECT_EQ(position[2], 3.0f);
}

TEST(Files, AsciiFilesThatAreWrongInOnePlace) {
    const Folder folder;
    const std::string file = folder.file("map");
    const std::string good_head =
        "declare map \"a\" ( dim 1, integer \"i\" ) end declare map \"m\" \"a\" ";
    const auto read = [&](const std::string& text) {
        write_bytes(file, text);
        Map_status status;
        const Access_map map(file.c_str(), &status);
        return status.get_code();
    };
    EXPECT_EQ(read(good_head + "{ 1, 2 } end map"), Map_status::OK);
    EXPECT_EQ(read(good_head + "end map"), Map_status::OK);
    for (const char* const wrong :
         {"{ 1, 2.5 } end map", "{ 1, 3000000000 } end map", "{ 1 2 } end map",
          "{ 1, 2, 3 } end map", "{ x, 2 } end map", "{ 1, 2 } end", "{ 1, 2 end map",
          "{ 1, 2 } end map more", "{ nan:3f800000, 2 } end map", "{ 1e999, 2 } end map",
          "global { 1 } end map", ""}) {
        EXPECT_EQ(read(good_head + wrong), Map_status::File_not_a_map) << wrong;
    }
    for (const char* const wrong :
         {"declare map \"a\" ( dim 7 ) end declare map \"m\" \"a\" end map",
          "declare map \"a\" ( dim 0 ) end declare map \"m\" \"a\" end map",
          "declare map \"a\" ( dim 1, integer \"i\", scalar \"i\" ) end declare map \"m\" \"a\" "
          "end map",
          "declare map \"a\" ( dim 1, string 4 \"s\" ) end declare map \"m\" \"a\" end map",
          "declare map \"a\" ( dim 1, color array 4 \"s\" ) end declare map \"m\" \"a\" end map",
          "declare map \"a\" ( dim 1 ) end declare map \"m\" \"b\" end map",
          "declare map \"a\" ( dim 1, scalar array 2000000000 \"s\" ) end declare map \"m\" \"a\" "
          "end map",
          "declare map \"a\" ( dim 1, scalar array 1000000 \"s\" ) end declare map \"m\" \"a\" { "
          "1, 2 } "
          "end map"}) {
        EXPECT_EQ(read(wrong), Map_status::File_not_a_map) << wrong;
    }
}

TEST(Files, AppendToAddsToAFileInItsOwnForm) {
    const Folder folder;
    const auto map = awkward_map(30);
    for (const auto format : kForms) {
        const std::string file = folder.file("map");
        (*map)->write(file.c_str(), false, format);
        const std::string head = bytes_of(file).substr(0, 20);
        EXPECT_TRUE((*map)->append_to(file.c_str(), false).is_ok());
        if (format != Map_base::Open_ASCII) {
            EXPECT_EQ(bytes_of(file).substr(0, 20), head);
        }
        const Access_map read(file.c_str());
        EXPECT_EQ(read->size(), 60u);
        Map_element element;
        read->get(35, element);
        int pair[2];
        element->get(5u, pair);
        EXPECT_EQ(pair[0], 5);
    }
    EXPECT_TRUE((*map)->append_to(folder.file("missing").c_str(), false) ==
                Map_status::File_could_not_be_opened);
    const auto other = map_of_points({1, 2, 3}, 3);
    EXPECT_TRUE((*other)->append_to(folder.file("map").c_str(), false) ==
                Map_status::Declaration_mismatch);
    EXPECT_TRUE(Edit_map()->append_to(folder.file("map").c_str(), false) ==
                Map_status::No_declaration);
    EXPECT_EQ(Access_map(folder.file("map").c_str())->size(), 60u);
}

TEST(Files, AppendFromTakesAFilesElements) {
    const Folder folder;
    const std::string file = folder.file("map");
    const auto map = awkward_map(30);
    (*map)->write(file.c_str(), false);
    Edit_map fresh;
    EXPECT_TRUE(fresh->append_from(file.c_str(), false).is_ok());
    expect_equal(*map->operator->(), *fresh.operator->());
    EXPECT_TRUE(fresh->append_from(file.c_str(), false).is_ok());
    EXPECT_EQ(fresh->size(), 60u) << "a file named twice contributes twice";
    auto other = map_of_points({1, 2, 3}, 3);
    EXPECT_TRUE((*other)->append_from(file.c_str(), false) == Map_status::Declaration_mismatch);
    EXPECT_EQ((*other)->size(), 1u);
    EXPECT_TRUE((*other)->append_from(folder.file("missing").c_str(), false) ==
                Map_status::File_could_not_be_opened);
    EXPECT_EQ((*other)->size(), 1u);
}

TEST(Files, WritingWhereNoFileCanBe) {
    const Folder folder;
    const auto map = awkward_map(3);
    EXPECT_TRUE((*map)->write(folder.file("no/such/folder").c_str(), false) ==
                Map_status::File_could_not_be_opened);
    EXPECT_TRUE((*map)->write(folder.file("").c_str(), false) ==
                Map_status::File_could_not_be_opened);
    EXPECT_TRUE((*map)->write("", false) == Map_status::File_could_not_be_opened);
    EXPECT_TRUE((*map)->write(nullptr, false) == Map_status::File_could_not_be_opened);
    EXPECT_TRUE((*map)->write("/dev/null", false) == Map_status::File_could_not_be_opened)
        << "a device is not replaced by a file";
    EXPECT_TRUE(Edit_map()->write(folder.file("none").c_str(), false) ==
                Map_status::No_declaration);
    EXPECT_TRUE((*map)->write(folder.file("none").c_str(), false,
                              static_cast<Map_base::File_format>(3)) == Map_status::Failure);
    EXPECT_EQ(folder.count(), 0u);
}

TEST(Files, AFullDiskLeavesTheOldFileAndNothingElse) {
    const Folder folder;
    const std::string file = folder.file("map");
    const auto small = awkward_map(3);
    (*small)->write(file.c_str(), false);
    const std::string before = bytes_of(file);
    const auto large = awkward_map(5000);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit tight = old;
    tight.rlim_cur = 100000;
    setrlimit(RLIMIT_FSIZE, &tight);
    for (const auto format : kForms) {
        EXPECT_TRUE((*large)->write(file.c_str(), false, format) == Map_status::Failure);
    }
    setrlimit(RLIMIT_FSIZE, &old);
    (void)std::signal(SIGXFSZ, old_handler);
    EXPECT_EQ(bytes_of(file), before);
    EXPECT_EQ(folder.count(), 1u);
}

// The kernel sends SIGXFSZ in the middle of a write.
TEST(Files, AHandlerThatEndsTheProcessRemovesTheTemporaryFile) {
    const Folder folder;
    const std::string file = folder.file("map");
    const auto map = awkward_map(5000);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        (void)std::signal(SIGXFSZ, [](int) {
            vx::maps::remove_unfinished_files();
            ::_exit(9);
        });
        const rlimit tight{100000, 100000};
        setrlimit(RLIMIT_FSIZE, &tight);
        (*map)->write(file.c_str(), false);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 9);
    EXPECT_EQ(folder.count(), 0u);
}

TEST(Files, ALinkStaysALink) {
    const Folder folder;
    const auto map = awkward_map(3);
    (*map)->write(folder.file("real").c_str(), false);
    std::filesystem::create_symlink(folder.file("real"), folder.file("link"));
    const auto more = awkward_map(5);
    EXPECT_TRUE((*more)->write(folder.file("link").c_str(), false).is_ok());
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
    EXPECT_EQ(Access_map(folder.file("real").c_str())->size(), 5u);
}

// Messages of file operations, failures with a '!' in front.
class Messages {
  public:
    Messages() {
        m_lines.clear();
        vx::maps::set_notify([](bool failed, const char* message) {
            m_lines.emplace_back(failed ? "!" : "").append(message);
        });
    }
    ~Messages() { vx::maps::set_notify(nullptr); }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    static std::vector<std::string> take() { return std::exchange(m_lines, {}); }
    static std::string only() {
        const std::vector<std::string> lines = take();
        return lines.size() == 1 ? lines[0] : std::to_string(lines.size()) + " messages";
    }

  private:
    static inline std::vector<std::string> m_lines;
};

TEST(Files, NotifyNamesFileElementsAndTime) {
    const Folder folder;
    const std::string file = folder.file("map");
    const auto map = awkward_map(7);
    std::vector<std::string> lines;
    {
        const Messages messages;
        (*map)->write(file.c_str(), true);
        (*map)->write(file.c_str(), false);
        const Access_map read(file.c_str());
        (*map)->append_to(file.c_str(), true);
        (*map)->append_from(file.c_str(), true);
        lines = Messages::take();
    }
    (*map)->write(file.c_str(), true);
    EXPECT_EQ(Messages::take().size(), 0u);
    ASSERT_EQ(lines.size(), 4u);
    const std::string start = "map file " + file + ": ";
    EXPECT_EQ(lines[0].rfind(start + "7 elements written in ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[0].substr(lines[0].size() - 2), " s");
    EXPECT_EQ(lines[1].rfind(start + "7 elements read in ", 0), 0u) << lines[1];
    EXPECT_EQ(lines[2].rfind(start + "7 elements appended to it in ", 0), 0u) << lines[2];
    EXPECT_EQ(lines[3].rfind(start + "14 elements appended from it in ", 0), 0u) << lines[3];
}

TEST(Files, NotifyNamesFileAndReasonOfAFailure) {
    const Folder folder;
    const Messages messages;
    const auto map = awkward_map(7);
    const auto failure = [](const std::string& file, const std::string& rest) {
        return "!map file " + file + " cannot " + rest;
    };

    const std::string nowhere = folder.file("no/such");
    (*map)->write(nowhere.c_str(), false);
    EXPECT_EQ(Messages::take().size(), 0u);
    (*map)->write(nowhere.c_str(), true);
    EXPECT_EQ(Messages::only(), failure(nowhere, "be written: No such file or directory"));
    { const Access_map read(nowhere.c_str()); }
    EXPECT_EQ(Messages::only(), failure(nowhere, "be read: No such file or directory"));
    (*map)->append_to(nowhere.c_str(), true);
    EXPECT_EQ(Messages::only(), failure(nowhere, "be appended to: No such file or directory"));
    (*map)->append_from(nowhere.c_str(), true);
    EXPECT_EQ(Messages::only(), failure(nowhere, "be appended from: No such file or directory"));

    const std::string directory = folder.file(".");
    (*map)->write(directory.c_str(), true);
    EXPECT_EQ(Messages::only(), failure(directory, "be written: not a regular file"));
    { const Access_map read(directory.c_str()); }
    EXPECT_EQ(Messages::only(), failure(directory, "be read: not a regular file"));

    const std::string foreign = folder.file("foreign");
    write_bytes(foreign, "PDC ");
    { const Access_map read(foreign.c_str()); }
    EXPECT_EQ(Messages::only(), failure(foreign, "be read: not a map file"));

    const std::string file = folder.file("map");
    (*map)->write(file.c_str(), false);
    const std::string whole = bytes_of(file);
    write_bytes(file, whole.substr(0, whole.size() - 1));
    { const Access_map read(file.c_str()); }
    EXPECT_EQ(Messages::only(), failure(file, "be read: truncated or damaged"));
    std::string newer = whole;
    newer[12] = 2; // the version
    write_bytes(file, newer);
    { const Access_map read(file.c_str()); }
    EXPECT_EQ(Messages::only(), failure(file, "be read: unsupported format version or byte order"));

    const Edit_map undeclared;
    undeclared->write(file.c_str(), true);
    EXPECT_EQ(Messages::only(), failure(file, "be written: the map has no declaration"));
    (*map)->write(file.c_str(), true, static_cast<Map_base::File_format>(3));
    EXPECT_EQ(Messages::only(), failure(file, "be written: unknown file format"));
}

TEST(Files, NotifyNamesTheReasonOfAWriteThatRunsOutOfSpace) {
    const Folder folder;
    const std::string file = folder.file("map");
    const auto map = awkward_map(5000);
    const Messages messages;
    const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit tight = old;
    tight.rlim_cur = 1000;
    setrlimit(RLIMIT_FSIZE, &tight);
    (*map)->write(file.c_str(), true);
    setrlimit(RLIMIT_FSIZE, &old);
    (void)std::signal(SIGXFSZ, old_handler);
    EXPECT_EQ(Messages::only(), "!map file " + file + " cannot be written: File too large");
    EXPECT_EQ(folder.count(), 0u);
}

} // namespace
