#include "tests/scene/recorder.h"

#include <gtest/gtest.h>

using namespace vx::scene;

namespace {

TEST(Material, SurfaceAndClauses) {
    const Reading r = read(R"(material "m" opaque nocontour "a" () "b" ()
        shadow "s" () environment "e" () displace "d" () volume "v" () photon "p" ()
        contour "c" () photonvol "q" () lightmap "l" () hardware "h" () bsdf "f" ()
        end material)");
    EXPECT_TRUE(r.good) << r.message();
    const Material& m = r.scene.materials.at("m");
    EXPECT_TRUE(m.opaque);
    EXPECT_EQ(m.surface.size(), 2u);
    for (const ShaderList* list : {&m.shadow, &m.environment, &m.displace, &m.volume, &m.photon,
                                   &m.contour, &m.photonvol, &m.lightmap, &m.hardware, &m.bsdf})
        EXPECT_EQ(list->size(), 1u);
}

TEST(Material, TheSurfaceMayBeMissing) {
    const Reading r = read("material \"m\" volume \"v\" () end material");
    EXPECT_TRUE(r.good);
    EXPECT_TRUE(r.scene.materials.at("m").surface.empty());
}

TEST(Material, ClausesAppendInOneBlockAndReplaceIncrementally) {
    const Reading r =
        read("material \"m\" \"a\" () shadow \"s\" () shadow \"t\" () end material\n");
    EXPECT_EQ(r.scene.materials.at("m").shadow.size(), 2u);
    const Reading again = read("material \"m\" opaque \"a\" () shadow \"s\" () end material\n"
                               "incremental material \"m\" shadow \"t\" () end material\n"
                               "material \"n\" \"a\" () shadow \"s\" () end material\n"
                               "incremental material \"n\" \"b\" () shadow end material\n");
    EXPECT_TRUE(again.good);
    const Material& m = again.scene.materials.at("m");
    EXPECT_EQ(m.shadow.size(), 1u);
    EXPECT_EQ(std::get<ShaderCall>(m.shadow[0]).declaration, "t");
    EXPECT_EQ(m.surface.size(), 1u);
    EXPECT_TRUE(m.opaque);
    const Material& n = again.scene.materials.at("n");
    EXPECT_EQ(std::get<ShaderCall>(n.surface.at(0)).declaration, "b");
    EXPECT_TRUE(n.shadow.empty());
}

TEST(Texture, FilesWithTheirModifiers) {
    const Reading r = read("color texture \"a\" \"a.tif\"\n"
                           "local filter 2 scalar texture \"b\" \"b.tif\"\n"
                           "filter color texture \"c\" \"c.tif\"\n"
                           "writable color texture \"d\" \"d.map\" \"rgba\" \"exr\" [ 16 16 ]\n");
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_EQ(r.scene.textures.at("a").file, "a.tif");
    EXPECT_EQ(r.scene.textures.at("a").kind, TextureKind::color);
    EXPECT_FALSE(r.scene.textures.at("a").filter.has_value());
    EXPECT_EQ(r.scene.textures.at("b").filter, 2.0f);
    EXPECT_TRUE(r.scene.textures.at("b").local);
    EXPECT_EQ(r.scene.textures.at("b").kind, TextureKind::scalar);
    EXPECT_EQ(r.scene.textures.at("c").filter, 1.0f);
    EXPECT_TRUE(r.scene.textures.at("d").writable);
}

TEST(Texture, LiteralPixels) {
    const Reading r = read("color texture \"a\" [ 2 1 1 ] 'ff0000ff' '00ff00ff'\n");
    EXPECT_TRUE(r.good) << r.message();
    const auto& pixels = r.scene.textures.at("a").pixels.value();
    EXPECT_EQ(pixels.width, 2);
    ASSERT_EQ(pixels.bytes.size(), 8u);
    EXPECT_EQ(pixels.bytes[5], std::byte{0xff});
}

TEST(Texture, ProceduralOnesHaveShaders) {
    const Reading r = read("color texture \"a\" \"noise\" ( \"x\" 1 )\n");
    EXPECT_TRUE(r.messages.empty()) << r.message();
    EXPECT_EQ(r.scene.textures.at("a").shaders.size(), 1u);
}

TEST(Data, BytesFilesAndDeclaredOnes) {
    const Reading r = read("declare data \"d\" ( integer \"a\" ) end declare\n"
                           "data \"x\" tag 5 4 [ '00ff' '0102' ]\ndata \"y\" \"file.bin\"\n"
                           "data \"z\" \"d\" ( \"a\" 1 )\n");
    EXPECT_TRUE(r.good) << r.message();
    EXPECT_EQ(r.scene.data.at("x").bytes.size(), 4u);
    EXPECT_EQ(r.scene.data.at("x").label, 5u);
    EXPECT_EQ(r.scene.data.at("y").file, "file.bin");
    EXPECT_EQ(r.scene.data.at("z").call->declaration, "d");
}

TEST(Data, OfAnUndeclaredTypeIsSkippedWithOneWarning) {
    const Reading r = read("data \"x\" \"foreign\" ( \"a\" 1 )\ndata \"y\" \"foreign\" ()\n"
                           "options \"o\" data \"x\" data \"y\" end options\n");
    EXPECT_EQ(r.message(),
              "warning: test.mi:1:10: there is no declaration of data 'foreign'; ignored");
    EXPECT_TRUE(r.scene.options.at("o").data.empty());
}

TEST(Data, SeveralStatementsBuildAListAndNullClears) {
    const std::string head = "data \"x\" \"f\"\ndata \"y\" \"g\"\noptions \"o\" data \"x\" data "
                             "\"y\" end options\n";
    EXPECT_EQ(read(head).scene.options.at("o").data.size(), 2u);
    EXPECT_EQ(read(head + "incremental options \"o\" data null end options")
                  .scene.options.at("o")
                  .data.size(),
              0u);
}

TEST(Data, Errors) {
    EXPECT_EQ(read("data \"x\" 3 [ '00ff' ]").message(),
              "error: test.mi:1:12: expected 3 bytes, found 2");
    EXPECT_EQ(read("data \"x\" 1 [ '00f' ]").message(),
              "error: test.mi:1:14: a byte string must have an even number of digits");
    EXPECT_EQ(read("options \"o\" data \"x\" end options").message(),
              "error: test.mi:1:18: there is no data 'x'");
}

} // namespace
