// The profile store: the record and its lifetime, the number helpers, the
// header and its setters, the fixed-point encodings, and the file image in
// memory and on disk, including truncated and corrupted images.
#include "icc_support.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using namespace quvtest;
namespace qt = quv::testing;

std::vector<uint8_t> imageOf(const IccProfile& p) { return std::vector<uint8_t>(p.image, p.image + p.dataSize); }

TEST(ProfileRecord, InitClearsTheNamedBytesSetsFiftySixAndFreeReleasesEveryBlock) {
    EXPECT_EQ(Quv_InitICCProfile(nullptr, 56), CLR_INVALID_PARAMETER);
    IccProfile p;
    std::memset(&p, 0x5A, sizeof p);
    EXPECT_EQ(Quv_InitICCProfile(&p, 57), CLR_INVALID_STRUCT_SIZE);
    const auto* raw = reinterpret_cast<const uint8_t*>(&p);
    for (size_t i = 0; i < sizeof p; ++i) ASSERT_EQ(raw[i], 0x5A) << "byte " << i;

    // A smaller size clears only its bytes, but the size field is always 56.
    const uint64_t kept = 0xABABABABABABABABu;
    for (auto [size, dataSize, tagDataSize] : {std::tuple{12u, 0ul, kept}, {0u, kept, kept}, {56u, 0ul, 0ul}}) {
        std::memset(&p, 0xAB, sizeof p);
        ASSERT_EQ(Quv_InitICCProfile(&p, size), CLR_SUCCESS);
        EXPECT_EQ(p.structSize, 56u);
        EXPECT_EQ(+p.dataSize, dataSize) << size;
        EXPECT_EQ(+p.tagDataSize, tagDataSize) << size;
    }
    EXPECT_TRUE(!p.header && !p.tagTable && !p.tagData && !p.image && p.tagCount == 0);

    // On a used record it forgets the blocks, released here by hand.
    ScopedProfile sp;
    ASSERT_EQ(Quv_InitICCHeader(sp.get()), CLR_SUCCESS);
    ASSERT_EQ(Quv_SetICCCreator(sp.get(), sig("quvc")), CLR_SUCCESS);
    IccHeader* header = sp->header;
    uint8_t* image = sp->image;
    ASSERT_EQ(Quv_InitICCProfile(sp.get(), 56), CLR_SUCCESS);
    EXPECT_TRUE(!sp->header && !sp->image);
    quv::quvFree(header);
    quv::quvSharedFree(image);

    // Free releases every block and keeps the counts.
    Quv_InitICCProfile(&p, sizeof p);
    std::vector<uint8_t> bytes = smallProfile();
    ASSERT_EQ(Quv_FillICCProfileStructure(&p, bytes.data(), bytes.size()), CLR_SUCCESS);
    const long shared = qt::liveSharedBlocks();
    const long privateBlocks = qt::livePrivateBlocks();
    Quv_FreeICCProfile(&p);
    EXPECT_EQ(qt::liveSharedBlocks(), shared - 1);        // the image
    EXPECT_EQ(qt::livePrivateBlocks(), privateBlocks - 3);  // header, table, data
    EXPECT_TRUE(!p.header && !p.tagTable && !p.tagData && !p.image);
    EXPECT_EQ(p.tagCount, 5);
    EXPECT_EQ(+p.dataSize, bytes.size());
    EXPECT_EQ(+p.tagDataSize, bytes.size() - 132 - 60);
    Quv_FreeICCProfile(&p);  // a second call finds nothing to release
    EXPECT_EQ(qt::livePrivateBlocks(), privateBlocks - 3);

    // The partial frees leave their neighbours alone.
    Quv_InitICCProfile(&p, sizeof p);
    p.tagTable = static_cast<IccTagEntry*>(quv::quvMalloc(1, sizeof(IccTagEntry)));
    p.tagData = static_cast<uint8_t*>(quv::quvMalloc(4, 1));
    IccTagEntry* table = p.tagTable;
    Quv_FreeICCProfile(&p);
    Quv_ClrIntFreeTagList(&p);  // without tags, table and data stay
    EXPECT_EQ(+p.tagTable, table);
    p.tagCount = 1;
    Quv_ClrIntFreeTagList(&p);
    EXPECT_TRUE(!p.tagTable && !p.tagData);
    EXPECT_EQ(p.tagCount, 1);

    Quv_InitICCHeader(sp.get());
    ASSERT_EQ(Quv_SetICCCreator(sp.get(), 1), CLR_SUCCESS);
    Quv_ClrIntFreeICCData(sp.get());
    EXPECT_TRUE(!sp->image && sp->dataSize == 132 && sp->header);
}

