#include "frame/routing.h"

#include "frame/handle.h"
#include "icc/run.h"
#include "kernels/hue.h"
#include "kernels/ink.h"
#include "kernels/lab.h"
#include "kernels/matrix.h"
#include "kernels/video.h"

#include <array>

namespace quv {
namespace {

template <kernels::Kernel K>
ClrStatus plain(const RouteCall& c) {
    return K(c.io, c.orderFlag);
}

// A handle holding a YUV layout reads YUV through the described-layout
// kernel, which writes B, G, R whatever the destination.
ClrStatus fromYuv(const RouteCall& c) {
    if (c.handle && c.handle->yuvParams) return kernels::yuvLayoutToBgr(c.io, *c.handle->yuvParams);
    return kernels::yuvToRgb(c.io, c.orderFlag);
}

// A handle sets RGB444's decoding flag from its source space, which is never
// RGB here: handle conversions write B, G, R. Without a handle the flag
// follows the destination.
ClrStatus fromRgb444(const RouteCall& c) { return kernels::rgb444ToRgb(c.io, c.handle ? 0 : c.orderFlag); }

int32_t gcrLevel(const ClrHandle* h) {
    return h && h->cmykParams ? h->cmykParams->gcrLevel : kernels::kDefaultGcrLevel;
}

ClrStatus toCmyk(const RouteCall& c) { return kernels::rgbToCmyk(c.io, gcrLevel(c.handle), c.orderFlag); }
ClrStatus fromCmyk(const RouteCall& c) { return kernels::cmykToRgb(c.io, gcrLevel(c.handle), c.orderFlag); }

kernels::YcckContext ycckContext(const ClrHandle* h) {
    if (!h) return {false, 0, nullptr, nullptr, nullptr};
    return {true, h->activeMethod, h->ycckTable, h->iccTransform, icc::transformPixels};
}

// A handle made with Lab ranges has fixed-point tables; the encode kernel
// then reads B, G, R whatever the source layout.
ClrStatus toLab(const RouteCall& c) {
    if (c.handle && c.handle->labToTable)
        return kernels::rgbToLabFixed(*static_cast<const kernels::LabEncodeTables*>(c.handle->labToTable), c.io, 0);
    return kernels::rgbToLab(c.io, c.orderFlag);
}
ClrStatus fromLab(const RouteCall& c) {
    if (c.handle && c.handle->labFromTable)
        return kernels::labToRgbFixed(*static_cast<const kernels::LabDecodeTables*>(c.handle->labFromTable), c.io,
                                      c.orderFlag);
    return kernels::labToRgb(c.io, c.orderFlag);
}

// Without a handle the YCCK kernels report success whatever they found.
ClrStatus toYcck(const RouteCall& c) {
    ClrStatus s = kernels::rgbToYcck(c.io, ycckContext(c.handle));
    return c.handle ? s : CLR_SUCCESS;
}
ClrStatus fromYcck(const RouteCall& c) {
    ClrStatus s = kernels::ycckToRgb(c.io, ycckContext(c.handle), c.orderFlag);
    return c.handle ? s : CLR_SUCCESS;
}

constexpr std::array kRoutes{
    SpaceRoute{ClrSpaceYuv, plain<kernels::rgbToYuv>, fromYuv},
    SpaceRoute{ClrSpaceCmyk, toCmyk, fromCmyk},
    SpaceRoute{ClrSpaceHsv, plain<kernels::rgbToHsv>, plain<kernels::hsvToRgb>},
    SpaceRoute{ClrSpaceHls, plain<kernels::rgbToHls>, plain<kernels::hlsToRgb>},
    SpaceRoute{ClrSpaceYiq, plain<kernels::rgbToYiq>, plain<kernels::yiqToRgb>},
    SpaceRoute{ClrSpaceCmy, plain<kernels::rgbToCmy>, plain<kernels::cmyToRgb>},
    SpaceRoute{ClrSpaceLab, toLab, fromLab},
    SpaceRoute{ClrSpaceXyz, plain<kernels::rgbToXyz>, plain<kernels::xyzToRgb>},
    SpaceRoute{ClrSpaceYcck, toYcck, fromYcck},
    SpaceRoute{ClrSpaceYcbcr, plain<kernels::rgbToYcbcr>, plain<kernels::ycbcrToRgb>},
    SpaceRoute{ClrSpaceHsi, plain<kernels::rgbToHsi>, plain<kernels::hsiToRgb>},
    SpaceRoute{ClrSpaceYuy2, plain<kernels::rgbToYuy2>, plain<kernels::yuy2ToRgb>},
    SpaceRoute{ClrSpaceUyvy, plain<kernels::rgbToUyvy>, plain<kernels::uyvyToRgb>},
    SpaceRoute{ClrSpaceY41p, plain<kernels::rgbToY41p>, plain<kernels::y41pToRgb>},
    SpaceRoute{ClrSpaceYvu9, plain<kernels::rgbToYvu9>, plain<kernels::yvu9ToRgb>},
    SpaceRoute{ClrSpaceRgb444, plain<kernels::rgbToRgb444>, fromRgb444},
};

}  // namespace

const SpaceRoute* findRoute(uint32_t space) {
    for (const SpaceRoute& r : kRoutes)
        if (r.space == space) return &r;
    return nullptr;
}

}  // namespace quv
