// Tag access and the codecs: the five operations, the warning statuses, the
// layout of adding and deleting tags, the text, data and signature types and
// the number arrays, and rows that point outside the data image.
#include "icc_support.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using namespace quvtest;
namespace qt = quv::testing;

// A display profile that holds only a header, with an image.
struct EmptyProfile : ScopedProfile {
    EmptyProfile() {
        EXPECT_EQ(Quv_InitICCHeader(get()), CLR_SUCCESS);
        EXPECT_EQ(Quv_SetICCDeviceClass(get(), sig("mntr")), CLR_SUCCESS);
    }
};

// A profile parsed from `image`.
struct Parsed : ScopedProfile {
    std::vector<uint8_t> bytes;
    explicit Parsed(std::vector<uint8_t> image = smallProfile()) : bytes(std::move(image)) {
        EXPECT_EQ(Quv_FillICCProfileStructure(get(), bytes.data(), bytes.size()), CLR_SUCCESS);
    }
};

// The small profile with its rTRC "curv" retyped as "vcgt", a type without
// a codec.
std::vector<uint8_t> smallProfileWithRawTrc() {
    std::vector<uint8_t> bytes = smallProfile();
    putBe32(bytes, be32(&bytes[132 + 12 * 4 + 4]), sig("vcgt"));
    return bytes;
}

// Reads `tag` into `r`, freed later as the type the profile gives it.
ClrStatus get(ScopedProfile& sp, ScopedRecord& r, uint32_t tag) {
    r.type = Quv_GetICCTagTypeSig(sp.get(), tag);
    return Quv_GetICCTagData(sp.get(), r.get(), tag);
}

IccTagRecord uint8Record(std::vector<uint8_t>& values) {
    IccTagRecord r{};
    r.uint8Array = {{ICC_TYPE_UINT8, 0}, values.data(), uint32_t(values.size())};
    return r;
}

IccTagRecord textRecord(const void* bytes) {
    IccTagRecord r{};
    r.text = {{ICC_TYPE_TEXT, 0}, static_cast<char*>(const_cast<void*>(bytes))};
    return r;
}

IccTagRecord sigRecord(uint32_t value) {
    IccTagRecord r{};
    r.sig.value = value;
    return r;
}

TEST(TagAccess, NullsEmptyProfilesAndMissingTagsGiveStatuses) {
    std::vector<uint8_t> values = {1, 2, 3};
    IccTagRecord r{}, out{}, u8 = uint8Record(values);
    ScopedProfile sp;  // no header yet
    EXPECT_EQ(Quv_GetICCTagData(nullptr, &r, sig("desc")), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_GetICCTagData(sp.get(), nullptr, sig("desc")), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_GetICCTagData(sp.get(), &r, sig("desc")), CLR_TAG_NOT_FOUND);
    EXPECT_EQ(Quv_SetICCTagData(nullptr, &u8, sig("targ"), ICC_TYPE_UINT8), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &u8, sig("targ"), ICC_TYPE_UINT8), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_DeleteICCTag(nullptr, sig("desc"), nullptr), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_DeleteICCTag(sp.get(), sig("desc"), nullptr), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_CreateICCTagData(nullptr, &r, ICC_TYPE_SIG), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_CreateICCTagData(&out, nullptr, ICC_TYPE_SIG), CLR_INVALID_PARAMETER);
    Quv_FreeICCTagType(nullptr, ICC_TYPE_TEXT);
    EmptyProfile empty;
    EXPECT_EQ(Quv_SetICCTagData(empty.get(), nullptr, sig("targ"), ICC_TYPE_UINT8), CLR_INVALID_PARAMETER);
    EXPECT_EQ(empty->tagCount, 0);

    Parsed parsed;
    EXPECT_EQ(Quv_GetICCTagData(parsed.get(), &r, sig("cprt")), CLR_TAG_NOT_FOUND);
    EXPECT_EQ(Quv_DeleteICCTag(parsed.get(), sig("cprt"), nullptr), CLR_TAG_NOT_FOUND);
    parsed->tagCount = -2;
    EXPECT_EQ(Quv_DeleteICCTag(parsed.get(), sig("desc"), nullptr), CLR_TAG_NOT_FOUND);
    parsed->tagCount = 5;
}