TEST(ProfileBytes, GetReadsThirtyTwoBitsAndSetWritesSixtyFour) {
    const uint8_t b[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const struct {
        const uint8_t* from;
        int n;
        uint32_t value;
    } gets[] = {{b, 8, 0x05060708u}, {b, 5, 0x02030405u}, {b, 4, 0x01020304u}, {b, 2, 0x0102u},
                {b, 1, 1u},          {b, 0, 0u},          {b, 9, 0u},          {b, -1, 0u}, {nullptr, 4, 0u}};
    for (const auto& g : gets) EXPECT_EQ(Quv_ClrIntIccGetBytes(g.from, g.n), g.value) << g.n;

    uint8_t s[9] = {};
    ASSERT_EQ(Quv_ClrIntIccSetBytes(s, 0x0102030405060708u, 8), CLR_SUCCESS);
    EXPECT_EQ(std::vector<uint8_t>(s, s + 9), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 0}));
    ASSERT_EQ(Quv_ClrIntIccSetBytes(s, 0xAABBCC, 2), CLR_SUCCESS);
    EXPECT_EQ(std::vector<uint8_t>(s, s + 3), (std::vector<uint8_t>{0xBB, 0xCC, 3}));
    for (auto [to, n] : {std::pair{s, 0}, {s, 9}, {nullptr, 4}})
        EXPECT_EQ(Quv_ClrIntIccSetBytes(to, 1, n), CLR_INVALID_PARAMETER) << n;
    EXPECT_EQ(Quv_ClrIntIccSetBytes(s, 0xFFFF, -2), CLR_SUCCESS);
    EXPECT_EQ(s[0], 0xBB);
}

// Encodings are built digit by digit; decoding reads every digit and ignores the sign.
TEST(FixedPoint, ListedEncodingsAndDecodings) {
    using Rows = std::vector<std::pair<double, uint32_t>>;
    const Rows s15 = {{0.0, 0},      {1.0, 0x10000},      {3.0, 0x30000},     {0.5, 0x8},         {0.25, 0x4},
                      {0.75, 0xC},   {0.625, 0xA},        {1.5, 0x18},        {2.25, 0x24},       {0.9642, 0xF6D6},
                      {0.64, 0xA3D7}, {0.8249, 0xD32D},   {0.999999, 0xFFF0}, {65536.0, 0},       {0.0625, 1},
                      {1.0625, 0x11}, {-1.5, 0xFFFF0000}, {-0.25, 0},         {-1.0, 0xFFFF0000}, {-2.0, 0xFFFE0000}};
    const Rows u8 = {{1.0, 0x0100},     {2.2, 0x0233},    {1.8, 0x01CD},   {0.5, 0x0008}, {1.5, 0x0018},
                     {1.03125, 0x0108}, {0.9999, 0x00F0}, {255.0, 0xFF00}, {256.0, 0},    {0.0, 0}};
    const Rows s15Back = {{1.0, 0x10000}, {0.964202880859375, 0xF6D6}, {65535.0, 0xFFFF0000}, {0.0001220703125, 0x8},
                          {2.5, 0x28000}};
    const Rows u8Back = {{2.19921875, 0x0233}, {255.5, 0xFF80}, {1.0 / 256, 0x0001}};
    for (auto [value, bits] : s15) EXPECT_EQ(Quv_DoubleTo2bFixed2bNumber(value), bits) << value;
    for (auto [value, bits] : u8) EXPECT_EQ(Quv_DoubleToU8Fixed8Number(value), bits) << value;
    for (auto [value, bits] : s15Back) EXPECT_EQ(Quv_2bFixed2bNumberToDouble(bits), value) << bits;
    for (auto [value, bits] : u8Back) EXPECT_EQ(Quv_U8Fixed8NumberToDouble(uint16_t(bits)), value) << bits;
    // Out-of-range values have no settled bits, but they are computed without faulting.
    Quv_DoubleTo2bFixed2bNumber(1e300);
    Quv_DoubleToU8Fixed8Number(40000.5);
}

