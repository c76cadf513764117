// Curves, CLUT blocks and lookup tables: the listed sizes and statuses, the
// asymmetries that are the interface, and every reader on cut and lying
// elements.
#include "icc_support.h"
#include "lcms_oracle.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstring>
#include <vector>

namespace {

using namespace quvtest;

// A profile holding one tag `value` under A2B0, parsed from its image.
struct OneTag {
    std::vector<uint8_t> image;
    ScopedProfile sp;
    explicit OneTag(const std::vector<uint8_t>& value) : image(iccImage({{sig("A2B0"), value}})) {
        EXPECT_EQ(Quv_FillICCProfileStructure(sp.get(), image.data(), image.size()), CLR_SUCCESS);
    }
    ClrStatus get(ScopedRecord& r) {
        r.type = be32(image.data() + 144);
        return Quv_GetICCTagData(sp.get(), r.get(), sig("A2B0"));
    }
};

// A profile with a header only.
struct HeaderOnly : ScopedProfile {
    HeaderOnly() { EXPECT_EQ(Quv_InitICCHeader(get()), CLR_SUCCESS); }
};

std::vector<uint8_t> be16Bytes(std::initializer_list<uint16_t> values) {
    std::vector<uint8_t> v;
    for (uint16_t x : values) v.insert(v.end(), {uint8_t(x >> 8), uint8_t(x)});
    return v;
}

std::vector<uint8_t> cat(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> v;
    for (const auto& p : parts) v.insert(v.end(), p.begin(), p.end());
    return v;
}

TEST(CurveSizes, FollowTheirTables) {
    EXPECT_EQ(Quv_GetParametricCurveNumberOfParameters(4), 7u);
    EXPECT_EQ(Quv_GetParametricCurveNumberOfParameters(5), 0u);
    uint8_t rec[20] = {};
    const uint32_t curves[][2] = {{0, 4}, {1, 5}, {2, 8}, {0x80000000u, 4}};  // count, size
    for (auto c : curves) EXPECT_EQ(Quv_ClrIntGetCurveTypeSize(rec, c[0]), c[1]) << c[0];
    EXPECT_EQ(Quv_ClrIntGetCurveTypeSize(nullptr, 2), 0u);
    const uint16_t paras[][2] = {{0, 8}, {1, 16}, {2, 20}, {3, 24}, {4, 32}, {9, 4}};  // function, size
    for (auto p : paras) {
        std::memcpy(rec + 8, &p[0], 2);
        EXPECT_EQ(Quv_ClrIntGetParametricCurveTypeSize(rec), p[1]) << p[0];
    }
    const uint8_t para[4] = {'p', 'a', 'r', 'a'};
    EXPECT_EQ(Quv_ClrIntIsParametricCurveType(para, 1), 1);
    EXPECT_EQ(Quv_ClrIntIsParametricCurveType(para, 0), 0);
    EXPECT_EQ(Quv_ClrIntIsParametricCurveType(nullptr, 1), 0);
}

TEST(CurveSizes, RunsOfElementsRoundEachToFourBytes) {
    const std::vector<uint8_t> three = tagValue(sig("curv"), cat({be32Bytes(3), be16Bytes({0, 1, 2, 0})}));
    const struct { std::vector<uint8_t> run; uint32_t count; int32_t fixed; uint32_t size; } cases[] = {
        {tagValue(sig("curv"), cat({be32Bytes(1), be16Bytes({256, 0})})), 1, 0, 16},
        {tagValue(sig("curv"), be32Bytes(0)), 1, 0, 12},
        {tagValue(sig("curv"), cat({be32Bytes(2), be16Bytes({0, 65535})})), 1, 0, 16},
        {cat({three, three}), 2, 0, 40},  // two curves of 3 points (20 bytes each), walked by their size
        // With a fixed stride of 16 the second lands on the first's points:
        // signature 0x00010002, count 0 (12 bytes).
        {cat({three, three}), 2, 1, 32},
    };
    for (const auto& c : cases) EXPECT_EQ(Quv_ClrIntGetLutCurveSize(c.run.data(), c.count, 1, c.fixed), c.size);
    EXPECT_EQ(Quv_ClrIntGetLutCurveSize(nullptr, 1, 1, 0), 0u);
}

TEST(CurveTags, OnePointIsSizedThirteenInARoomOfSixteen) {
    const uint32_t cases[][3] = {{0, 12, 12}, {1, 13, 16}, {2, 16, 16}, {3, 18, 20}};  // count, row size, room
    for (auto c : cases) {
        HeaderOnly sp;
        std::vector<uint16_t> points = {0x0100, 0x1234, 0xFFFF};
        IccTagRecord r{};
        r.curve = {{}, c[0], points.data()};
        ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("rTRC"), ICC_TYPE_CURVE), CLR_SUCCESS);
        EXPECT_EQ(sp->tagTable[0].size, c[1]);
        ASSERT_EQ(+sp->tagDataSize, c[2]);
        ScopedRecord back;
        ASSERT_EQ(Quv_GetICCTagData(sp.get(), back.get(), sig("rTRC")), CLR_SUCCESS);
        ASSERT_EQ(back.r.curve.count, c[0]);
        EXPECT_EQ(std::memcmp(back.r.curve.points, points.data(), 2 * c[0]), 0);
    }
}

