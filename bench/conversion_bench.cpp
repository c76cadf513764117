// Conversion speed on a 1920 x 1080 image, each kernel beside memcpy of the
// same bytes (the physical limit) and the byte swap beside libyuv's, in one
// run. The ratios are printed after the table.
#include "frame/handle.h"
#include "platform/probe.h"
#include "ratio_reporter.h"

#include <quvclr/quvclr.h>

#include <benchmark/benchmark.h>
#include <lcms2.h>
#include <libyuv.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr size_t kPixels = size_t{kWidth} * kHeight;

std::vector<uint8_t> randomImage(size_t bytes) {
    std::vector<uint8_t> v(bytes);
    uint32_t seed = 1;
    for (auto& b : v) b = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
    return v;
}

// Room for four bytes a pixel; the three-byte benchmarks use the front.
struct Images {
    std::vector<uint8_t> src = randomImage(4 * kPixels);
    std::vector<uint8_t> dst = std::vector<uint8_t>(4 * kPixels);
};
Images& images() {
    static Images im;
    return im;
}

void setRates(benchmark::State& state, int64_t pixelsPerIteration, int64_t bytesPerPixel) {
    state.SetItemsProcessed(state.iterations() * pixelsPerIteration);
    state.SetBytesProcessed(state.iterations() * pixelsPerIteration * bytesPerPixel);
}

void Memcpy(benchmark::State& state) {
    Images& im = images();
    for (auto _ : state) {
        std::memcpy(im.dst.data(), im.src.data(), 3 * kPixels);
        benchmark::ClobberMemory();
    }
    setRates(state, kPixels, 3);
}

void ByteSwap(benchmark::State& state) {
    Images& im = images();
    for (auto _ : state) {
        if (Quv_ClrConvertDirect(ClrSpaceRgb, ClrSpaceBgr, im.src.data(), im.dst.data(), kWidth, kHeight, 0, 0) !=
            CLR_SUCCESS)
            state.SkipWithError("convert failed");
        benchmark::ClobberMemory();
    }
    setRates(state, kPixels, 3);
}

