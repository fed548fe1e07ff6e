#include "host/shading/build.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "tests/shading/rig.h"

using namespace vx;
using namespace vx::testing;
using shading::RenderRequest;
using shading::SceneBuilder;
using Kind = SceneBuilder::Kind;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Build : public ::testing::Test, protected Rig {
  protected:
    void SetUp() override { load(); }

    void material(const std::string& name, scene::ShaderList surface = {}) {
        scene::Material m;
        m.name = name;
        m.surface = std::move(surface);
        builder.on_material(m);
    }
    void object(const std::string& name, std::vector<std::string> materials = {}) {
        scene::Object o;
        o.name = name;
        o.where = {1, 77, 1};
        o.mesh.emplace();
        o.mesh->positions = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
        o.mesh->triangles = {{0, 1, 2}};
        o.mesh->triangle_material = {materials.empty() ? -1 : 0};
        o.mesh->material_names = std::move(materials);
        builder.on_object(std::move(o));
    }
    scene::Instance instance_of(const std::string& name, const std::string& item) {
        scene::Instance i;
        i.name = name;
        i.item = item;
        i.where = {1, 88, 1};
        return i;
    }
    const miInstance& record(const std::string& name) {
        return *context.database.find<miInstance>(builder.find(Kind::instance, name),
                                                  miSCENE_INSTANCE);
    }
    std::vector<miTag> tags(miTag array) {
        const auto* const first = static_cast<const miTag*>(context.database.find(array));
        return {first, first + context.database.size(array) / sizeof(miTag)};
    }
    std::vector<miTag> chain(miTag first) {
        std::vector<miTag> list;
        for (miTag tag = first; tag != 0; tag = function(tag).record->next_function)
            list.push_back(tag);
        return list;
    }
    const miMaterial& material_record(const std::string& name) {
        return *context.database.find<miMaterial>(builder.find(Kind::material, name),
                                                  miSCENE_MATERIAL);
    }
};

} // namespace

TEST_F(Build, SingleMaterialIsTheMaterialAndBracketsMakeAList) {
    material("m0");
    material("m1");
    object("tent");
    scene::Instance i = instance_of("single", "tent");
    i.materials = {"m0"};
    builder.on_instance(i);
    i.name = "one";
    i.material_list = true;
    builder.on_instance(i);
    i.name = "two";
    i.materials = {"m0", "m1"};
    builder.on_instance(i);
    i.name = "none";
    i.materials = {};
    builder.on_instance(i);

    const miTag m0 = builder.find(Kind::material, "m0"), m1 = builder.find(Kind::material, "m1");
    EXPECT_EQ(record("single").material, m0);
    EXPECT_EQ(record("single").mtl_array_size, 0);
    EXPECT_EQ(record("one").mtl_array_size, 1);
    EXPECT_THAT(tags(record("one").material), ElementsAre(m0));
    EXPECT_EQ(record("two").mtl_array_size, 2);
    EXPECT_THAT(tags(record("two").material), ElementsAre(m0, m1));
    EXPECT_EQ(context.database.type(record("two").material), miSCENE_TAGS);
    EXPECT_EQ(record("none").mtl_array_size, 0);
    EXPECT_EQ(record("none").material, 0u);
}

TEST_F(Build, ListsOfMaterialsKeepTheirTagWhenTheInstanceChanges) {
    material("m0");
    material("m1");
    object("tent");
    scene::Instance i = instance_of("inst", "tent");
    i.material_list = true;
    i.materials = {"m0"};
    builder.on_instance(i);
    const miTag tag = builder.find(Kind::instance, "inst");
    const miTag list = record("inst").material;
    i.materials = {"m1", "m0"};
    i.incremental = true;
    builder.on_instance(i);
    EXPECT_EQ(builder.find(Kind::instance, "inst"), tag);
    EXPECT_EQ(record("inst").material, list);
    EXPECT_EQ(record("inst").mtl_array_size, 2);
}

TEST_F(Build, MaterialShadersAreMarkedAsSurfaces) {
    material("m", {call("test_constant", {set("value", numbers(1, 2, 3))})});
    const shading::Function& f = function(material_record("m").shader);
    EXPECT_TRUE(f.surface);
    EXPECT_EQ(f.record->connected, 1);
    EXPECT_TRUE(f.connections.empty());
    EXPECT_THAT(run(f.tag), IsColor(1, 2, 3, 0));
}