TEST(TagGet, DecodesDataAndSignatureTypesInHostOrder) {
    Parsed sp;
    // Text, XYZ and curves are read from every real profile by the corpus test.
    ScopedRecord data, signature, first;
    ASSERT_EQ(get(sp, data, sig("targ")), CLR_SUCCESS);
    EXPECT_EQ(data.r.data.flag, 1u);
    ASSERT_EQ(data.r.data.size, 3u);
    EXPECT_EQ(std::memcmp(data.r.data.bytes, "\x09\x08\x07", 3), 0);
    ASSERT_EQ(get(sp, signature, sig("tech")), CLR_SUCCESS);
    EXPECT_EQ(signature.r.sig.value, sig("fscn"));
    // A signature listed twice gives the first row.
    sp->tagTable[3].signature = sig("wtpt");
    ASSERT_EQ(get(sp, first, sig("wtpt")), CLR_SUCCESS);
    EXPECT_EQ(first.r.head.signature, ICC_TYPE_XYZ);
}

TEST(TagGet, TypesWithoutACodecComeAsRawBytesWithAWarning) {
    Parsed sp(smallProfileWithRawTrc());
    ScopedRecord curve, text, both;
    ASSERT_EQ(get(sp, curve, sig("rTRC")), CLR_TAG_UNKNOWN_TYPE);
    EXPECT_EQ(curve.r.unknown.head.signature, sig("vcgt"));
    ASSERT_EQ(curve.r.unknown.size, 6u);
    EXPECT_EQ(std::memcmp(curve.r.unknown.bytes, "\0\0\0\1\1\0", 6), 0);
    // Unknown signature, known type; and neither known.
    sp->tagTable[0].signature = sig("zzzz");
    sp->tagTable[4].signature = sig("vcgt");
    EXPECT_EQ(get(sp, text, sig("zzzz")), CLR_TAG_UNKNOWN_SIGNATURE);
    EXPECT_STREQ(text.r.text.text, "quv");
    EXPECT_EQ(get(sp, both, sig("vcgt")), CLR_TAG_UNKNOWN_BOTH);
    EXPECT_EQ(both.r.unknown.size, 6u);
}

TEST(TagGet, ShortElementsGiveWhatTheRowSizeHolds) {
    // Arrays count whole elements only; a text gives an empty block; a data
    // tag too short for its flag, and a signature at the very end of the data
    // image, have no value to read.
    Parsed sp(iccImage({{sig("aaaa"), tagValue(sig("ui32"), {1, 2, 3})},
                        {sig("bbbb"), tagValue(sig("XYZ "), std::vector<uint8_t>(24, 1))},
                        {sig("cccc"), tagValue(sig("ui08"), {})},
                        {sig("cprt"), tagValue(sig("text"), {})},
                        {sig("targ"), tagValue(sig("data"), {})},
                        {sig("tech"), tagValue(sig("sig "), {})}}));
    ScopedRecord u32, xyz, none, text, data, signature;
    ASSERT_EQ(get(sp, u32, sig("aaaa")), CLR_TAG_UNKNOWN_SIGNATURE);
    EXPECT_EQ(u32.r.uint32Array.count, 0u);
    ASSERT_EQ(get(sp, xyz, sig("bbbb")), CLR_TAG_UNKNOWN_SIGNATURE);
    EXPECT_EQ(xyz.r.xyz.count, 2u);
    EXPECT_EQ(xyz.r.xyz.values[1].z, 0x01010101u);
    ASSERT_EQ(get(sp, none, sig("cccc")), CLR_TAG_UNKNOWN_SIGNATURE);
    EXPECT_EQ(none.r.uint8Array.count, 0u);
    ASSERT_EQ(get(sp, text, sig("cprt")), CLR_SUCCESS);
    EXPECT_NE(+text.r.text.text, nullptr);
    EXPECT_EQ(get(sp, data, sig("targ")), CLR_INVALID_TAG_DATA);
    EXPECT_EQ(get(sp, signature, sig("tech")), CLR_INVALID_TAG_DATA);
}