TEST(Header, InitSetsTheDefaultsAndSettersCheckTheirListsAndBuildTheImage) {
    ScopedProfile sp;
    ASSERT_EQ(Quv_InitICCHeader(sp.get()), CLR_SUCCESS);
    // The defaults are read back from the image the first setter builds.
    EXPECT_EQ(sp->header->deviceClass + sp->header->renderingIntent + sp->header->dateTime.year, 0u);
    EXPECT_EQ(+sp->image, nullptr);
    // An existing header is reused and cleared.
    IccHeader* header = sp->header;
    sp->header->creator = 77;
    ASSERT_EQ(Quv_InitICCHeader(sp.get()), CLR_SUCCESS);
    EXPECT_EQ(+sp->header, header);
    EXPECT_EQ(sp->header->creator, 0u);

    ASSERT_EQ(Quv_SetICCCMMType(sp.get(), sig("quvc")), CLR_SUCCESS);
    ASSERT_EQ(+sp->dataSize, 132u);
    const std::pair<int, uint32_t> defaults[] = {{0, 132},     {4, sig("quvc")}, {8, 0x04200000}, {36, sig("acsp")},
                                                 {68, 0xF6D6}, {72, 0x10000},    {76, 0xD32D},    {128, 0}};
    for (auto [at, want] : defaults) EXPECT_EQ(be32(sp->image + at), want) << at;

    // Each setter stores its field and rebuilds.
    const IccDateTimeNumber date = {2025, 13, 40, 25, 61, 99};  // no range check
    // Flags keep their low two bits, attributes their low four.
    const ClrStatus set[] = {
        Quv_SetICCDeviceClass(sp.get(), sig("prtr")),      Quv_SetICCColorSpace(sp.get(), sig("CMYK")),
        Quv_SetICCConnectionSpace(sp.get(), sig("Lab ")),  Quv_SetICCPrimaryPlatform(sp.get(), int32_t(sig("MSFT"))),
        Quv_SetICCDevManufacturer(sp.get(), sig("QUVM")),  Quv_SetICCDevModel(sp.get(), 0x1234),
        Quv_SetICCRenderingIntent(sp.get(), 3),            Quv_SetICCCreator(sp.get(), sig("quvc")),
        Quv_SetICCFlags(sp.get(), 7),                      Quv_SetICCDeviceAttributes(sp.get(), int32_t(0xFFFFFFFF)),
        Quv_SetICCDateTime(sp.get(), &date)};
    for (size_t i = 0; i < std::size(set); ++i) ASSERT_EQ(set[i], CLR_SUCCESS) << "setter " << i;
    const uint8_t* im = sp->image;
    const std::pair<int, uint32_t> words[] = {{12, sig("prtr")}, {16, sig("CMYK")}, {20, sig("Lab ")},
                                              {40, sig("MSFT")}, {44, 3},           {48, sig("QUVM")},
                                              {52, 0x1234},      {56, 0},           {60, 0x0F},
                                              {64, 3},           {80, sig("quvc")}};
    for (auto [at, want] : words) EXPECT_EQ(be32(im + at), want) << at;
    const uint8_t dateBytes[12] = {0x07, 0xE9, 0, 13, 0, 40, 0, 25, 0, 61, 0, 99};
    EXPECT_EQ(std::memcmp(im + 24, dateBytes, 12), 0);
    EXPECT_EQ(sp->header->flags, 3u);
    EXPECT_EQ(sp->header->attributes, 15u);

    // Closed lists refuse other values.
    for (const char* c : {"scnr", "mntr", "prtr", "link", "spac", "abst", "nmcl"})
        EXPECT_EQ(Quv_SetICCDeviceClass(sp.get(), QUV_ICC_SIG(c[0], c[1], c[2], c[3])), CLR_SUCCESS) << c;
    EXPECT_EQ(Quv_SetICCDeviceClass(sp.get(), sig("scan")), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_SetICCDeviceClass(sp.get(), 0), CLR_INVALID_PARAMETER);

    int accepted = 0;
    for (const char* s : {"XYZ ", "Lab ", "Luv ", "YCbr", "Yxy ", "RGB ", "GRAY", "HSV ", "HLS ", "CMYK", "CMY "})
        accepted += Quv_SetICCColorSpace(sp.get(), QUV_ICC_SIG(s[0], s[1], s[2], s[3])) == CLR_SUCCESS;
    for (char c : std::string("23456789ABCDEF"))
        accepted += Quv_SetICCColorSpace(sp.get(), QUV_ICC_SIG(c, 'C', 'L', 'R')) == CLR_SUCCESS;
    EXPECT_EQ(accepted, 25);
    for (char c : std::string("01GZa"))
        EXPECT_EQ(Quv_SetICCColorSpace(sp.get(), QUV_ICC_SIG(c, 'C', 'L', 'R')), CLR_INVALID_PARAMETER) << c;
    EXPECT_EQ(Quv_SetICCColorSpace(sp.get(), sig("rgb ")), CLR_INVALID_PARAMETER);

    EXPECT_EQ(Quv_SetICCPrimaryPlatform(sp.get(), 0), CLR_SUCCESS);
    for (const char* s : {"APPL", "MSFT", "SGI ", "SUNW"})
        EXPECT_EQ(Quv_SetICCPrimaryPlatform(sp.get(), int32_t(QUV_ICC_SIG(s[0], s[1], s[2], s[3]))), CLR_SUCCESS);
    EXPECT_EQ(Quv_SetICCPrimaryPlatform(sp.get(), int32_t(sig("TGNT"))), CLR_INVALID_PARAMETER);

    for (uint32_t intent = 0; intent < 4; ++intent) EXPECT_EQ(Quv_SetICCRenderingIntent(sp.get(), intent), CLR_SUCCESS);
    // A refused value leaves the header and the image alone.
    const std::vector<uint8_t> before = imageOf(sp.p);
    EXPECT_EQ(Quv_SetICCRenderingIntent(sp.get(), 4), CLR_INVALID_PARAMETER);
    EXPECT_EQ(sp->header->renderingIntent, 3u);
    EXPECT_EQ(imageOf(sp.p), before);
}

