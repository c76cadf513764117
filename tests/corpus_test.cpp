// Profiles nobody here wrote: every ICC profile under /usr/share/color/icc
// (Debian's icc-profiles-free and colord-data), with lcms2 as the oracle. Each
// is read from its file, generated back, and compared byte for byte; every tag
// is read (the compound types judged by lcms2's own reading), written back
// through Quv_SetICCTagData and compared with the raw tag lcms2 reads; lcms2
// must open every regenerated image. The smallest of them is then cut at
// every length and its rows pointed outside.
#include "icc_support.h"
#include "lcms_oracle.h"
#include "test_support.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace quvtest;
namespace fs = std::filesystem;

const char* const kCorpusDir = "/usr/share/color/icc";

std::vector<std::string> corpus() {
    std::vector<std::string> paths;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(kCorpusDir, ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (!it->is_regular_file()) continue;
        std::string ext = it->path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
        if (ext == ".icc" || ext == ".icm") paths.push_back(it->path().string());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// Where the store departs from the file by design: attribute bytes 56 to 59
// (not kept) and the reserved area (always written as zero).
bool departs(size_t i) { return (i >= 56 && i < 60) || (i >= 100 && i < 128); }

// The profile with those bytes as the store writes them.
std::vector<uint8_t> asStored(std::vector<uint8_t> bytes, size_t declared) {
    bytes.resize(declared);
    for (size_t i = 0; i < bytes.size(); ++i)
        if (departs(i)) bytes[i] = 0;
    return bytes;
}

struct Lcms {
    cmsHPROFILE h;
    Lcms(const void* bytes, size_t n) : h(cmsOpenProfileFromMem(bytes, cmsUInt32Number(n))) {}
    ~Lcms() {
        if (h) cmsCloseProfile(h);
    }
    std::vector<uint8_t> raw(uint32_t tag) const {
        const cmsInt32Number n = cmsReadRawTag(h, cmsTagSignature(tag), nullptr, 0);
        std::vector<uint8_t> bytes(n > 0 ? size_t(n) : 0);
        if (n > 0) cmsReadRawTag(h, cmsTagSignature(tag), bytes.data(), cmsUInt32Number(n));
        return bytes;
    }
};

// What a Set keeps of the string `bytes` (ended by two zero bytes): a copy of
// one byte per 16-bit unit plus one, then of that copy one byte per unit plus
// one, bytes behind the copy counting as zero.
std::vector<uint8_t> storedText(std::vector<uint8_t> bytes) {
    bytes.resize(bytes.size() + 2, 0);
    auto units = [](const std::vector<uint8_t>& b) {
        auto at = [&](size_t i) { return i < b.size() ? b[i] : uint8_t(0); };
        size_t n = 0;
        while (at(2 * n) || at(2 * n + 1)) ++n;
        return n;
    };
    const std::vector<uint8_t> copy(bytes.begin(), bytes.begin() + units(bytes) + 1);
    return std::vector<uint8_t>(copy.begin(), copy.begin() + units(copy) + 1);
}

// A decoded curve agrees with lcms2's reading of it: the table of a "curv"
// of two points or more, the parameters of a "para".
void expectSameCurve(const IccTagRecord& r, const cmsToneCurve* curve) {
    ASSERT_NE(curve, nullptr);
    if (r.head.signature == ICC_TYPE_PARAMETRIC_CURVE) {
        EXPECT_EQ(cmsGetToneCurveParametricType(curve), r.parametricCurve.function + 1);
        const double* params = cmsGetToneCurveParams(curve);
        for (uint32_t k = 0; k < Quv_GetParametricCurveNumberOfParameters(r.parametricCurve.function); ++k)
            EXPECT_DOUBLE_EQ(int32_t(r.parametricCurve.parameters[k]) / 65536.0, params[k]) << k;
    } else if (r.curve.count >= 2) {
        ASSERT_EQ(cmsGetToneCurveEstimatedTableEntries(curve), r.curve.count);
        EXPECT_EQ(std::memcmp(cmsGetToneCurveEstimatedTable(curve), r.curve.points, 2 * r.curve.count), 0);
    }
}

class Corpus : public testing::TestWithParam<std::string> {};

TEST(CorpusDirectory, HoldsTheDebianProfiles) {
    // scripts/setup installs icc-profiles-free and colord-data.
    EXPECT_GE(corpus().size(), 30u) << kCorpusDir;
}

TEST_P(Corpus, ReadsFromFileAndGeneratesTheSameBytes) {
    const std::string& path = GetParam();
    const std::vector<uint8_t> file = readFile(path);
    ScopedProfile sp;
    const ClrStatus status = Quv_FillICCProfileFromICCFileA(path.c_str(), sp.get());
    if (status != CLR_SUCCESS) {
        // Only a file that is no profile may be refused, and lcms2 must agree.
        Lcms oracle(file.data(), file.size());
        EXPECT_EQ(oracle.h, nullptr) << "refused with " << status << " but lcms2 opens it";
        EXPECT_EQ(status, CLR_INVALID_PROFILE);
        return;
    }
    const uint32_t declared = be32(file.data());
    ASSERT_EQ(+sp->dataSize, declared);
    ASSERT_EQ(std::vector<uint8_t>(sp->image, sp->image + sp->dataSize),
              std::vector<uint8_t>(file.begin(), file.begin() + declared));

    ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);
    const std::vector<uint8_t> generated(sp->image, sp->image + sp->dataSize);
    EXPECT_EQ(generated, asStored(file, declared));

    TempFile out("corpus.icc");
    ASSERT_EQ(Quv_GenerateICCFileA(sp.get(), out.path.c_str()), CLR_SUCCESS);
    EXPECT_EQ(out.read(), generated);

    Lcms original(file.data(), file.size());
    Lcms regenerated(generated.data(), generated.size());
    ASSERT_NE(original.h, nullptr);
    ASSERT_NE(regenerated.h, nullptr);
    EXPECT_EQ(cmsGetColorSpace(regenerated.h), cmsGetColorSpace(original.h));
    EXPECT_EQ(cmsGetDeviceClass(regenerated.h), cmsGetDeviceClass(original.h));
    EXPECT_EQ(cmsGetTagCount(regenerated.h), cmsGetTagCount(original.h));
    EXPECT_EQ(cmsGetTagCount(regenerated.h), sp->tagCount);
}

TEST_P(Corpus, EveryTagReadsAndWritesBack) {
    const std::string& path = GetParam();
    ScopedProfile sp;
    if (Quv_FillICCProfileFromICCFileA(path.c_str(), sp.get()) != CLR_SUCCESS) GTEST_SKIP() << "not a profile";
    ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);
    const std::vector<uint8_t> image(sp->image, sp->image + sp->dataSize);
    Lcms oracle(image.data(), image.size());
    ASSERT_NE(oracle.h, nullptr);

    for (int i = 0; i < sp->tagCount; ++i) {
        const IccTagEntry row = sp->tagTable[i];
        char name[5] = {char(row.signature >> 24), char(row.signature >> 16), char(row.signature >> 8),
                        char(row.signature), 0};
        SCOPED_TRACE(name);
        const std::vector<uint8_t> raw = oracle.raw(row.signature);
        ASSERT_EQ(raw.size(), row.size);
        const uint32_t type = be32(raw.data());
        EXPECT_EQ(Quv_GetICCTagTypeSig(sp.get(), row.signature), type);

        ScopedRecord record;
        record.type = type;
        const ClrStatus got = Quv_GetICCTagData(sp.get(), record.get(), row.signature);
        ASSERT_TRUE(got == CLR_SUCCESS || got == CLR_TAG_UNKNOWN_SIGNATURE || got == CLR_TAG_UNKNOWN_TYPE ||
                    got == CLR_TAG_UNKNOWN_BOTH)
            << got;
        EXPECT_EQ(record.r.head.signature, type);
        const bool basic = got == CLR_SUCCESS || got == CLR_TAG_UNKNOWN_SIGNATURE;
        const std::vector<uint8_t> body(raw.begin() + 8, raw.end());

        // The decoded values agree with the bytes lcms2 reads.
        IccTagRecord input = record.r;
        std::vector<uint8_t> text;
        if (!basic) {
            ASSERT_EQ(record.r.unknown.size, body.size());
            EXPECT_EQ(std::vector<uint8_t>(record.r.unknown.bytes, record.r.unknown.bytes + body.size()), body);
        } else if (type == ICC_TYPE_XYZ) {
            ASSERT_EQ(record.r.xyz.count, body.size() / 12);
            for (uint32_t k = 0; k < record.r.xyz.count; ++k) {
                EXPECT_EQ(record.r.xyz.values[k].x, be32(&body[12 * k]));
                EXPECT_EQ(record.r.xyz.values[k].z, be32(&body[12 * k + 8]));
            }
            auto* xyz = static_cast<cmsCIEXYZ*>(cmsReadTag(oracle.h, cmsTagSignature(row.signature)));
            if (xyz && record.r.xyz.count > 0) {
                EXPECT_DOUBLE_EQ(int32_t(record.r.xyz.values[0].y) / 65536.0, xyz->Y);
            }
        } else if (type == ICC_TYPE_S15F16) {
            ASSERT_EQ(record.r.s15Fixed16Array.count, body.size() / 4);
            for (uint32_t k = 0; k < record.r.s15Fixed16Array.count; ++k)
                EXPECT_EQ(record.r.s15Fixed16Array.values[k], be32(&body[4 * k]));
            if (row.signature == sig("chad") && record.r.s15Fixed16Array.count == 9) {
                // lcms2 gives the matrix as nine doubles, row by row.
                auto* m = static_cast<const double*>(cmsReadTag(oracle.h, cmsSigChromaticAdaptationTag));
                ASSERT_NE(m, nullptr);
                EXPECT_DOUBLE_EQ(int32_t(record.r.s15Fixed16Array.values[1]) / 65536.0, m[1]);
            }
        } else if (type == ICC_TYPE_MLUC || type == ICC_TYPE_NCL2 || type == ICC_TYPE_CHRM || type == ICC_TYPE_MEAS ||
                   type == ICC_TYPE_VIEW) {
            expectAgreesWithLcms(record.r, type, cmsReadTag(oracle.h, cmsTagSignature(row.signature)));
        } else if (type == ICC_TYPE_TEXT) {
            EXPECT_EQ(std::memcmp(record.r.text.text, body.data(), body.size()), 0);
            // The caller's string for Set ends in a 16-bit zero.
            text.assign(body.begin(), body.end());
            text.resize(text.size() + 2, 0);
            input.text.text = reinterpret_cast<char*>(text.data());
        } else if ((type == ICC_TYPE_CURVE || type == ICC_TYPE_PARAMETRIC_CURVE) && (row.signature & 0xFFFFFF) ==
                                                                                      (sig("rTRC") & 0xFFFFFF)) {
            expectSameCurve(record.r, static_cast<const cmsToneCurve*>(
                                          cmsReadTag(oracle.h, cmsTagSignature(row.signature))));
        }
        // A record read from a multi-stage table is no input to Set.
        if (type == ICC_TYPE_LUT_A_TO_B || type == ICC_TYPE_LUT_B_TO_A) continue;

        // Written back into a fresh copy (a Set deletes first, and a deleted
        // value shared by two rows would take its twin along).
        ScopedProfile copy;
        ASSERT_EQ(Quv_FillICCProfileStructure(copy.get(), const_cast<uint8_t*>(image.data()), image.size()),
                  CLR_SUCCESS);
        const ClrStatus set = Quv_SetICCTagData(copy.get(), &input, row.signature, type);
        EXPECT_EQ(set, got);
        ASSERT_EQ(copy->tagTable[copy->tagCount - 1].signature, row.signature);
        const IccTagEntry& last = copy->tagTable[copy->tagCount - 1];
        const uint8_t* stored = copy->tagData + (last.offset - 132 - 12 * copy->tagCount);
        const std::vector<uint8_t> storedBytes(stored, stored + last.size);
        if (type == ICC_TYPE_TEXT) {
            // Text is measured in 16-bit units: it keeps the prefix that gives.
            EXPECT_EQ(storedBytes, tagValue(ICC_TYPE_TEXT, storedText(body)));
        } else if (type == ICC_TYPE_CURVE && be32(&raw[8]) == 1) {
            // One point is written under a row of 13 bytes, one short of it.
            EXPECT_EQ(storedBytes, std::vector<uint8_t>(raw.begin(), raw.begin() + 13));
        } else if (type == ICC_TYPE_LUT16) {
            // Sized by its tables, whatever the row said, and with its padding
            // byte written as zero.
            std::vector<uint8_t> want(raw.begin(), raw.begin() + std::min(raw.size(), storedBytes.size()));
            want[11] = 0;
            EXPECT_EQ(storedBytes, want);
        } else {
            EXPECT_EQ(storedBytes, raw);
        }

        // The edited profile is a valid image that lcms2 opens, with the tag.
        ASSERT_EQ(Quv_GenerateICCPointer(copy.get()), CLR_SUCCESS);
        Lcms edited(copy->image, copy->dataSize);
        ASSERT_NE(edited.h, nullptr);
        EXPECT_EQ(edited.raw(row.signature), storedBytes);
        if (type == ICC_TYPE_CURVE || type == ICC_TYPE_PARAMETRIC_CURVE || type == ICC_TYPE_LUT16) {
            EXPECT_NE(cmsReadTag(edited.h, cmsTagSignature(row.signature)), nullptr);
        }
    }
}