TEST(TagTrust, RowsOutsideTheDataImageGiveStatusesNotReads) {
    const std::vector<uint8_t> original = smallProfile();
    const uint32_t end = uint32_t(original.size());
    const struct {
        uint32_t offset, size;
        bool outside;  // the value leaves the data image (else it is only too short)
    } bad[] = {
        {0, 12, true},      {100, 12, true},     {191, 12, true},         {end, 8, true},
        {end - 4, 8, true}, {end - 8, 9, true},  {192, 0xFFFFFFFF, true}, {0xFFFFFFF0, 16, true},
        {200, end, true},   {end + 100, 12, true}, {192, 0, false},       {192, 7, false},
    };
    for (const auto& b : bad) {
        for (int target = 0; target < 5; ++target) {
            SCOPED_TRACE(testing::Message() << b.offset << " " << b.size << " row " << target);
            std::vector<uint8_t> bytes = original;
            putBe32(bytes, 136 + 12 * target, b.offset);
            putBe32(bytes, 140 + 12 * target, b.size);
            Parsed sp(bytes);
            const uint32_t tag = sp->tagTable[target].signature;
            ScopedRecord r;
            EXPECT_EQ(get(sp, r, tag), CLR_INVALID_TAG_DATA);
            for (int other = 0; other < 5; ++other) {  // the other tags still read
                ScopedRecord o;
                const ClrStatus s = other == target ? CLR_SUCCESS : get(sp, o, sp->tagTable[other].signature);
                EXPECT_TRUE(s == CLR_SUCCESS || s == CLR_TAG_UNKNOWN_TYPE) << s;
            }
            // Deleting a value outside the data image would move bytes that
            // are not there; a row that is only too short is cut out.
            EXPECT_EQ(Quv_DeleteICCTag(sp.get(), tag, nullptr), b.outside ? CLR_INVALID_PARAMETER : CLR_SUCCESS);
            // A Set under that signature adds a tag behind it either way.
            IccTagRecord s = sigRecord(sig("abcd"));
            EXPECT_EQ(Quv_SetICCTagData(sp.get(), &s, tag, ICC_TYPE_SIG), CLR_SUCCESS);
        }
    }
}

TEST(TagSet, TheFirstTagsFollowTheLayoutRules) {
    EmptyProfile sp;
    std::vector<uint8_t> five = {1, 2, 3, 4, 5};
    IccTagRecord r = uint8Record(five);
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("targ"), ICC_TYPE_UINT8), CLR_SUCCESS);
    ASSERT_EQ(sp->tagCount, 1);
    EXPECT_EQ(sp->tagTable[0].offset, 144u);
    EXPECT_EQ(sp->tagTable[0].size, 13u);
    EXPECT_EQ(+sp->tagDataSize, 16u);
    EXPECT_EQ(sp->header->size, 160u);
    EXPECT_EQ(+sp->dataSize, 160u);
    const uint8_t want[16] = {'u', 'i', '0', '8', 0, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0};
    EXPECT_EQ(std::memcmp(sp->tagData, want, 16), 0);
    EXPECT_EQ(std::memcmp(sp->image + 144, want, 16), 0);

    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("resp"), ICC_TYPE_UINT8), CLR_SUCCESS);
    EXPECT_EQ(sp->tagTable[0].offset, 156u);
    EXPECT_EQ(sp->tagTable[1].offset, 172u);
    EXPECT_EQ(sp->header->size, 188u);
    // The image is the generator's, byte for byte.
    const std::vector<uint8_t> image(sp->image, sp->image + sp->dataSize);
    ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);
    EXPECT_EQ(std::vector<uint8_t>(sp->image, sp->image + sp->dataSize), image);
}

TEST(TagSet, AReplacedTagMovesToTheEndClearsTheIdAndAFailureLeavesItDeleted) {
    Parsed sp;
    std::vector<uint8_t> values = {7};
    IccTagRecord r = uint8Record(values), none{};
    // A new tag keeps the id.
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("resp"), ICC_TYPE_UINT8), CLR_SUCCESS);
    EXPECT_EQ(sp->header->profileId[0], 0xA0);
    // Replacing one clears it, and the tag comes last.
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("desc"), ICC_TYPE_UINT8), CLR_SUCCESS);
    EXPECT_EQ(sp->header->profileId[0], 0);
    ASSERT_EQ(sp->tagCount, 6);
    EXPECT_EQ(sp->tagTable[5].signature, sig("desc"));
    EXPECT_EQ(sp->tagTable[0].signature, sig("wtpt"));
    EXPECT_EQ(Quv_GetICCTagTypeSig(sp.get(), sig("desc")), ICC_TYPE_UINT8);
    ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);
    // A failing Set has already deleted the tag it was to replace.
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &none, sig("wtpt"), ICC_TYPE_XYZ), CLR_INVALID_PARAMETER);
    EXPECT_EQ(sp->tagCount, 5);
    EXPECT_EQ(Quv_GetICCTagTypeSig(sp.get(), sig("wtpt")), 0u);
}

