#include "frame/routing.h"

#include "kernels/hue.h"
#include "kernels/matrix.h"

#include <array>

namespace quv {
namespace {

template <kernels::Kernel K>
ClrStatus plain(const RouteCall& c) {
    return K(c.io, c.orderFlag);
}

constexpr std::array kRoutes{
    SpaceRoute{ClrSpaceYuv, plain<kernels::rgbToYuv>, plain<kernels::yuvToRgb>},
    SpaceRoute{ClrSpaceHsv, plain<kernels::rgbToHsv>, plain<kernels::hsvToRgb>},
    SpaceRoute{ClrSpaceHls, plain<kernels::rgbToHls>, plain<kernels::hlsToRgb>},
    SpaceRoute{ClrSpaceYiq, plain<kernels::rgbToYiq>, plain<kernels::yiqToRgb>},
    SpaceRoute{ClrSpaceXyz, plain<kernels::rgbToXyz>, plain<kernels::xyzToRgb>},
    SpaceRoute{ClrSpaceYcbcr, plain<kernels::rgbToYcbcr>, plain<kernels::ycbcrToRgb>},
    SpaceRoute{ClrSpaceHsi, plain<kernels::rgbToHsi>, plain<kernels::hsiToRgb>},
};

}  // namespace

const SpaceRoute* findRoute(uint32_t space) {
    for (const SpaceRoute& r : kRoutes)
        if (r.space == space) return &r;
    return nullptr;
}

}  // namespace quv
