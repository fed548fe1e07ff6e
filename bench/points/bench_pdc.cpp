// PDC files of a baked cache of a million points on a memory file system: our blocks, one stdio
// call per value as particle libraries do, and the floor, the same bytes in one call.
//
// The variants take turns and the fastest run of each counts, so that a busy neighbor hits all
// alike.
#include "bench/ratio.h"
#include "src/points/pdc_file.h"
#include "src/points/point_grid.h"

#include <benchmark/benchmark.h>

#include <bit>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

constexpr int kPoints = 1000000;

std::filesystem::path g_path;

struct CloseFile {
    void operator()(std::FILE* f) const { (void)std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

CPoint bench_point(int i) {
    const float f = static_cast<float>(i) * 0.001f;
    return CPoint{f, 1.0f - f, f * f, 0.0f, 0.6f, 0.8f, 0.2f, 0.4f, 0.6f, 1.0f, i % 17};
}

const CPdc& baked_cache() {
    static const std::unique_ptr<CPdc> kCache = [] {
        CPointGrid grid;
        grid.Resize(kPoints, 1);
        for (int i = 0; i < kPoints; ++i)
            grid.Append(i, bench_point(i));
        auto pdc = std::make_unique<CPdc>();
        grid.ToPdc(pdc.get(), 0.05f);
        return pdc;
    }();
    return *kCache;
}

// The file's bytes in a buffer whose pages are there already.
std::vector<char>& ready_bytes() {
    static std::vector<char> bytes = [] {
        const File out(std::fopen(g_path.c_str(), "wb"));
        WritePdc(out.get(), baked_cache());
        (void)std::fflush(out.get());
        std::vector<char> all(std::filesystem::file_size(g_path));
        const File in(std::fopen(g_path.c_str(), "rb"));
        if (std::fread(all.data(), 1, all.size(), in.get()) != all.size()) std::abort();
        return all;
    }();
    return bytes;
}

// ---- the peer: one stdio call per value

void write_double(std::FILE* f, double value) {
    const std::uint64_t word = __builtin_bswap64(std::bit_cast<std::uint64_t>(value));
    (void)std::fwrite(&word, 8, 1, f);
}

void write_int(std::FILE* f, std::int32_t value) {
    const std::uint32_t word = __builtin_bswap32(static_cast<std::uint32_t>(value));
    (void)std::fwrite(&word, 4, 1, f);
}

double read_double(std::FILE* f) {
    std::uint64_t word = 0;
    if (std::fread(&word, 8, 1, f) != 1) std::abort();
    return std::bit_cast<double>(__builtin_bswap64(word));
}

std::int32_t read_int(std::FILE* f) {
    std::uint32_t word = 0;
    if (std::fread(&word, 4, 1, f) != 1) std::abort();
    return static_cast<std::int32_t>(__builtin_bswap32(word));
}

void write_by_value(std::FILE* f, const CPdc& pdc) {
    (void)std::fwrite(pdc.header.magic, 1, 4, f);
    for (const int field : {1, 1, 0, 0, pdc.header.particleCount, 7})
        write_int(f, field);
    for (const CAttribute& a : pdc.slots) {
        if (a.name.empty()) continue;
        write_int(f, static_cast<std::int32_t>(a.name.size()));
        (void)std::fwrite(a.name.data(), 1, a.name.size(), f);
        write_int(f, a.kind == kKindVector ? 5 : 3);
        if (a.kind == kKindFloat) {
            for (const float v : a.floats)
                write_double(f, v);
        } else if (a.kind == kKindInteger) {
            for (const std::int64_t v : a.integers)
                write_double(f, static_cast<double>(v));
        } else {
            for (const CVectorD& v : a.vectors) {
                write_double(f, v.x);
                write_double(f, v.y);
                write_double(f, v.z);
            }
        }
    }
}

void read_by_value(std::FILE* f, CPdc& pdc) {
    pdc.NameBakedSlots();
    if (std::fread(pdc.header.magic, 1, 4, f) != 4) std::abort();
    for (int i = 0; i < 4; ++i)
        read_int(f);
    const int n = read_int(f);
    const int attributes = read_int(f);
    for (int i = 0; i < attributes; ++i) {
        std::string name(static_cast<std::size_t>(read_int(f)), ' ');
        if (std::fread(name.data(), 1, name.size(), f) != name.size()) std::abort();
        read_int(f);
        for (CAttribute& a : pdc.slots) {
            if (a.name != name) continue;
            a.Resize(n);
            if (a.kind == kKindFloat) {
                for (float& v : a.floats)
                    v = static_cast<float>(read_double(f));
            } else if (a.kind == kKindInteger) {
                for (std::int64_t& v : a.integers)
                    v = static_cast<std::int64_t>(read_double(f));
            } else {
                for (CVectorD& v : a.vectors) {
                    v.x = read_double(f);
                    v.y = read_double(f);
                    v.z = read_double(f);
                }
            }
        }
    }
}

// ---- the measurements: opening and closing count, the removal of an old file does not

template <typename Work>
void timed(benchmark::State& state, Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count());
}

template <typename Write>
void bench_write(benchmark::State& state, Write write) {
    const CPdc& cache = baked_cache();
    const std::vector<char>& bytes = ready_bytes();
    for ([[maybe_unused]] auto _ : state) {
        std::filesystem::remove(g_path);
        timed(state, [&] {
            const File f(std::fopen(g_path.c_str(), "wb"));
            write(f.get(), cache, bytes);
        });
    }
    if (std::filesystem::file_size(g_path) != bytes.size()) state.SkipWithError("wrong size");
}

void write_blocks(benchmark::State& state) {
    bench_write(state, [](std::FILE* f, const CPdc& pdc, const auto&) { WritePdc(f, pdc); });
}

void write_values(benchmark::State& state) {
    bench_write(state, [](std::FILE* f, const CPdc& pdc, const auto&) { write_by_value(f, pdc); });
}

void write_floor(benchmark::State& state) {
    bench_write(state, [](std::FILE* f, const CPdc&, const std::vector<char>& bytes) {
        (void)std::fwrite(bytes.data(), 1, bytes.size(), f);
    });
}

template <typename Read>
void bench_read(benchmark::State& state, Read read) {
    ready_bytes();
    for ([[maybe_unused]] auto _ : state) {
        auto pdc = std::make_unique<CPdc>();
        timed(state, [&] {
            const File f(std::fopen(g_path.c_str(), "rb"));
            read(f.get(), *pdc);
        });
    }
}

void read_blocks(benchmark::State& state) {
    bench_read(state, [&state](std::FILE* f, CPdc& pdc) {
        if (!LoadPdc(f, pdc)) state.SkipWithError("does not load");
    });
}

void read_values(benchmark::State& state) {
    bench_read(state, [](std::FILE* f, CPdc& pdc) { read_by_value(f, pdc); });
}

void read_floor(benchmark::State& state) {
    bench_read(state, [](std::FILE* f, CPdc&) {
        std::vector<char>& bytes = ready_bytes();
        if (std::fread(bytes.data(), 1, bytes.size(), f) != bytes.size()) std::abort();
    });
}

// Keeps the fastest run of each measurement.
class FastestReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            const auto [at, fresh] = fastest.try_emplace(run.run_name.function_name, seconds);
            if (!fresh && seconds < at->second) at->second = seconds;
        }
    }

    std::map<std::string, double> fastest;
};