TEST(CurveTags, ParametricFunctionsAboveFourAreRefused) {
    OneTag bad(tagValue(sig("para"), cat({be16Bytes({5, 0}), be32Bytes(0x10000)})));
    ScopedRecord r, wire;
    EXPECT_EQ(bad.get(r), CLR_INVALID_TAG_DATA);
    EXPECT_EQ(r.r.parametricCurve.function, 5);
    uint32_t params[7] = {0x20000, 1, 2, 3, 4, 5, 6};
    IccTagRecord in{};
    in.parametricCurve.function = 5;
    in.parametricCurve.parameters = params;
    wire.type = ICC_TYPE_PARAMETRIC_CURVE;
    EXPECT_EQ(Quv_CreateICCTagData(wire.get(), &in, ICC_TYPE_PARAMETRIC_CURVE), CLR_INVALID_PARAMETER);
    in.parametricCurve.function = 1;
    ASSERT_EQ(Quv_CreateICCTagData(wire.get(), &in, ICC_TYPE_PARAMETRIC_CURVE), CLR_SUCCESS);
    EXPECT_EQ(std::memcmp(&wire.r.head.signature, "para", 4), 0);
    EXPECT_EQ(wire.r.parametricCurve.function, 0x0100);
    EXPECT_EQ(wire.r.parametricCurve.parameters[0], 0x200u);  // 0x20000 in file order
}

TEST(CurveBuffers, RoundTripThroughTheNativeReaders) {
    uint16_t points[3] = {1, 2, 0xABCD};
    IccCurveType curve{{ICC_TYPE_CURVE, 7}, 3, points}, back{};
    uint8_t buffer[18];
    ASSERT_EQ(Quv_ConvertCurveTypeToBuffer(buffer, &curve), CLR_SUCCESS);
    ASSERT_EQ(Quv_ClrIntGetCurveTypeLittleIndian(buffer, &back), CLR_SUCCESS);
    EXPECT_EQ(back.head.reserved, 7u);
    ASSERT_EQ(back.count, 3u);
    EXPECT_EQ(back.points[2], 0xABCD);
    Quv_ClrIntIccFreeCurveType(&back);
    EXPECT_EQ(static_cast<const void*>(back.points), nullptr);

    // Function 5 copies the head alone and succeeds; the reader refuses it.
    uint32_t params[3] = {1, 2, 3};
    IccParametricCurveType para{{ICC_TYPE_PARAMETRIC_CURVE, 0}, 5, 0, params}, pback{};
    uint8_t head[12];
    EXPECT_EQ(Quv_ConvertParametricCurveTypeToBuffer(head, &para), CLR_SUCCESS);
    EXPECT_EQ(Quv_ClrIntGetParametricCurveTypeLittleIndian(head, &pback), CLR_INVALID_TAG_DATA);
    EXPECT_EQ(pback.function, 5);
    // A native count no mapped memory could hold is refused before allocating.
    uint32_t lying[3] = {ICC_TYPE_CURVE, 0, 0xFFFFFFF0u};
    EXPECT_EQ(Quv_ClrIntGetCurveTypeLittleIndian(lying, &back), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_ClrIntGetCurveTypeLittleIndian(nullptr, &back), CLR_INVALID_PARAMETER);
}

