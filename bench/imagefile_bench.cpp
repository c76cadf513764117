// Profiles in large image files, beside exiv2 doing the same job: extracting
// the profile of a JPEG, a TIFF and a WebP, and embedding one into a JPEG.
// Both sides run as whole processes (the quvclr program and the exiv2
// program), so each pays its start-up; the library call alone is timed too.
// The ratios (exiv2 time over ours: above 1 means faster than exiv2) are
// printed after the table.
#include <quvclr/quvclr.h>

#include "ratio_reporter.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

const std::string kProfile = "/usr/share/color/icc/ITULab.icc";  // 431756 bytes
const std::string kSmallProfile = "/usr/share/color/icc/compatibleWithAdobeRGB1998.icc";

// Noise makes files of photographic size: 3000 x 2000 pixels.
const std::string& workDir() {
    static const std::string dir = [] {
        char pattern[] = "/tmp/quvclr_bench_XXXXXX";
        const std::string d = mkdtemp(pattern);
        const std::string make = "cd " + d +
                                 " && convert -size 3000x2000 xc:gray +noise Random -profile " + kProfile +
                                 " large.jpg && convert large.jpg large.tif && convert large.jpg large.ppm"
                                 " && cwebp -quiet large.ppm -o plain.webp"
                                 " && webpmux -set icc " + kProfile + " plain.webp -o large.webp >/dev/null 2>&1"
                                 " && mkdir out && cp " + kSmallProfile + " embed.icc";
        if (std::system(make.c_str()) != 0) std::abort();
        return d;
    }();
    return dir;
}

int run(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid;
    int status = -1;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0) waitpid(pid, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return status;
}

void ExtractQuvclr(benchmark::State& state, const char* file) {
    const std::string in = workDir() + "/" + file, out = workDir() + "/out/quvclr.icc";
    for (auto _ : state)
        if (run({QUVCLR_TOOL, "extract", in, out}) != 0) state.SkipWithError("quvclr extract failed");
}

void ExtractExiv2(benchmark::State& state, const char* file) {
    const std::string in = workDir() + "/" + file, out = workDir() + "/out";
    for (auto _ : state)
        if (run({"exiv2", "-q", "-f", "-eC", "-l", out, in}) != 0) state.SkipWithError("exiv2 -eC failed");
}

void ExtractLibrary(benchmark::State& state, const char* file) {
    const std::string in = workDir() + "/" + file;
    for (auto _ : state) {
        IccProfile p;
        Quv_InitICCProfile(&p, sizeof p);
        if (Quv_LoadICCProfileA(in.c_str(), &p, nullptr) != CLR_SUCCESS) state.SkipWithError("load failed");
        Quv_FreeICCProfile(&p);
    }
}

// Embedding rewrites the file: each side works on its own copy, made afresh
// outside the timing.
void EmbedQuvclr(benchmark::State& state) {
    const std::string copy = workDir() + "/q_embed.jpg";
    for (auto _ : state) {
        state.PauseTiming();
        fs::copy_file(workDir() + "/large.jpg", copy, fs::copy_options::overwrite_existing);
        state.ResumeTiming();
        if (run({QUVCLR_TOOL, "embed", copy, workDir() + "/embed.icc"}) != 0) state.SkipWithError("embed failed");
    }
}

void EmbedExiv2(benchmark::State& state) {
    // exiv2 -iC takes the profile from <name>.icc beside the image.
    const std::string copy = workDir() + "/embed.jpg";
    for (auto _ : state) {
        state.PauseTiming();
        fs::copy_file(workDir() + "/large.jpg", copy, fs::copy_options::overwrite_existing);
        state.ResumeTiming();
        if (run({"exiv2", "-q", "-iC", copy}) != 0) state.SkipWithError("exiv2 -iC failed");
    }
}

BENCHMARK_CAPTURE(ExtractQuvclr, jpeg, "large.jpg")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractExiv2, jpeg, "large.jpg")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractLibrary, jpeg, "large.jpg")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractQuvclr, tiff, "large.tif")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractExiv2, tiff, "large.tif")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractLibrary, tiff, "large.tif")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractQuvclr, webp, "large.webp")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractExiv2, webp, "large.webp")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ExtractLibrary, webp, "large.webp")->Unit(benchmark::kMillisecond);
BENCHMARK(EmbedQuvclr)->Unit(benchmark::kMillisecond);
BENCHMARK(EmbedExiv2)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    workDir();
    quvbench::RatioReporter reporter([](quvbench::RatioReporter& r) {
        std::printf("\nexiv2 time / quvclr time (above 1: quvclr faster)\n");
        for (const char* kind : {"jpeg", "tiff", "webp"})
            r.ratio(std::string("extract ") + kind, std::string("ExtractExiv2/") + kind,
                    std::string("ExtractQuvclr/") + kind);
        r.ratio("embed jpeg", "EmbedExiv2", "EmbedQuvclr");
    });
    benchmark::RunSpecifiedBenchmarks(&reporter);
    fs::remove_all(workDir());
    return 0;
}