TEST_F(Build, AllListsOfAMaterialAreBuilt) {
    scene::Material m;
    m.name = "m";
    m.opaque = true;
    m.surface = {call("test_constant")};
    m.displace = {call("test_black")};
    m.shadow = {call("test_black")};
    m.volume = {call("test_black")};
    m.environment = {call("test_black")};
    m.contour = {call("test_black")};
    m.photon = {call("test_black")};
    m.photonvol = {call("test_black")};
    m.lightmap = {call("test_black")};
    m.hardware = {call("test_black")};
    builder.on_material(m);
    const miMaterial& r = material_record("m");
    EXPECT_EQ(r.opaque, 1);
    for (const miTag tag : {r.shader, r.displace, r.shadow, r.volume, r.environment, r.contour,
                            r.photon, r.photonvol, r.lightmap, r.hardware})
        EXPECT_EQ(context.database.type(tag), miSCENE_FUNCTION);
    EXPECT_FALSE(function(r.shadow).surface);
}

TEST_F(Build, RedefinedElementKeepsItsTagAndThoseOfItsAnonymousShaders) {
    scene::Camera c;
    c.name = "cam";
    c.lens = {call("test_add", {set("value", numbers(1, 0, 0))}), call("test_black")};
    builder.on_camera(c);
    const miTag tag = builder.find(Kind::camera, "cam");
    const auto* const camera_record = context.database.find<miCamera>(tag, miSCENE_CAMERA);
    const std::vector<miTag> lens = chain(camera_record->lens);
    ASSERT_EQ(lens.size(), 2u);
    c.frame = 2;
    c.lens = {call("test_add", {set("value", numbers(5, 0, 0))}), call("test_black")};
    builder.on_camera(c);
    EXPECT_EQ(builder.find(Kind::camera, "cam"), tag);
    EXPECT_EQ(camera_record->frame, 2);
    EXPECT_EQ(chain(camera_record->lens), lens);
    EXPECT_THAT(run(lens[0]), IsColor(5, 0, 0, 0));
    c.lens = {call("test_black")};
    builder.on_camera(c);
    EXPECT_EQ(chain(camera_record->lens).size(), 1u);
    EXPECT_EQ(context.functions.find(lens[1]), nullptr);
    ASSERT_NE(builder.camera(tag), nullptr);
    EXPECT_EQ(builder.camera(tag)->frame, 2);
}

TEST_F(Build, NamedShaderKeepsItsTagWhenItChanges) {
    const miTag tag = shader("s", "test_constant", {set("value", numbers(1, 1, 1))});
    const miTag user = shader("u", "test_constant", {set("value", connection("s"))});
    EXPECT_EQ(shader("s", "test_constant", {set("value", numbers(2, 2, 2))}), tag);
    EXPECT_THAT(run(user), IsColor(2, 2, 2, 0));
    EXPECT_EQ(shader("s", "test_struct"), tag);
    EXPECT_THAT(run(user), IsColor(0.25, 0.5, 0.75, 1));
}

TEST_F(Build, NamedShaderInAListLosesItsOwnSuccessor) {
    const miTag named_tag = shader("n", "test_add", {set("value", numbers(1, 0, 0, 1))});
    material("m", {named("n"), call("test_add", {set("value", numbers(2, 0, 0, 2))}), named("n")});
    EXPECT_THAT(run(named_tag), IsColor(1, 0, 0, 1));
    EXPECT_THAT(run(material_record("m").shader), IsColor(4, 0, 0, 121));
    EXPECT_EQ(chain(material_record("m").shader).back(), named_tag);
}

TEST_F(Build, CopiesInListsFollowTheirOriginal) {
    shader("n", "test_add", {set("value", numbers(1, 0, 0, 1))});
    material("m", {named("n"), call("test_add", {set("value", numbers(2, 0, 0, 2))})});
    shader("n", "test_add", {set("value", numbers(7, 0, 0, 7))});
    builder.on_render("", "", "", {});
    EXPECT_THAT(run(material_record("m").shader), IsColor(9, 0, 0, 72));
}