std::vector<uint8_t> clutBlock(std::vector<uint8_t> grid, uint8_t precision, const std::vector<uint8_t>& values) {
    grid.resize(16, 0);
    grid.insert(grid.end(), {precision, 0xA, 0xB, 0xC});
    grid.insert(grid.end(), values.begin(), values.end());
    return grid;
}

TEST(ClutSize, RoundsUpAsASignedNumber) {
    const struct { std::vector<uint8_t> grid; uint8_t precision; int32_t in; uint32_t out, size; } cases[] = {
        {{17, 17, 17}, 2, 3, 3, 29500},
        {{17, 0, 17}, 2, 3, 3, 20},
        {{2, 3}, 1, 2, 3, 40},                  // 18 + 20, rounded
        {{9}, 1, 0, 1, 24},                     // no inputs: one node
        {{1}, 1, 1, 0x7FFFFFEDu, 0x80000008u},  // 0x80000001 is negative: +7
    };
    for (const auto& c : cases)
        EXPECT_EQ(Quv_ClrIntGetCLUTSize(clutBlock(c.grid, c.precision, {}).data(), c.in, c.out), c.size);
}

TEST(ClutBuffers, TheRecordAloneKeepsFileOrder) {
    const std::vector<uint8_t> block = clutBlock({3}, 2, be16Bytes({0x0102, 0x0304, 0x0506}));
    IccClut record{};
    ASSERT_EQ(Quv_ClrIntGetCLUTBuffer(nullptr, block.data(), 1, 1, &record), CLR_SUCCESS);
    EXPECT_EQ(std::memcmp(record.pad, "\x0C\x0B\x0A", 3), 0);  // reversed
    EXPECT_EQ(std::memcmp(record.data, block.data() + 20, 6), 0);
    Quv_ClrIntFreeCLUT(&record);

    std::vector<uint8_t> buffer(28, 0xEE);
    ASSERT_EQ(Quv_ClrIntGetCLUTBuffer(buffer.data(), block.data(), 1, 1, &record), CLR_SUCCESS);
    uint16_t native[4];
    std::memcpy(native, record.data, 8);
    EXPECT_EQ(native[0], 0x0102);
    EXPECT_EQ(native[3], 0);  // the rounding slack, not read from past the block
    std::memcpy(native, buffer.data() + 20, 8);
    EXPECT_EQ(native[2], 0x0506);
    EXPECT_EQ(buffer[17], 0xC);
    Quv_ClrIntFreeCLUT(&record);

    std::vector<uint8_t> untouched(28, 0xEE);
    record.precision = 2;
    EXPECT_EQ(Quv_ConvertCLUTToBuffer(untouched.data(), &record, 3, 0), CLR_INVALID_PARAMETER);
    EXPECT_EQ(untouched, std::vector<uint8_t>(28, 0xEE));
}

