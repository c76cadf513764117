// Emulation: the table-file loader at every step, and the look-ups over
// lattices whose entries are known functions of their nodes.
#include "test_support.h"

#include "frame/handle.h"
#include "frame/table_file.h"
#include "kernels/emulation.h"
#include "kernels/emulation_data.h"
#include "platform/memory.h"
#include "platform/probe.h"
#include "platform/text.h"

#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

namespace k = quv::kernels;

class TableFiles : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/quvclr-table-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { std::system(("rm -rf '" + dir_ + "'").c_str()); }

    // A strip of `samples`-byte pixels written by libtiff, little-endian.
    std::string writeTiff(const std::string& name, uint32_t width, uint32_t height, uint16_t samples,
                          const std::vector<uint8_t>& bytes) {
        const std::string path = dir_ + "/" + name;
        TIFF* tif = TIFFOpen(path.c_str(), "wl");
        EXPECT_NE(tif, nullptr);
        TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tif, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, samples);
        TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, samples == 4 ? PHOTOMETRIC_SEPARATED : PHOTOMETRIC_RGB);
        TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, height);
        std::vector<uint8_t> strip(size_t{width} * height * samples, 0);
        std::copy(bytes.begin(), bytes.begin() + std::min(bytes.size(), strip.size()), strip.begin());
        EXPECT_GE(TIFFWriteEncodedStrip(tif, 0, strip.data(), static_cast<tmsize_t>(strip.size())), 0);
        TIFFClose(tif);
        return path;
    }

    std::string writeBytes(const std::string& name, const std::vector<uint8_t>& bytes) {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return path;
    }

    ClrStatus load(const std::string& path, int32_t kind, uint8_t** table) {
        const std::u16string wide = quv::utf8ToUtf16(path);
        return quv::loadEmulationTable(wide.c_str(), table, kind);
    }

    std::string dir_;
};

