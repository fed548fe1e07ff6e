#include "host/image/output_file.h"

#include "tests/image/picture_folder.h"

#include "host/image/write.h"

#include <algorithm>
#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace vx::image;
using vx::test::ramp_frame;

namespace {

constexpr unsigned int kNobody = 65534;

class OutputFile : public vx::test::PictureFolder {
  protected:
    std::string write(const fs::path& path, const std::string& text = "new") const {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
        return write_output(path, {bytes, text.size()}).value_or("");
    }
    static std::string resolve(const fs::path& path) {
        OutputTarget target;
        return resolve_output(path, target).value_or("");
    }
    // A device of our own where that is possible: a failure must not cost the system's.
    bool make_device(const std::string& name, unsigned int minor) const {
        const fs::path path = folder / name;
        if (::mknod(path.c_str(), S_IFCHR | 0666, makedev(1, minor)) != 0) {
            if (::geteuid() == 0) return false;
            fs::create_symlink(minor == 3 ? "/dev/null" : "/dev/full", path);
        }
        const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (file >= 0) ::close(file);
        return file >= 0;
    }
    static mode_t mode(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return status.st_mode & 07777;
    }
};

// The user "nobody" for a while, if the test is run by root.
class Unprivileged {
  public:
    Unprivileged() : m_is_root(::geteuid() == 0) {
        EXPECT_TRUE(!m_is_root || ::seteuid(kNobody) == 0);
    }
    ~Unprivileged() { EXPECT_TRUE(!m_is_root || ::seteuid(0) == 0); }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;

  private:
    bool m_is_root;
};

} // namespace

TEST_F(OutputFile, LinkStaysAndItsTargetIsReplaced) {
    fs::create_directories(folder / "store");
    put("store/real.png", "old");
    fs::create_symlink("store/real.png", folder / "a.png");
    fs::create_symlink("a.png", folder / "b.png");
    EXPECT_EQ(write(folder / "b.png"), "");
    EXPECT_EQ(fs::read_symlink(folder / "b.png"), "a.png");
    EXPECT_EQ(fs::read_symlink(folder / "a.png"), "store/real.png");
    EXPECT_EQ(slurp(folder / "store/real.png"), "new");
    EXPECT_EQ(files(), 3u);
}

TEST_F(OutputFile, DanglingLinkMakesItsTarget) {
    fs::create_symlink("store/deep/real.png", folder / "a.png");
    fs::create_symlink(folder / "a.png", folder / "b.png");
    EXPECT_EQ(write(folder / "b.png"), "");
    EXPECT_TRUE(fs::is_symlink(folder / "b.png"));
    EXPECT_TRUE(fs::is_symlink(folder / "a.png"));
    EXPECT_EQ(slurp(folder / "store/deep/real.png"), "new");
}

TEST_F(OutputFile, DanglingLinksAreRefused) {
    fs::create_symlink("b.png", folder / "a.png");
    fs::create_symlink("a.png", folder / "b.png");
    EXPECT_EQ(write(folder / "a.png"), "Too many levels of symbolic links");
    fs::create_symlink("missing", folder / "below");
    EXPECT_EQ(resolve(folder / "below/a.png"),
              "no file can be made in its folder: No such file or directory");
    EXPECT_EQ(files(), 3u);
}

TEST_F(OutputFile, DevicesGetTheBytesAndStayDevices) {
    if (!make_device("null", 3) || !make_device("full", 7))
        GTEST_SKIP() << "making device files needs root";
    EXPECT_EQ(write(folder / "null"), "");
    EXPECT_TRUE(fs::is_character_file(folder / "null"));
    EXPECT_EQ(write(folder / "full"), "cannot be written: No space left on device");
    EXPECT_TRUE(fs::is_character_file(folder / "full"));
    // Through a link as well.
    fs::create_symlink("null", folder / "link");
    EXPECT_EQ(write(folder / "link"), "");
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_TRUE(fs::is_character_file(folder / "null"));
    EXPECT_EQ(files(), 3u);
}

TEST_F(OutputFile, PipeGetsTheWholePicture) {
    const fs::path pipe = folder / "pipe.png";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    WriteRequest r;
    r.path = folder / "file.png";
    const Frame frame = ramp_frame(200, 100);
    ASSERT_EQ(write_picture(frame, r), std::nullopt);
    // The pipe's buffer takes all of it.
    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    r.path = pipe;
    EXPECT_EQ(write_picture(frame, r), std::nullopt);
    std::string read(65536, '\0');
    const ssize_t got = ::read(reader, read.data(), read.size());
    read.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    ::close(reader);
    EXPECT_TRUE(fs::is_fifo(pipe));
    EXPECT_GT(read.size(), 100u);
    EXPECT_EQ(read, slurp(folder / "file.png"));
}

TEST_F(OutputFile, DirectoriesAreRefused) {
    fs::create_directories(folder / "taken.png");
    EXPECT_EQ(write(folder / "taken.png"), "Is a directory");
    EXPECT_EQ(write(folder / "new/"), "the file has no name");
    EXPECT_TRUE(fs::is_directory(folder / "taken.png"));
    put("file", "");
    EXPECT_EQ(resolve(folder / "file/a.png"), "Not a directory");
    EXPECT_EQ(resolve(folder / "file/below/a.png"), "Not a directory");
    EXPECT_EQ(files(), 2u);
}