TEST(LutTypes, SizesCountsAndRoundTrips) {
    const struct {
        uint32_t type, size, room;
        uint8_t countBytes[4];  // n and m of 256 as the element holds them
    } cases[] = {{ICC_TYPE_LUT16, 32602, 32604, {1, 0, 1, 0}}, {ICC_TYPE_LUT8, 16327, 16328, {0, 1, 0, 1}}};
    std::vector<uint16_t> input(768), clut(4913 * 3), output(768);
    for (size_t k = 0; k < clut.size(); ++k) clut[k] = uint16_t(k * 7);
    for (size_t k = 0; k < input.size(); ++k) input[k] = output[767 - k] = uint16_t(k * 3);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        IccTagRecord r{};
        IccLut16Type& lut = r.lut16;
        lut.inputChannels = lut.outputChannels = 3;
        lut.gridPoints = 17;
        lut.matrix[0] = lut.matrix[4] = lut.matrix[8] = 0x10000;
        lut.inputEntries = lut.outputEntries = 256;
        lut.inputTables = input.data();
        lut.clut = clut.data();
        lut.outputTables = output.data();
        HeaderOnly sp, again;
        ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("A2B0"), c.type), CLR_SUCCESS);
        EXPECT_EQ(sp->tagTable[0].size, c.size);
        EXPECT_EQ(+sp->tagDataSize, c.room);
        const std::vector<uint8_t> stored = tagBytes(sp.get(), sig("A2B0"));
        EXPECT_EQ(std::memcmp(&stored[48], c.countBytes, 4), 0);
        EXPECT_EQ(be32(&stored[12]), 0x10000u);

        ScopedRecord back;
        ASSERT_EQ(Quv_GetICCTagData(sp.get(), back.get(), sig("A2B0")), CLR_SUCCESS);
        EXPECT_EQ(back.r.lut16.outputEntries, 256);
        EXPECT_EQ(back.r.lut16.matrix[8], 0x10000u);
        if (c.type == ICC_TYPE_LUT16)
            EXPECT_EQ(std::memcmp(back.r.lut16.clut, clut.data(), 2 * clut.size()), 0);
        else
            EXPECT_EQ(back.r.lut8.clut[100], uint8_t(clut[50]));  // the caller's array read as bytes
        ASSERT_EQ(Quv_SetICCTagData(again.get(), back.get(), sig("A2B0"), c.type), CLR_SUCCESS);
        EXPECT_EQ(tagBytes(again.get(), sig("A2B0")), stored);
    }
}

// An "mft1" of another producer, in the ICC layout: input tables 0, 1, 2, ...
// from byte 48, which this codec reads as n of 256 and m of 770, tables from 52.
TEST(LutTypes, AnIccLayoutLut8ReadsItsTablesAsCounts) {
    std::vector<uint8_t> body = {3, 3, 2, 0};
    body.resize(40, 0);  // the matrix
    for (int k = 0; k < 3 * 256; ++k) body.push_back(uint8_t(k));
    body.resize(52 + 3 * 256 + 8 * 3 + 3 * 770 - 8, 0x80);  // room for what the counts claim
    OneTag t(tagValue(ICC_TYPE_LUT8, body));
    ScopedRecord r;
    ASSERT_EQ(t.get(r), CLR_SUCCESS);
    EXPECT_EQ(r.r.lut8.inputEntries, 256);
    EXPECT_EQ(r.r.lut8.outputEntries, 770);
    EXPECT_EQ(r.r.lut8.inputTables[0], 4);
    EXPECT_EQ(r.r.lut8.inputTables[251], 255);  // the first table's end
}

// An input of one curve per set and a one-input CLUT of grid 2, precision 2.
struct AbInput {
    uint32_t params[3][7] = {{0x20000}, {0x30000}, {0x40000}};
    IccParametricCurveType curves[3];
    uint16_t values[2] = {0x1234, 0xABCD};
    IccClut clut{{2}, 2, {}, reinterpret_cast<uint8_t*>(values)};
    IccTagRecord r{};
    explicit AbInput(uint16_t function = 0) {
        for (int k = 0; k < 3; ++k) curves[k] = {{ICC_TYPE_PARAMETRIC_CURVE, 0}, function, 0, params[k]};
        IccLutAToBType& lut = r.lutAToB;
        lut.inputChannels = lut.outputChannels = 1;
        lut.curvesB = &curves[0];
        lut.curvesM = &curves[1];
        lut.curvesA = &curves[2];
        lut.clut = &clut;
        for (int k = 0; k < 12; ++k) lut.matrix[k] = 0x10000u * k;
    }
};

