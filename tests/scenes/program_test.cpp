// The program: command line, messages, exit status and files.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <OpenImageIO/imageio.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Finished {
    int status = -1;
    std::string out, err;
};

class Program : public testing::Test {
  protected:
    void SetUp() override {
        folder = fs::path(testing::TempDir()) /
                 fmt::format("vx_program_{}_{}", ::getpid(),
                             testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    void TearDown() override {
        ::unsetenv("ASAN_OPTIONS");
        fs::remove_all(folder);
    }

    std::string file(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name) << text;
        return (folder / name).string();
    }
    static std::string slurp(const fs::path& path) {
        std::ifstream in(path);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    Finished run(const std::string& arguments) const {
        const std::string command =
            fmt::format("cd '{0}' && '{1}' {2} >out.txt 2>err.txt </dev/null", folder.string(),
                        VX_RENDER_PROGRAM, arguments);
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(folder / "out.txt"),
                slurp(folder / "err.txt")};
    }
    // A square in front of the camera; `renders` render commands, whose frames are 1, 2, ...
    static std::string scene(int renders = 1, const std::string& shader = "t_constant",
                             const std::string& size = "8 6") {
        std::string text = fmt::format(R"(
link "{}"
declare shader color "t_constant" ( color "color" ) version 1 end declare
declare shader color "t_missing" ( color "color" ) version 1 end declare
declare shader color "t_fail" ( color "color" ) version 1 end declare
options "opt" samples 0 0 trace on trace depth 2 2 4 end options
camera "cam" output "rgba" "png" "pic.png" focal 1 aperture 1 aspect 1.3333 resolution {} frame 1 end camera
object "o" visible on group -1 -1 0 1 -1 0 1 1 0 -1 1 0 v 0 v 1 v 2 v 3 p 0 1 2 3 end group end object
material "m" opaque "{}" ( "color" 1 0.5 0 1 ) end material
instance "i" "o" material "m" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 4 1 end instance
instance "camI" "cam" end instance
instgroup "world" "camI" "i" end instgroup
)",
                                       VX_TEST_SHADERS, size, shader);
        for (int i = 1; i <= renders; ++i)
            text += fmt::format("incremental camera \"cam\" output output \"rgba\" \"png\" "
                                "\"pic.{}.png\" frame {} end camera\n"
                                "render \"world\" \"camI\" \"opt\"\n",
                                i, i);
        return text;
    }
    bool exists(const std::string& name) const { return fs::exists(folder / name); }

    fs::path folder;
};

} // namespace

TEST_F(Program, RendersEveryRenderCommand) {
    file("s.mi", scene(3));
    const Finished r = run("s.mi");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(exists("pic.1.png") && exists("pic.2.png") && exists("pic.3.png"));
    EXPECT_NE(r.err.find("IMG 0.0 progress: wrote pic.2.png"), std::string::npos) << r.err;
    const auto in = OIIO::ImageInput::open((folder / "pic.1.png").string());
    ASSERT_TRUE(in);
    EXPECT_EQ(in->spec().width, 8);
    EXPECT_EQ(in->spec().height, 6);
}

TEST_F(Program, ReadsStandardInputAndNamesWithoutExtension) {
    file("s.mi", scene(1));
    EXPECT_EQ(run("s").status, 0);
    EXPECT_TRUE(exists("pic.1.png"));
    fs::remove(folder / "pic.1.png");
    const int status = std::system(
        fmt::format("cd '{}' && '{}' - <s.mi 2>/dev/null", folder.string(), VX_RENDER_PROGRAM)
            .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(exists("pic.1.png"));
}

TEST_F(Program, SeveralFilesAreOneScene) {
    const std::string whole = scene(1);
    const auto at = whole.find("incremental");
    file("body.mi", whole.substr(0, at));
    file("render.mi", whole.substr(at));
    EXPECT_EQ(run("body.mi render.mi").status, 0);
    EXPECT_TRUE(exists("pic.1.png"));
}

TEST_F(Program, RenderPicksCommandsByNumber) {
    file("s.mi", scene(5));
    EXPECT_EQ(run("-render 2 5 2 s.mi").status, 0);
    EXPECT_FALSE(exists("pic.1.png"));
    EXPECT_TRUE(exists("pic.2.png"));
    EXPECT_FALSE(exists("pic.3.png"));
    EXPECT_TRUE(exists("pic.4.png"));
    EXPECT_EQ(run("--render 1 s.mi").status, 0);
    EXPECT_TRUE(exists("pic.1.png"));
    const Finished none = run("-render 9 s.mi");
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.err.find("error: -render: there is no render command 9; the scene has 5"),
              std::string::npos)
        << none.err;
}