TEST_F(Build, ShadersWithoutANameAreNamedAfterTheirOwner) {
    shader("named", "test_constant");
    const auto names = [&] {
        std::vector<std::string> list;
        for (const miTag tag : chain(material_record("m").shader))
            list.push_back(function(tag).name);
        return list;
    };
    const scene::ShaderList surface = {call("test_add"), named("named"), call("test_add"),
                                       call("test_black")};
    material("m", surface);
    const std::vector<std::string> expected = {"m / test_add", "m / named", "m / test_add 2",
                                               "m / test_black"};
    EXPECT_EQ(names(), expected);
    // Names do not depend on the list in between.
    material("m", {call("test_black"), call("test_constant")});
    EXPECT_THAT(names(), ElementsAre("m / test_black", "m / test_constant"));
    material("m", surface);
    EXPECT_EQ(names(), expected);

    std::set<std::uint64_t> hashes;
    for (const auto& f : context.functions.functions())
        if (f->record != nullptr) hashes.insert(f->name_hash);
    EXPECT_EQ(hashes.size(), 5u);
}

TEST_F(Build, ASingleNamedShaderIsUsedAsItIs) {
    const miTag tag = shader("n", "test_constant");
    material("m", {named("n")});
    EXPECT_EQ(material_record("m").shader, tag);
}

TEST_F(Build, NamedShaderOfAListHasTheNameOfItsFirst) {
    const miTag list = shader("l", {call("test_add", {set("value", numbers(1, 0, 0, 1))}),
                                    call("test_add", {set("value", numbers(2, 0, 0, 2))})});
    EXPECT_EQ(chain(list).size(), 2u);
    const miTag alias = shader("alias", {named("l")});
    EXPECT_NE(alias, list);
    EXPECT_THAT(run(alias), IsColor(3, 0, 0, 12));
}

TEST_F(Build, NamesMayPrecedeTheirElements) {
    const miTag user = shader("user", "test_constant", {set("value", connection("later"))});
    const miTag tagger = shader("tagger", "test_tag", {set("value", text("later"))});
    object("o", {"late material"});
    scene::Instance i = instance_of("inst", "o");
    i.lights = scene::LightList{false, {"late light"}};
    builder.on_instance(i);
    EXPECT_THAT(findings, IsEmpty());

    const miTag later = shader("later", "test_constant", {set("value", numbers(1, 2, 3))});
    material("late material");
    scene::Light l;
    l.name = "l";
    builder.on_light(l);
    builder.on_instance(instance_of("late light", "l"));
    builder.on_render("", "", "", {});
    EXPECT_THAT(findings, IsEmpty());
    EXPECT_THAT(run(user), IsColor(1, 2, 3, 0));
    miTag value = 0;
    std::memcpy(&value, function(tagger).record->parameters, 4);
    EXPECT_EQ(value, later);
    EXPECT_THAT(tags(record("inst").light_obj_ring),
                ElementsAre(builder.find(Kind::instance, "late light")));
    const auto* const o = context.database.find<shading::ObjectElement>(
        builder.find(Kind::object, "o"), miSCENE_OBJECT);
    EXPECT_THAT(o->materials, ElementsAre(builder.find(Kind::material, "late material")));
}

TEST_F(Build, UnknownNamesAreReportedOnceAtTheEnd) {
    int rendered = 0;
    builder.render = [&](const RenderRequest&) {
        ++rendered;
        return true;
    };
    shader("user", "test_constant", {set("value", connection("nobody"), 12)});
    object("o", {"no material"});
    scene::Instance i = instance_of("inst", "o");
    i.lights = scene::LightList{false, {"no light"}};
    builder.on_instance(i);
    EXPECT_TRUE(builder.on_render("", "", "", {}));
    EXPECT_THAT(findings,
                ElementsAre("warning: shader \"nobody\" is not declared; a stand-in is used for it",
                            "error: instance \"inst\": there is no light \"no light\"",
                            "error: object \"o\": there is no material \"no material\""));
    EXPECT_THAT(places, ElementsAre(12, 88, 77));
    builder.finish();
    EXPECT_EQ(findings.size(), 3u);
    EXPECT_EQ(rendered, 0);
}

TEST_F(Build, RenderHandsOverTheThreeElements) {
    scene::InstanceGroup g;
    g.name = "world";
    builder.on_group(g);
    scene::Options o;
    o.name = "opt";
    builder.on_options(o);
    scene::Camera c;
    c.name = "cam";
    builder.on_camera(c);
    builder.on_instance(instance_of("camInst", "cam"));
    std::vector<RenderRequest> requests;
    builder.render = [&](const RenderRequest& request) {
        requests.push_back(request);
        return false;
    };
    EXPECT_FALSE(builder.on_render("world", "camInst", "opt", {1, 5, 1}));
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].root, builder.find(Kind::group, "world"));
    EXPECT_EQ(requests[0].camera_instance, builder.find(Kind::instance, "camInst"));
    EXPECT_EQ(requests[0].options, builder.find(Kind::options, "opt"));
    EXPECT_EQ(requests[0].where.line, 5u);
    EXPECT_EQ(record("camInst").item, builder.find(Kind::camera, "cam"));
}

