#include "host/scene/reader.h"

#include "tests/scene/folder.h"
#include "tests/scene/recorder.h"
#include "tests/scene/sample_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <unistd.h>

using namespace vx::scene;
using testing::ElementsAre;

namespace {

TEST(Reader, ReadsTheSampleScene) {
    const Reading r = read(sample_scene());
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_THAT(r.scene.events,
                ElementsAre("link vx_pc.so", "options opt", "camera cam", "light lamp",
                            "instance lampInst", "shader slope", "shader slopeTag",
                            "material slopeMtl", "material floorMtl", "object tent",
                            "instance tentInst", "instance camInst", "instgroup world",
                            "render world camInst opt"));
}

TEST(Reader, TheTentHasTheCountsOfItsText) {
    const Reading r = read(kTentObject);
    const Mesh& mesh = r.scene.objects.at("tent").mesh.value();
    EXPECT_EQ(mesh.source_vectors, 11u);
    EXPECT_EQ(mesh.source_vertices, 10u);
    EXPECT_EQ(mesh.source_polygons, 3u);
    EXPECT_EQ(mesh.triangles.size(), 4u);
    EXPECT_THAT(mesh.triangle_material, ElementsAre(0, 0, 1, 1));
    const auto& t = mesh.triangles[0];
    EXPECT_EQ(mesh.positions[t[0]], (Vec3{-1, 0, 1}));
    EXPECT_EQ(mesh.positions[t[1]], (Vec3{1, 0, 1}));
    EXPECT_EQ(mesh.positions[t[2]], (Vec3{0, 1, 0}));
    EXPECT_EQ(mesh.normals[t[0]], (Vec3{0, 0.70711f, 0.70711f}));
    EXPECT_EQ(mesh.textures.at(0)[t[2]], (Vec3{0.5f, 1, 0}));
    // The floor is seen from below: its triangles run clockwise as seen from above.
    for (std::size_t i = 2; i < 4; ++i) {
        const Vec3 a = mesh.positions[mesh.triangles[i][0]];
        const Vec3 b = mesh.positions[mesh.triangles[i][1]];
        const Vec3 c = mesh.positions[mesh.triangles[i][2]];
        EXPECT_LT((b.z - a.z) * (c.x - a.x) - (b.x - a.x) * (c.z - a.z), 0);
    }
}

// The tokens of a scene: strings, numbers, words and marks, without white space and comments.
std::vector<std::string> pieces(const std::string& text) {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < text.size();) {
        const auto is = [&](std::size_t k, const char* set) {
            return k < text.size() && std::string_view(set).find(text[k]) != std::string_view::npos;
        };
        std::size_t j = i + 1;
        if (std::isspace(static_cast<unsigned char>(text[i]))) {
            i = j;
            continue;
        }
        if (text[i] == '#') {
            i = std::min(text.find('\n', i), text.size());
            continue;
        }
        if (text[i] == '"')
            j = text.find('"', j) + 1;
        else if (!is(i, "()[]{},="))
            while (j < text.size() && !is(j, "()[]{},= \t\n\"#"))
                ++j;
        result.push_back(text.substr(i, j - i));
        i = j;
    }
    return result;
}

std::string joined(const std::vector<std::string>& list, const char* between) {
    std::string result;
    for (const std::string& piece : list)
        result += piece + between;
    return result;
}

bool is_number(const std::string& piece) {
    return piece.find_first_not_of("+-.0123456789") == std::string::npos;
}