TEST_F(Program, OptionsOverrideTheScene) {
    file("s.mi", scene(1));
    const Finished r =
        run("-file_name x.tif -file_type tif -file_dir a/b -resolution 20 10 -samples 1 1 "
            "-threads 2 s.mi");
    EXPECT_EQ(r.status, 0) << r.err;
    const auto in = OIIO::ImageInput::open((folder / "a/b/x.tif").string());
    ASSERT_TRUE(in) << r.err;
    EXPECT_EQ(in->spec().width, 20);
    EXPECT_EQ(in->format_name(), std::string("tiff"));
    EXPECT_FALSE(exists("pic.1.png"));
}

TEST_F(Program, ParseReadsAndChecksOnly) {
    file("s.mi", scene(1));
    EXPECT_EQ(run("-parse s.mi").status, 0);
    EXPECT_FALSE(exists("pic.1.png"));
    file("bad.mi", scene(1) + "instance \"x\" \"nothing\" end instance\n");
    EXPECT_EQ(run("-parse bad.mi").status, 1);
}

TEST_F(Program, ErrorInTheSceneIsStatusOneWithItsPlace) {
    file("bad.mi", "verbose 5\noptions \"opt\"\n  samples x\nend options\n");
    const Finished r = run("bad.mi");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("SCENE 0.0 error: bad.mi:3:"), std::string::npos) << r.err;
    EXPECT_EQ(run("missing.mi").status, 1);
    file("broken.so", "no library");
    file("nolib.mi", "link \"broken.so\"\n" + scene(1));
    const Finished lib = run("nolib.mi");
    EXPECT_EQ(lib.status, 1);
    EXPECT_NE(lib.err.find("broken.so"), std::string::npos) << lib.err;
}

TEST_F(Program, PicturesThatCannotBeWrittenAreStatusTwo) {
    file("s.mi", scene(1));
    const Finished r = run("-file_name x.nonsense -file_type nonsense s.mi");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("IMG 0.0 error: x.nonsense"), std::string::npos) << r.err;
    file("file", "");
    EXPECT_EQ(run("-file_dir file/below s.mi").status, 2);
}

TEST_F(Program, AbsurdResolutionIsRefusedBeforeMemoryIsTaken) {
    file("s.mi", scene(1, "t_constant", "65536 65536"));
    const Finished r = run("s.mi");
    EXPECT_EQ(r.status, 2) << r.err;
    EXPECT_NE(r.err.find("65536 x 65536"), std::string::npos) << r.err;
}

TEST_F(Program, ShaderThatIsInNoLibraryIsStatusTwo) {
    // Declared, but no library has the function.
    file("s.mi", scene(1, "t_missing"));
    const Finished r = run("s.mi");
    EXPECT_EQ(r.status, 2) << r.err;
    EXPECT_NE(r.err.find("t_missing"), std::string::npos) << r.err;
}