std::string testName(const testing::TestParamInfo<std::string>& info) {
    std::string name = fs::path(info.param).parent_path().filename().string() + "_" +
                       fs::path(info.param).filename().string();
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(SystemProfiles, Corpus, testing::ValuesIn(corpus()), testName);

// The smallest profile of the corpus, cut and corrupted.
std::string smallestProfile() {
    std::string best;
    uintmax_t bestSize = UINTMAX_MAX;
    for (const std::string& p : corpus()) {
        const uintmax_t n = fs::file_size(p);
        if (n < bestSize) {
            bestSize = n;
            best = p;
        }
    }
    return best;
}

TEST(CorpusDamage, EveryCutOfTheSmallestProfileGivesAStatusAndLeaksNothing) {
    const std::string path = smallestProfile();
    ASSERT_FALSE(path.empty());
    const std::vector<uint8_t> file = readFile(path);
    TempFile cutFile("cut.icc");
    const long shared = quv::testing::liveSharedBlocks(), privateBlocks = quv::testing::livePrivateBlocks();
    for (size_t n = 0; n < file.size(); ++n) {
        // Exactly n bytes, so that a read past them is caught.
        std::vector<uint8_t> cut(file.begin(), file.begin() + n);
        ScopedProfile fromMemory;
        EXPECT_EQ(Quv_FillICCProfileStructure(fromMemory.get(), cut.data(), n),
                  n ? CLR_EPS_PROFILE_MALFORMED : CLR_INVALID_PARAMETER)
            << n;
        EXPECT_EQ(+fromMemory->image, nullptr);
        cutFile.write(cut);
        ScopedProfile fromFile;
        EXPECT_EQ(Quv_FillICCProfileFromICCFileA(cutFile.path.c_str(), fromFile.get()),
                  n < 128 ? CLR_FILE_READ_FAILED : CLR_INVALID_PROFILE)
            << n;
        EXPECT_EQ(+fromFile->image, nullptr);
    }
    EXPECT_EQ(quv::testing::liveSharedBlocks(), shared);
    EXPECT_EQ(quv::testing::livePrivateBlocks(), privateBlocks);
}

TEST(CorpusDamage, CorruptedTablesOfTheSmallestProfileGiveStatuses) {
    const std::vector<uint8_t> file = readFile(smallestProfile());
    const uint32_t count = be32(&file[128]);
    ASSERT_GT(count, 0u);
    int refused = 0;
    for (uint32_t seed = 1; seed <= 200; ++seed) {
        std::vector<uint8_t> bytes = file;
        const std::vector<uint8_t> noise = randomBytes(8, seed);
        // One row's offset or size takes a value around or beyond the data.
        const size_t rowAt = 132 + 12 * (noise[0] % count);
        const uint32_t value = (uint32_t(noise[1]) << 8 | noise[2]) << (noise[3] % 20);
        putBe32(bytes, rowAt + (noise[4] & 1 ? 4 : 8), value);
        ScopedProfile sp;
        ASSERT_EQ(Quv_FillICCProfileStructure(sp.get(), bytes.data(), bytes.size()), CLR_SUCCESS);
        for (uint32_t i = 0; i < count; ++i) {
            ScopedRecord r;
            r.type = Quv_GetICCTagTypeSig(sp.get(), sp->tagTable[i].signature);
            const ClrStatus s = Quv_GetICCTagData(sp.get(), r.get(), sp->tagTable[i].signature);
            EXPECT_TRUE(s == CLR_SUCCESS || (s <= CLR_TAG_UNKNOWN_SIGNATURE && s >= CLR_TAG_UNKNOWN_BOTH) ||
                        s == CLR_INVALID_TAG_DATA)
                << s;
            refused += s == CLR_INVALID_TAG_DATA;
        }
        // Deleting every tag and regenerating stays within the blocks.
        while (sp->tagCount > 0 &&
               Quv_DeleteICCTag(sp.get(), sp->tagTable[0].signature, nullptr) == CLR_SUCCESS) {
        }
        Quv_GenerateICCPointer(sp.get());
    }
    EXPECT_GT(refused, 50);
}

}  // namespace