TEST_F(Build, GroupIsTheArrayOfItsMembers) {
    object("o");
    builder.on_instance(instance_of("a", "o"));
    builder.on_instance(instance_of("b", "o"));
    scene::InstanceGroup g;
    g.name = "g";
    g.members = {"a", "b"};
    builder.on_group(g);
    const miTag tag = builder.find(Kind::group, "g");
    EXPECT_EQ(context.database.type(tag), miSCENE_GROUP);
    EXPECT_THAT(tags(tag),
                ElementsAre(builder.find(Kind::instance, "a"), builder.find(Kind::instance, "b")));
    builder.on_instance(instance_of("nested", "g"));
    EXPECT_EQ(record("nested").item, tag);
    g.members = {"b"};
    builder.on_group(g);
    EXPECT_EQ(builder.find(Kind::group, "g"), tag);
    EXPECT_THAT(tags(tag), ElementsAre(builder.find(Kind::instance, "b")));
}

TEST_F(Build, ObjectKeepsItsMeshWhenARedefinitionHasNone) {
    material("m");
    object("o", {"m"});
    const miTag tag = builder.find(Kind::object, "o");
    const auto* const o = context.database.find<shading::ObjectElement>(tag, miSCENE_OBJECT);
    EXPECT_EQ(o->revision, 1u);
    scene::Object flags;
    flags.name = "o";
    flags.flags.visible = true;
    flags.incremental = true;
    builder.on_object(std::move(flags));
    EXPECT_EQ(builder.find(Kind::object, "o"), tag);
    EXPECT_TRUE(o->description.flags.visible);
    ASSERT_TRUE(o->description.mesh);
    EXPECT_EQ(o->description.mesh->triangles.size(), 1u);
    EXPECT_EQ(o->materials.size(), 1u);
    EXPECT_EQ(o->revision, 1u);
    object("o");
    EXPECT_EQ(o->revision, 2u);
}

TEST_F(Build, ObjectWithoutABodyHasAnEmptyMesh) {
    scene::Object o;
    o.name = "o";
    builder.on_object(std::move(o));
    const auto* const element = context.database.find<shading::ObjectElement>(
        builder.find(Kind::object, "o"), miSCENE_OBJECT);
    EXPECT_TRUE(element->description.mesh.has_value());
}

TEST_F(Build, TextureIsAnImageElementOrTheShaderThatMakesIt) {
    scene::Texture t;
    t.name = "image";
    t.file = "a.png";
    builder.on_texture(t);
    const miTag image = builder.find(Kind::texture, "image");
    EXPECT_EQ(context.database.type(image), miSCENE_TEXTURE);
    t.file = "b.png";
    builder.on_texture(t);
    EXPECT_EQ(builder.find(Kind::texture, "image"), image);
    const auto* const element =
        context.database.find<shading::TextureElement>(image, miSCENE_TEXTURE);
    EXPECT_EQ(element->description.file, "b.png");
    EXPECT_EQ(element->revision, 1u);

    scene::Texture p;
    p.name = "procedural";
    p.shaders = {call("test_constant")};
    builder.on_texture(p);
    EXPECT_EQ(context.database.type(builder.find(Kind::texture, "procedural")), miSCENE_FUNCTION);
}

TEST_F(Build, LightsHaveTheirShaders) {
    scene::Light l;
    l.name = "lamp";
    l.shaders = {call("test_constant"), call("test_add")};
    l.exponent = 1.5f;
    builder.on_light(l);
    const auto* const light =
        context.database.find<miLight>(builder.find(Kind::light, "lamp"), miSCENE_LIGHT);
    EXPECT_EQ(chain(light->shader).size(), 2u);
    EXPECT_EQ(light->exponent, 1.5f);
}