// Null records, buffers and paths; a missing header (no id to clear: refused,
// not written through); a null date.
TEST(Header, NullArgumentsAndMissingHeadersAreRefused) {
    const IccDateTimeNumber date = {};
    std::vector<uint8_t> bytes = smallProfile();
    const char16_t* path = u"/nonexistent-dir/none.icc";
    ScopedProfile sp, withHeader;
    Quv_InitICCHeader(withHeader.get());
    const ClrStatus refused[] = {
        Quv_InitICCHeader(nullptr),                      Quv_SetICCCMMType(nullptr, 1),
        Quv_SetICCDateTime(nullptr, &date),              Quv_SetICCProfileId(nullptr),
        Quv_SetICCCreator(sp.get(), 1),                  Quv_SetICCFlags(sp.get(), 1),
        Quv_SetICCDeviceAttributes(sp.get(), 1),         Quv_SetICCConnectionSpace(sp.get(), sig("XYZ ")),
        Quv_SetICCProfileId(sp.get()),                   Quv_SetICCDateTime(withHeader.get(), nullptr),
        Quv_FillICCProfileStructure(nullptr, bytes.data(), bytes.size()),
        Quv_FillICCProfileStructure(sp.get(), nullptr, bytes.size()),
        Quv_GenerateICCPointer(nullptr),                 Quv_GenerateICCFile(nullptr, path),
        Quv_GenerateICCFile(withHeader.get(), nullptr),  Quv_GenerateICCFileA(withHeader.get(), nullptr),
        Quv_GenerateICCFileA(nullptr, "/tmp/x.icc"),     Quv_FillICCProfileFromICCFile(nullptr, sp.get()),
        Quv_FillICCProfileFromICCFile(path, nullptr),    Quv_FillICCProfileFromICCFileA(nullptr, sp.get()),
    };
    for (size_t i = 0; i < std::size(refused); ++i) EXPECT_EQ(refused[i], CLR_INVALID_PARAMETER) << "call " << i;
    EXPECT_EQ(+sp->image, nullptr);
}