// Compares the contents of two scenes.
void expect_same(const Recorder& a, const Recorder& b) {
    EXPECT_EQ(a.events, b.events);
    EXPECT_EQ(a.options.at("opt").max_samples, b.options.at("opt").max_samples);
    EXPECT_EQ(a.options.at("opt").contrast, b.options.at("opt").contrast);
    const Camera &ca = a.cameras.at("cam"), &cb = b.cameras.at("cam");
    EXPECT_EQ(ca.focal, cb.focal);
    EXPECT_EQ(ca.aspect, cb.aspect);
    EXPECT_EQ(ca.x_resolution, cb.x_resolution);
    EXPECT_EQ(std::get<ShaderCall>(ca.lens.at(0)).parameters.size(),
              std::get<ShaderCall>(cb.lens.at(0)).parameters.size());
    for (const auto& [name, shader] : a.shaders) {
        const auto& x = std::get<ShaderCall>(shader.shaders.at(0)).parameters;
        const auto& y = std::get<ShaderCall>(b.shaders.at(name).shaders.at(0)).parameters;
        ASSERT_EQ(x.size(), y.size());
        for (std::size_t i = 0; i < x.size(); ++i) {
            EXPECT_EQ(x[i].name, y[i].name);
            const auto* const p = std::get_if<std::vector<Number>>(&x[i].value.content);
            const auto* const q = std::get_if<std::vector<Number>>(&y[i].value.content);
            if (p == nullptr || q == nullptr) {
                EXPECT_TRUE(x[i].value == y[i].value) << name << ' ' << x[i].name;
                continue;
            }
            ASSERT_EQ(p->size(), q->size());
            for (std::size_t k = 0; k < p->size(); ++k)
                EXPECT_EQ((*p)[k].value, (*q)[k].value);
        }
    }
    const Mesh &ma = a.objects.at("tent").mesh.value(), &mb = b.objects.at("tent").mesh.value();
    EXPECT_EQ(ma.positions, mb.positions);
    EXPECT_EQ(ma.normals, mb.normals);
    EXPECT_EQ(ma.textures, mb.textures);
    EXPECT_EQ(ma.triangles, mb.triangles);
    EXPECT_EQ(ma.triangle_material, mb.triangle_material);
    for (const auto& [name, instance] : a.instances) {
        EXPECT_EQ(instance.transform, b.instances.at(name).transform);
        EXPECT_EQ(instance.materials, b.instances.at(name).materials);
        EXPECT_EQ(instance.material_list, b.instances.at(name).material_list);
    }
    EXPECT_EQ(a.groups.at("world").members, b.groups.at("world").members);
}

void expect_same_as_sample(const std::string& text) {
    const Reading r = read(text);
    ASSERT_TRUE(r.good) << r.message();
    EXPECT_TRUE(r.messages.empty()) << r.message();
    expect_same(read(sample_scene()).scene, r.scene);
}

TEST(Reader, OneTokenPerLineGivesTheSameScene) {
    expect_same_as_sample(joined(pieces(sample_scene()), "\n"));
}

TEST(Reader, EverythingOnOneLineGivesTheSameScene) {
    expect_same_as_sample(joined(pieces(sample_scene()), " "));
}

TEST(Reader, LineEndsOfOtherSystemsGiveTheSameScene) {
    expect_same_as_sample(joined(pieces(sample_scene()), "\r\n"));
}

TEST(Reader, NamesWithoutQuotesGiveTheSameScene) {
    auto list = pieces(sample_scene());
    for (std::string& piece : list)
        for (const char* const name :
             {"opt", "cam", "lamp", "lampInst", "slope", "slopeTag", "slopeMtl", "floorMtl", "tent",
              "tentInst", "camInst", "world", "ambience", "ambient", "diffuse", "lights",
              "bakeColor"})
            if (piece == '"' + std::string(name) + '"') piece = name;
    expect_same_as_sample(joined(list, " "));
}

TEST(Reader, RealsInExponentFormGiveTheSameScene) {
    // Required integers are kept; every other number gets an exponent.
    auto list = pieces(sample_scene());
    bool reals = false;
    for (std::string& piece : list) {
        if (!is_number(piece))
            reals = piece == "transform" || piece == "contrast" || piece == "focal" ||
                    piece == "aperture" || piece == "aspect" || piece == "origin" ||
                    piece == "group" || piece == "\"diffuse\"" || piece == "\"ambient\"";
        else if (reals)
            piece += piece.find('.') == std::string::npos ? ".0E+00" : "e0";
    }
    expect_same_as_sample(joined(list, " "));
}

