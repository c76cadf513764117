// Profile reading and editing on the largest profile of the system's colour
// directory, beside lcms2 doing the same job on the same bytes and beside
// memcpy of them (the physical limit of a parse or a rebuild). The ratios are
// printed after the table.
#include <quvclr/quvclr.h>

#include "ratio_reporter.h"

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Subject {
    std::string path;
    std::vector<uint8_t> bytes;
};

// The largest .icc or .icm file under /usr/share/color/icc.
const Subject& subject() {
    static const Subject s = [] {
        Subject found;
        uintmax_t best = 0;
        std::error_code ec;
        for (auto it = fs::recursive_directory_iterator("/usr/share/color/icc", ec);
             !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
            std::string ext = it->path().extension().string();
            for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
            if (!it->is_regular_file() || (ext != ".icc" && ext != ".icm")) continue;
            if (it->file_size() > best) {
                best = it->file_size();
                found.path = it->path().string();
            }
        }
        if (FILE* f = std::fopen(found.path.c_str(), "rb")) {
            found.bytes.resize(best);
            found.bytes.resize(std::fread(found.bytes.data(), 1, best, f));
            std::fclose(f);
        }
        return found;
    }();
    return s;
}

void setBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * int64_t(subject().bytes.size()));
}

void Memcpy(benchmark::State& state) {
    const std::vector<uint8_t>& bytes = subject().bytes;
    std::vector<uint8_t> copy(bytes.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), bytes.data(), bytes.size());
        benchmark::ClobberMemory();
    }
    setBytes(state);
}

void QuvParse(benchmark::State& state) {
    std::vector<uint8_t> bytes = subject().bytes;
    for (auto _ : state) {
        IccProfile p;
        Quv_InitICCProfile(&p, sizeof p);
        if (Quv_FillICCProfileStructure(&p, bytes.data(), bytes.size()) != CLR_SUCCESS)
            state.SkipWithError("parse failed");
        Quv_FreeICCProfile(&p);
    }
    setBytes(state);
}

// Parse and decode every tag into a record, as an editor does.
void QuvParseAndReadTags(benchmark::State& state) {
    std::vector<uint8_t> bytes = subject().bytes;
    for (auto _ : state) {
        IccProfile p;
        Quv_InitICCProfile(&p, sizeof p);
        if (Quv_FillICCProfileStructure(&p, bytes.data(), bytes.size()) != CLR_SUCCESS)
            state.SkipWithError("parse failed");
        for (int i = 0; i < p.tagCount; ++i) {
            const uint32_t tag = p.tagTable[i].signature;
            IccTagRecord r;
            const ClrStatus s = Quv_GetICCTagData(&p, &r, tag);
            if (s != CLR_SUCCESS && s != CLR_TAG_UNKNOWN_TYPE && s != CLR_TAG_UNKNOWN_SIGNATURE &&
                s != CLR_TAG_UNKNOWN_BOTH)
                state.SkipWithError("tag failed");
            benchmark::DoNotOptimize(r);
            Quv_FreeICCTagType(&r, r.head.signature);
        }
        Quv_FreeICCProfile(&p);
    }
    setBytes(state);
}

void LcmsOpen(benchmark::State& state) {
    const std::vector<uint8_t>& bytes = subject().bytes;
    for (auto _ : state) {
        cmsHPROFILE h = cmsOpenProfileFromMem(bytes.data(), cmsUInt32Number(bytes.size()));
        if (!h) state.SkipWithError("lcms2 refused the profile");
        cmsCloseProfile(h);
    }
    setBytes(state);
}

// lcms2 opens the profile and reads every tag: decoded where it knows the
// type (its pipelines for lut tags), as raw bytes otherwise.
void LcmsOpenAndReadTags(benchmark::State& state) {
    const std::vector<uint8_t>& bytes = subject().bytes;
    std::vector<uint8_t> raw;
    for (auto _ : state) {
        cmsHPROFILE h = cmsOpenProfileFromMem(bytes.data(), cmsUInt32Number(bytes.size()));
        const cmsInt32Number count = cmsGetTagCount(h);
        for (cmsInt32Number i = 0; i < count; ++i) {
            const cmsTagSignature tag = cmsGetTagSignature(h, cmsUInt32Number(i));
            void* decoded = cmsReadTag(h, tag);
            if (!decoded) {
                const cmsInt32Number n = cmsReadRawTag(h, tag, nullptr, 0);
                raw.resize(size_t(std::max(n, 0)));
                cmsReadRawTag(h, tag, raw.data(), cmsUInt32Number(raw.size()));
            }
            benchmark::DoNotOptimize(decoded);
        }
        cmsCloseProfile(h);
    }
    setBytes(state);
}

