#include "kernels/catalogue.h"

namespace quv::kernels {

ClrStatus checkGeometry(uint32_t space, const void* buffer, int32_t width, int32_t height) {
    const SpaceFacts* f = spaceFacts(space);
    if (!f) return CLR_INVALID_SPACE;
    if (!buffer || width < 1 || height < 1) return CLR_INVALID_PARAMETER;
    // A space packed in both directions reports both with one status.
    if (f->heightMultiple > 1)
        return width % f->widthMultiple != 0 || height % f->heightMultiple != 0 ? CLR_SIZE_NOT_MULTIPLE_OF_4
                                                                               : CLR_SUCCESS;
    return width % f->widthMultiple != 0 ? CLR_WIDTH_NOT_MULTIPLE : CLR_SUCCESS;
}

}  // namespace quv::kernels
