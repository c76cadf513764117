// The colour spaces as bytes: one table of what each space is (bits per
// pixel, whole bytes, the geometry its packing demands, its lcms2 format and
// embedded profile, its name), and the row lengths and geometry checks drawn
// from it. Header-only data, so the quvclr program and the benchmarks read
// the same table.
#pragma once

#include <quvclr/conversion.h>
#include <quvclr/status.h>

#include <cstdint>

namespace quv::kernels {

// lcms2 pixel formats of the spaces that have one.
inline constexpr uint32_t kFormatRgb = 0x40019;   // TYPE_RGB_8
inline constexpr uint32_t kFormatBgr = 0x40419;   // TYPE_BGR_8
inline constexpr uint32_t kFormatCmyk = 0x60021;  // TYPE_CMYK_8, also for YCCK
inline constexpr uint32_t kFormatCmy = 0x50019;   // TYPE_CMY_8
inline constexpr uint32_t kFormatLab = 0xA0019;   // TYPE_Lab_8

struct SpaceFacts {
    ClrSpace space;
    const char* name;          // as the quvclr program spells it
    uint8_t bitsPerPixel;
    uint8_t channels;          // one byte each; 0 where channels share bytes
    uint8_t widthMultiple;     // what the packing demands of the width
    uint8_t heightMultiple;    // and of the height
    uint32_t iccFormat;        // 0: no ICC conversion
    uint32_t embeddedProfile;  // the embedded profile of that format, 0 for none
};

inline constexpr SpaceFacts kSpaces[] = {
    {ClrSpaceRgb, "rgb", 24, 3, 1, 1, kFormatRgb, CLR_EMBEDDED_PROFILE_RGB},
    {ClrSpaceYuv, "yuv", 24, 3, 1, 1, 0, 0},
    {ClrSpaceCmyk, "cmyk", 32, 4, 1, 1, kFormatCmyk, CLR_EMBEDDED_PROFILE_CMYK},
    {ClrSpaceHsv, "hsv", 24, 3, 1, 1, 0, 0},
    {ClrSpaceHls, "hls", 24, 3, 1, 1, 0, 0},
    {ClrSpaceYiq, "yiq", 24, 3, 1, 1, 0, 0},
    {ClrSpaceCmy, "cmy", 24, 3, 1, 1, kFormatCmy, CLR_EMBEDDED_PROFILE_CMY},
    {ClrSpaceLab, "lab", 24, 3, 1, 1, kFormatLab, CLR_EMBEDDED_PROFILE_LAB},
    {ClrSpaceXyz, "xyz", 24, 3, 1, 1, 0, 0},
    {ClrSpaceYuy2, "yuy2", 16, 0, 2, 1, 0, 0},
    {ClrSpaceYvu9, "yvu9", 9, 0, 4, 4, 0, 0},
    {ClrSpaceYcck, "ycck", 32, 4, 1, 1, kFormatCmyk, CLR_EMBEDDED_PROFILE_CMYK},
    {ClrSpaceBgr, "bgr", 24, 3, 1, 1, kFormatBgr, CLR_EMBEDDED_PROFILE_RGB},
    {ClrSpaceY41p, "y41p", 12, 0, 8, 1, 0, 0},
    {ClrSpaceUyvy, "uyvy", 16, 0, 2, 1, 0, 0},
    {ClrSpaceYcbcr, "ycbcr", 24, 3, 1, 1, 0, 0},
    {ClrSpaceHsi, "hsi", 24, 3, 1, 1, 0, 0},
    {ClrSpaceRgb444, "rgb444", 16, 0, 1, 1, 0, 0},
};

// The row of a space, or null for a value that is not one.
constexpr const SpaceFacts* spaceFacts(uint32_t space) {
    for (const SpaceFacts& f : kSpaces)
        if (static_cast<uint32_t>(f.space) == space) return &f;
    return nullptr;
}

constexpr bool isKnownSpace(uint32_t space) { return spaceFacts(space) != nullptr; }

// True for the two layouts of the RGB hub.
constexpr bool isRgbSide(uint32_t space) { return space == ClrSpaceRgb || space == ClrSpaceBgr; }

// Bits per pixel, or CLR_INVALID_SPACE for a value that is not a space.
constexpr int32_t bitsPerPixel(uint32_t space) {
    const SpaceFacts* f = spaceFacts(space);
    return f ? int32_t{f->bitsPerPixel} : int32_t{CLR_INVALID_SPACE};
}

// The lcms2 format of a space, or 0.
constexpr uint32_t iccFormat(uint32_t space) {
    const SpaceFacts* f = spaceFacts(space);
    return f ? f->iccFormat : 0;
}

// The embedded profile id serving an lcms2 format, or 0.
constexpr uint32_t embeddedProfileOf(uint32_t format) {
    for (const SpaceFacts& f : kSpaces)
        if (f.iccFormat != 0 && f.iccFormat == format) return f.embeddedProfile;
    return 0;
}

// Bytes of a row: (bits x width + 7) / 8, with the bit count read as a 16-bit
// unsigned number, so a value that is not a space still gives a length.
constexpr uint64_t rowBytes(uint32_t space, int32_t width) {
    const auto bits = static_cast<uint16_t>(bitsPerPixel(space));
    return (static_cast<uint64_t>(bits) * static_cast<uint64_t>(width > 0 ? width : 0) + 7) / 8;
}

// The test each side of a formula conversion passes: a known space, a buffer,
// a size of at least 1 x 1, and the width and height its packing needs.
ClrStatus checkGeometry(uint32_t space, const void* buffer, int32_t width, int32_t height);

}  // namespace quv::kernels
