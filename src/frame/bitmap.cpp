// The entry points that convert into, between and out of bitmaps of the base
// library. Rows go through the library's own buffers; the handle is checked
// once, the buffers are proven once, and each row then runs the conversion
// proper.
#include "frame/convert.h"
#include "kernels/catalogue.h"
#include "platform/memory.h"
#include "platform/scope_guard.h"

#include <quvbase/quvbase.h>
#include <quvclr/conversion.h>

#include <algorithm>
#include <array>

namespace quv {
namespace {

// DIB rows are 4-byte aligned: quvBitmapFromDib reads that many bytes a row.
uint64_t dibBytes(int32_t width, int32_t height) {
    return (3 * uint64_t(std::max(width, 0)) + 3) / 4 * 4 * uint64_t(std::max(height, 0));
}

// (a + b) x c x d with negative factors as 0; UINT64_MAX when it overflows.
uint64_t product(int64_t a, int64_t b, int64_t c, int64_t d) {
    uint64_t r = uint64_t(std::max<int64_t>(a + b, 0));
    for (int64_t f : {c, d})
        if (__builtin_mul_overflow(r, uint64_t(std::max<int64_t>(f, 0)), &r)) return UINT64_MAX;
    return r;
}

// A buffer for a conversion that quvBitmapFromDib will then read: never
// smaller than the DIB's rows, whatever size the steps call for.
uint8_t* dibBuffer(uint64_t bytes, int32_t width, int32_t height) {
    bytes = std::max({bytes, dibBytes(width, height), uint64_t{1}});
    return bytes == UINT64_MAX ? nullptr : static_cast<uint8_t*>(quvCalloc(bytes, 1));
}

ClrStatus toBitmap(QuvBitmap* bitmap, uint32_t bitmapSize, int32_t width, int32_t height, uint32_t sizeImage,
                   const uint8_t* pixels) {
    QuvDibHeader header{};
    header.size = QUV_DIB_HEADER_SIZE;
    header.width = width;
    header.height = -height;  // rows run top to bottom
    header.planes = 1;
    header.bitCount = 24;
    header.sizeImage = sizeImage;
    if (bitmap->flags & QUV_BITMAP_HAS_DATA) quvBitmapFree(bitmap);
    return quvBitmapFromDib(bitmap, bitmapSize, &header, pixels);
}

bool recordWritable(MemoryProbe& probe, QuvBitmap* b) { return probe.writable(b, sizeof(QuvBitmap)); }

bool sameClass(int32_t a, int32_t b) { return a == b || ((a == 1 || a == 4) && (b == 1 || b == 4)); }

// One row through a handle checked beforehand: the status Quv_ClrConvert
// would give for the row buffer. `ahead` names the bitmap rows the caller
// copies next, for the conversion to warm while it works.
struct RowConverter {
    const ClrHandle* handle;
    ClrStatus handleStatus;
    MemoryProbe& probe;
    ClrStatus operator()(uint8_t* row, int32_t width, const kernels::WarmAhead& ahead = {}) const {
        if (handleStatus != CLR_SUCCESS) return handleStatus;
        if (width < 1) return CLR_INVALID_DIMENSION;
        return convertProven(*handle, row, row, width, 1, 0, 0, probe, ahead);
    }
};

// Where the companion stores a row, as an address to warm caches with; 0
// when the record holds no such row. The address is never read through.
uintptr_t storedRow(const QuvBitmap& b, int32_t row) {
    if (!(b.flags & QUV_BITMAP_HAS_DATA) || row < 0 || row >= b.height) return 0;
    return reinterpret_cast<uintptr_t>(b.pixels) + uint64_t(row) * b.bytesPerLine;
}

}  // namespace
}  // namespace quv

using namespace quv;

extern "C" QUV_API ClrStatus Quv_ClrConvertDirectToBitmap(ClrSpace sourceSpace, ClrSpace destSpace,
                                                          const void* source, QuvBitmap* bitmap, uint32_t bitmapSize,
                                                          int32_t width, int32_t height, int32_t sourceAlign,
                                                          int32_t destAlign) {
    if (!bitmap || !source || !kernels::isRgbSide(destSpace)) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (!recordWritable(probe, bitmap)) return CLR_BAD_POINTER;
    const uint64_t bytes = product(std::max(destAlign, 0), width, height, 3);
    uint8_t* buffer = dibBuffer(bytes, width, height);
    if (!buffer) return CLR_NO_MEMORY;
    ScopeGuard release([buffer] { quvFree(buffer); });
    ClrStatus s = Quv_ClrConvertDirect(sourceSpace, destSpace, source, buffer, width, height, sourceAlign, destAlign);
    if (s != CLR_SUCCESS) return s;
    return toBitmap(bitmap, bitmapSize, width, height, static_cast<uint32_t>(bytes), buffer);
}