TEST(Header, ConnectionSpaceNeedsAClassAndDependsOnIt) {
    ScopedProfile sp;
    Quv_InitICCHeader(sp.get());
    EXPECT_EQ(Quv_SetICCConnectionSpace(sp.get(), sig("XYZ ")), CLR_INVALID_PARAMETER);
    ASSERT_EQ(Quv_SetICCDeviceClass(sp.get(), sig("scnr")), CLR_SUCCESS);
    EXPECT_EQ(Quv_SetICCConnectionSpace(sp.get(), sig("RGB ")), CLR_INVALID_PARAMETER);
    ASSERT_EQ(Quv_SetICCConnectionSpace(sp.get(), sig("XYZ ")), CLR_SUCCESS);
    EXPECT_EQ(be32(sp->image + 20), sig("XYZ "));

    // A device link takes any of the 25 spaces and does not rebuild.
    ASSERT_EQ(Quv_SetICCDeviceClass(sp.get(), sig("link")), CLR_SUCCESS);
    uint8_t* image = sp->image;
    ASSERT_EQ(Quv_SetICCConnectionSpace(sp.get(), sig("RGB ")), CLR_SUCCESS);
    EXPECT_EQ(sp->header->connectionSpace, sig("RGB "));
    EXPECT_EQ(+sp->image, image);
    EXPECT_EQ(be32(sp->image + 20), sig("XYZ "));
    EXPECT_EQ(Quv_SetICCConnectionSpace(sp.get(), sig("QQQQ")), CLR_INVALID_PARAMETER);
    // The next change brings the image up to date.
    ASSERT_EQ(Quv_SetICCCreator(sp.get(), 5), CLR_SUCCESS);
    EXPECT_EQ(be32(sp->image + 20), sig("RGB "));
}