// A hand-made little-endian TIFF header and one directory of `entries`.
std::vector<uint8_t> tiffWithEntries(const std::vector<std::array<uint32_t, 4>>& entries, uint32_t stripBytes = 0) {
    std::vector<uint8_t> b = {'I', 'I', 42, 0, 8, 0, 0, 0};
    auto put = [&b](uint32_t v, int n) {
        for (int i = 0; i < n; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    put(static_cast<uint32_t>(entries.size()), 2);
    for (const auto& e : entries) {
        put(e[0], 2);
        put(e[1], 2);
        put(e[2], 4);
        put(e[3], 4);
    }
    b.resize(b.size() + stripBytes, 0);
    return b;
}

TEST_F(TableFiles, ALibtiffTableLoadsWithItsEntries) {
    const auto entries = quvtest::randomBytes(k::kLattice33Bytes, 5);
    const std::string path = writeTiff("rgb.tif", 33, 1089, 3, entries);
    uint8_t* table = nullptr;
    ASSERT_EQ(load(path, k::kTableKind33, &table), CLR_SUCCESS);
    EXPECT_TRUE(std::equal(entries.begin(), entries.end(), table));
    quv::quvFree(table);

    // Kind 4 declares four samples but holds 3-byte entries from the strip's start.
    const auto cmyk = quvtest::randomBytes(k::kLattice17Bytes, 6);
    const std::string cmykPath = writeTiff("cmyk.tif", 289, 289, 4, cmyk);
    ASSERT_EQ(load(cmykPath, k::kTableKindCmyk, &table), CLR_SUCCESS);
    EXPECT_TRUE(std::equal(cmyk.begin(), cmyk.end(), table));
    quv::quvFree(table);
}

TEST_F(TableFiles, EachMalformedStepHasItsStatus) {
    uint8_t* table = nullptr;
    EXPECT_EQ(load(dir_ + "/missing.tif", 3, &table), 2) << "the system's error number";
    EXPECT_EQ(load(writeBytes("empty", {}), 3, &table), CLR_FILE_READ_FAILED);
    EXPECT_EQ(load(writeBytes("png", {0x89, 'P', 'N', 'G', 0, 0, 0, 0}), 3, &table), CLR_NOT_TIFF);
    // The directory offset points past the end: nothing to read there.
    EXPECT_EQ(load(writeBytes("far", {'I', 'I', 42, 0, 0, 1, 0, 0}), 3, &table), CLR_FILE_READ_FAILED);
    EXPECT_EQ(load(writeBytes("none", tiffWithEntries({})), 3, &table), CLR_INVALID_FORMAT);
    std::vector<uint8_t> many = tiffWithEntries({});
    many[8] = 0xE8;  // 1000 entries
    many[9] = 0x03;
    EXPECT_EQ(load(writeBytes("many", many), 3, &table), CLR_INVALID_FORMAT);
    // Directory of 2 entries but the file ends inside the first.
    std::vector<uint8_t> cut = tiffWithEntries({{256, 4, 1, 33}, {257, 4, 1, 1089}});
    cut.resize(14);
    EXPECT_EQ(load(writeBytes("cut", cut), 3, &table), CLR_FILE_READ_FAILED);

    const uint32_t strip = 8 + 2 + 12 * 4;
    auto withSize = [&](uint32_t w, uint32_t h, uint32_t samples, uint32_t stripBytes) {
        return tiffWithEntries({{256, 4, 1, w}, {257, 4, 1, h}, {277, 3, 1, samples}, {273, 4, 1, strip}}, stripBytes);
    };
    EXPECT_EQ(load(writeBytes("zero", withSize(0, 1089, 3, 0)), 3, &table), CLR_INVALID_SPACE);
    EXPECT_EQ(load(writeBytes("kind", withSize(33, 1089, 4, 0)), 3, &table), CLR_INVALID_BITS_PER_PIXEL);
    EXPECT_EQ(load(writeBytes("small", withSize(33, 1088, 3, 0)), 3, &table), CLR_INVALID_DIMENSION);
    EXPECT_EQ(load(writeBytes("small4", withSize(289, 288, 4, 0)), 4, &table), CLR_INVALID_DIMENSION);
    EXPECT_EQ(table, nullptr) << "nothing is allocated before the strip is read";

    // One pixel short of the lattice is the least accepted; the strip must be
    // there, and a size the file cannot hold is never asked of the heap.
    EXPECT_EQ(load(writeBytes("short", withSize(35936, 1, 3, 100)), 3, &table), CLR_FILE_READ_FAILED);
    EXPECT_EQ(load(writeBytes("huge", withSize(0xFFFFFFFFu, 1, 3, 100)), 3, &table), CLR_FILE_READ_FAILED);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(load(writeBytes("least", withSize(35936, 1, 3, 35936 * 3)), 3, &table), CLR_SUCCESS);
    quv::quvFree(table);
}

TEST_F(TableFiles, BigEndianFilesAreReadAsLittleEndianAndFail) {
    std::vector<uint8_t> mm = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0, 0, 4, 0, 0, 0, 1, 0, 0, 0, 33};
    uint8_t* table = nullptr;
    // The directory offset reads as 0x08000000, past the end of the file.
    EXPECT_NE(load(writeBytes("mm", mm), 3, &table), CLR_SUCCESS);
    EXPECT_EQ(table, nullptr);
}

// ---- look-ups ----

// Entry of a 33-node lattice: (8r, 8g, 8b) for RGB-like axes.
std::vector<uint8_t> nodeTable33() {
    std::vector<uint8_t> t(k::kLattice33Bytes);
    for (int r = 0; r < 33; ++r)
        for (int g = 0; g < 33; ++g)
            for (int b = 0; b < 33; ++b) {
                uint8_t* e = &t[3 * size_t((r * 33 + g) * 33 + b)];
                e[0] = static_cast<uint8_t>(std::min(8 * r, 255));
                e[1] = static_cast<uint8_t>(static_cast<int8_t>(std::min(8 * g - 128, 127)));
                e[2] = static_cast<uint8_t>(static_cast<int8_t>(std::min(8 * b - 128, 127)));
            }
    return t;
}

quvtest::Pixel lookUp(void (*kernel)(const uint8_t*, const k::KernelIo&, int), const std::vector<uint8_t>& table,
                      const uint8_t* px, int order = 1) {
    quvtest::Pixel out{};
    quv::MemoryProbe probe;
    kernel(table.data(), k::KernelIo{px, out.data(), 1, 1, 0, 0, &probe}, order);
    return out;
}

TEST(EmulationLookUp, RgbToLabTakesTheMeanOfTheCellCorners) {
    const auto table = nodeTable33();
    const uint8_t onLattice[3] = {64, 128, 248};
    EXPECT_EQ(lookUp(k::rgbToLabByTable, table, onLattice), (quvtest::Pixel{64, 0, 120}));
    // 255 lies between nodes 31 (248) and 32 (255): the mean, 251.
    const uint8_t top[3] = {255, 0, 0};
    EXPECT_EQ(lookUp(k::rgbToLabByTable, table, top)[0], 251);
    // 100 lies between nodes 12 (96) and 13 (104).
    const uint8_t mid[3] = {100, 100, 100};
    const quvtest::Pixel m = lookUp(k::rgbToLabByTable, table, mid);
    EXPECT_EQ(m[0], 100);
    EXPECT_EQ(static_cast<int8_t>(m[1]), -28);  // mean of -32 and -24
    // The order flag picks which byte is R.
    EXPECT_EQ(lookUp(k::rgbToLabByTable, table, onLattice, 0), (quvtest::Pixel{248, 0, static_cast<uint8_t>(-64)}));
}

TEST(EmulationLookUp, LabToRgbIsExactOnTheLatticeAndAveragesBetween) {
    const auto table = nodeTable33();
    // Node (16, 16, 16) is L 128, a 0, b 0; its entry (128, 0, 0) as stored bytes.
    const uint8_t lab[3] = {128, 0, 0};
    const quvtest::Pixel on = lookUp(k::labToRgbByTable, table, lab);
    EXPECT_EQ(on[0], 128);
    const uint8_t between[3] = {132, 0, 0};  // L between nodes 16 and 17
    EXPECT_EQ(lookUp(k::labToRgbByTable, table, between)[0], (128 + 136) >> 1);
}

TEST(EmulationLookUp, CmykNearSolidInksWrapToTheFirstNode) {
    // Entry of node (c, m, y, k): (10k, 10y, 10c).
    std::vector<uint8_t> t(k::kLattice17Bytes);
    for (int c = 0; c < 17; ++c)
        for (int m = 0; m < 17; ++m)
            for (int y = 0; y < 17; ++y)
                for (int kk = 0; kk < 17; ++kk) {
                    uint8_t* e = &t[3 * size_t(((c * 17 + m) * 17 + y) * 17 + kk)];
                    e[0] = static_cast<uint8_t>(10 * kk);
                    e[1] = static_cast<uint8_t>(10 * y);
                    e[2] = static_cast<uint8_t>(10 * c);
                }
    const uint8_t black[4] = {0, 0, 0, 240};  // on the lattice: node 15 alone
    EXPECT_EQ(lookUp(k::cmykToRgbByTable, t, black)[0], 150);
    const uint8_t solid[4] = {0, 0, 0, 255};  // nodes 15 and, by the wrap, 0
    EXPECT_EQ(lookUp(k::cmykToRgbByTable, t, solid)[0], 75);
    const uint8_t mid[4] = {40, 0, 100, 0};  // c between 2 and 3, y between 6 and 7
    const quvtest::Pixel m = lookUp(k::cmykToRgbByTable, t, mid);
    EXPECT_EQ(m[2], (20 + 30) >> 1);
    EXPECT_EQ(m[1], (60 + 70) >> 1);
}

TEST(EmulationLookUp, BuffersThatFailTheirProofAreLeftUnwritten) {
    const auto table = nodeTable33();
    quvtest::MappedPages readOnly(1, PROT_READ);
    const uint8_t px[3] = {1, 2, 3};
    quv::MemoryProbe probe;
    k::rgbToLabByTable(table.data(), k::KernelIo{px, readOnly.data(), 1, 1, 0, 0, &probe}, 1);
    EXPECT_EQ(readOnly.data()[0], 0);
}

// ---- through handles ----

ClrParams emulationParams(uint32_t method, const std::string& table = {}) {
    ClrParams p = quvtest::methodParams(method);
    quvtest::setPath(p.emulationTablePath, table);
    return p;
}

TEST_F(TableFiles, CustomTablesServeTheirPairsThroughHandles) {
    // A CMYK table whose every entry is its node's K, times 10.
    std::vector<uint8_t> cmyk(k::kLattice17Bytes);
    for (size_t i = 0; i < cmyk.size() / 3; ++i) cmyk[3 * i] = cmyk[3 * i + 1] = cmyk[3 * i + 2] = uint8_t(10 * (i % 17));
    const std::string path = writeTiff("cmyk.tif", 289, 289, 4, cmyk);
    ClrParams p = emulationParams(CLR_METHOD_CUSTOM_EMULATION, path);
    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceCmyk, ClrSpaceBgr, &p), CLR_SUCCESS);
    ASSERT_NE(h->customTable, nullptr);
    EXPECT_EQ(std::u16string(h->emulationPath), quv::utf8ToUtf16(path));
    const uint8_t px[8] = {0, 0, 0, 240, 0, 0, 0, 255};
    uint8_t rgb[6];
    EXPECT_EQ(Quv_ClrConvert(h, px, rgb, 2, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(rgb[0], 150);
    EXPECT_EQ(rgb[3], 75) << "the near-solid wrap";
    Quv_ClrFree(h);

    // The same file for RGB to Lab is of the wrong kind.
    EXPECT_EQ(Quv_ClrInit(&h, ClrSpaceRgb, ClrSpaceLab, &p), CLR_INVALID_BITS_PER_PIXEL);
}

TEST_F(TableFiles, EmulationMethodsReportSuccessForEveryPair) {
    const auto lattice = quvtest::randomBytes(k::kLattice33Bytes, 1);
    ClrParams p = emulationParams(CLR_METHOD_CUSTOM_EMULATION, writeTiff("lab.tif", 33, 1089, 3, lattice));
    ClrHandle* h = nullptr;
    ASSERT_EQ(Quv_ClrInit(&h, ClrSpaceRgb, ClrSpaceHsv, &p), CLR_SUCCESS) << "a pair without a table loads none";
    EXPECT_EQ(h->customTable, nullptr);
    uint8_t px[3] = {1, 2, 3}, out[3] = {7, 7, 7};
    EXPECT_EQ(Quv_ClrConvert(h, px, out, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_EQ(out[0], 7) << "nothing written";
    Quv_ClrFree(h);
}

TEST(EmulationMethods, RgbToCmykUsesTheFormulaReadingBgr) {
    ClrParams p = emulationParams(CLR_METHOD_EMULATION);
    ClrHandle* emulated = nullptr;
    ASSERT_EQ(Quv_ClrInit(&emulated, ClrSpaceRgb, ClrSpaceCmyk, &p), CLR_SUCCESS);
    const uint8_t px[3] = {200, 100, 50};
    uint8_t viaEmulation[4], viaFormula[4];
    ASSERT_EQ(Quv_ClrConvert(emulated, px, viaEmulation, 1, 1, 0, 0), CLR_SUCCESS);
    Quv_ClrFree(emulated);
    // The formula kernel at 175 reading the bytes as B, G, R.
    ASSERT_EQ(Quv_ClrConvertDirect(ClrSpaceBgr, ClrSpaceCmyk, px, viaFormula, 1, 1, 0, 0), CLR_SUCCESS);
    EXPECT_TRUE(std::equal(viaEmulation, viaEmulation + 4, viaFormula));
}

// ---- the built-in tables ----

quvtest::Pixel viaBuiltIn(ClrSpace from, ClrSpace to, const uint8_t* px) {
    ClrParams p = emulationParams(CLR_METHOD_EMULATION);
    ClrHandle* h = nullptr;
    EXPECT_EQ(Quv_ClrInit(&h, from, to, &p), CLR_SUCCESS);
    EXPECT_NE(h->emulationTable, nullptr);
    quvtest::Pixel out{};
    EXPECT_EQ(Quv_ClrConvert(h, px, out.data(), 1, 1, 0, 0), CLR_SUCCESS);
    Quv_ClrFree(h);
    return out;
}

TEST(BuiltInTables, KnownLookUps) {
    const uint8_t white[3] = {255, 255, 255}, light[3] = {248, 248, 248};
    // Lower node 31 (249) and upper node 32 (255): their mean.
    EXPECT_EQ(viaBuiltIn(ClrSpaceRgb, ClrSpaceLab, white)[0], 252);
    EXPECT_EQ(viaBuiltIn(ClrSpaceRgb, ClrSpaceLab, light)[0], 249);
    const uint8_t midGrey[3] = {128, 0, 0};
    EXPECT_EQ(viaBuiltIn(ClrSpaceLab, ClrSpaceRgb, midGrey), (quvtest::Pixel{119, 119, 119}));
    const uint8_t paper[4] = {0, 0, 0, 0}, k240[4] = {0, 0, 0, 240}, solid[4] = {0, 0, 0, 255};
    EXPECT_EQ(viaBuiltIn(ClrSpaceCmyk, ClrSpaceRgb, paper), (quvtest::Pixel{255, 255, 255}));
    EXPECT_EQ(viaBuiltIn(ClrSpaceCmyk, ClrSpaceRgb, k240), (quvtest::Pixel{22, 22, 22}));
    // Solid black wraps to the mean of nodes 15 and 0: a mid grey, not black.
    EXPECT_EQ(viaBuiltIn(ClrSpaceCmyk, ClrSpaceRgb, solid), (quvtest::Pixel{138, 138, 138}));
}

// Each pair binds its table; pairs the look-ups do not serve bind none.
TEST(BuiltInTables, EachPairBindsItsTable) {
    const struct {
        ClrSpace from, to;
        const uint8_t* table;
    } pairs[] = {{ClrSpaceCmyk, ClrSpaceRgb, k::emulationTableCmyk()}, {ClrSpaceCmyk, ClrSpaceBgr, k::emulationTableCmyk()},
                 {ClrSpaceLab, ClrSpaceBgr, k::emulationTableLab()},   {ClrSpaceBgr, ClrSpaceLab, k::emulationTableRgb()},
                 {ClrSpaceRgb, ClrSpaceYuv, nullptr},                  {ClrSpaceCmyk, ClrSpaceLab, nullptr}};
    ClrParams p = emulationParams(CLR_METHOD_EMULATION);
    for (const auto& pair : pairs) {
        quvtest::Handle h = quvtest::makeHandle(pair.from, pair.to, &p);
        EXPECT_EQ(h->emulationTable, pair.table) << pair.from << " -> " << pair.to;
    }
}

}  // namespace