TEST(TagSet, UnknownTypesAndSignaturesAreStoredWithAWarning) {
    EmptyProfile sp;
    uint8_t raw[6] = {0, 0, 0, 1, 2, 0x33};
    IccTagRecord r{};
    r.unknown = {{}, raw, 6};
    const std::vector<uint8_t> image(sp->image, sp->image + sp->dataSize);
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("rTRC"), sig("vcgt")), CLR_TAG_UNKNOWN_TYPE);
    ASSERT_EQ(sp->tagCount, 1);
    EXPECT_EQ(sp->tagTable[0].size, 14u);
    EXPECT_EQ(+sp->tagDataSize, 16u);
    EXPECT_EQ(sp->header->size, 160u);
    // The file image waits for the next rebuild.
    EXPECT_EQ(std::vector<uint8_t>(sp->image, sp->image + sp->dataSize), image);
    ScopedRecord back;
    ASSERT_EQ(get(sp, back, sig("rTRC")), CLR_TAG_UNKNOWN_TYPE);
    EXPECT_EQ(back.r.unknown.head.signature, sig("vcgt"));
    ASSERT_EQ(back.r.unknown.size, 6u);
    EXPECT_EQ(std::memcmp(back.r.unknown.bytes, raw, 6), 0);

    IccTagRecord text = textRecord("A\0\0\0");
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &text, sig("qqqq"), ICC_TYPE_TEXT), CLR_TAG_UNKNOWN_SIGNATURE);
    EXPECT_EQ(sp->tagCount, 2);
    EXPECT_EQ(+sp->dataSize, 132u);
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("qqqq"), sig("zzzz")), CLR_TAG_UNKNOWN_BOTH);
    EXPECT_EQ(sp->tagCount, 2);
    // The next rebuild brings the image up to date.
    ASSERT_EQ(Quv_SetICCCreator(sp.get(), 3), CLR_SUCCESS);
    EXPECT_EQ(+sp->dataSize, sp->header->size);
    ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);
    r.unknown.bytes = nullptr;
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("qqqq"), sig("zzzz")), CLR_INVALID_PARAMETER);
}

TEST(TagAccess, OutOfMemoryGivesFailureButMinusThirteenForSignatureSets) {
    Parsed parsed;
    for (uint32_t tag : {sig("desc"), sig("wtpt"), sig("targ"), sig("rTRC")}) {
        ScopedRecord r;  // left freeable
        r.type = Quv_GetICCTagTypeSig(parsed.get(), tag);
        AllocationFailure fail(0);
        EXPECT_EQ(Quv_GetICCTagData(parsed.get(), r.get(), tag), CLR_FAILURE);
    }
    EmptyProfile sp;
    std::vector<uint8_t> values = {1, 2};
    IccTagRecord r = uint8Record(values), s = sigRecord(sig("fscn"));
    {
        AllocationFailure fail(0);
        EXPECT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("targ"), ICC_TYPE_UINT8), CLR_FAILURE);
        // The wire record needs nothing; the append's table is the first block.
        EXPECT_EQ(Quv_SetICCTagData(sp.get(), &s, sig("tech"), ICC_TYPE_SIG), CLR_INVALID_PARAMETER);
    }
    // After a failed append the tag count has grown.
    EXPECT_EQ(sp->tagCount, 1);
}

TEST(TagDelete, LaterRowsCloseUpAndTheImageIsRebuilt) {
    Parsed sp(smallProfileWithRawTrc());
    const uint32_t descSize = sp->tagTable[0].size;  // 12, no padding
    const uint32_t wtptOffset = sp->tagTable[1].offset;
    ScopedRecord r, xyz, curve, raw;
    ASSERT_EQ(Quv_DeleteICCTag(sp.get(), sig("desc"), r.get()), CLR_SUCCESS);
    EXPECT_STREQ(r.r.text.text, "quv");
    ASSERT_EQ(sp->tagCount, 4);
    EXPECT_EQ(sp->tagTable[0].signature, sig("wtpt"));
    EXPECT_EQ(sp->tagTable[0].offset, wtptOffset - 12 - descSize);
    EXPECT_EQ(sp->header->size, sp.bytes.size() - 12 - descSize);
    for (int i = 84; i < 100; ++i) EXPECT_EQ(sp->image[i], 0);
    ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);
    ASSERT_EQ(get(sp, xyz, sig("wtpt")), CLR_SUCCESS);
    EXPECT_EQ(xyz.r.xyz.values[0].y, 0x10000u);
    EXPECT_EQ(get(sp, curve, sig("rTRC")), CLR_TAG_UNKNOWN_TYPE);
    // A tag read under a warning is deleted only when no record is asked for.
    raw.type = sig("vcgt");
    EXPECT_EQ(Quv_DeleteICCTag(sp.get(), sig("rTRC"), raw.get()), CLR_TAG_UNKNOWN_TYPE);
    EXPECT_EQ(sp->tagCount, 4);
    EXPECT_EQ(Quv_DeleteICCTag(sp.get(), sig("rTRC"), nullptr), CLR_SUCCESS);
    EXPECT_EQ(sp->tagCount, 3);
}