void LibyuvRawToRgb24(benchmark::State& state) {
    Images& im = images();
    for (auto _ : state) {
        libyuv::RAWToRGB24(im.src.data(), 3 * kWidth, im.dst.data(), 3 * kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    setRates(state, kPixels, 3);
}

// libyuv's nearest jobs for the packed video formats: 4-byte ARGB against
// the library's 3-byte RGB, its own rounding; the speed is what is compared.
void Libyuv(benchmark::State& state, int (*fn)(const uint8_t*, int, uint8_t*, int, int, int), bool fromArgb) {
    Images& im = images();
    for (auto _ : state) {
        if (fromArgb)
            fn(im.src.data(), 4 * kWidth, im.dst.data(), 2 * kWidth, kWidth, kHeight);
        else
            fn(im.src.data(), 2 * kWidth, im.dst.data(), 4 * kWidth, kWidth, kHeight);
        benchmark::ClobberMemory();
    }
    setRates(state, kPixels, 3);
}

// A whole 24-bit bitmap through Quv_ClrConvertBitmap, in place.
void WholeBitmap(benchmark::State& state, ClrSpace to) {
    Images& im = images();
    QuvBitmap bitmap{};
    quvBitmapAllocate(&bitmap, QUV_BITMAP_SIZE, 0, kWidth, kHeight, 24, 1, 0, QUV_VIEW_TOP_LEFT, 0, 0);
    for (int r = 0; r < kHeight; ++r) quvBitmapPutRow(&bitmap, im.src.data() + 3 * kWidth * r, r, 3 * kWidth);
    ClrHandle* h = nullptr;
    Quv_ClrInit(&h, ClrSpaceRgb, to, nullptr);
    for (auto _ : state) {
        if (Quv_ClrConvertBitmap(h, &bitmap, nullptr) != CLR_SUCCESS) state.SkipWithError("convert failed");
        benchmark::ClobberMemory();
    }
    Quv_ClrFree(h);
    quvBitmapFree(&bitmap);
    setRates(state, kPixels, 3);
}

// A handle's conversion of the whole image; inverse directions read the
// forward direction's output, so HLS sees valid pixels.
void Convert(benchmark::State& state, ClrSpace from, ClrSpace to, ClrParams* params) {
    Images& im = images();
    std::vector<uint8_t> input = im.src;
    if (from != ClrSpaceRgb)
        Quv_ClrConvertDirect(ClrSpaceRgb, from, im.src.data(), input.data(), kWidth, kHeight, 0, 0);
    ClrHandle* h = nullptr;
    if (Quv_ClrInit(&h, from, to, params) != CLR_SUCCESS) {
        state.SkipWithError("no handle for this pair and method");
        return;
    }
    for (auto _ : state) {
        if (Quv_ClrConvert(h, input.data(), im.dst.data(), kWidth, kHeight, 0, 0) < 0)
            state.SkipWithError("convert failed");
        benchmark::ClobberMemory();
    }
    Quv_ClrFree(h);
    setRates(state, kPixels, 3);
}

void Kernel(benchmark::State& state, ClrSpace from, ClrSpace to) { Convert(state, from, to, nullptr); }

void SameSpaceCopy(benchmark::State& state) { Convert(state, ClrSpaceRgb, ClrSpaceRgb, nullptr); }

ClrParams methodParams(ClrMethod method) {
    ClrParams p;
    std::memset(&p, 0, sizeof p);
    p.size = CLR_PARAMS_SIZE;
    p.activeMethod = p.methodMask = method;
    return p;
}

void FixedLab(benchmark::State& state, ClrSpace from, ClrSpace to) {
    ClrParams p = methodParams(CLR_METHOD_BUILTIN);
    ClrLabParams lab{sizeof(ClrLabParams), 0, 0, 100, 128, 170, 96, 200};
    p.labParams = &lab;
    Convert(state, from, to, &p);
}

void Icc(benchmark::State& state, ClrSpace from, ClrSpace to) {
    ClrParams p = methodParams(CLR_METHOD_ICC);
    Convert(state, from, to, &p);
}

// The same transform the handle holds, run by lcms2 directly on the same buffers.
void IccDirect(benchmark::State& state, ClrSpace from, ClrSpace to) {
    Images& im = images();
    ClrParams p = methodParams(CLR_METHOD_ICC);
    ClrHandle* h = nullptr;
    if (Quv_ClrInit(&h, from, to, &p) != CLR_SUCCESS) {
        state.SkipWithError("no handle for this pair and method");
        return;
    }
    for (auto _ : state) {
        cmsDoTransform(h->iccTransform, im.src.data(), im.dst.data(), static_cast<cmsUInt32Number>(kPixels));
        benchmark::ClobberMemory();
    }
    Quv_ClrFree(h);
    setRates(state, kPixels, 3);
}

// One 1920-pixel row through a handle, and the memory proofs such a call
// makes on a registered handle (source and destination), asked of a fresh
// probe as each call does.
void OneRowConvert(benchmark::State& state) {
    Images& im = images();
    ClrHandle* h = nullptr;
    Quv_ClrInit(&h, ClrSpaceRgb, ClrSpaceYuv, nullptr);
    for (auto _ : state) {
        Quv_ClrConvert(h, im.src.data(), im.dst.data(), kWidth, 1, 0, 0);
        benchmark::ClobberMemory();
    }
    Quv_ClrFree(h);
    setRates(state, kWidth, 3);
}

void OneRowProbes(benchmark::State& state) {
    Images& im = images();
    for (auto _ : state) {
        quv::MemoryProbe probe;
        bool ok = probe.readable(im.src.data(), 3 * kWidth) && probe.writable(im.dst.data(), 3 * kWidth);
        benchmark::DoNotOptimize(ok);
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::RegisterBenchmark("Memcpy", Memcpy);
    benchmark::RegisterBenchmark("SameSpaceCopy", SameSpaceCopy);
    benchmark::RegisterBenchmark("LibyuvRawToRgb24", LibyuvRawToRgb24);
    benchmark::RegisterBenchmark("ByteSwap", ByteSwap);
    benchmark::RegisterBenchmark("OneRowConvert", OneRowConvert);
    benchmark::RegisterBenchmark("OneRowProbes", OneRowProbes);
    const struct {
        const char* name;
        ClrSpace space;
    } spaces[] = {{"yuv", ClrSpaceYuv},     {"yiq", ClrSpaceYiq}, {"ycbcr", ClrSpaceYcbcr}, {"xyz", ClrSpaceXyz},
                  {"hsv", ClrSpaceHsv},     {"hls", ClrSpaceHls}, {"hsi", ClrSpaceHsi},     {"cmy", ClrSpaceCmy},
                  {"cmyk", ClrSpaceCmyk},   {"lab", ClrSpaceLab}, {"ycck", ClrSpaceYcck},     {"yuy2", ClrSpaceYuy2},
                  {"uyvy", ClrSpaceUyvy},   {"y41p", ClrSpaceY41p}, {"yvu9", ClrSpaceYvu9}};
    for (const auto& s : spaces) {
        const ClrSpace space = s.space;
        benchmark::RegisterBenchmark((std::string("Kernel/rgb_to_") + s.name).c_str(),
                                     [space](benchmark::State& st) { Kernel(st, ClrSpaceRgb, space); });
        benchmark::RegisterBenchmark((std::string("Kernel/") + s.name + "_to_rgb").c_str(),
                                     [space](benchmark::State& st) { Kernel(st, space, ClrSpaceRgb); });
    }
    benchmark::RegisterBenchmark("FixedLab/rgb_to_lab",
                                 [](benchmark::State& st) { FixedLab(st, ClrSpaceRgb, ClrSpaceLab); });
    benchmark::RegisterBenchmark("FixedLab/lab_to_rgb",
                                 [](benchmark::State& st) { FixedLab(st, ClrSpaceLab, ClrSpaceRgb); });
    benchmark::RegisterBenchmark("Icc/rgb_to_cmyk", [](benchmark::State& st) { Icc(st, ClrSpaceRgb, ClrSpaceCmyk); });
    benchmark::RegisterBenchmark("IccDirect/rgb_to_cmyk",
                                 [](benchmark::State& st) { IccDirect(st, ClrSpaceRgb, ClrSpaceCmyk); });
    benchmark::RegisterBenchmark("Icc/cmyk_to_rgb", [](benchmark::State& st) { Icc(st, ClrSpaceCmyk, ClrSpaceRgb); });
    benchmark::RegisterBenchmark("IccDirect/cmyk_to_rgb",
                                 [](benchmark::State& st) { IccDirect(st, ClrSpaceCmyk, ClrSpaceRgb); });
    const struct {
        const char* name;
        int (*fn)(const uint8_t*, int, uint8_t*, int, int, int);
        bool fromArgb;
    } peers[] = {{"Libyuv/rgb_to_yuy2", libyuv::ARGBToYUY2, true},
                 {"Libyuv/yuy2_to_rgb", libyuv::YUY2ToARGB, false},
                 {"Libyuv/rgb_to_uyvy", libyuv::ARGBToUYVY, true},
                 {"Libyuv/uyvy_to_rgb", libyuv::UYVYToARGB, false}};
    for (const auto& p : peers)
        benchmark::RegisterBenchmark(p.name, [p](benchmark::State& st) { Libyuv(st, p.fn, p.fromArgb); });
    benchmark::RegisterBenchmark("WholeBitmap/rgb_to_yuv", [](benchmark::State& st) { WholeBitmap(st, ClrSpaceYuv); });
    quvbench::RatioReporter reporter([](quvbench::RatioReporter& r) {
        std::printf("\nratios (higher is better for throughput, lower for cost)\n");
        r.ratio("same-space copy / memcpy (throughput, target >= 0.9)", "Memcpy", "SameSpaceCopy");
        r.ratio("byte swap / libyuv RAWToRGB24 (throughput, target >= 0.8)", "LibyuvRawToRgb24", "ByteSwap");
        r.ratio("probes / one-row convert (cost, target <= 0.10)", "OneRowProbes", "OneRowConvert");
        r.ratio("ICC rgb_to_cmyk / cmsDoTransform (throughput, target >= 0.97)", "IccDirect/rgb_to_cmyk",
                "Icc/rgb_to_cmyk");
        r.ratio("ICC cmyk_to_rgb / cmsDoTransform (throughput, target >= 0.97)", "IccDirect/cmyk_to_rgb",
                "Icc/cmyk_to_rgb");
        r.ratio("fixed-point Lab encode / floating (throughput)", "Kernel/rgb_to_lab", "FixedLab/rgb_to_lab");
        r.ratio("fixed-point Lab decode / floating (throughput)", "Kernel/lab_to_rgb", "FixedLab/lab_to_rgb");
        for (const char* f : {"rgb_to_yuy2", "rgb_to_uyvy"})
            r.ratio(std::string(f) + " / libyuv (throughput, target >= 0.5)", std::string("Libyuv/") + f,
                    std::string("Kernel/") + f);
        for (const char* f : {"yuy2_to_rgb", "uyvy_to_rgb"})
            r.ratio(std::string(f) + " / libyuv (throughput, target >= 0.8)", std::string("Libyuv/") + f,
                    std::string("Kernel/") + f);
        r.ratio("whole bitmap / one buffer (cost, target <= 1.10)", "WholeBitmap/rgb_to_yuv", "Kernel/rgb_to_yuv");
        for (const auto& [name, t] : r.seconds())
            if (name.rfind("Kernel/", 0) == 0) r.ratio(name.substr(7) + " / memcpy (throughput)", "Memcpy", name);
    });
    return quvbench::runBenchmarks(argc, argv, reporter);
}