extern "C" QUV_API ClrStatus Quv_ClrConvertToBitmap(ClrHandle* handle, const void* source, QuvBitmap* bitmap,
                                                    uint32_t bitmapSize, int32_t width, int32_t height,
                                                    int32_t sourceAlign, int32_t destAlign) {
    if (!source || !bitmap) return CLR_INVALID_PARAMETER;
    MemoryProbe probe;
    if (!probe.readable(handle, CLR_HANDLE_SIZE) || !recordWritable(probe, bitmap)) return CLR_BAD_POINTER;
    const uint64_t srcRow = kernels::rowBytes(handle->sourceSpace, width);
    if (!probe.readable(source, product(int64_t(srcRow), std::max(sourceAlign, 0), height, 1))) return CLR_BAD_POINTER;
    if (!registryHolds(handle)) return CLR_INVALID_HANDLE;
    if (!kernels::isRgbSide(handle->destSpace)) return CLR_INVALID_SPACE;

    uint8_t* buffer = dibBuffer(product(std::max(destAlign, 0), 3 * int64_t{width}, height, 1), width, height);
    if (!buffer) return CLR_NO_MEMORY;
    ScopeGuard release([buffer] { quvFree(buffer); });
    ClrStatus s = Quv_ClrConvert(handle, source, buffer, width, height, sourceAlign, destAlign);
    if (s != CLR_SUCCESS) return s;
    // The size told here counts the alignment three times a row, not once
    // as the buffer does; quvBitmapFromDib reads by rows, not by it.
    const uint64_t told = product(std::max(destAlign, 0), width, height, 3);
    toBitmap(bitmap, bitmapSize, width, height, static_cast<uint32_t>(told), buffer);  // its status is not reported
    return CLR_SUCCESS;
}

extern "C" QUV_API ClrStatus Quv_ClrConvertBitmap(ClrHandle* handle, QuvBitmap* source, QuvBitmap* dest) {
    if (!source) return CLR_NULL_ARGUMENT;
    MemoryProbe probe;
    if (!recordWritable(probe, source) || (dest && !recordWritable(probe, dest))) return CLR_BAD_POINTER;
    if (!dest) dest = source;
    if (source->width != dest->width || source->height != dest->height) return CLR_INVALID_DIMENSION;
    if (source->bitsPerPixel != 24 || dest->bitsPerPixel != 24) return CLR_INVALID_DIMENSION;
    if (!sameClass(source->viewPerspective, dest->viewPerspective)) {
        ClrStatus s = quvBitmapChangePerspective(nullptr, dest, QUV_BITMAP_SIZE, source->viewPerspective);
        if (s != CLR_SUCCESS) return s;
    }
    const bool flipped = source->viewPerspective != dest->viewPerspective;
    // Rows of a flipped pair land at width - 1 - r: with width and height
    // unequal that runs outside the destination's rows, so it is refused.
    if (flipped && source->width != source->height) return CLR_INVALID_DIMENSION;

    // Room for the whole row either bitmap moves and for the pixels the
    // handle reads and writes in it, whatever the records say.
    const RowConverter convert{handle, checkHandleForConvert(handle, probe), probe};
    size_t rowBytes = std::max({size_t(source->bytesPerLine), size_t(dest->bytesPerLine), size_t{1}});
    if (convert.handleStatus == CLR_SUCCESS)
        for (uint32_t space : {handle->sourceSpace, handle->destSpace})
            rowBytes = std::max(rowBytes, size_t(kernels::rowBytes(space, source->width)));
    // The row starts on a cache line, as the companion's pixels do, so the
    // copies in and out move a line per vector.
    auto* block = static_cast<uint8_t*>(quvMalloc(rowBytes + 63, 1));
    if (!block) return CLR_NO_MEMORY;
    ScopeGuard freeRow([block] { quvFree(block); });
    uint8_t* const row = block + (-reinterpret_cast<uintptr_t>(block) & 63);

    const bool sourceAccessed = quvBitmapAccess(source, 0) == CLR_SUCCESS;
    const bool destAccessed = dest != source && quvBitmapAccess(dest, 0) == CLR_SUCCESS;
    ClrStatus result = CLR_SUCCESS;
    for (int32_t r = 0; r < source->height; ++r) {
        if ((result = quvBitmapGetRow(source, row, r, source->bytesPerLine)) < 1) break;
        const int32_t target = flipped ? dest->width - 1 - r : r;
        // The copies around the conversion are the loop's only memory
        // traffic: the next source row and this target row are warmed
        // during it, so they don't wait on memory between conversions.
        const kernels::WarmAhead ahead{storedRow(*source, r + 1), dest != source ? storedRow(*dest, target) : 0,
                                       std::min(source->bytesPerLine, dest->bytesPerLine)};
        if ((result = convert(row, source->width, ahead)) < 1) break;
        if ((result = quvBitmapPutRow(dest, row, target, dest->bytesPerLine)) < 1) break;
        result = CLR_SUCCESS;
    }
    if (destAccessed) quvBitmapRelease(dest, 1, result);
    if (sourceAccessed) quvBitmapRelease(source, 1, result);
    return result;
}

