#include "bench/cache/baked.h"

#include "src/points/pdc_file.h"
#include "src/points/point_grid.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vx::bench {

namespace {

constexpr std::size_t kReadBlock = std::size_t{4} << 20;

// Hills in scan order, as an eye ray per pixel finds them; six labels in patches.
CPoint bench_point(int i, int side) {
    const float x = static_cast<float>(i % side) / static_cast<float>(side);
    const int row = i / side;
    const float y = static_cast<float>(row) / static_cast<float>(side);
    const float n = 1.0f / std::sqrt(1.36f);
    const int label = (i % side) / 50 % 6;
    return CPoint{x,    0.1f * std::sin(9 * x) * std::cos(7 * y), y, 0, n, 0.6f * n, x, y, 0.5f, 1,
                  label};
}

bool write_here(const std::string& path, int points) {
    const int side = static_cast<int>(std::sqrt(static_cast<double>(points)));
    CPointGrid grid;
    grid.Resize(points, 8);
    for (int i = 0; i < points; ++i)
        grid.Append(i, bench_point(i, side));
    CPdc pdc;
    grid.ToPdc(&pdc, 0.05f);
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    WritePdc(file, pdc);
    return std::fclose(file) == 0;
}

} // namespace

bool write_cache(const std::string& path, int points) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(write_here(path, points) ? 0 : 1);
    int status = 1;
    return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

void plain_read(const std::string& path) {
    static std::vector<char> block(kReadBlock);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    while (::read(fd, block.data(), block.size()) > 0) {
    }
    ::close(fd);
}

double processor_seconds() {
    timespec t{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double now() {
    timespec t{};
    ::clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

} // namespace vx::bench