TEST(LutABTypes, OneCurvePerSetLaysOutBMatrixMClutA) {
    for (uint32_t type : {ICC_TYPE_LUT_A_TO_B, ICC_TYPE_LUT_B_TO_A}) {
        AbInput in;
        HeaderOnly sp;
        ASSERT_EQ(Quv_SetICCTagData(sp.get(), &in.r, sig("A2B0"), type), CLR_SUCCESS);
        const std::vector<uint8_t> e = tagBytes(sp.get(), sig("A2B0"));
        ASSERT_EQ(e.size(), 152u);  // 32 + B 16 + matrix 48 + M 16 + CLUT 24 + A 16
        const uint32_t offsets[5] = {32, 48, 96, 112, 136};
        for (int k = 0; k < 5; ++k) EXPECT_EQ(be32(&e[12 + 4 * k]), offsets[k]);
        EXPECT_EQ(be32(&e[32 + 12]), 0x20000u);  // B's parameter (function 0)
        EXPECT_EQ(be32(&e[48 + 4]), 0x10000u);   // matrix
        EXPECT_EQ(e[112], 2);                    // grid
        EXPECT_EQ(be32(&e[132]), 0x1234ABCDu);   // CLUT values, big-endian
        // The caller's matrix and CLUT values are left in file order.
        EXPECT_EQ(in.r.lutAToB.matrix[1], 0x100u);
        EXPECT_EQ(in.values[0], 0x3412);
        // Read back: the stages in reading order, each also in its own block.
        ScopedRecord back;
        ASSERT_EQ(Quv_GetICCTagData(sp.get(), back.get(), sig("A2B0")), CLR_SUCCESS);
        const IccLutAToBType& b = back.r.lutAToB;
        EXPECT_EQ(b.offsetClut, 112u);
        EXPECT_EQ(b.matrix[11], 0xB0000u);
        const uint8_t* flat = static_cast<const uint8_t*>(b.clut);
        EXPECT_EQ(std::memcmp(flat + 20, "\x34\x12\xCD\xAB", 4), 0);  // native
        const bool aToB = type == ICC_TYPE_LUT_A_TO_B;
        EXPECT_EQ(aToB ? std::memcmp(b.block, flat, 24) : std::memcmp(b.block, b.curvesB, 16), 0);
    }
}

TEST(LutABTypes, ParametersOfFunctionsAboveZeroReachTheFileAsZeros) {
    AbInput in(3);
    ScopedRecord wire;
    wire.type = ICC_TYPE_LUT_A_TO_B;
    ASSERT_EQ(Quv_CreateICCTagData(wire.get(), &in.r, ICC_TYPE_LUT_A_TO_B), CLR_SUCCESS);
    const auto* b = static_cast<const uint8_t*>(wire.r.lutAToB.curvesB);
    EXPECT_EQ(std::memcmp(b, "para\0\0\0\0\0\3\0\0", 12), 0);
    EXPECT_EQ(std::vector<uint8_t>(b + 12, b + 32), std::vector<uint8_t>(20, 0));
    // An input record without its stages is refused.
    in.r.lutAToB.curvesM = nullptr;
    Quv_FreeICCTagType(wire.get(), ICC_TYPE_LUT_A_TO_B);
    EXPECT_EQ(Quv_CreateICCTagData(wire.get(), &in.r, ICC_TYPE_LUT_A_TO_B), CLR_INVALID_PARAMETER);
}