TEST(Header, IdIsClearedNeverComputedAndTheReservedAreaDoesNotSurviveARebuild) {
    std::vector<uint8_t> bytes = smallProfile();
    for (int i = 100; i < 128; ++i) bytes[i] = uint8_t(i);
    ScopedProfile sp;
    ASSERT_EQ(Quv_FillICCProfileStructure(sp.get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    EXPECT_EQ(sp->header->reserved[0], 100);
    EXPECT_EQ(sp->image[127], 127);  // the parsed image is a copy
    ASSERT_EQ(Quv_SetICCFlags(sp.get(), 1), CLR_SUCCESS);
    EXPECT_EQ(sp->header->reserved[27], 127);
    // Apart from the reserved bytes and the flags, the rebuilt image is the file.
    bytes[47] = 1;
    for (int i = 100; i < 128; ++i) bytes[i] = 0;
    EXPECT_EQ(imageOf(sp.p), bytes);

    EXPECT_EQ(sp->header->profileId[0], 0xA0);
    ASSERT_EQ(Quv_SetICCProfileId(sp.get()), CLR_SUCCESS);
    for (int i = 84; i < 100; ++i) bytes[i] = 0;
    EXPECT_EQ(imageOf(sp.p), bytes);
}

TEST(ParseMemory, DecodesHeaderTableAndData) {
    std::vector<uint8_t> bytes = smallProfile();
    const uint8_t attributes[8] = {0, 0, 0, 0x0F, 0, 0, 0, 5};  // only the last four count
    std::memcpy(bytes.data() + 56, attributes, 8);
    ScopedProfile sp;
    ASSERT_EQ(Quv_FillICCProfileStructure(sp.get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    const IccHeader& h = *sp->header;
    const uint32_t fields[][2] = {
        {h.size, uint32_t(bytes.size())}, {h.cmmType, sig("lcms")},  {h.deviceClass, sig("mntr")},
        {h.colorSpace, sig("RGB ")},      {h.connectionSpace, sig("XYZ ")}, {h.dateTime.year, 2024},
        {h.dateTime.seconds, 45},         {h.primaryPlatform, sig("APPL")}, {h.model, 0x1234},
        {uint32_t(h.attributes), 5},      {h.renderingIntent, 1},     {uint32_t(h.illuminantX), 0xF6D6},
        {h.creator, sig("quvc")},         {h.profileId[15], 0xAF}};
    for (size_t i = 0; i < std::size(fields); ++i) EXPECT_EQ(fields[i][0], fields[i][1]) << "field " << i;
    ASSERT_EQ(sp->tagCount, 5);
    const IccTagEntry& first = sp->tagTable[0];
    EXPECT_TRUE(first.signature == sig("desc") && first.offset == 192 && first.size == 12);
    EXPECT_EQ(sp->tagTable[4].signature, sig("rTRC"));
    EXPECT_EQ(+sp->tagDataSize, bytes.size() - 192);
    EXPECT_EQ(std::memcmp(sp->tagData, bytes.data() + 192, sp->tagDataSize), 0);
    EXPECT_EQ(imageOf(sp.p), bytes);
    EXPECT_NE(+sp->image, bytes.data());

    // Signature, version and class are trusted here; only a file must have them.
    putBe32(bytes, 36, sig("nope"));
    bytes[8] = 9;
    putBe32(bytes, 12, sig("zzzz"));
    ScopedProfile trusted;
    ASSERT_EQ(Quv_FillICCProfileStructure(trusted.get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    EXPECT_EQ(trusted->header->signature, sig("nope"));
}

TEST(ParseMemory, ALongerBufferLoadsWithItsDeclaredSizeAndReparsingItCopiesNothing) {
    std::vector<uint8_t> bytes = iccImage({});
    bytes.resize(200, 0x77);
    putBe32(bytes, 0, 100);
    ScopedProfile sp;
    ASSERT_EQ(Quv_FillICCProfileStructure(sp.get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    EXPECT_EQ(+sp->dataSize, 200u);
    EXPECT_EQ(sp->header->size, 100u);
    EXPECT_EQ(imageOf(sp.p), bytes);
    EXPECT_TRUE(sp->tagCount == 0 && !sp->tagTable && !sp->tagData);
    uint8_t* image = sp->image;
    const long shared = qt::liveSharedBlocks();
    ASSERT_EQ(Quv_FillICCProfileStructure(sp.get(), sp->image, 132), CLR_SUCCESS);
    EXPECT_TRUE(sp->image == image && sp->dataSize == 200);
    EXPECT_EQ(qt::liveSharedBlocks(), shared);
    // A rebuild of a header that declares less than 132 bytes stays inside
    // its 100 bytes.
    ASSERT_EQ(Quv_SetICCCreator(sp.get(), 9), CLR_SUCCESS);
    EXPECT_EQ(+sp->dataSize, 100u);
    EXPECT_EQ(be32(sp->image + 80), 9u);
}

// The corpus test cuts real profiles; here a header that was there before
// the refusal stays, with the declared size.
TEST(ParseMemory, ASizeOrTableBeyondTheDataIsRefused) {
    std::vector<uint8_t> bytes = smallProfile();
    ScopedProfile fresh, held;
    EXPECT_EQ(Quv_FillICCProfileStructure(fresh.get(), bytes.data(), bytes.size() - 1), CLR_EPS_PROFILE_MALFORMED);
    EXPECT_TRUE(!fresh->image && !fresh->header);
    Quv_InitICCHeader(held.get());
    EXPECT_EQ(Quv_FillICCProfileStructure(held.get(), bytes.data(), bytes.size() - 1), CLR_EPS_PROFILE_MALFORMED);
    ASSERT_NE(+held->header, nullptr);
    EXPECT_EQ(held->header->size, bytes.size());
    // A negative count is taken as no tags.
    for (uint32_t count : {16u, 0x10000000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        putBe32(bytes, 128, count);
        ScopedProfile sp;
        const bool negative = count == 0xFFFFFFFFu;
        EXPECT_EQ(Quv_FillICCProfileStructure(sp.get(), bytes.data(), bytes.size()),
                  negative ? CLR_SUCCESS : CLR_EPS_PROFILE_MALFORMED);
        EXPECT_EQ(sp->tagCount, negative ? -1 : 0);
        EXPECT_EQ(+sp->tagTable, nullptr);
    }
}

// A setter keeps the new value and the old image; a parse gives failure.
TEST(ParseMemory, OutOfMemory) {
    {
        ScopedProfile sp;
        Quv_InitICCHeader(sp.get());
        ASSERT_EQ(Quv_SetICCCreator(sp.get(), 1), CLR_SUCCESS);
        uint8_t* image = sp->image;
        AllocationFailure fail(0);
        EXPECT_EQ(Quv_SetICCCreator(sp.get(), 2), CLR_FAILURE);
        EXPECT_TRUE(sp->header->creator == 2 && sp->image == image && be32(sp->image + 80) == 1);
    }
    std::vector<uint8_t> bytes = smallProfile();
    // Image, header, table and data image, in that order.
    for (long successes = 0; successes < 5; ++successes) {
        ScopedProfile sp;
        AllocationFailure fail(successes);
        EXPECT_EQ(Quv_FillICCProfileStructure(sp.get(), bytes.data(), bytes.size()),
                  successes < 4 ? CLR_FAILURE : CLR_SUCCESS) << successes;
        EXPECT_EQ(sp->tagTable == nullptr, successes < 4);
    }
}

TEST(Generate, PointerChecksTheSizesAndFilesWriteTheImage) {
    ScopedProfile sp;
    EXPECT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_NULL_ARGUMENT);
    Quv_InitICCHeader(sp.get());
    ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);  // an empty profile: header and count
    ASSERT_EQ(+sp->dataSize, 132u);
    EXPECT_EQ(be32(sp->image + 128), 0u);

    // A rebuild of a parsed file is the file (the corpus test checks it on
    // real profiles); a declared size that disagrees is refused.
    std::vector<uint8_t> bytes = smallProfile();
    ScopedProfile parsed;
    ASSERT_EQ(Quv_FillICCProfileStructure(parsed.get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    uint8_t* image = parsed->image;
    parsed->header->size += 1;
    EXPECT_EQ(Quv_GenerateICCPointer(parsed.get()), CLR_INVALID_PROFILE);
    EXPECT_EQ(+parsed->image, image);
    EXPECT_EQ(+parsed->dataSize, bytes.size());

    // The file is the held image, through the wide name; it replaces a file
    // that exists.
    TempFile out("generated.icc");
    const std::u16string wide = out.wide();
    ASSERT_EQ(Quv_GenerateICCFile(parsed.get(), wide.c_str()), CLR_SUCCESS);
    EXPECT_EQ(out.read(), bytes);
    parsed->dataSize = 140;
    ASSERT_EQ(Quv_GenerateICCFileA(parsed.get(), out.path.c_str()), CLR_SUCCESS);
    EXPECT_EQ(out.read().size(), 140u);
    EXPECT_EQ(Quv_GenerateICCFile(parsed.get(), u"/nonexistent-dir/x.icc"), CLR_FILE_CREATE_FAILED);
    // Without an image there is nothing to write.
    ScopedProfile empty;
    empty->dataSize = 10;
    EXPECT_EQ(Quv_GenerateICCFileA(empty.get(), out.path.c_str()), CLR_FILE_WRITE_FAILED);
}

TEST(ParseFile, LoadsAFileThroughBothNamesAndChecksSizeAndVersion) {
    std::vector<uint8_t> bytes = smallProfile();
    TempFile file("pr\xc3\xb8" "fil.icc");  // a name outside ASCII
    file.write(bytes);
    ScopedProfile sp;
    ASSERT_EQ(Quv_FillICCProfileFromICCFileA(file.path.c_str(), sp.get()), CLR_SUCCESS);
    EXPECT_EQ(imageOf(sp.p), bytes);
    EXPECT_EQ(sp->tagCount, 5);

    TempFile plain("plain.icc");
    bytes.resize(bytes.size() + 40, 0x55);  // longer than declared: the rest is ignored
    plain.write(bytes);
    const std::u16string wide = plain.wide();
    ScopedProfile again;
    ASSERT_EQ(Quv_FillICCProfileFromICCFile(wide.c_str(), again.get()), CLR_SUCCESS);
    EXPECT_EQ(+again->dataSize, bytes.size() - 40);

    EXPECT_EQ(Quv_FillICCProfileFromICCFile(u"/nonexistent-dir/none.icc", sp.get()), CLR_FILE_CREATE_FAILED);

    struct Case {
        const char* name;
        void (*edit)(std::vector<uint8_t>&);
        ClrStatus status;
    };
    const Case cases[] = {
        {"declared 0", [](std::vector<uint8_t>& b) { putBe32(b, 0, 0); }, CLR_INVALID_PROFILE},
        {"declared one more", [](std::vector<uint8_t>& b) { putBe32(b, 0, uint32_t(b.size() + 1)); },
         CLR_INVALID_PROFILE},
        {"major 0", [](std::vector<uint8_t>& b) { b[8] = 0; }, CLR_INVALID_PROFILE},
        {"major 5", [](std::vector<uint8_t>& b) { b[8] = 5; b[9] = 0; }, CLR_INVALID_PROFILE},
        {"major 1", [](std::vector<uint8_t>& b) { b[8] = 1; }, CLR_SUCCESS},
        {"4.9.0", [](std::vector<uint8_t>& b) { b[8] = 4; b[9] = 0x90; }, CLR_SUCCESS},
        {"4.9 with byte 11", [](std::vector<uint8_t>& b) { b[9] = 0x90; b[11] = 1; }, CLR_INVALID_PROFILE},
        {"4.8 with byte 10", [](std::vector<uint8_t>& b) { b[9] = 0x80; b[10] = 1; }, CLR_SUCCESS},
        {"no acsp", [](std::vector<uint8_t>& b) { b[36] = 'A'; }, CLR_INVALID_PROFILE},
        // The file checks pass; the table then runs past the declared bytes.
        {"declared 140", [](std::vector<uint8_t>& b) { putBe32(b, 0, 140); }, CLR_EPS_PROFILE_MALFORMED},
        {"declared 100", [](std::vector<uint8_t>& b) { putBe32(b, 0, 100); }, CLR_EPS_PROFILE_MALFORMED},
    };
    for (const Case& c : cases) {
        bytes = smallProfile();
        c.edit(bytes);
        file.write(bytes);
        ScopedProfile checked;
        EXPECT_EQ(Quv_FillICCProfileFromICCFileA(file.path.c_str(), checked.get()), c.status) << c.name;
    }
}

TEST(TagTypeSig, ReadsTheFirstMatchingRowInsideTheData) {
    std::vector<uint8_t> bytes = smallProfile();
    ScopedProfile sp;
    EXPECT_EQ(Quv_GetICCTagTypeSig(sp.get(), sig("desc")), 0u);
    EXPECT_EQ(Quv_GetICCTagTypeSig(nullptr, sig("desc")), 0u);
    ASSERT_EQ(Quv_FillICCProfileStructure(sp.get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    // Matches on real profiles are checked by the corpus test against lcms2.
    EXPECT_EQ(Quv_GetICCTagTypeSig(sp.get(), sig("gTRC")), 0u);
    // Two rows with one signature: the first is seen.
    sp->tagTable[3].signature = sig("desc");
    sp->tagTable[0].signature = sig("tech");
    EXPECT_EQ(Quv_GetICCTagTypeSig(sp.get(), sig("tech")), sig("text"));
    for (uint32_t offset : {0u, 100u, 191u, uint32_t(bytes.size()) - 3, uint32_t(bytes.size()), 0xFFFFFFF0u}) {
        sp->tagTable[0].offset = offset;
        EXPECT_EQ(Quv_GetICCTagTypeSig(sp.get(), sig("tech")), 0u) << offset;
    }
}

}  // namespace