TEST(TagDelete, ThePaddingOfADeletedTagStaysBehind) {
    EmptyProfile sp;
    IccTagRecord text = textRecord("A\0\0\0"), s = sigRecord(sig("fscn"));  // text: size 10, padding 2
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &text, sig("desc"), ICC_TYPE_TEXT), CLR_SUCCESS);
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &s, sig("tech"), ICC_TYPE_SIG), CLR_SUCCESS);
    EXPECT_EQ(+sp->tagDataSize, 24u);
    ASSERT_EQ(Quv_DeleteICCTag(sp.get(), sig("desc"), nullptr), CLR_SUCCESS);
    EXPECT_EQ(+sp->tagDataSize, 14u);
    EXPECT_EQ(sp->header->size, 132u + 12 + 14);
    // The sig tag now stands two bytes in, off its four-byte alignment.
    EXPECT_EQ(sp->tagTable[0].offset, 132u + 12 + 2);
    EXPECT_EQ(std::vector<uint8_t>(sp->tagData, sp->tagData + 6), (std::vector<uint8_t>{0, 0, 's', 'i', 'g', ' '}));
    ScopedRecord back;
    ASSERT_EQ(get(sp, back, sig("tech")), CLR_SUCCESS);
    EXPECT_EQ(back.r.sig.value, sig("fscn"));
}

TEST(TagDelete, TheLastTagLeavesStaleSizesBehindAndSoDoesReplacingIt) {
    EmptyProfile sp;
    std::vector<uint8_t> five = {1, 2, 3, 4, 5};
    IccTagRecord r = uint8Record(five);
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("targ"), ICC_TYPE_UINT8), CLR_SUCCESS);
    ASSERT_EQ(Quv_DeleteICCTag(sp.get(), sig("targ"), nullptr), CLR_SUCCESS);
    EXPECT_EQ(sp->tagCount, 0);
    EXPECT_EQ(+sp->tagTable, nullptr);
    EXPECT_EQ(+sp->tagData, nullptr);
    EXPECT_EQ(+sp->tagDataSize, 16u);
    EXPECT_EQ(sp->header->size, 160u);
    // The rebuilt image has nothing behind the count: all zero.
    ASSERT_EQ(+sp->dataSize, 160u);
    EXPECT_EQ(std::vector<uint8_t>(sp->image + 132, sp->image + 160), std::vector<uint8_t>(28, 0));
    EXPECT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_INVALID_PROFILE);

    // The next tag stands behind a dead stretch of the old length.
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("targ"), ICC_TYPE_UINT8), CLR_SUCCESS);
    ASSERT_EQ(sp->tagCount, 1);
    EXPECT_EQ(sp->tagTable[0].offset, 144u + 16);
    EXPECT_EQ(+sp->tagDataSize, 32u);
    EXPECT_EQ(std::vector<uint8_t>(sp->tagData, sp->tagData + 16), std::vector<uint8_t>(16, 0));
    ScopedRecord back;
    ASSERT_EQ(get(sp, back, sig("targ")), CLR_SUCCESS);
    ASSERT_EQ(back.r.uint8Array.count, 5u);
    EXPECT_EQ(back.r.uint8Array.values[4], 5);
    EXPECT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_INVALID_PROFILE);

    // A Set that replaces the only tag of a sound profile takes the same road.
    EmptyProfile one;
    five.pop_back();
    r = uint8Record(five);
    ASSERT_EQ(Quv_SetICCTagData(one.get(), &r, sig("targ"), ICC_TYPE_UINT8), CLR_SUCCESS);
    ASSERT_EQ(Quv_GenerateICCPointer(one.get()), CLR_SUCCESS);
    ASSERT_EQ(Quv_SetICCTagData(one.get(), &r, sig("targ"), ICC_TYPE_UINT8), CLR_SUCCESS);
    EXPECT_EQ(one->tagTable[0].offset, 144u + 12);
    EXPECT_EQ(Quv_GenerateICCPointer(one.get()), CLR_INVALID_PROFILE);
}