TEST(LutABTypes, ReadingDemandsBCurvesAndForAToBMatchingChannelsWithoutAClut) {
    const std::vector<uint8_t> para = tagValue(sig("para"), cat({be16Bytes({0, 0}), be32Bytes(0x10000)}));
    const struct { uint32_t type; uint8_t i, o; ClrStatus status; } cases[] = {
        {ICC_TYPE_LUT_A_TO_B, 1, 1, CLR_SUCCESS},
        {ICC_TYPE_LUT_A_TO_B, 3, 1, CLR_INVALID_TAG_DATA},
        {ICC_TYPE_LUT_B_TO_A, 3, 1, CLR_SUCCESS}};
    for (const auto& c : cases) {
        // B curves only; the M offset without a matrix is not followed.
        OneTag t(tagValue(c.type, cat({{c.i, c.o, 0, 0}, be32Bytes(32), be32Bytes(0), be32Bytes(32), be32Bytes(0),
                                       be32Bytes(0), para, para, para})));
        ScopedRecord r;
        EXPECT_EQ(t.get(r), c.status);
        if (c.status != CLR_SUCCESS) continue;
        EXPECT_EQ(static_cast<const void*>(r.r.lutAToB.curvesM), nullptr);
        EXPECT_EQ(static_cast<const void*>(r.r.lutAToB.curvesA), nullptr);
        EXPECT_EQ(static_cast<const void*>(r.r.lutAToB.clut), nullptr);
        EXPECT_EQ(std::memcmp(r.r.lutAToB.curvesB, r.r.lutAToB.block, 16 * c.i), 0);
    }
    OneTag noB(tagValue(ICC_TYPE_LUT_B_TO_A, cat({{1, 1, 0, 0}, std::vector<uint8_t>(20, 0), para})));
    ScopedRecord r;
    EXPECT_EQ(noB.get(r), CLR_INVALID_TAG_DATA);
}

// Profiles lcms2 writes from a pipeline of curves, a CLUT and a matrix.
TEST(LutABTypes, ReadWhatLcmsWrites) {
    cmsHPROFILE h = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(h, 4.3);
    cmsSetDeviceClass(h, cmsSigAbstractClass);
    cmsSetColorSpace(h, cmsSigLabData);
    cmsSetPCS(h, cmsSigLabData);
    cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.2);
    cmsToneCurve* curves[3] = {gamma, gamma, gamma};
    std::vector<cmsUInt16Number> table(27 * 3);
    for (size_t k = 0; k < table.size(); ++k) table[k] = cmsUInt16Number(k * 811);
    const cmsFloat64Number matrix[9] = {1, 0.5, 0, 0, 1, 0, 0, 0.25, 1}, offset[3] = {0, 0.125, 0};
    // A, CLUT, M, matrix, B for A2B0; B, matrix, M, CLUT, A for B2A0.
    for (bool aToB : {true, false}) {
        cmsPipeline* p = cmsPipelineAlloc(nullptr, 3, 3);
        cmsStage* stages[5] = {cmsStageAllocToneCurves(nullptr, 3, curves),
                               cmsStageAllocCLut16bit(nullptr, 3, 3, 3, table.data()),
                               cmsStageAllocToneCurves(nullptr, 3, curves),
                               cmsStageAllocMatrix(nullptr, 3, 3, matrix, offset),
                               cmsStageAllocToneCurves(nullptr, 3, curves)};
        if (!aToB) std::swap(stages[1], stages[3]);
        for (cmsStage* stage : stages) cmsPipelineInsertStage(p, cmsAT_END, stage);
        ASSERT_TRUE(cmsWriteTag(h, aToB ? cmsSigAToB0Tag : cmsSigBToA0Tag, p));
        cmsPipelineFree(p);
    }
    cmsFreeToneCurve(gamma);
    std::vector<uint8_t> image = lcmsImage(h);
    ScopedProfile sp;
    ASSERT_EQ(Quv_FillICCProfileStructure(sp.get(), image.data(), image.size()), CLR_SUCCESS);
    for (uint32_t tagSig : {sig("A2B0"), sig("B2A0")}) {
        ScopedRecord r;
        r.type = Quv_GetICCTagTypeSig(sp.get(), tagSig);
        ASSERT_EQ(r.type, tagSig == sig("A2B0") ? ICC_TYPE_LUT_A_TO_B : ICC_TYPE_LUT_B_TO_A);
        ASSERT_EQ(Quv_GetICCTagData(sp.get(), r.get(), tagSig), CLR_SUCCESS);
        const IccLutAToBType& lut = r.r.lutAToB;
        EXPECT_EQ(lut.inputChannels, 3);
        ASSERT_NE(static_cast<const void*>(lut.clut), nullptr);
        const auto* flat = static_cast<const uint8_t*>(lut.clut);
        EXPECT_EQ(std::memcmp(flat, "\3\3\3", 3), 0);
        ASSERT_EQ(flat[16], 2);
        uint16_t v;
        std::memcpy(&v, flat + 20 + 2 * 10, 2);
        EXPECT_EQ(v, table[10]);
        EXPECT_EQ(int32_t(lut.matrix[1]), 0x8000);   // 0.5
        EXPECT_EQ(int32_t(lut.matrix[10]), 0x2000);  // offset 0.125
        // Every curve of each set: a "para" of function 0 with gamma 2.2.
        for (const void* set : {lut.curvesA, lut.curvesM, lut.curvesB}) {
            ASSERT_NE(set, nullptr);
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(std::memcmp(static_cast<const uint8_t*>(set) + 16 * k, "arap\0\0\0\0\0\0\0\0\x33\x33\2\0", 16), 0);
        }
    }
}

