// The point grid of a 1920 x 1080 bake: the time to fill it, to convert it into a particle cache
// and to free it, and its memory, against a single array of all points.
//
// Every measurement runs in its own process, so that its peak memory can be read. The variants take
// turns and the fastest run of each counts. Times are those of the processor, with page faults.
#include "bench/ratio.h"
#include "src/points/pdc_file.h"
#include "src/points/point_grid.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr int kPixels = 1920 * 1080;

enum class Filling {
    one,      // a point in every row
    several,  // 1 to 5 points in every row
    few_rows, // 1 to 5 points in one row of ten, none in the others
};

struct Case {
    const char* name;
    int layers;
    Filling filling;
};

constexpr Case kCases[] = {{"1 layer, every row has a point", 1, Filling::one},
                           {"8 layers, 3 points per row", 8, Filling::several},
                           {"8 layers, 3 points in 1 row of 10", 8, Filling::few_rows}};

int points_of(Filling filling, int row) {
    const std::uint32_t mixed = static_cast<std::uint32_t>(row) * 2654435761U;
    const int some = 1 + static_cast<int>((mixed >> 16) % 5);
    switch (filling) {
    case Filling::one:
        return 1;
    case Filling::several:
        return some;
    default:
        return (mixed >> 8) % 10 == 0 ? some : 0;
    }
}

CPoint point_of(int row, int layer) {
    const float f = static_cast<float>(row) * 0.001f;
    return {f, 1 - f, static_cast<float>(layer), 0, 0.6f, 0.8f, 0.2f, 0.4f, 0.6f, 1, row % 17};
}

struct Measured {
    double fill = 0, convert = 0, write = 0, free = 0; // seconds
    double grid_bytes = 0, peak_bytes = 0;             // beyond the process before it is filled
    double points = 0;
};

double processor_seconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double peak_bytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

class GridVariant {
  public:
    GridVariant(int rows, int layers) { m_grid.Resize(rows, layers); }
    void append(int row, const CPoint& point) { m_grid.Append(row, point); }
    void convert(CPdc& pdc) { m_grid.ToPdc(&pdc, 0.05f); }

  private:
    CPointGrid m_grid;
};

// The least that a bake can do: append the points to one array, without rows.
class FlatVariant {
  public:
    FlatVariant(int /*rows*/, int /*layers*/) {}
    void append(int /*row*/, const CPoint& point) { m_points.push_back(point); }
    void convert(CPdc& pdc) {
        pdc.NameBakedSlots();
        const auto n = static_cast<int>(m_points.size());
        pdc.header.particleCount = n;
        for (CAttribute& slot : pdc.slots) {
            slot.Resize(n);
            slot.perParticle = slot.kind != kKindNone;
        }
        std::int64_t i = 0;
        for (const CPoint& p : m_points) {
            const auto at = static_cast<std::size_t>(i);
            pdc.slots[kSlotId].integers[at] = i;
            pdc.slots[kSlotTag].integers[at] = p.tag;
            pdc.slots[kSlotPosition].vectors[at] = {p.positionX, p.positionY, p.positionZ};
            pdc.slots[kSlotRgb].vectors[at] = {p.red, p.green, p.blue};
            pdc.slots[kSlotNormal].vectors[at] = {p.normalX, p.normalY, p.normalZ};
            pdc.slots[kSlotOpacity].floats[at] = p.opacity;
            pdc.slots[kSlotRadius].floats[at] = 0.05f;
            ++i;
        }
    }

  private:
    std::vector<CPoint> m_points;
};

template <class Variant>
Measured measure(const Case& what, int samples) {
    Measured m;
    const int rows = kPixels * samples;
    const double before = peak_bytes();
    double start = processor_seconds();
    const auto lap = [&start] {
        const double end = processor_seconds();
        return end - std::exchange(start, end);
    };
    auto grid = std::make_unique<Variant>(rows, what.layers);
    for (int row = 0; row < rows; ++row) {
        const int n = points_of(what.filling, row);
        for (int layer = 0; layer < n; ++layer)
            grid->append(row, point_of(row, layer));
        m.points += n;
    }
    m.fill = lap();
    m.grid_bytes = peak_bytes() - before;
    start = processor_seconds();
    CPdc pdc;
    grid->convert(pdc);
    m.convert = lap();
    m.peak_bytes = peak_bytes() - before;
    std::FILE* const nowhere = std::fopen("/dev/null", "wb");
    start = processor_seconds();
    WritePdc(nowhere, pdc);
    m.write = lap();
    (void)std::fclose(nowhere);
    start = processor_seconds();
    grid.reset();
    m.free = lap();
    return m;
}

template <class Variant>
Measured measure_apart(const Case& what, int samples) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) std::abort();
    const pid_t child = fork();
    if (child == 0) {
        const Measured m = measure<Variant>(what, samples);
        _exit(write(ends[1], &m, sizeof m) == sizeof m ? 0 : 1);
    }
    close(ends[1]);
    Measured m;
    const ssize_t got = read(ends[0], &m, sizeof m);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (got != sizeof m || status != 0) {
        (void)std::fprintf(
            stderr, "grid_bench: a measurement failed; the process may have run out of memory\n");
        std::exit(1);
    }
    return m;
}

void keep_fastest(Measured& best, const Measured& m) {
    best.points = m.points;
    best.grid_bytes = m.grid_bytes;
    best.peak_bytes = m.peak_bytes;
    for (double Measured::*const time :
         {&Measured::fill, &Measured::convert, &Measured::write, &Measured::free})
        best.*time = best.*time == 0 ? m.*time : std::min(best.*time, m.*time);
}

void print(const char* name, const Measured& m) {
    constexpr double kMib = 1 << 20;
    std::printf("  %-5s fill %7.3f s  to cache %7.3f s  write %7.3f s  free %7.3f s  "
                "grid %8.0f MiB  peak %8.0f MiB\n",
                name, m.fill, m.convert, m.write, m.free, m.grid_bytes / kMib, m.peak_bytes / kMib);
}

} // namespace

// bench_grid [SAMPLES [ROUNDS]]: samples per pixel, 1 by default. 16 samples need 16 GiB.
int main(int argc, char** argv) {
    const auto number = [&](int at, int otherwise) {
        return argc > at ? static_cast<int>(std::strtol(argv[at], nullptr, 10)) : otherwise;
    };
    const int samples = number(1, 1);
    const int rounds = number(2, 5);
    for (const Case& what : kCases) {
        Measured grid;
        Measured flat;
        for (int round = 0; round < rounds; ++round) {
            keep_fastest(grid, measure_apart<GridVariant>(what, samples));
            keep_fastest(flat, measure_apart<FlatVariant>(what, samples));
        }
        std::printf("%s, 1920 x 1080 x %d, %.1f million points\n", what.name, samples,
                    grid.points / 1e6);
        print("grid", grid);
        print("flat", flat);
        const auto all = [](const Measured& m) { return m.fill + m.convert + m.free; };
        const std::string name = std::string("grid: ") + what.name + ", of one array: ";
        vx::bench::print_ratio(name + "time", all(grid) / all(flat));
        vx::bench::print_ratio(name + "peak memory", grid.peak_bytes / flat.peak_bytes);
    }
    return 0;
}
