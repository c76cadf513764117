// Which kernel serves a pair of spaces: a table with a row for each space
// that has kernels to and from the RGB hub. A row's functions receive what
// the handle holds for that space, so kernels never see the handle itself.
#pragma once

#include "kernels/kernel.h"

#include <quvclr/conversion.h>

namespace quv {

struct RouteCall {
    kernels::KernelIo io;
    int orderFlag;
    const ClrHandle* handle;  // null for a conversion without a handle
};
using RouteFn = ClrStatus (*)(const RouteCall& call);

struct SpaceRoute {
    uint32_t space;
    RouteFn fromRgb;  // RGB or BGR to the space
    RouteFn toRgb;    // the space to RGB or BGR
};

// The row of a space, or null when it has none.
const SpaceRoute* findRoute(uint32_t space);

}  // namespace quv