TEST_F(Program, ExceptionsInAnyEntryPointOfAShaderAreStatusTwo) {
    file("s.mi", scene(2, "t_fail", "80 60"));
    const std::string thrown = "uncaught exception that is not a std::exception\n";
    const std::string instance = "shader \"t_fail\" (instance \"m / t_fail\")";
    struct Case {
        const char* entry;
        std::string message;
        bool picture;
    };
    for (const auto& [entry, message, picture] :
         {Case{"", "", true},
          Case{"version", "error: shader \"t_fail\" is refused: t_fail_version: ", true},
          Case{"init", "error: shader \"t_fail\" is refused: t_fail_init: ", true},
          Case{"instance init", "error: " + instance + " is refused: t_fail_init: ", true},
          Case{"call", "fatal: " + instance + ": ", false},
          Case{"instance exit", "error: " + instance + ": t_fail_exit: ", true},
          Case{"exit", "error: shader \"t_fail\": t_fail_exit: ", true}})
        for (const char* const threads : {"1", "4"}) {
            fs::remove(folder / "pic.1.png");
            fs::remove(folder / "pic.2.png");
            ::setenv("T_FAIL", entry, 1);
            const Finished r = run(fmt::format("-threads {} s.mi", threads));
            EXPECT_EQ(r.status, message.empty() ? 0 : 2) << entry << "\n" << r.err;
            EXPECT_EQ(exists("pic.1.png"), picture) << entry << "\n" << r.err;
            EXPECT_EQ(exists("pic.2.png"), picture) << entry << "\n" << r.err;
            // Once for each of the two render commands.
            std::size_t reports = 0;
            for (auto at = r.err.find(thrown); at != std::string::npos;
                 at = r.err.find(thrown, at + 1))
                ++reports;
            EXPECT_EQ(reports, message.empty() ? 0u : 2u) << entry << "\n" << r.err;
            EXPECT_NE(r.err.find(message + (message.empty() ? "" : thrown)), std::string::npos)
                << entry << "\n"
                << r.err;
        }
    ::unsetenv("T_FAIL");
}

TEST_F(Program, WrongCommandLineIsStatusThree) {
    file("s.mi", scene(1));
    for (const char* const arguments :
         {"-nonsense s.mi", "-threads x s.mi", "-threads", "-resolution 5 s.mi", "-lens maybe s.mi",
          "-filter cubic s.mi", "-samples 3 1 s.mi", "-render 0 s.mi", "-render 5 2 s.mi",
          "-shadow perhaps s.mi", "-t on s.mi", "-trac on s.mi", "-D =x s.mi", "-verbose 9 s.mi",
          "-window 1 2 3 s.mi", "-focal -1 s.mi"}) {
        const Finished r = run(arguments);
        EXPECT_EQ(r.status, 3) << arguments << "\n" << r.err;
        EXPECT_EQ(r.err.find("vx_render: error: "), 0u) << arguments << "\n" << r.err;
    }
    EXPECT_FALSE(exists("pic.1.png"));
}

TEST_F(Program, OneDashTwoDashesAndShortenedNamesAreTheSame) {
    file("s.mi", scene(1));
    for (const char* const arguments :
         {"-file_name a.png s.mi", "--file_name a.png s.mi", "--file_name=a.png s.mi",
          "-file_n a.png s.mi", "-file_name=a.png s.mi"}) {
        fs::remove(folder / "a.png");
        EXPECT_EQ(run(arguments).status, 0) << arguments;
        EXPECT_TRUE(exists("a.png")) << arguments;
    }
    EXPECT_EQ(run("-res 4 4 -thr 1 -v 2 s.mi").status, 0);
}

TEST_F(Program, HelpNamesEveryOptionAndEndsWell) {
    const Finished r = run("-help");
    EXPECT_EQ(r.status, 0);
    for (const char* const name : {"-I",
                                   "-L",
                                   "-D",
                                   "-rc",
                                   "-render",
                                   "-parse",
                                   "-frames",
                                   "-skip_existing",
                                   "-strict",
                                   "-progress",
                                   "-texture_continue",
                                   "-file_name",
                                   "-file_type",
                                   "-file_dir",
                                   "-resolution",
                                   "-window",
                                   "-aperture",
                                   "-aspect",
                                   "-focal",
                                   "-samples",
                                   "-contrast",
                                   "-filter",
                                   "-jitter",
                                   "-trace",
                                   "-trace_depth",
                                   "-shadow",
                                   "-face",
                                   "-lens",
                                   "-volume",
                                   "-threads",
                                   "-task_size",
                                   "-verbose",
                                   "-quiet",
                                   "-help",
                                   "-version"})
        EXPECT_NE(r.out.find(std::string("  ") + name), std::string::npos) << name;
    EXPECT_EQ(run("--help").status, 0);
    EXPECT_EQ(run("-h").out, r.out);
    EXPECT_EQ(run("-version").status, 0);
}