std::filesystem::path scratch_file() {
    const std::filesystem::path memory = "/dev/shm";
    const bool usable = ::access(memory.c_str(), W_OK) == 0;
    const auto folder = usable ? memory : std::filesystem::temp_directory_path();
    return folder / ("vx_bench_pdc_" + std::to_string(::getpid()) + ".pdc");
}

} // namespace

int main(int argc, char** argv) {
    // Turns are taken unless the command line says otherwise: it comes later and wins.
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> args(argv, argv + argc);
    args.insert(args.begin() + 1, interleave.data());
    int count = static_cast<int>(args.size());
    args.push_back(nullptr);
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;

    const std::pair<const char*, void (*)(benchmark::State&)> all[] = {
        {"write_blocks", write_blocks}, {"write_values", write_values},
        {"write_floor", write_floor},   {"read_blocks", read_blocks},
        {"read_values", read_values},   {"read_floor", read_floor}};
    for (const auto& [name, run] : all) {
        benchmark::RegisterBenchmark(name, run)->UseManualTime()->Iterations(1)->Repetitions(15);
    }

    g_path = scratch_file();
    std::cout << kPoints << " points, " << ready_bytes().size() << " bytes, in "
              << g_path.parent_path().string() << "; fastest of the runs\n";
    FastestReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::filesystem::remove(g_path);

    for (const auto& [name, run] : all) {
        const auto at = reporter.fastest.find(name);
        if (at != reporter.fastest.end()) std::printf("%-14s %8.4f s\n", name, at->second);
    }
    const auto ratio = [&](const char* what, const char* a, const char* b, double aim) {
        const auto x = reporter.fastest.find(a);
        const auto y = reporter.fastest.find(b);
        if (x == reporter.fastest.end() || y == reporter.fastest.end()) return;
        vx::bench::print_ratio(what, x->second / y->second, vx::bench::Aim::at_most, aim);
    };
    ratio("pdc: write, of one fwrite per value", "write_blocks", "write_values", 0.35);
    ratio("pdc: write, of one fwrite of ready bytes", "write_blocks", "write_floor", 1.5);
    ratio("pdc: read, of one fread per value", "read_blocks", "read_values", 0.5);
    return 0;
}
