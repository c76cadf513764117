// Conversion speed on a 1920 x 1080 image, each kernel beside memcpy of the
// same bytes (the physical limit), the byte swap beside libyuv's, and the
// formula kernels beside their reference forms and OpenCV's nearest job, in
// one run. The ratios and the kernel table are printed after the results.
#include "frame/handle.h"
#include "kernels/catalogue.h"
#include "kernels/hue.h"
#include "kernels/ink.h"
#include "kernels/lab.h"
#include "kernels/matrix.h"
#include "kernels/reference.h"
#include "kernels/video.h"
#include "platform/probe.h"
#include "ratio_reporter.h"

#include <quvclr/quvclr.h>

#include <benchmark/benchmark.h>
#include <lcms2.h>
#include <libyuv.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

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

// A whole 24-bit bitmap through Quv_ClrConvertBitmap, in place (its pixels
// put back untimed before each pass) or into a second bitmap: either way
// each pass converts the pixels the one-buffer job converts.
void WholeBitmap(benchmark::State& state, ClrSpace to, bool inPlace) {
    Images& im = images();
    QuvBitmap source{}, dest{};
    for (QuvBitmap* b : {&source, &dest})
        quvBitmapAllocate(b, QUV_BITMAP_SIZE, 0, kWidth, kHeight, 24, 1, 0, QUV_VIEW_TOP_LEFT, 0, 0);
    auto fill = [&](QuvBitmap& b) {
        for (int r = 0; r < kHeight; ++r) quvBitmapPutRow(&b, im.src.data() + 3 * kWidth * r, r, 3 * kWidth);
    };
    // Both bitmaps are written once before timing, as the one-buffer job's
    // buffers are: first-touch page faults aren't the conversion's cost.
    fill(source);
    fill(dest);
    ClrHandle* h = nullptr;
    Quv_ClrInit(&h, ClrSpaceRgb, to, nullptr);
    for (auto _ : state) {
        if (inPlace) {
            state.PauseTiming();
            fill(source);
            state.ResumeTiming();
        }
        if (Quv_ClrConvertBitmap(h, &source, inPlace ? nullptr : &dest) != CLR_SUCCESS)
            state.SkipWithError("convert failed");
        benchmark::ClobberMemory();
    }
    Quv_ClrFree(h);
    quvBitmapFree(&source);
    quvBitmapFree(&dest);
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

// The frames the formula kernels run on: random bytes, and a natural-looking
// one of smooth gradients with a little noise.
std::vector<uint8_t> naturalImage() {
    std::vector<uint8_t> v(3 * kPixels);
    const std::vector<uint8_t> noise = randomImage(3 * kPixels);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x) {
            uint8_t* p = &v[3 * (y * kWidth + x)];
            const int base[3] = {int(255 * x / kWidth), int(255 * y / kHeight), int(255 - 127 * (x + y) / (kWidth + kHeight))};
            for (int c = 0; c < 3; ++c) p[c] = uint8_t(std::clamp(base[c] + (noise[&p[c] - v.data()] >> 5) - 4, 0, 255));
        }
    return v;
}

const std::vector<uint8_t>& frame(bool natural) {
    static const std::vector<uint8_t> random = randomImage(3 * kPixels), smooth = naturalImage();
    return natural ? smooth : random;
}

namespace k = quv::kernels;

ClrStatus runKernel(k::Kernel kernel, const uint8_t* src, uint8_t* dst) {
    quv::MemoryProbe probe;
    return kernel(k::KernelIo{src, dst, kWidth, kHeight, 0, 0, &probe}, 1);
}

// A kernel called on the frame, R, G, B; an inverse reads what the forward
// kernel made of the frame.
void KernelOnFrame(benchmark::State& state, k::Kernel kernel, k::Kernel forward, bool natural) {
    std::vector<uint8_t> input = frame(natural), out(4 * kPixels);
    input.resize(4 * kPixels);  // room for four-byte pixels
    if (forward) runKernel(forward, frame(natural).data(), input.data());
    for (auto _ : state) {
        if (runKernel(kernel, input.data(), out.data()) != CLR_SUCCESS) state.SkipWithError("kernel failed");
        benchmark::ClobberMemory();
    }
    setRates(state, kPixels, 3);
}