TEST(TagCreate, GivesWireOrderRecords) {
    IccTagRecord out{}, none{};
    // Short signatures are widened with blanks.
    for (auto [value, wire] : {std::pair<uint32_t, const char*>{'A', "A   "}, {0x4142, "AB  "}, {0x414243, "ABC "},
                               {sig("ABCD"), "ABCD"}}) {
        IccTagRecord in = sigRecord(value);
        ASSERT_EQ(Quv_CreateICCTagData(&out, &in, ICC_TYPE_SIG), CLR_SUCCESS);
        EXPECT_EQ(std::memcmp(&out.sig.head.signature, "sig ", 4), 0);
        EXPECT_EQ(out.sig.head.reserved, 0u);
        EXPECT_EQ(std::memcmp(&out.sig.value, wire, 4), 0) << wire;
    }

    std::vector<uint16_t> shorts = {0x0102, 0xA0B0};
    IccTagRecord a{};
    a.uint16Array = {{}, shorts.data(), 2};
    ScopedRecord wire, unknown, text;
    wire.type = ICC_TYPE_UINT16;
    ASSERT_EQ(Quv_CreateICCTagData(wire.get(), &a, ICC_TYPE_UINT16), CLR_SUCCESS);
    EXPECT_EQ(std::memcmp(&wire.r.head.signature, "ui16", 4), 0);  // file bytes, not the number
    EXPECT_EQ(wire.r.uint16Array.count, 2u);
    EXPECT_EQ(std::memcmp(wire.r.uint16Array.values, "\x01\x02\xA0\xB0", 4), 0);

    uint8_t raw[3] = {9, 8, 7};
    IccTagRecord u{};
    u.unknown = {{}, raw, 3};
    unknown.type = sig("vcgt");
    ASSERT_EQ(Quv_CreateICCTagData(unknown.get(), &u, sig("vcgt")), CLR_TAG_UNKNOWN_TYPE);
    EXPECT_EQ(std::memcmp(&unknown.r.head.signature, "vcgt", 4), 0);
    EXPECT_EQ(unknown.r.unknown.size, 3u);
    EXPECT_EQ(unknown.r.unknown.bytes[2], 7);
    u.unknown.bytes = nullptr;
    EXPECT_EQ(Quv_CreateICCTagData(&none, &u, sig("vcgt")), CLR_INVALID_PARAMETER);

    // Text: as many bytes as 16-bit units, plus one.
    const uint8_t source[] = {0x41, 0, 0x42, 0, 0, 0};
    IccTagRecord t = textRecord(source);
    text.type = ICC_TYPE_TEXT;
    ASSERT_EQ(Quv_CreateICCTagData(text.get(), &t, ICC_TYPE_TEXT), CLR_SUCCESS);
    EXPECT_EQ(std::memcmp(&text.r.head.signature, "text", 4), 0);
    EXPECT_EQ(std::memcmp(text.r.text.text, source, 3), 0);
    t.text.text = nullptr;
    EXPECT_EQ(Quv_CreateICCTagData(&none, &t, ICC_TYPE_TEXT), CLR_INVALID_PARAMETER);
}

TEST(TagFree, ReleasesAndNullsThePointers) {
    const long before = qt::livePrivateBlocks();
    Parsed sp;
    const long parsed = qt::livePrivateBlocks();
    EXPECT_GT(parsed, before);
    for (uint32_t tag : {sig("desc"), sig("wtpt"), sig("targ"), sig("tech"), sig("rTRC")}) {
        IccTagRecord r{};
        const uint32_t type = Quv_GetICCTagTypeSig(sp.get(), tag);
        Quv_GetICCTagData(sp.get(), &r, tag);
        Quv_FreeICCTagType(&r, type);
        EXPECT_EQ(qt::livePrivateBlocks(), parsed) << tag;
        Quv_FreeICCTagType(&r, type);  // nothing left to release
    }
}

