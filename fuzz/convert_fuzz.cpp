// One conversion named by the input: the two spaces, the size, the row pads,
// the parameters (method, grey-component level, Lab encoding, white point,
// YUV layout),
// and through a handle or directly. The buffers are exactly as large as the
// call proves them, so any touch beyond that is seen.
#include "fuzz_input.h"
#include "kernels/catalogue.h"

#include <quvclr/quvclr.h>

#include <algorithm>
#include <vector>

namespace {

constexpr ClrSpace kSpaces[] = {ClrSpaceRgb,  ClrSpaceYuv,  ClrSpaceCmyk, ClrSpaceHsv,   ClrSpaceHls,   ClrSpaceYiq,
                                ClrSpaceCmy,  ClrSpaceLab,  ClrSpaceXyz,  ClrSpaceYuy2,  ClrSpaceYvu9,  ClrSpaceYcck,
                                ClrSpaceBgr,  ClrSpaceY41p, ClrSpaceUyvy, ClrSpaceYcbcr, ClrSpaceHsi,   ClrSpaceRgb444};
constexpr ClrMethod kMethods[] = {CLR_METHOD_BUILTIN, CLR_METHOD_ICC, CLR_METHOD_EMULATION, CLR_METHOD_AUTO,
                                  CLR_METHOD_BUILTIN | CLR_METHOD_ICC, CLR_METHOD_ICC | CLR_METHOD_EMULATION, 63};
constexpr uint32_t kWhitePoints[] = {0, 50, 55, 65, 75, 93};

std::vector<uint8_t> buffer(ClrSpace space, int32_t width, int32_t height, int32_t pad) {
    return std::vector<uint8_t>((quv::kernels::rowBytes(space, width) + std::max(pad, 0)) * uint64_t(height));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput in(data, size);
    const ClrSpace source = kSpaces[in.pick(18)];
    const ClrSpace dest = kSpaces[in.pick(18)];
    const int32_t width = 1 + int32_t(in.pick(40));
    const int32_t height = 1 + int32_t(in.pick(6));
    const int32_t sourcePad = int32_t(in.pick(12)) - 3;
    const int32_t destPad = int32_t(in.pick(12)) - 3;
    const uint8_t mode = in.take<uint8_t>();

    ClrParams params{};
    params.size = (mode & 2) ? CLR_PARAMS_SIZE : CLR_PARAMS_SIZE_NO_FLAGS;
    params.activeMethod = kMethods[in.pick(7)];
    params.methodMask = in.take<uint8_t>() & 63;
    params.emulationKind = in.take<uint8_t>() & 24;
    params.iccFlags = in.take<uint8_t>();
    ClrCmykParams cmyk{sizeof(ClrCmykParams), in.take<int32_t>(), in.take<uint32_t>()};
    ClrLabParams lab{sizeof(ClrLabParams), in.take<uint32_t>(), in.take<int32_t>(), in.take<int32_t>(),
                     in.take<int32_t>(),   in.take<int32_t>(),  in.take<int32_t>(), in.take<int32_t>()};
    ClrWhitePoint white{kWhitePoints[in.pick(6)], in.take<double>(), in.take<double>()};
    // A described YUV layout: small numbers, or any 32-bit ones.
    const bool wide = in.take<uint8_t>() & 1;
    auto number = [&] { return wide ? in.take<int32_t>() : int32_t{in.take<int8_t>()}; };
    int32_t layout[16];
    for (int32_t& entry : layout) entry = in.take<uint8_t>() % 24;
    ClrYuvParams yuv{sizeof(ClrYuvParams), in.take<uint32_t>(), number(), number(), number(), number(), layout, 0, 0, 0, 0};
    yuv.macroPixelSize = number();
    yuv.fullRange = in.take<uint8_t>() & 1;
    yuv.planar = in.take<uint8_t>() & 1;
    yuv.layoutLength = number();
    if (mode & 128) params.yuvParams = &yuv;
    if (mode & 4) params.cmykParams = &cmyk;
    if (mode & 8) params.labParams = &lab;
    if (mode & 16) params.whitePoint = &white;

    std::vector<uint8_t> src = buffer(source, width, height, sourcePad);
    std::vector<uint8_t> dst = buffer(dest, width, height, destPad);
    for (size_t i = 0; i < src.size() && in.restSize() > 0; ++i) src[i] = in.rest()[i % in.restSize()];

    if (mode & 1) {
        Quv_ClrConvertDirect(source, dest, src.data(), dst.data(), width, height, sourcePad, destPad);
        return 0;
    }
    ClrHandle* handle = nullptr;
    if (Quv_ClrInit(&handle, source, dest, (mode & 32) ? &params : nullptr) != CLR_SUCCESS) return 0;
    Quv_ClrConvert(handle, src.data(), dst.data(), width, height, sourcePad, destPad);
    if ((mode & 64) && Quv_ClrSetConversionParams(handle, &params) == CLR_SUCCESS)
        Quv_ClrConvert(handle, src.data(), dst.data(), width, height, sourcePad, destPad);
    Quv_ClrFree(handle);
    return 0;
}
