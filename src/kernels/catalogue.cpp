#include "kernels/catalogue.h"

namespace quv::kernels {

int32_t bitsPerPixel(uint32_t space) {
    switch (space) {
    case ClrSpaceRgb: case ClrSpaceYuv: case ClrSpaceHsv: case ClrSpaceHls: case ClrSpaceYiq:
    case ClrSpaceCmy: case ClrSpaceLab: case ClrSpaceXyz: case ClrSpaceBgr: case ClrSpaceYcbcr:
    case ClrSpaceHsi:
        return 24;
    case ClrSpaceCmyk: case ClrSpaceYcck:
        return 32;
    case ClrSpaceYuy2: case ClrSpaceUyvy: case ClrSpaceRgb444:
        return 16;
    case ClrSpaceYvu9:
        return 9;
    case ClrSpaceY41p:
        return 12;
    default:
        return CLR_INVALID_SPACE;
    }
}

bool isKnownSpace(uint32_t space) { return bitsPerPixel(space) > 0; }

uint64_t rowBytes(uint32_t space, int32_t width) {
    const auto bits = static_cast<uint16_t>(bitsPerPixel(space));
    return (static_cast<uint64_t>(bits) * static_cast<uint64_t>(width > 0 ? width : 0) + 7) / 8;
}

ClrStatus checkGeometry(uint32_t space, const void* buffer, int32_t width, int32_t height) {
    if (!isKnownSpace(space)) return CLR_INVALID_SPACE;
    if (!buffer || width < 1 || height < 1) return CLR_INVALID_PARAMETER;
    switch (space) {
    case ClrSpaceYuy2: case ClrSpaceUyvy:
        if (width % 2 != 0) return CLR_WIDTH_NOT_MULTIPLE;
        break;
    case ClrSpaceY41p:
        if (width % 8 != 0) return CLR_WIDTH_NOT_MULTIPLE;
        break;
    case ClrSpaceYvu9:
        if (width % 4 != 0 || height % 4 != 0) return CLR_SIZE_NOT_MULTIPLE_OF_4;
        break;
    default:
        break;
    }
    return CLR_SUCCESS;
}

}  // namespace quv::kernels