TEST(TextType, SetMeasuresTwiceInSixteenBitUnits) {
    const struct { std::vector<uint8_t> source, stored; } cases[] = {
        {{0x41, 0, 0, 0}, {0x41, 0}},
        {{0x41, 0, 0x42, 0, 0x43, 0, 0, 0}, {0x41, 0, 0x42}},
        {{'A', 'B', 'C', 'D', 'E', 0, 0, 0}, {'A', 'B', 'C'}},
        {{0, 0}, {0}},
        {{'q', 'u', 'v', 0, 0, 0}, {'q', 'u', 'v'}},
    };
    for (const auto& c : cases) {
        EmptyProfile sp;
        IccTagRecord in = textRecord(c.source.data());
        ASSERT_EQ(Quv_SetICCTagData(sp.get(), &in, sig("cprt"), ICC_TYPE_TEXT), CLR_SUCCESS);
        const uint32_t value = uint32_t(c.stored.size());
        EXPECT_EQ(sp->tagTable[0].size, value + 8);
        EXPECT_EQ(+sp->tagDataSize, value + 8 + (4 - (value & 3)) % 4);
        EXPECT_EQ(tagBytes(sp.get(), sig("cprt")), tagValue(ICC_TYPE_TEXT, c.stored));
    }
}

TEST(DataType, OnlyFlagsZeroAndOneAreTaken) {
    EmptyProfile sp;
    uint8_t bytes[5] = {1, 2, 3, 4, 5};
    IccTagRecord in{}, out{};
    in.data = {{}, 0, bytes, 5};
    for (uint32_t flag : {2u, 0xFFFFFFFFu}) {
        in.data.flag = flag;
        EXPECT_EQ(Quv_CreateICCTagData(&out, &in, ICC_TYPE_DATA), CLR_INVALID_PARAMETER);
        EXPECT_EQ(Quv_SetICCTagData(sp.get(), &in, sig("targ"), ICC_TYPE_DATA), CLR_INVALID_PARAMETER);
    }
    EXPECT_EQ(sp->tagCount, 0);
    in.data = {{}, 1, nullptr, 5};
    EXPECT_EQ(Quv_CreateICCTagData(&out, &in, ICC_TYPE_DATA), CLR_INVALID_PARAMETER);
}

TEST(DataType, AsciiDataGrowsByTwoOnEachRoundTrip) {
    EmptyProfile sp;
    uint8_t text[6] = {'h', 'e', 'l', 'l', 'o', 0};
    IccTagRecord in{};
    in.data = {{}, 0, text, 5};
    ASSERT_EQ(Quv_SetICCTagData(sp.get(), &in, sig("targ"), ICC_TYPE_DATA), CLR_SUCCESS);
    EXPECT_EQ(sp->tagTable[0].size, 19u);
    EXPECT_EQ(+sp->tagDataSize, 20u);
    EXPECT_EQ(tagBytes(sp.get(), sig("targ")), tagValue(ICC_TYPE_DATA, {0, 0, 0, 0, 'h', 'e', 'l', 'l', 'o', 0, 0}));
    for (uint32_t size = 7; size <= 11; size += 2) {
        ScopedRecord back;
        ASSERT_EQ(get(sp, back, sig("targ")), CLR_SUCCESS);
        EXPECT_EQ(back.r.data.size, size);
        // The block has a byte behind its size: the one that follows the tag.
        EXPECT_EQ(back.r.data.bytes[back.r.data.size], 0);
        ASSERT_EQ(Quv_SetICCTagData(sp.get(), back.get(), sig("targ"), ICC_TYPE_DATA), CLR_SUCCESS);
    }
    // At the very end of the data image nothing follows: a zero is supplied.
    Parsed last(iccImage({{sig("targ"), tagValue(sig("data"), {0, 0, 0, 0, 'a', 'b', 'c', 'd'})}}));
    ASSERT_EQ(+last->tagDataSize, 16u);
    ScopedRecord r;
    ASSERT_EQ(get(last, r, sig("targ")), CLR_SUCCESS);
    ASSERT_EQ(r.r.data.size, 4u);
    EXPECT_EQ(r.r.data.bytes[4], 0);
}