// lcms2 opens the profile and copies every tag's raw bytes: the same work
// as quvclr's reading of tags it carries without decoding.
void LcmsOpenAndReadRawTags(benchmark::State& state) {
    const std::vector<uint8_t>& bytes = subject().bytes;
    std::vector<uint8_t> raw;
    for (auto _ : state) {
        cmsHPROFILE h = cmsOpenProfileFromMem(bytes.data(), cmsUInt32Number(bytes.size()));
        const cmsInt32Number count = cmsGetTagCount(h);
        for (cmsInt32Number i = 0; i < count; ++i) {
            const cmsTagSignature tag = cmsGetTagSignature(h, cmsUInt32Number(i));
            const cmsInt32Number n = cmsReadRawTag(h, tag, nullptr, 0);
            raw.resize(size_t(std::max(n, 0)));
            cmsReadRawTag(h, tag, raw.data(), cmsUInt32Number(raw.size()));
            benchmark::DoNotOptimize(raw.data());
        }
        cmsCloseProfile(h);
    }
    setBytes(state);
}

// One header setter: it stores the field and rebuilds the whole image.
void QuvHeaderSetter(benchmark::State& state) {
    std::vector<uint8_t> bytes = subject().bytes;
    IccProfile p;
    Quv_InitICCProfile(&p, sizeof p);
    Quv_FillICCProfileStructure(&p, bytes.data(), bytes.size());
    uint32_t creator = 0;
    for (auto _ : state) {
        if (Quv_SetICCCreator(&p, ++creator) != CLR_SUCCESS) state.SkipWithError("setter failed");
    }
    Quv_FreeICCProfile(&p);
    setBytes(state);
}

}  // namespace

int main(int argc, char** argv) {
    if (subject().bytes.empty()) {
        std::fprintf(stderr, "no profile under /usr/share/color/icc (scripts/setup installs them)\n");
        return 1;
    }
    benchmark::RegisterBenchmark("Memcpy", Memcpy);
    benchmark::RegisterBenchmark("QuvParse", QuvParse);
    benchmark::RegisterBenchmark("LcmsOpen", LcmsOpen);
    benchmark::RegisterBenchmark("QuvParseAndReadTags", QuvParseAndReadTags);
    benchmark::RegisterBenchmark("LcmsOpenAndReadTags", LcmsOpenAndReadTags);
    benchmark::RegisterBenchmark("LcmsOpenAndReadRawTags", LcmsOpenAndReadRawTags);
    benchmark::RegisterBenchmark("QuvHeaderSetter", QuvHeaderSetter);
    quvbench::RatioReporter reporter([](quvbench::RatioReporter& r) {
        std::printf("\nprofile: %s, %zu bytes\n", subject().path.c_str(), subject().bytes.size());
        std::printf("ratios (time of the first over time of the second; below 1 means quvclr is faster)\n");
        r.ratio("quvclr parse + read all tags / lcms2 open + read all tags", "QuvParseAndReadTags",
                "LcmsOpenAndReadTags");
        r.ratio("quvclr parse + read all tags / lcms2 open + raw-read all tags", "QuvParseAndReadTags",
                "LcmsOpenAndReadRawTags");
        r.ratio("quvclr parse / lcms2 open", "QuvParse", "LcmsOpen");
        r.ratio("quvclr parse / memcpy of the profile", "QuvParse", "Memcpy");
        r.ratio("one header setter (whole rebuild) / memcpy of the profile", "QuvHeaderSetter", "Memcpy");
    });
    return quvbench::runBenchmarks(argc, argv, reporter);
}