std::vector<uint8_t> abElement(uint32_t type) {
    AbInput in;
    HeaderOnly sp;
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &in.r, sig("A2B0"), type), CLR_SUCCESS);
    return tagBytes(sp.get(), sig("A2B0"));
}

TEST(DamagedElements, CutsAndLyingWordsGiveStatuses) {
    const struct { const char* name; std::vector<uint8_t> value; } elements[] = {
        {"curv", tagValue(sig("curv"), cat({be32Bytes(3), be16Bytes({0, 0x8000, 0xFFFF})}))},
        {"para", tagValue(sig("para"), cat({be16Bytes({4, 0}), std::vector<uint8_t>(28, 1)}))},
        // i 2, o 1, g 2, n 2, m 3 (mft1 counts in host order)
        {"mft2", tagValue(ICC_TYPE_LUT16, cat({{2, 1, 2, 0}, std::vector<uint8_t>(36, 0), be16Bytes({2, 3}),
                                               std::vector<uint8_t>(2 * (4 + 4 + 3), 7)}))},
        {"mAB ", abElement(ICC_TYPE_LUT_A_TO_B)},
        {"mBA ", abElement(ICC_TYPE_LUT_B_TO_A)},
        {"mft1", tagValue(ICC_TYPE_LUT8, cat({{2, 1, 2, 0}, std::vector<uint8_t>(36, 0), {2, 0, 3, 0},
                                              std::vector<uint8_t>(4 + 4 + 3, 7)}))},
    };
    for (const auto& d : elements) {
        SCOPED_TRACE(d.name);
        OneTag whole(d.value);
        ScopedRecord wholeRecord;
        EXPECT_EQ(whole.get(wholeRecord), CLR_SUCCESS);
        // A cut element reads on into the zero padding of the data image,
        // and no further: most cuts are refused, none is read past.
        int refused = 0;
        for (size_t n = 8; n < d.value.size(); ++n) {
            OneTag cut(std::vector<uint8_t>(d.value.begin(), d.value.begin() + n));
            ScopedRecord r;
            const ClrStatus s = cut.get(r);
            EXPECT_TRUE(s == CLR_INVALID_TAG_DATA || s == CLR_SUCCESS) << n << " " << s;
            refused += s == CLR_INVALID_TAG_DATA;
        }
        EXPECT_GE(refused, int(d.value.size() - 8) / 2);
        for (size_t at = 8; at + 4 <= d.value.size(); at += 2) {
            for (uint32_t word : {0xFFFFFFFFu, 0x7FFFFFFFu, 0x00FFFFFFu, 0x80000001u}) {
                std::vector<uint8_t> lying = d.value;
                putBe32(lying, at, word);
                OneTag t(lying);
                ScopedRecord r;
                const ClrStatus s = t.get(r);
                EXPECT_TRUE(s == CLR_SUCCESS || s == CLR_INVALID_TAG_DATA) << at << " " << s;
            }
        }
    }
}

}  // namespace