TEST(NumberArrays, EachWidthAndBinaryDataAreStoredBigEndianWithTheirPadding) {
    std::vector<uint16_t> u16 = {0x0102, 0x0304, 0x0506};
    std::vector<uint64_t> u64 = {0x1122334455667788u};
    std::vector<uint32_t> u32 = {0xFFFF0000u, 0x10000};
    std::vector<IccXYZNumber> xyz = {{0xF6D6, 0x10000, 0xD32D}};
    uint8_t binary[5] = {1, 2, 3, 4, 5};
    IccTagRecord r16{}, r64{}, r32{}, rx{}, rdata{}, rsig = sigRecord('Q');  // widened with blanks
    rdata.data = {{}, 1, binary, 5};
    r16.uint16Array = {{}, u16.data(), 3};
    r64.uint64Array = {{}, u64.data(), 1};
    r32.s15Fixed16Array = {{}, u32.data(), 2};
    rx.xyz = {{}, xyz.data(), 1};
    const std::vector<uint8_t> u32Bytes = {0xFF, 0xFF, 0, 0, 0, 1, 0, 0};
    using Read = uint64_t (*)(const IccTagRecord&);
    const struct {
        IccTagRecord* record;
        uint32_t tag, type;
        std::vector<uint8_t> wire;
        uint32_t room;
        Read readBack;
        uint64_t back;  // what a read gives: of a 64-bit number only the low word
    } rows[] = {
        {&r16, sig("bkpt"), ICC_TYPE_UINT16, {1, 2, 3, 4, 5, 6}, 16,
         [](const IccTagRecord& r) -> uint64_t { return r.uint16Array.values[2]; }, 0x0506},
        {&r64, sig("lumi"), ICC_TYPE_UINT64, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}, 16,
         [](const IccTagRecord& r) -> uint64_t { return r.uint64Array.values[0]; }, 0x55667788u},
        {&r32, sig("chad"), ICC_TYPE_S15F16, u32Bytes, 16,
         [](const IccTagRecord& r) -> uint64_t { return r.s15Fixed16Array.values[0]; }, 0xFFFF0000u},
        {&r32, sig("chad"), ICC_TYPE_U16F16, u32Bytes, 16,
         [](const IccTagRecord& r) -> uint64_t { return r.u16Fixed16Array.values[1]; }, 0x10000u},
        {&r32, sig("chad"), ICC_TYPE_UINT32, u32Bytes, 16,
         [](const IccTagRecord& r) -> uint64_t { return r.uint32Array.values[0]; }, 0xFFFF0000u},
        {&rx, sig("wtpt"), ICC_TYPE_XYZ, {0, 0, 0xF6, 0xD6, 0, 1, 0, 0, 0, 0, 0xD3, 0x2D}, 20,
         [](const IccTagRecord& r) -> uint64_t { return r.xyz.values[0].z; }, 0xD32D},
        {&rdata, sig("targ"), ICC_TYPE_DATA, {0, 0, 0, 1, 1, 2, 3, 4, 5}, 20,
         [](const IccTagRecord& r) -> uint64_t { return r.data.size; }, 5},  // binary data keeps its size
        {&rsig, sig("tech"), ICC_TYPE_SIG, {'Q', ' ', ' ', ' '}, 12,
         [](const IccTagRecord& r) -> uint64_t { return r.sig.value; }, sig("Q   ")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        EmptyProfile sp;
        ASSERT_EQ(Quv_SetICCTagData(sp.get(), row.record, row.tag, row.type), CLR_SUCCESS);
        EXPECT_EQ(tagBytes(sp.get(), row.tag), tagValue(row.type, row.wire));
        EXPECT_EQ(+sp->tagDataSize, row.room);
        for (uint32_t i = 8 + uint32_t(row.wire.size()); i < row.room; ++i) EXPECT_EQ(sp->tagData[i], 0);
        ScopedRecord back;
        ASSERT_EQ(get(sp, back, row.tag), CLR_SUCCESS);
        ASSERT_EQ(Quv_GenerateICCPointer(sp.get()), CLR_SUCCESS);
        EXPECT_EQ(row.readBack(back.r), row.back);
    }
}

TEST(NumberArrays, CountsThatWrapTheSizeAreRefused) {
    EmptyProfile sp;
    std::vector<uint32_t> values(4, 1);
    IccTagRecord r{};
    // Minus one element: the size wraps to 4, below the eight head bytes.
    r.uint32Array = {{}, values.data(), 0xFFFFFFFFu};
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("aaaa"), ICC_TYPE_UINT32), CLR_INVALID_PARAMETER);
    // A negative count copies nothing in Create.
    ScopedRecord out;
    out.type = ICC_TYPE_UINT32;
    ASSERT_EQ(Quv_CreateICCTagData(out.get(), &r, ICC_TYPE_UINT32), CLR_SUCCESS);
    EXPECT_EQ(out.r.uint32Array.count, 0xFFFFFFFFu);
    r.uint32Array.values = nullptr;
    EXPECT_EQ(Quv_SetICCTagData(sp.get(), &r, sig("aaaa"), ICC_TYPE_UINT32), CLR_INVALID_PARAMETER);
}

}  // namespace