// OpenCV's nearest job, single-threaded: cvtColor with `code` (an inverse
// reads OpenCV's forward result), or for YIQ a 3 x 4 cv::transform.
constexpr int kTransform = -1;
void OpencvOnFrame(benchmark::State& state, int code, int forwardCode, bool natural) {
    cv::setNumThreads(1);
    const cv::Mat src(kHeight, kWidth, CV_8UC3, const_cast<uint8_t*>(frame(natural).data()));
    cv::Mat input = src.clone(), out;
    if (forwardCode >= 0) cv::cvtColor(src, input, forwardCode);
    const cv::Matx34f m(0.299f, 0.587f, 0.114f, 0.f, 0.596f, -0.274f, -0.322f, 128.f, 0.212f, -0.523f, 0.311f, 128.f);
    for (auto _ : state) {
        if (code == kTransform)
            cv::transform(input, out, m);
        else
            cv::cvtColor(input, out, code);
        benchmark::ClobberMemory();
    }
    setRates(state, kPixels, 3);
}

// The fixed-point Lab kernels on the records a handle with these ranges holds.
struct FixedLabRecords {
    k::LabDecodeTables decode;
    k::LabEncodeTables encode;
    FixedLabRecords() {
        const ClrLabParams ranges{sizeof(ClrLabParams), 0, 0, 100, 128, 170, 96, 200};
        k::initLabDecodeTables(decode, ranges);
        k::deriveLabDecodeTables(decode, k::kLabGamma);
        k::initLabEncodeTables(encode, ranges, k::kLabGamma);
    }
};
const FixedLabRecords& fixedLab() {
    static const auto* records = new FixedLabRecords;
    return *records;
}
ClrStatus fixedLabEncode(const k::KernelIo& io, int order) { return k::rgbToLabFixed(fixedLab().encode, io, order); }
ClrStatus fixedLabDecode(const k::KernelIo& io, int order) { return k::labToRgbFixed(fixedLab().decode, io, order); }
ClrStatus fixedLabEncodeReference(const k::KernelIo& io, int order) {
    return k::reference::rgbToLabFixed(fixedLab().encode, io, order);
}
ClrStatus fixedLabDecodeReference(const k::KernelIo& io, int order) {
    return k::reference::labToRgbFixed(fixedLab().decode, io, order);
}

// YCCK through its formulas with tables of its own, as a handle has them.
k::YcckContext ycckContext() {
    static const auto* tables = [] {
        auto* t = new k::YcckTables;
        k::buildYcckTables(*t);
        return t;
    }();
    return {true, CLR_METHOD_BUILTIN, tables, nullptr, nullptr};
}
ClrStatus succeeded(ClrStatus s) { return s < 0 ? s : CLR_SUCCESS; }
ClrStatus ycckEncode(const k::KernelIo& io, int) { return succeeded(k::rgbToYcck(io, ycckContext())); }
ClrStatus ycckEncodeReference(const k::KernelIo& io, int) {
    return succeeded(k::reference::rgbToYcck(io, ycckContext()));
}
ClrStatus ycckDecode(const k::KernelIo& io, int o) { return succeeded(k::ycckToRgb(io, ycckContext(), o)); }
ClrStatus ycckDecodeReference(const k::KernelIo& io, int o) {
    return succeeded(k::reference::ycckToRgb(io, ycckContext(), o));
}

