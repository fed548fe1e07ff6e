// Exit status, messages and files of runs whose pictures cannot all be written.
#include "tests/image/picture_folder.h"

#include <OpenImageIO/imageio.h>

#include <array>
#include <cstdlib>

#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

struct Finished {
    int status = -1;
    std::string err;
};

class PictureProgram : public vx::test::PictureFolder {
  protected:
    // An empty scene; one render command for each text, which replaces the camera's outputs.
    void scene(const std::vector<std::string>& outputs) const {
        std::string text = R"(
options "opt" samples 0 0 end options
camera "cam" focal 1 aperture 1 aspect 1 resolution 64 64 frame 1 end camera
instance "camI" "cam" end instance
instgroup "world" "camI" end instgroup
)";
        for (const std::string& output : outputs)
            text += fmt::format("incremental camera \"cam\" output {} end camera\n"
                                "render \"world\" \"camI\" \"opt\"\n",
                                output);
        put("s.mi", text);
    }
    Finished run(const std::string& arguments, const std::string& before = "") const {
        const std::string command =
            fmt::format("cd '{}' && {} '{}' -threads 1 {} 2>err.txt </dev/null", folder.string(),
                        before, VX_RENDER_PROGRAM, arguments);
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(folder / "err.txt")};
    }
    static int width(const fs::path& path) {
        const auto in = OIIO::ImageInput::open(path.string());
        if (!in) (void)OIIO::geterror();
        return in ? in->spec().width : 0;
    }
    // The scene, the messages, and these.
    void expect_files(std::size_t count) const { EXPECT_EQ(files(), 2 + count); }
    static bool has_rendered(const Finished& r) {
        return r.err.find("eye rays in") != std::string::npos;
    }
};

} // namespace

TEST_F(PictureProgram, FullDiskIsStatusTwoAndLaterFramesAreRendered) {
    // Blank pictures of these are larger than a block.
    for (const std::string format : {"png", "exr", "jpg", "tga", "rgb"}) {
        SCOPED_TRACE(format);
        const std::string name = "a." + format;
        scene({fmt::format(R"(output "rgb" "{}" "{}" resolution 700 500)", format, name),
               R"(output "rgb" "png" "small.png" resolution 8 8)"});
        put(name, "old");
        // No file can grow beyond one block of 512 bytes.
        const Finished r = run("-v 2 s.mi", "ulimit -f 1 &&");
        EXPECT_EQ(r.status, 2) << r.err;
        if (format == "rgb")
            EXPECT_NE(r.err.find("IMG 0.0 error: " + name + ": "), std::string::npos) << r.err;
        else
            EXPECT_EQ(r.err, "IMG 0.0 error: " + name + ": cannot be written: File too large\n");
        EXPECT_EQ(slurp(folder / name), "old");
        EXPECT_EQ(width(folder / "small.png"), 8);
        expect_files(2);
        fs::remove(folder / name);
        fs::remove(folder / "small.png");
    }
}

TEST_F(PictureProgram, PipeWithoutAReaderIsAnErrorOfThePicture) {
    scene({R"(output "rgb" "bmp" "out.bmp" resolution 700 500)",
           R"(output "rgb" "png" "a.png" resolution 8 8)"});
    fs::create_symlink("/dev/stdout", folder / "out.bmp");
    // The reader is gone long before a megabyte has passed the pipe.
    const std::string command =
        fmt::format("cd '{}' && {{ '{}' -v 2 s.mi 2>err.txt; echo $? >status.txt; }} | true",
                    folder.string(), VX_RENDER_PROGRAM);
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(slurp(folder / "status.txt"), "2\n");
    EXPECT_EQ(slurp(folder / "err.txt"),
              "IMG 0.0 error: out.bmp: cannot be written: Broken pipe\n");
    EXPECT_EQ(width(folder / "a.png"), 8);
}