TEST_F(OutputFile, AccessRightsOfAReplacedFileAreKept) {
    const mode_t old_mask = ::umask(027);
    put("a.png", "old");
    fs::permissions(folder / "a.png", fs::perms(0604));
    EXPECT_EQ(write(folder / "a.png"), "");
    EXPECT_EQ(mode(folder / "a.png"), 0604u);
    EXPECT_EQ(slurp(folder / "a.png"), "new");
    EXPECT_EQ(write(folder / "b.png"), "");
    EXPECT_EQ(mode(folder / "b.png"), 0640u);
    ::umask(old_mask);
}

TEST_F(OutputFile, ProtectedFilesAndDirectoriesAreRefusedBeforehand) {
    fs::permissions(folder, fs::perms(0777));
    put("a.png", "old");
    fs::permissions(folder / "a.png", fs::perms(0444));
    fs::create_directories(folder / "locked");
    fs::permissions(folder / "locked", fs::perms(0555));
    {
        const Unprivileged nobody;
        EXPECT_EQ(resolve(folder / "a.png"), "Permission denied");
        EXPECT_EQ(write(folder / "a.png"), "Permission denied");
        EXPECT_EQ(resolve(folder / "locked/a.png"),
                  "no file can be made in its folder: Permission denied");
        EXPECT_EQ(resolve(folder / "locked/deep/a.png"),
                  "no file can be made in its folder: Permission denied");
        EXPECT_EQ(write(folder / "b.png"), "");
    }
    EXPECT_EQ(slurp(folder / "a.png"), "old");
    EXPECT_EQ(files(), 3u);
}

TEST_F(OutputFile, LongestNamesAreWritten) {
    const std::string name = std::string(251, 'x') + ".png";
    EXPECT_EQ(write(folder / name), "");
    EXPECT_EQ(slurp(folder / name), "new");
    EXPECT_EQ(write(folder / ("x" + name)), "File name too long");
}

TEST_F(OutputFile, TemporaryFileOfAnotherRunIsKept) {
    const std::string other = fmt::format(".vx_render-{}-0.part", ::getpid());
    put(other, "not ours");
    EXPECT_EQ(write(folder / "a.png"), "");
    EXPECT_EQ(slurp(folder / other), "not ours");
    EXPECT_EQ(files(), 2u);
}

TEST_F(OutputFile, PicturesOfOneRunMustNotShareAFile) {
    const auto request = [&](const fs::path& name) {
        WriteRequest r;
        r.path = folder / name;
        return r;
    };
    fs::create_directories(folder / "store");
    fs::create_directory_symlink("store", folder / "folder");
    fs::create_symlink("store/a.png", folder / "link.png");
    PictureFiles pictures;
    const std::vector<WriteRequest> other{request("store/a.png"), request("store/b.png")};
    EXPECT_TRUE(pictures.check(other, 8, 8).empty());
    for (const char* const name :
         {"store/a.png", "store/../store/a.png", "folder/a.png", "link.png"}) {
        const std::vector<WriteRequest> same{request("store/a.png"), request(name)};
        const auto reasons = pictures.check(same, 8, 8);
        ASSERT_EQ(reasons.size(), 1u) << name;
        EXPECT_EQ(reasons[0],
                  fmt::format("{}: this is the file of another picture of the frame, "
                              "'{}'",
                              (folder / name).string(), (folder / "store/a.png").string()));
    }
    EXPECT_EQ(files(), 3u) << "checks write nothing";

    ASSERT_EQ(pictures.write(ramp_frame(8, 8), request("link.png")), std::nullopt);
    const auto reasons = pictures.check(other, 8, 8);
    ASSERT_EQ(reasons.size(), 1u);
    EXPECT_EQ(reasons[0],
              fmt::format("{}: this is the picture '{}' of an earlier frame, which would be lost",
                          (folder / "store/a.png").string(), (folder / "link.png").string()));
}

// The kernel sends SIGXFSZ in the middle of the write.
TEST_F(OutputFile, AHandlerThatEndsTheProcessRemovesTheTemporaryFile) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        (void)std::signal(SIGXFSZ, [](int) {
            remove_unfinished_output();
            ::_exit(9);
        });
        const rlimit tight{10, 10};
        ::setrlimit(RLIMIT_FSIZE, &tight);
        (void)write(folder / "a.png", std::string(100, 'x'));
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 9);
    EXPECT_EQ(files(), 0u);
}

TEST_F(OutputFile, PipesTakeAnyNumberOfPictures) {
    ASSERT_EQ(::mkfifo((folder / "pipe.png").c_str(), 0600), 0);
    WriteRequest r;
    r.path = folder / "pipe.png";
    const PictureFiles pictures;
    EXPECT_TRUE(pictures.check(std::vector<WriteRequest>{r, r}, 8, 8).empty());
}