// The formula kernels: before (the reference form), after (what the
// conversions call; absent where the two are one function) and the peer.
struct KernelJob {
    const char* name;
    k::Kernel before, after, forward;
    int peer, peerForward;  // cvtColor codes; kTransform; -2 for no peer
};
constexpr int kNoPeer = -2;
const KernelJob kJobs[] = {
    // OpenCV has no YIQ: its YUV conversions (the same job, other weights)
    // are the peer, and a 3 x 4 cv::transform the nearest general job.
    {"yiq_to_rgb", k::reference::yiqToRgb, k::yiqToRgb, k::rgbToYiq, cv::COLOR_YUV2RGB, cv::COLOR_RGB2YUV},
    {"rgb_to_yiq", k::reference::rgbToYiq, k::rgbToYiq, nullptr, cv::COLOR_RGB2YUV, -1},
    {"yiq_to_rgb_3x4", nullptr, k::yiqToRgb, k::rgbToYiq, kTransform, -1},
    {"rgb_to_yiq_3x4", nullptr, k::rgbToYiq, nullptr, kTransform, -1},
    {"rgb_to_hsv", k::reference::rgbToHsv, k::rgbToHsv, nullptr, cv::COLOR_RGB2HSV_FULL, -1},
    {"hsv_to_rgb", k::reference::hsvToRgb, k::hsvToRgb, k::rgbToHsv, cv::COLOR_HSV2RGB_FULL, cv::COLOR_RGB2HSV_FULL},
    {"rgb_to_hls", k::reference::rgbToHls, k::rgbToHls, nullptr, cv::COLOR_RGB2HLS_FULL, -1},
    {"hls_to_rgb", k::reference::hlsToRgb, k::hlsToRgb, k::rgbToHls, cv::COLOR_HLS2RGB_FULL, cv::COLOR_RGB2HLS_FULL},
    {"rgb_to_lab", k::reference::rgbToLab, k::rgbToLab, nullptr, cv::COLOR_RGB2Lab, -1},
    {"lab_to_rgb", k::reference::labToRgb, k::labToRgb, k::rgbToLab, cv::COLOR_Lab2RGB, cv::COLOR_RGB2Lab},
    {"lab_fixed_encode", fixedLabEncodeReference, fixedLabEncode, nullptr, cv::COLOR_RGB2Lab, -1},
    {"lab_fixed_decode", fixedLabDecodeReference, fixedLabDecode, fixedLabEncode, cv::COLOR_Lab2RGB, cv::COLOR_RGB2Lab},
    {"rgb_to_yuv", k::reference::rgbToYuv, k::rgbToYuv, nullptr, cv::COLOR_RGB2YUV, -1},
    {"yuv_to_rgb", k::reference::yuvToRgb, k::yuvToRgb, k::rgbToYuv, cv::COLOR_YUV2RGB, cv::COLOR_RGB2YUV},
    {"rgb_to_ycbcr", k::reference::rgbToYcbcr, k::rgbToYcbcr, nullptr, cv::COLOR_RGB2YCrCb, -1},
    {"ycbcr_to_rgb", k::reference::ycbcrToRgb, k::ycbcrToRgb, k::rgbToYcbcr, cv::COLOR_YCrCb2RGB, cv::COLOR_RGB2YCrCb},
    {"hsi_to_rgb", k::reference::hsiToRgb, k::hsiToRgb, k::rgbToHsi, kNoPeer, -1},
    {"rgb_to_hsi", nullptr, k::rgbToHsi, nullptr, kNoPeer, -1},
    {"rgb_to_yuy2", k::reference::rgbToYuy2, k::rgbToYuy2, nullptr, kNoPeer, -1},
    {"yuy2_to_rgb", k::reference::yuy2ToRgb, k::yuy2ToRgb, k::rgbToYuy2, kNoPeer, -1},
    {"rgb_to_uyvy", k::reference::rgbToUyvy, k::rgbToUyvy, nullptr, kNoPeer, -1},
    {"uyvy_to_rgb", k::reference::uyvyToRgb, k::uyvyToRgb, k::rgbToUyvy, kNoPeer, -1},
    {"rgb_to_y41p", k::reference::rgbToY41p, k::rgbToY41p, nullptr, kNoPeer, -1},
    {"y41p_to_rgb", k::reference::y41pToRgb, k::y41pToRgb, k::rgbToY41p, kNoPeer, -1},
    {"rgb_to_yvu9", k::reference::rgbToYvu9, k::rgbToYvu9, nullptr, kNoPeer, -1},
    {"yvu9_to_rgb", k::reference::yvu9ToRgb, k::yvu9ToRgb, k::rgbToYvu9, kNoPeer, -1},
    {"rgb_to_ycck", ycckEncodeReference, ycckEncode, nullptr, kNoPeer, -1},
    {"ycck_to_rgb", ycckDecodeReference, ycckDecode, ycckEncode, kNoPeer, -1},
};