TEST_F(PictureProgram, FormatsThatCannotBeWrittenAreRefusedBeforeRendering) {
    for (const auto& [type, format, reason] :
         {std::array{"rgb", "ico", "pictures of the format 'ico' cannot be written"},
          std::array{"rgb", "null", "pictures of the format 'null' cannot be written"},
          std::array{"z", "hdr", "cannot be encoded as 'hdr': "}}) {
        scene({fmt::format(R"(output "{}" "{}" "a.{}")", type, format, format)});
        const Finished r = run("-v 5 s.mi");
        EXPECT_EQ(r.status, 2) << r.err;
        EXPECT_NE(r.err.find(fmt::format("IMG 0.0 error: a.{}: {}", format, reason)),
                  std::string::npos)
            << r.err;
        EXPECT_FALSE(has_rendered(r)) << r.err;
        expect_files(0);
    }
    // The resolution of the command line counts.
    scene({R"(output "rgb" "webp" "a.webp")"});
    const Finished small = run("-v 5 s.mi");
    EXPECT_EQ(small.status, 0) << small.err;
    EXPECT_TRUE(has_rendered(small)) << small.err;
    const Finished r = run("-v 5 -resolution 20000 4 s.mi");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("a.webp: cannot be encoded as 'webp': "), std::string::npos) << r.err;
    EXPECT_FALSE(has_rendered(r)) << r.err;
}

TEST_F(PictureProgram, TypeThatContradictsTheNameIsRefusedBeforeRendering) {
    scene({R"(output "rgb" "png" "a.png")"});
    const Finished r = run("-v 5 -file_name b.tif -file_type png s.mi");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("b.tif: the format is 'png', but the name ends in '.tif'"),
              std::string::npos)
        << r.err;
    EXPECT_FALSE(has_rendered(r)) << r.err;
    expect_files(0);
    EXPECT_EQ(run("-v 5 -file_name b.new -file_type tif s.mi").status, 0);
    EXPECT_EQ(width(folder / "b.new"), 64);
}

TEST_F(PictureProgram, TwoPicturesOfOneFrameInOneFileAreRefusedBeforeRendering) {
    fs::create_symlink("a.exr", folder / "link.exr");
    for (const char* const second : {"a.exr", "./a.exr", "link.exr"}) {
        scene({fmt::format(R"(output "rgba" "exr" "a.exr" output "z" "exr" "{}")", second)});
        const Finished r = run("-v 5 s.mi");
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find(fmt::format("IMG 0.0 error: {}: this is the file of another picture "
                                         "of the frame, 'a.exr'",
                                         second)),
                  std::string::npos)
            << r.err;
        EXPECT_FALSE(has_rendered(r)) << r.err;
        expect_files(1);
    }
}

TEST_F(PictureProgram, PictureOfAnEarlierFrameIsNotOverwritten) {
    scene({R"(output "rgba" "png" "a.png" resolution 4 4)",
           R"(output "rgba" "png" "./a.png" resolution 5 5 frame 2)",
           R"(output "rgba" "png" "b.png" resolution 6 6 frame 3)"});
    const Finished r = run("-v 5 s.mi");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("IMG 0.0 error: ./a.png: this is the picture 'a.png' of an earlier frame"),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find(" 16 eye rays in"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find(" 25 eye rays in"), std::string::npos) << r.err;
    EXPECT_EQ(width(folder / "a.png"), 4);
    EXPECT_EQ(width(folder / "b.png"), 6);
    // A later run may replace it.
    EXPECT_EQ(run("-render 2 s.mi").status, 0);
    EXPECT_EQ(width(folder / "a.png"), 5);
}

TEST_F(PictureProgram, LinksAreFollowedAndFoldersRefused) {
    fs::create_directories(folder / "store");
    fs::create_symlink("store/real.png", folder / "a.png");
    scene({R"(output "rgba" "png" "a.png")"});
    EXPECT_EQ(run("-v 5 s.mi").status, 0);
    EXPECT_TRUE(fs::is_symlink(folder / "a.png"));
    EXPECT_EQ(width(folder / "store/real.png"), 64);
    fs::create_directories(folder / "b.png");
    const Finished r = run("-v 5 -file_name b.png s.mi");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("b.png: Is a directory"), std::string::npos) << r.err;
    EXPECT_FALSE(has_rendered(r)) << r.err;
}