TEST_F(Program, QuietPrintsNothingWithoutErrors) {
    file("s.mi", "verbose 6\n" + scene(1));
    const Finished r = run("-q s.mi");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "");
}

TEST_F(Program, EnvironmentOptionsComeFirst) {
    file("s.mi", scene(1));
    const int status = std::system(
        fmt::format("cd '{}' && MI_RAY_OPTIONS='-file_name e.png -q' '{}' -file_name f.png s.mi",
                    folder.string(), VX_RENDER_PROGRAM)
            .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(exists("f.png"));
    EXPECT_FALSE(exists("e.png"));
}

TEST_F(Program, VariablesAndStartupFilesComeBeforeTheScene) {
    file("start.mi", "set \"from_start\" \"1\"\n");
    file("s.mi", "$ifdef \"wanted\"\n$ifdef \"from_start\"\n" + scene(1) + "$endif\n$endif\n");
    EXPECT_EQ(run("-D wanted=1 -rc start.mi s.mi").status, 0);
    EXPECT_TRUE(exists("pic.1.png"));
    fs::remove(folder / "pic.1.png");
    // Nothing is left of the scene.
    EXPECT_EQ(run("-rc start.mi s.mi").status, 1);
    EXPECT_FALSE(exists("pic.1.png"));
}

TEST_F(Program, TentRendersAndBakesTheSameWithAnyNumberOfThreads) {
    const std::string tent = std::string(VX_TEST_FOLDER) + "/tent.mi";
    // The writer's one-byte marks of the threads that entered it are never released.
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    std::string pdc;
    std::string map;
    std::vector<float> picture;
    for (const char* const threads : {"1", "2", "16"}) {
        const Finished r = run(fmt::format("-samples 0 0 -threads {} '{}'", threads, tent));
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_NE(r.err.find("points written"), std::string::npos) << r.err;
        const auto in = OIIO::ImageInput::open((folder / "out.exr").string());
        ASSERT_TRUE(in);
        std::vector<float> now(in->spec().image_pixels() * 4);
        ASSERT_TRUE(in->read_image(0, 0, 0, 4, OIIO::TypeDesc::FLOAT, now.data()));
        if (picture.empty()) {
            pdc = slurp(folder / "cloud.0001.pdc");
            map = slurp(folder / "cloud.0001.mrmap");
            picture = now;
            EXPECT_GT(pdc.size(), 10000u);
        }
        EXPECT_EQ(pdc, slurp(folder / "cloud.0001.pdc")) << threads;
        EXPECT_EQ(map, slurp(folder / "cloud.0001.mrmap")) << threads;
        EXPECT_EQ(picture, now) << threads;
    }
    // Pixels well inside the front slope, the plane y + z = 1, by Lambert's law.
    int checked = 0;
    for (int line = 0; line < 48; ++line)
        for (int x = 0; x < 64; ++x) {
            const double dx = (x + 0.5) / 64 - 0.5;
            const double dy = ((48 - 1 - line + 0.5) / 48 - 0.5) / 1.3333;
            // From (0, 0.5, 5) along (dx, dy, -1): y + z = 1.
            const double t = 4.5 / (1 - dy);
            const double p[3] = {t * dx, 0.5 + t * dy, 5 - t};
            if (p[1] < 0.1 || std::abs(p[0]) > p[2] - 0.1) continue;
            const double l[3] = {2 - p[0], 4 - p[1], 3 - p[2]};
            const double cosine =
                (l[1] + l[2]) * std::sqrt(0.5) / std::sqrt(l[0] * l[0] + l[1] * l[1] + l[2] * l[2]);
            const std::size_t at = 4 * static_cast<std::size_t>(line * 64 + x);
            EXPECT_NEAR(picture[at], 0.05 + 0.7 * cosine, 1e-5);
            EXPECT_NEAR(picture[at + 1], 0.05 + 0.3 * cosine, 1e-5);
            EXPECT_NEAR(picture[at + 2], 0.05 + 0.2 * cosine, 1e-5);
            ++checked;
        }
    EXPECT_GT(checked, 50);
}

TEST_F(Program, AMapThatAShaderStoresIsReadByItsTagInAnother) {
    file("s.mi", fmt::format(R"(
link "{}"
declare shader integer "t_store_map" ( scalar "value" ) version 1 end declare
declare shader color "t_read_map" ( integer "map" ) version 1 end declare
options "opt" samples 0 0 end options
camera "cam" output "rgba_fp" "exr" "pic.exr" focal 1 aperture 1 aspect 1 resolution 16 16 end camera
object "o" visible on group -3 -3 0 3 -3 0 3 3 0 -3 3 0 v 0 v 1 v 2 v 3 p 0 1 2 3 end group end object
shader "store" "t_store_map" ( "value" 100 )
material "m" opaque "t_read_map" ( "map" = "store" ) end material
instance "i" "o" material "m" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 4 1 end instance
instance "camI" "cam" end instance
instgroup "world" "camI" "i" end instgroup
render "world" "camI" "opt"
)",
                             VX_TEST_SHADERS));
    const Finished r = run("-threads 4 s.mi");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err.find("warning"), std::string::npos) << r.err;
    const auto in = OIIO::ImageInput::open((folder / "pic.exr").string());
    ASSERT_TRUE(in);
    std::vector<float> picture(16 * 16 * 4);
    ASSERT_TRUE(in->read_image(0, 0, 0, 4, OIIO::TypeDesc::FLOAT, picture.data()));
    for (std::size_t pixel = 0; pixel < 16 * 16; ++pixel) {
        // The value and the pixel's column, one point, an element of the type of maps.
        EXPECT_EQ(picture[4 * pixel], 100.0f + static_cast<float>(pixel % 16)) << pixel;
        EXPECT_EQ(picture[4 * pixel + 1], 1.0f) << pixel;
        EXPECT_EQ(picture[4 * pixel + 2], 14.0f) << pixel;
    }
}