void registerKernelJobs() {
    for (bool natural : {false, true})
        for (const KernelJob& j : kJobs) {
            const std::string tail = std::string("/") + j.name + (natural ? "/natural" : "/random");
            if (j.before)
                benchmark::RegisterBenchmark(("Before" + tail).c_str(), [j, natural](benchmark::State& st) {
                    KernelOnFrame(st, j.before, j.forward, natural);
                });
            benchmark::RegisterBenchmark(("After" + tail).c_str(), [j, natural](benchmark::State& st) {
                KernelOnFrame(st, j.after, j.forward, natural);
            });
            if (j.peer != kNoPeer)
                benchmark::RegisterBenchmark(("Peer" + tail).c_str(), [j, natural](benchmark::State& st) {
                    OpencvOnFrame(st, j.peer, j.peerForward, natural);
                });
        }
}

// Mpx/s of each side, after / peer, after / before, and after as a fraction
// of memcpy of the same bytes, from processor time.
void printKernelTable(quvbench::RatioReporter& r) {
    const auto& t = r.cpuSeconds();
    auto mpx = [&](const std::string& name) { return t.count(name) ? kPixels / t.at(name) * 1e3 : 0.0; };
    std::printf("\nformula kernels, median processor time, 1920 x 1080, one thread\n%-22s %9s %9s %9s %9s %9s %8s\n", "kernel (Mpx/s)", "before", "after", "OpenCV", "aft/peer",
                "aft/bef", "/memcpy");
    for (bool natural : {false, true})
        for (const KernelJob& j : kJobs) {
            const std::string tail = std::string("/") + j.name + (natural ? "/natural" : "/random");
            const double before = mpx("Before" + tail), after = mpx("After" + tail), peer = mpx("Peer" + tail);
            const double copy = mpx("Memcpy");
            std::printf("%-22s %9.0f %9.0f %9.0f %9.3f %9.2f %8.3f\n",
                        (std::string(j.name) + (natural ? " nat" : " rnd")).c_str(), before, after, peer,
                        peer > 0 ? after / peer : 0.0, before > 0 ? after / before : 0.0, copy > 0 ? after / copy : 0.0);
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
    for (const auto& s : k::kSpaces) {
        if (k::isRgbSide(s.space) || s.space == ClrSpaceRgb444) continue;
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
    benchmark::RegisterBenchmark("WholeBitmap/in_place", [](benchmark::State& st) { WholeBitmap(st, ClrSpaceYuv, true); });
    benchmark::RegisterBenchmark("WholeBitmap/into_another",
                                 [](benchmark::State& st) { WholeBitmap(st, ClrSpaceYuv, false); });
    registerKernelJobs();
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
        for (const char* job : {"in_place", "into_another"})
            r.ratio(std::string("whole bitmap ") + job + " / one buffer, RGB to YUV (cost, target <= 1.10)",
                    std::string("WholeBitmap/") + job, "Kernel/rgb_to_yuv");
        for (const auto& [name, t] : r.seconds())
            if (name.rfind("Kernel/", 0) == 0) r.ratio(name.substr(7) + " / memcpy (throughput)", "Memcpy", name);
        printKernelTable(r);
    });
    return quvbench::runBenchmarks(argc, argv, reporter);
}
