// Two profiles from the caller, as blocks in the parameters, through the ICC
// transform builder, and a few pixels through the transform it made. The input
// is a 32-bit length, the first profile's bytes, then the second's.
#include "fuzz_input.h"
#include "kernels/catalogue.h"

#include <quvclr/quvclr.h>

#include <algorithm>
#include <vector>

namespace {

constexpr ClrSpace kSpaces[] = {ClrSpaceRgb, ClrSpaceBgr, ClrSpaceCmyk, ClrSpaceCmy, ClrSpaceLab, ClrSpaceYcck};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput in(data, size);
    const ClrSpace source = kSpaces[in.pick(6)];
    const ClrSpace dest = kSpaces[in.pick(6)];
    const uint8_t mode = in.take<uint8_t>();
    const uint32_t firstLength = std::min<uint32_t>(in.take<uint32_t>(), uint32_t(in.restSize()));
    const std::vector<uint8_t> first(in.rest(), in.rest() + firstLength);
    const std::vector<uint8_t> second(in.rest() + firstLength, in.rest() + in.restSize());

    ClrProfileBlock input{sizeof(ClrProfileBlock), first.data(), first.size()};
    ClrProfileBlock output{sizeof(ClrProfileBlock), second.data(), second.size()};
    ClrParams params{};
    params.size = CLR_PARAMS_SIZE;
    params.activeMethod = CLR_METHOD_CUSTOM_ICC;
    params.methodMask = CLR_METHOD_CUSTOM_ICC | ((mode & 4) ? CLR_METHOD_ICC : 0);
    params.iccFlags = mode >> 4;
    if ((mode & 1) && !first.empty()) params.inputProfileBlock = &input;
    if ((mode & 2) && !second.empty()) params.outputProfileBlock = &output;

    ClrHandle* handle = nullptr;
    if (Quv_ClrInit(&handle, source, dest, &params) != CLR_SUCCESS) return 0;
    const int32_t width = 7, height = 2;
    std::vector<uint8_t> src(quv::kernels::rowBytes(source, width) * height, 0x5A);
    std::vector<uint8_t> dst(quv::kernels::rowBytes(dest, width) * height);
    Quv_ClrConvert(handle, src.data(), dst.data(), width, height, 0, 0);
    Quv_ClrFree(handle);
    return 0;
}