TEST(Reader, ErrorsOfSeveralStatementsAreReported) {
    const Reading r = read("options \"o\"\n  samples x\nend options\n"
                           "camera \"c\"\n  focal y\n  frame 1\nend camera\n"
                           "light \"l\" ??? end light\n"
                           "material \"m\"\n  \"s\" ( \"a\" 1 \"b\" )\nend material\n"
                           "instance \"i\" \"l\" material [ \"m\" ] end instance\n"
                           "object \"t\"\n  group 0 0 0 v 1 end group\nend object\n"
                           "instance \"j\" \"t\" end instance\n");
    EXPECT_THAT(
        r.messages,
        ElementsAre("error: test.mi:2:11: expected an integer, found 'x'",
                    "error: test.mi:5:9: expected 'infinity' or a distance greater than 0, found "
                    "'y'",
                    "error: test.mi:8:11: unexpected character '?'",
                    "error: test.mi:10:15: expected ',' or ')', found \"b\"",
                    "error: test.mi:14:17: there is no vector 1: the group has 1"));
    // References to elements with errors don't produce follow-on errors.
    EXPECT_EQ(r.scene.instances.count("i"), 1u);
    EXPECT_EQ(r.scene.instances.count("j"), 1u);
    EXPECT_EQ(r.scene.objects.count("t"), 0u);
}

TEST(Reader, MissingEndIsReportedAtTheNextStatement) {
    const Reading r = read("camera \"c\"\n  frame 1\noptions \"o\"\n  jitter 1\nend options\nlight "
                           "\"l\" end light\n");
    ASSERT_GE(r.messages.size(), 1u);
    EXPECT_EQ(r.messages.front(),
              "error: test.mi:3:1: expected a camera item or 'end camera', found 'options'");
    EXPECT_EQ(r.scene.options.count("o"), 1u);
    EXPECT_EQ(r.scene.lights.count("l"), 1u);
}

TEST(Reader, StopsAtTheErrorLimit) {
    ReaderSettings settings;
    settings.error_limit = 5;
    std::string text;
    for (int i = 0; i < 50; ++i)
        text += "light \"l\" x end light\n";
    const Reading r = read(text, settings);
    EXPECT_EQ(r.errors, 5u);
    EXPECT_EQ(r.messages.back(), "note: too many errors; the rest of the scene is skipped");
}

// ---- invalid input must not crash or hang; sanitizers check these runs ----------------------

// A small scene with many kinds of statements.
std::string varied_scene() {
    return sample_scene() + R"(
declare shader struct { color "a", integer "b" } "d" ( array struct "s" { color "c" }, scalar
    "x" default 1 ) version 1 apply material gui "g" { control "h" ( "i" 1 ) } end declare
declare phenomenon "ph" ( color "c" ) root = "x" end declare
registry "{R}" value "v" link "l.so" echo "e" end registry
$lookup "{R}"
$ifdef "{R}"
set "k" "v"
$else
jumble
$endif
color texture "tex" "a.png"
data "dat" 2 [ '00ff' ]
incremental options "opt" caustic accuracy 10 1 shutter 1 "text" "x" "n" 1 2 3 end options
object "list" visible trilist vertex 3 p n m b 2 t 2 3 u 1 triangle 1
 [ 0 0 0 0 0 1 0 0 0 1 0 0 0 1 0 0 0 0 0 0 0
   1 0 0 0 0 1 0 0 0 1 0 0 0 1 0 0 0 0 0 0 0
   0 1 0 0 0 1 0 0 0 1 0 0 0 1 0 0 0 0 0 0 0 ] [ "m" 0 1 2 ] end trilist end object
object "holes" group 0 0 0 9 0 0 9 9 0 0 9 0 3 3 0 6 3 0 6 6 0 v 0 v 1 v 2 v 3 v 4 v 5 v 6
 p "m" 0 1 2 3 hole 4 5 6 strip 0 1 2 3 fan 0 1 2 approximate length 1 end group end object
object "hair" hair degree 1 scalar [ 1 ] 0 hair [ 2 ] 0 1 end hair end object
namespace "ns" light "l" "s" () disc 0 0 1 1 4 end light end namespace
)";
}

