#include "cache/formats/format_traits.h"
#include "tests/cache/memory_cloud.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vx::cache {
namespace {

TEST(FormatTable, HoldsEveryFormatAtItsPlace) {
    const std::pair<Format, std::string_view> formats[] = {
        {Format::pdc, "pdc"},   {Format::mrmap, "mrmap"}, {Format::ply, "ply"},
        {Format::csv, "csv"},   {Format::usda, "usda"},   {Format::npz, "npz"},
        {Format::bgeo, "bgeo"}, {Format::xyz, "xyz"},     {Format::pts, "pts"}};
    ASSERT_EQ(format_table().size(), std::size(formats));
    for (const auto& [format, name] : formats) {
        EXPECT_EQ(traits_of(format).format, format);
        EXPECT_EQ(format_name(format), name);
        EXPECT_EQ(format_of_word(name), format);
    }
}

TEST(FormatOfName, ByTheExtensionInAnyCaseAndBehindAFrame) {
    EXPECT_EQ(format_of_name("a/b.pdc"), Format::pdc);
    EXPECT_EQ(format_of_name("B.PLY"), Format::ply);
    EXPECT_EQ(format_of_name("shot.pdc.0012"), Format::pdc);
    EXPECT_EQ(format_of_name("a.usda"), Format::usda);
    for (const char* none : {"pdc", "a.", "a.pdcx", "dir.ply/file", ".0012", ""})
        EXPECT_FALSE(format_of_name(none).has_value()) << none;
}

std::string reason(const std::string& path) {
    Findings findings;
    try {
        open_cloud(path, findings);
    } catch (const FileError& why) {
        return why.what();
    }
    return "";
}

TEST(OpenCloud, TheContentCountsBeforeTheName) {
    const TestFolder folder;
    const std::string path = folder.put(
        "a.pdc", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_header\n2\n");
    Findings findings;
    const OpenedCloud opened = open_cloud(path, findings);
    EXPECT_EQ(opened.format, Format::ply);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].text, "named as pdc but holds ply");
}

TEST(OpenCloud, WithoutContentOrNameThereIsNoFormat) {
    const TestFolder folder;
    EXPECT_EQ(reason(folder.put("a.abc", "1 2 3")),
              "its format is recognized neither by content nor by name");
    EXPECT_EQ(reason(folder.put("b", "")),
              "the file is empty, and its name has no known extension");
}

TEST(OpenCloud, DamagedPdcFilesGiveTheReasonAndThePlace) {
    using namespace std::string_literals;
    const std::string head = "PDC \0\0\0\1\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\1"s;
    const std::pair<std::string, std::string> cases[] = {
        {head.substr(0, 26), "byte 24: the file ends inside the header"},
        {head + "\0\0\0\2id\0\0"s,
         "byte 34: the file ends where an attribute's name and type code should be"},
        {head + "\xff\xff\xff\xff\0\0\0\0"s,
         "byte 28: an attribute's name length is negative or more than the file holds"}};
    const TestFolder folder;
    for (const auto& [bytes, expected] : cases) {
        const std::string path = folder.put("a.pdc", bytes);
        Findings findings;
        try {
            open_cloud(path, findings);
            ADD_FAILURE() << "opened: " << expected;
        } catch (const FileError& why) {
            EXPECT_EQ(why.text(), path + ": " + expected);
        }
    }
}

// A table that is larger than what may stay in memory gives the same values.
TEST(OpenCloud, TextBeyondTheMemoryThatItMayTakeGivesTheSameValues) {
    const TestFolder folder;
    std::string csv = "x,y,z,tag,w\n";
    std::string ply =
        "ply\nformat ascii 1.0\nelement vertex 30000\nproperty double x\nproperty double y\n"
        "property double z\nproperty int tag\nproperty float w\nend_header\n";
    std::vector<double> position;
    std::vector<std::int32_t> tag;
    std::vector<float> w;
    std::string points;
    for (int i = 0; i < 30000; ++i) {
        const double p[3] = {i * 0.25, -i * 1.0, i / 8.0};
        position.insert(position.end(), p, p + 3);
        tag.push_back(i % 77 - 5);
        w.push_back(static_cast<float>(i) * 0.5f + 0.25f);
        const auto text = [](double v) { return std::to_string(v); };
        const std::string row[] = {text(p[0]), text(p[1]), text(p[2]), std::to_string(tag.back()),
                                   text(static_cast<double>(w.back()))};
        csv += row[0] + "," + row[1] + "," + row[2] + "," + row[3] + "," + row[4] + "\n";
        ply += row[0] + " " + row[1] + " " + row[2] + " " + row[3] + " " + row[4] + "\n";
        points += (i > 0 ? ", (" : "(") + row[0] + ", " + row[1] + ", " + row[2] + ")";
    }
    const std::string usda =
        "#usda 1.0\ndef Points \"p\" {\n    point3d[] points = [" + points + "]\n}\n";
    for (const auto& [name, bytes] : {std::pair{"a.csv", csv}, {"a.ply", ply}, {"a.usda", usda}}) {
        const std::string path = folder.put(name, bytes);
        for (const std::int64_t memory : {0, 100000, 1 << 28}) {
            Findings findings;
            OpenOptions options;
            options.memory_bytes = memory;
            const OpenedCloud opened = open_cloud(path, findings, options);
            ASSERT_EQ(opened.cloud->count, 30000) << name;
            EXPECT_EQ(values_of<double>(*opened.cloud, "position"), position) << name << memory;
            if (opened.format == Format::usda) continue;
            EXPECT_EQ(values_of<std::int32_t>(*opened.cloud, "tag"), tag) << name << memory;
            EXPECT_EQ(values_of<float>(*opened.cloud, "w"), w) << name << memory;
        }
    }
}

// PDC has attributes of one and three values, usda of up to four, the others of any number.
TEST(WriteCloud, SplitsAttributesThatTheFormatCannotHold) {
    const TestFolder folder;
    for (const int width : {3, 4, 5}) {
        MemoryCloud cloud(1);
        cloud.add<double>("position", 3, {1, 2, 3});
        cloud.add<double>("w", width, std::vector<double>(static_cast<std::size_t>(width), 0.5));
        const std::string note = "'w': has " + std::to_string(width) +
                                 " values per point and was split into as many attributes";
        for (const FormatTraits* traits : format_table()) {
            const std::string path =
                folder.path(std::to_string(width) + "." + std::string(traits->name));
            const Notes notes = write_cloud(cloud, path, traits->format, WriteOptions());
            const bool split = std::find(notes.begin(), notes.end(), note) != notes.end();
            const bool expected = (traits->format == Format::pdc && width > 3) ||
                                  (traits->format == Format::usda && width > 4);
            EXPECT_EQ(split, expected) << path;
        }
    }
    Findings findings;
    const OpenedCloud opened = open_cloud(folder.path("5.pdc"), findings);
    EXPECT_EQ(opened.cloud->find("w"), -1);
    EXPECT_EQ(values_of<double>(*opened.cloud, "w.4"), std::vector<double>{0.5});
}

TEST(NoteRounding, CountsWhatTheTypeCannotHold) {
    MemoryCloud cloud(3);
    cloud.add<double>("a", 1, {0.5, 0.1, 1e300});
    AttributeReader column(cloud, 0, Type::float32);
    column.read(0, 1);
    Notes notes;
    note_rounding(column, notes);
    EXPECT_TRUE(notes.empty());
    column.read(1, 2);
    note_rounding(column, notes);
    EXPECT_EQ(notes, (Notes{"'a': 2 of 3 values do not fit float32 and were rounded"}));
}

} // namespace
} // namespace vx::cache