extern "C" QUV_API ClrStatus Quv_ClrConvertCMYKArray(ClrHandle* handle, QuvBitmap** planes, int32_t count,
                                                     QuvBitmap* dest, uint32_t bitmapSize) {
    if (!handle || !planes || !dest) return CLR_NULL_ARGUMENT;
    if (count != 4 && count != 5) return CLR_INVALID_PARAMETER;
    if (bitmapSize != QUV_BITMAP_SIZE) return CLR_INVALID_STRUCT_SIZE;
    MemoryProbe probe;
    if (!probe.readable(planes, sizeof(QuvBitmap*) * size_t(count)) || !recordWritable(probe, dest))
        return CLR_BAD_POINTER;
    dest->size = QUV_BITMAP_SIZE;

    // The planes accessed so far, released in order, each with the status so far.
    int accessed = 0;
    auto releasePlanes = [&](ClrStatus status) {
        for (int i = 0; i < accessed; ++i) status = quvBitmapRelease(planes[i], 1, status);
        return status;
    };
    QuvBitmap* const first = planes[0];
    for (int i = 0; i < 4; ++i) {
        QuvBitmap* p = planes[i];
        ClrStatus s = CLR_SUCCESS;
        if (!p) s = CLR_NULL_ARGUMENT;
        else if (!recordWritable(probe, p)) s = CLR_BAD_POINTER;
        else if (i > 0 && (p->width != first->width || p->height != first->height ||
                           p->bitsPerPixel != first->bitsPerPixel))
            s = CLR_INVALID_PARAMETER;
        else if (p->bitsPerPixel != 8) s = CLR_INVALID_BITS_PER_PIXEL;
        else if (!(p->flags & QUV_BITMAP_HAS_DATA)) s = CLR_NO_BITMAP_DATA;
        else s = quvBitmapAccess(p, 0);
        if (s != CLR_SUCCESS) return releasePlanes(s);
        ++accessed;
    }

    // The row buffer holds the longest row any plane gives; the pixel buffer
    // four bytes for each of its bytes, room for any space's pixels.
    size_t planeRow = size_t(std::max(first->width, 1));
    for (int i = 0; i < 4; ++i) planeRow = std::max(planeRow, size_t(planes[i]->bytesPerLine));
    GrowBuffer row(planeRow), pixels(4 * planeRow);
    if (row.status() != CLR_SUCCESS || pixels.status() != CLR_SUCCESS) return releasePlanes(CLR_FAILURE);

    const int32_t width = first->width;
    ClrStatus status = quvBitmapAllocate(dest, QUV_BITMAP_SIZE, 1, width, first->height, first->bitsPerPixel * 3, 1, 0,
                                         first->viewPerspective, 0, 0);
    if (status != CLR_SUCCESS) return releasePlanes(status);

    const RowConverter convert{handle, checkHandleForConvert(handle, probe), probe};
    status = quvBitmapAccess(dest, 0);
    for (int32_t r = 0; status == CLR_SUCCESS && r < first->height; ++r) {
        for (int p = 0; p < 4 && status == CLR_SUCCESS; ++p) {
            const int32_t got = quvBitmapGetRow(planes[p], row.data(), r, planes[p]->bytesPerLine);
            if (got < 1) status = got;
            for (int32_t x = 0; x < got; ++x) pixels.data()[4 * x + p] = row.data()[x];
        }
        if (status != CLR_SUCCESS || (status = convert(pixels.data(), width)) != CLR_SUCCESS) break;
        const int32_t put = quvBitmapPutRow(dest, pixels.data(), r, dest->bytesPerLine);
        if (put < status) status = put;
    }
    status = quvBitmapRelease(dest, 1, status);
    status = releasePlanes(status);

    if (status != CLR_SUCCESS) {
        quvBitmapFree(dest);
    } else if (count == 5 && planes[4] && recordWritable(probe, planes[4]) && (planes[4]->flags & QUV_BITMAP_HAS_DATA)) {
        status = quvBitmapCombineAlpha(dest, planes[4]);
        if (status != CLR_SUCCESS) quvBitmapFree(dest);
    }
    return status;
}