TEST(BadInput, TheVariedSceneItselfIsGood) {
    const Reading r = read(varied_scene());
    EXPECT_EQ(r.errors, 0u) << r.message();
    EXPECT_EQ(r.scene.objects.at("list").mesh->user.size(), 1u);
}

TEST(BadInput, EveryPrefixGivesErrorsOrAScene) {
    const std::string text = varied_scene();
    for (std::size_t n = 0; n < text.size(); ++n) {
        const Reading r = read(std::string_view(text).substr(0, n));
        EXPECT_EQ(r.good, r.errors == 0);
    }
}

TEST(BadInput, EveryDeletedTokenGivesErrorsOrAScene) {
    const auto list = pieces(varied_scene());
    std::size_t with_errors = 0;
    for (std::size_t i = 0; i < list.size(); ++i) {
        auto changed = list;
        changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(i));
        const Reading r = read(joined(changed, "\n"));
        EXPECT_EQ(r.good, r.errors == 0);
        with_errors += r.errors > 0;
    }
    // Removing a token is an error in most cases.
    EXPECT_GT(with_errors, list.size() / 2);
}

TEST(BadInput, EveryDoubledOrExchangedTokenGivesErrorsOrAScene) {
    const auto list = pieces(varied_scene());
    for (std::size_t i = 0; i < list.size(); ++i) {
        auto changed = list;
        changed.insert(changed.begin() + static_cast<std::ptrdiff_t>(i), list[i]);
        EXPECT_LT(read(joined(changed, "\n")).errors, 100u) << i;
        changed = list;
        changed[i] = list[(i * 7919 + 13) % list.size()];
        read(joined(changed, "\n"));
    }
}

TEST(BadInput, EveryChangedByteGivesErrorsOrAScene) {
    const std::string text = varied_scene();
    for (const char byte : {'\0', '"', '`', '$', '\n', '9', '-', '[', '\xff'})
        for (std::size_t i = 0; i < text.size(); i += 3) {
            std::string changed = text;
            changed[i] = byte;
            read(changed);
        }
}

TEST(BadInput, EmptyAndBinaryFiles) {
    EXPECT_TRUE(read("").good);
    EXPECT_TRUE(read("\n\n# nothing\n").good);
    std::string noise;
    std::uint32_t state = 1;
    for (int i = 0; i < 100000; ++i) {
        state = state * 1664525 + 1013904223;
        noise += static_cast<char>(state >> 24);
    }
    EXPECT_FALSE(read(noise).good);
}

// ---- files -----------------------------------------------------------------------------------

struct Session {
    Reading reading;
    Diagnostics diagnostics{[this](const Diagnostic& d) { reading.messages.push_back(format(d)); }};
    Substitution substitution;
};

TEST(Files, SeveralAreReadAsOneScene) {
    const Folder folder;
    Session s;
    Reader reader(s.reading.scene, s.diagnostics, s.substitution);
    const std::string body = std::string(kSceneHead) + kTentObject;
    EXPECT_TRUE(reader.read_file(folder.write("body.mi", body)));
    EXPECT_TRUE(reader.read_file(folder.write("render.mi", kSceneTail))) << s.reading.message();
    EXPECT_EQ(s.reading.scene.events.back(), "render world camInst opt");
}

TEST(Files, ANameWithoutExtensionIsTriedWithOne) {
    const Folder folder;
    Session s;
    Reader reader(s.reading.scene, s.diagnostics, s.substitution);
    folder.write("a.mi", "echo \"with\"");
    EXPECT_TRUE(reader.read_file(folder.path("a")));
    folder.write("a", "echo \"as written\"");
    EXPECT_TRUE(reader.read_file(folder.path("a")));
    EXPECT_THAT(s.reading.scene.echoes, ElementsAre("with", "as written"));
}