TEST_F(Build, UserDataBlocksAreBytesFilesOrParameters) {
    scene::UserData bytes;
    bytes.name = "bytes";
    bytes.label = 9;
    bytes.bytes = {std::byte{1}, std::byte{2}, std::byte{3}};
    builder.on_data(bytes);
    const miTag tag = builder.find(Kind::data, "bytes");
    EXPECT_EQ(context.user_data.at(tag).label, 9u);
    EXPECT_EQ(context.user_data.at(tag).size, 3);
    EXPECT_EQ(static_cast<const unsigned char*>(context.database.find(tag))[2], 3);

    scene::Declaration d = declaration(
        "blob", Type::color, {parameter("x", Type::scalar), parameter("s", Type::string)});
    d.kind = scene::DeclarationKind::data;
    builder.on_declare(d);
    scene::UserData declared;
    declared.name = "declared";
    declared.call = call("blob", {set("x", numbers(2.5))});
    builder.on_data(declared);
    const miTag second = builder.find(Kind::data, "declared");
    EXPECT_EQ(context.user_data.at(second).size, 8);
    float x = 0;
    std::memcpy(&x, context.database.find(second), 4);
    EXPECT_EQ(x, 2.5f);

    const auto path =
        std::filesystem::temp_directory_path() / ("vx_data_" + std::to_string(getpid()));
    std::ofstream(path) << "hello";
    scene::UserData file;
    file.name = "file";
    file.file = path.string();
    builder.on_data(file);
    EXPECT_EQ(std::memcmp(context.database.find(builder.find(Kind::data, "file")), "hello", 5), 0);
    std::filesystem::remove(path);
    file.name = "missing";
    builder.on_data(file);
    EXPECT_EQ(diagnostics.errors(), 1u);

    scene::Options o;
    o.name = "opt";
    o.data = {"bytes", "declared"};
    builder.on_options(o);
    const auto* const options_element =
        context.database.find<miOptions>(builder.find(Kind::options, "opt"), miSCENE_OPTIONS);
    EXPECT_EQ(options_element->userdata, tag);
    EXPECT_EQ(context.user_data.at(tag).next, second);
    EXPECT_EQ(context.user_data.at(second).next, 0u);
}

TEST_F(Build, UndeclaredUserDataIsLeftOutWithOneWarningPerDeclaration) {
    scene::UserData data;
    data.name = "a";
    data.call = call("maya_stuff");
    builder.on_data(data);
    data.name = "b";
    builder.on_data(data);
    scene::Camera c;
    c.name = "cam";
    c.data = {"a", "b"};
    builder.on_camera(c);
    EXPECT_THAT(findings, ElementsAre("warning: data \"maya_stuff\" is not declared; its "
                                      "blocks are ignored"));
}

TEST_F(Build, DeletedElementsAreGone) {
    const miTag s = shader("s", {call("test_add"), call("test_black")});
    const miTag second = chain(s)[1];
    builder.on_delete("s", {});
    EXPECT_EQ(builder.find(Kind::shader, "s"), 0u);
    EXPECT_EQ(context.functions.find(s), nullptr);
    EXPECT_EQ(context.functions.find(second), nullptr);
    material("m");
    const miTag m = builder.find(Kind::material, "m");
    builder.on_delete("m", {});
    EXPECT_EQ(context.database.find(m), nullptr);
    builder.on_delete("nothing", {});
    EXPECT_THAT(findings, ElementsAre("warning: there is no element \"nothing\" to delete"));
}

TEST_F(Build, MissingLibraryIsAWarningAndABrokenOneAnErrorOfTheScene) {
    builder.on_link("no_such_library.so", {1, 3, 6});
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_THAT(findings[0], ::testing::HasSubstr("warning: there is no library"));
    builder.on_link("/proc/version", {1, 4, 6}); // a file that is no library
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_THAT(findings[1], ::testing::StartsWith("error: /proc/version"));
    EXPECT_THAT(places, ElementsAre(3, 4));
}

TEST_F(Build, VerboseAndEchoReachTheLog) {
    builder.on_echo("hello");
    EXPECT_THAT(lines, ElementsAre("SCENE 0.0 info: hello"));
    builder.on_verbose(2);
    EXPECT_EQ(context.messages.bits(), miERR_FATAL | miERR_ERROR);
}

TEST_F(Build, EqualTextsShareOneElement) {
    const miTag a = shader("a", "test_life", {set("label", text("same"))});
    const miTag b = shader("b", "test_life", {set("label", text("same"))});
    miTag x = 0, y = 0;
    std::memcpy(&x, function(a).record->parameters, 4);
    std::memcpy(&y, function(b).record->parameters, 4);
    EXPECT_EQ(x, y);
    EXPECT_EQ(context.database.text(x), "same");
}