TEST_F(Program, InterruptKeepsFinishedPicturesAndReportsTheRest) {
    // The first frame is small, the second takes minutes.
    std::string text = scene(1);
    text += "incremental camera \"cam\" output output \"rgba\" \"png\" \"pic.2.png\" resolution "
            "2000 2000 end camera\nincremental options \"opt\" samples 5 5 end options\n"
            "render \"world\" \"camI\" \"opt\"\n";
    file("s.mi", text);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        (void)!chdir(folder.c_str());
        (void)freopen("err.txt", "w", stderr);
        execl(VX_RENDER_PROGRAM, VX_RENDER_PROGRAM, "-threads", "2", "s.mi", nullptr);
        _exit(99);
    }
    for (int i = 0; i < 600 && !exists("pic.1.png"); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(child, SIGINT);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_TRUE(exists("pic.1.png"));
    EXPECT_FALSE(exists("pic.2.png"));
    const std::string err = slurp(folder / "err.txt");
    EXPECT_NE(err.find("interrupted at render command 2"), std::string::npos) << err;
    EXPECT_NE(err.find("kept 1 finished image"), std::string::npos) << err;
}

TEST_F(Program, EveryPrefixOfASceneGivesAnErrorOrAPicture) {
    const std::string whole = scene(1);
    for (std::size_t length = 0; length < whole.size(); length += 37) {
        file("p.mi", whole.substr(0, length));
        const Finished r = run("-threads 1 p.mi");
        EXPECT_TRUE(r.status >= 0 && r.status <= 2) << length << "\n" << r.err;
    }
}