TEST(Files, AMissingOneIsAnError) {
    Session s;
    Reader reader(s.reading.scene, s.diagnostics, s.substitution);
    EXPECT_FALSE(reader.read_file("none.mi"));
    EXPECT_EQ(s.reading.message(), "cannot read 'none.mi': No such file or directory");
}

TEST(Files, ADescriptorSuchAsStandardInput) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const std::string text = "echo \"piped\"";
    ASSERT_EQ(::write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ::close(ends[1]);
    Session s;
    Reader reader(s.reading.scene, s.diagnostics, s.substitution);
    EXPECT_TRUE(reader.read_descriptor(ends[0], "standard input"));
    ::close(ends[0]);
    EXPECT_THAT(s.reading.scene.echoes, ElementsAre("piped"));
}

TEST(Files, ErrorsOfAnEarlierOneDoNotCountForALaterOne) {
    Session s;
    Reader reader(s.reading.scene, s.diagnostics, s.substitution);
    EXPECT_FALSE(reader.read_text("jumble", "a"));
    EXPECT_TRUE(reader.read_text("echo \"b\"", "b"));
}

TEST(Files, ProgressGrowsAndEndsAtTheWhole) {
    std::string text;
    for (int i = 0; i < 600000; ++i)
        text += "echo \"some text\"\n";
    Session s;
    std::vector<std::uint64_t> seen;
    std::uint64_t all = 0;
    ReaderSettings settings;
    settings.progress = [&](std::uint64_t read, std::uint64_t total) {
        seen.push_back(read);
        all = total;
    };
    Reader reader(s.reading.scene, s.diagnostics, s.substitution, settings);
    reader.read_text(text, "t");
    EXPECT_EQ(all, text.size());
    ASSERT_GE(seen.size(), 3u);
    EXPECT_LT(seen.size(), 10u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.back(), all);
}

struct Interrupted {
    std::atomic<bool> interrupt{false};
    ReaderSettings settings;
    Interrupted() { settings.interrupt = &interrupt; }
};

TEST(Interrupt, EndsReadingBeforeTheNextStatementWithoutAnError) {
    Session s;
    Interrupted i;
    i.interrupt = true;
    Reader reader(s.reading.scene, s.diagnostics, s.substitution, i.settings);
    reader.read_text("echo \"one\"\n", "t");
    EXPECT_TRUE(s.reading.scene.echoes.empty());
    EXPECT_TRUE(reader.stopped());
    EXPECT_EQ(s.diagnostics.errors(), 0u);
}

TEST(Interrupt, EndsReadingWithinALongStatement) {
    Session s;
    Interrupted i;
    // Comes while the second of two cameras is read.
    std::string text = "camera \"one\" end camera\ncamera \"two\"\n";
    for (int line = 0; line < 2'000'000; ++line)
        text += "frame 1\n";
    text += "end camera\ncamera \"three\" end camera\n";
    i.settings.progress = [&](std::uint64_t read, std::uint64_t) { i.interrupt = read > 1000; };
    Reader reader(s.reading.scene, s.diagnostics, s.substitution, i.settings);
    reader.read_text(text, "t");
    EXPECT_EQ(s.reading.scene.cameras.size(), 1u);
    EXPECT_TRUE(reader.stopped());
    EXPECT_EQ(s.diagnostics.errors(), 0u);
}

TEST(Interrupt, ThatDoesNotComeChangesNothing) {
    Session s;
    Interrupted i;
    Reader reader(s.reading.scene, s.diagnostics, s.substitution, i.settings);
    EXPECT_TRUE(reader.read_text("echo \"one\"\n", "t"));
    EXPECT_EQ(s.reading.scene.echoes.size(), 1u);
    EXPECT_FALSE(reader.stopped());
}

} // namespace
