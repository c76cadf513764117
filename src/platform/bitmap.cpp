// libquvbase: the bitmaps of the base library. Built as its own shared
// library; quvclr calls it like any application would.
#include <quvbase/quvbase.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

bool holdsData(const QuvBitmap* b) { return b && (b->flags & QUV_BITMAP_HAS_DATA) && b->pixels; }

// A record's geometry fits the pixels it holds: a record written by its
// owner in between is never trusted to stay inside them.
bool consistent(const QuvBitmap* b) {
    if (b->width < 1 || b->height < 1 || b->bitsPerPixel < 8 || b->bitsPerPixel > 32 || b->bitsPerPixel % 8) return false;
    return uint64_t(b->width) * uint64_t(b->bitsPerPixel / 8) <= b->bytesPerLine &&
           uint64_t(b->bytesPerLine) * uint64_t(b->height) <= b->dataBytes;
}

// 1, CLR_NO_BITMAP_DATA, or CLR_INVALID_PARAMETER for geometry its pixels can't hold.
int32_t checkData(const QuvBitmap* b) {
    if (!holdsData(b)) return CLR_NO_BITMAP_DATA;
    return consistent(b) ? CLR_SUCCESS : CLR_INVALID_PARAMETER;
}

bool knownPerspective(int32_t p) { return p >= QUV_VIEW_TOP_LEFT && p <= QUV_VIEW_LEFT_BOTTOM; }

// Row length rounded up to the alignment; 0 when it does not fit a row call's
// count (a signed 32-bit result).
uint32_t rowBytes(int32_t width, int32_t bits, uint32_t alignment) {
    const uint64_t packed = (uint64_t(width) * uint64_t(bits) + 7) / 8;
    const uint64_t row = (packed + alignment - 1) / alignment * alignment;
    return row <= INT32_MAX ? uint32_t(row) : 0;
}

// Gives the bitmap fresh pixels of its geometry; the old ones are the caller's.
// They start on a cache line, so rows whose length is a multiple of 64 are
// copied a line per vector rather than two.
int32_t allocatePixels(QuvBitmap* b, bool zero) {
    const uint64_t bytes = uint64_t(b->bytesPerLine) * uint64_t(b->height);
    void* p = std::aligned_alloc(64, (bytes + 63) / 64 * 64);
    if (!p) return CLR_NO_MEMORY;
    if (zero) std::memset(p, 0, bytes);
    b->pixels = static_cast<uint8_t*>(p);
    b->dataBytes = bytes;
    b->flags |= QUV_BITMAP_HAS_DATA;
    b->accessCount = 0;
    return CLR_SUCCESS;
}

// Where a storage pixel (x, y) of a w x h storage shows, for each perspective.
std::pair<int64_t, int64_t> toDisplay(int32_t perspective, int64_t x, int64_t y, int64_t w, int64_t h) {
    switch (perspective) {
    case QUV_VIEW_TOP_RIGHT: return {w - 1 - x, y};
    case QUV_VIEW_BOTTOM_RIGHT: return {w - 1 - x, h - 1 - y};
    case QUV_VIEW_BOTTOM_LEFT: return {x, h - 1 - y};
    case QUV_VIEW_LEFT_TOP: return {y, x};
    case QUV_VIEW_RIGHT_TOP: return {h - 1 - y, x};
    case QUV_VIEW_RIGHT_BOTTOM: return {h - 1 - y, w - 1 - x};
    case QUV_VIEW_LEFT_BOTTOM: return {y, w - 1 - x};
    default: return {x, y};
    }
}

// The perspective whose toDisplay undoes this one's: all are their own
// inverse but the two quarter turns.
int32_t inverse(int32_t p) {
    return p == QUV_VIEW_RIGHT_TOP ? QUV_VIEW_LEFT_BOTTOM : p == QUV_VIEW_LEFT_BOTTOM ? QUV_VIEW_RIGHT_TOP : p;
}

bool transposed(int32_t p) { return p >= QUV_VIEW_LEFT_TOP; }

int32_t checkRowCall(const QuvBitmap* b, const void* buffer, int32_t row) {
    if (!b || !buffer) return CLR_INVALID_PARAMETER;
    if (int32_t s = checkData(b); s != CLR_SUCCESS) return s;
    if (row < 0 || row >= b->height) return CLR_INVALID_DIMENSION;
    return CLR_SUCCESS;
}

// Rows are copied in vectors of 64 bytes (AVX-512) or 32 (AVX2), four a
// step: a loop of one vector a step is held to one taken branch a cycle,
// and copied a 5,760-byte row in the cache in 1.1 to 1.4 (AVX-512) and 2.2
// (AVX2) times the time of this one. For rows above about 2 KiB the C
// library's memcpy uses the string-move instruction, the slower one here
// into lines not yet cached (bench/ WholeBitmap). Returns the bytes copied;
// inlined into a caller built for vectors of that width.
template <size_t Width>
[[gnu::always_inline]] inline size_t copyVectors(uint8_t* d, const uint8_t* s, size_t bytes) {
    typedef uint8_t Vector __attribute__((vector_size(Width), aligned(1), may_alias));
    Vector* to = reinterpret_cast<Vector*>(d);
    const Vector* from = reinterpret_cast<const Vector*>(s);
    const size_t vectors = bytes / Width;
    size_t i = 0;
    for (; i + 4 <= vectors; i += 4)
#pragma GCC unroll 4
        for (size_t k = 0; k < 4; ++k) to[i + k] = from[i + k];
    for (; i < vectors; ++i) to[i] = from[i];
    return Width * vectors;
}

__attribute__((target("avx512f"))) size_t copyAvx512(uint8_t* d, const uint8_t* s, size_t bytes) {
    return copyVectors<64>(d, s, bytes);
}

__attribute__((target("avx2"))) size_t copyAvx2(uint8_t* d, const uint8_t* s, size_t bytes) {
    return copyVectors<32>(d, s, bytes);
}

void copyRow(void* to, const void* from, size_t bytes) {
    static const auto copyWide = []() -> size_t (*)(uint8_t*, const uint8_t*, size_t) {
        __builtin_cpu_init();
        if (__builtin_cpu_supports("avx512f")) return copyAvx512;
        if (__builtin_cpu_supports("avx2")) return copyAvx2;
        return nullptr;
    }();
    auto* d = static_cast<uint8_t*>(to);
    const auto* s = static_cast<const uint8_t*>(from);
    const size_t done = copyWide ? copyWide(d, s, bytes) : 0;
    std::memcpy(d + done, s + done, bytes - done);
}

}  // namespace

extern "C" {

QUVBASE_API int32_t quvBitmapAllocate(QuvBitmap* bitmap, uint32_t structSize, int32_t zeroFill, int32_t width,
                                      int32_t height, int32_t bitsPerPixel, int32_t rowAlignment,
                                      int32_t reservedZero, int32_t viewPerspective, uint64_t dotsPerMeterX,
                                      uint64_t dotsPerMeterY) {
    if (!bitmap || reservedZero != 0 || !knownPerspective(viewPerspective)) return CLR_INVALID_PARAMETER;
    if (structSize != QUV_BITMAP_SIZE) return CLR_INVALID_STRUCT_SIZE;
    if (width < 1 || height < 1) return CLR_INVALID_DIMENSION;
    if (bitsPerPixel != 8 && bitsPerPixel != 16 && bitsPerPixel != 24 && bitsPerPixel != 32)
        return CLR_INVALID_BITS_PER_PIXEL;
    const uint32_t alignment = rowAlignment < 1 ? 1u : uint32_t(rowAlignment);
    const uint32_t row = rowBytes(width, bitsPerPixel, alignment);
    if (row == 0) return CLR_INVALID_DIMENSION;
    QuvBitmap fresh{};
    fresh.size = QUV_BITMAP_SIZE;
    fresh.rowAlignment = alignment;
    fresh.width = width;
    fresh.height = height;
    fresh.bitsPerPixel = bitsPerPixel;
    fresh.bytesPerLine = row;
    fresh.viewPerspective = viewPerspective;
    fresh.dotsPerMeterX = dotsPerMeterX;
    fresh.dotsPerMeterY = dotsPerMeterY;
    if (int32_t s = allocatePixels(&fresh, zeroFill != 0); s != CLR_SUCCESS) return s;
    *bitmap = fresh;
    return CLR_SUCCESS;
}

QUVBASE_API void quvBitmapFree(QuvBitmap* bitmap) {
    if (!bitmap) return;
    if (bitmap->flags & QUV_BITMAP_HAS_DATA) std::free(bitmap->pixels);
    bitmap->pixels = nullptr;
    bitmap->dataBytes = 0;
    bitmap->accessCount = 0;
    bitmap->flags &= ~QUV_BITMAP_HAS_DATA;
}

QUVBASE_API int32_t quvBitmapFromDib(QuvBitmap* bitmap, uint32_t structSize, const QuvDibHeader* header,
                                     const void* pixels) {
    if (!bitmap || !header || !pixels) return CLR_INVALID_PARAMETER;
    if (structSize != QUV_BITMAP_SIZE || header->size != QUV_DIB_HEADER_SIZE) return CLR_INVALID_STRUCT_SIZE;
    if (header->planes != 1 || header->compression != 0) return CLR_INVALID_PARAMETER;
    if (header->bitCount != 8 && header->bitCount != 24 && header->bitCount != 32) return CLR_INVALID_BITS_PER_PIXEL;
    if (header->height == 0 || header->height == INT32_MIN) return CLR_INVALID_DIMENSION;
    const int32_t rows = header->height < 0 ? -header->height : header->height;
    const int32_t perspective = header->height < 0 ? QUV_VIEW_TOP_LEFT : QUV_VIEW_BOTTOM_LEFT;
    const int32_t s = quvBitmapAllocate(bitmap, structSize, 0, header->width, rows, header->bitCount, 4, 0,
                                        perspective, uint64_t(std::max(header->xPelsPerMeter, 0)),
                                        uint64_t(std::max(header->yPelsPerMeter, 0)));
    if (s != CLR_SUCCESS) return s;
    std::memcpy(bitmap->pixels, pixels, bitmap->dataBytes);
    return CLR_SUCCESS;
}

QUVBASE_API int32_t quvBitmapAccess(QuvBitmap* bitmap, int32_t reservedZero) {
    if (!bitmap || reservedZero != 0) return CLR_INVALID_PARAMETER;
    if (!holdsData(bitmap)) return CLR_NO_BITMAP_DATA;
    if (bitmap->accessCount == INT32_MAX) return CLR_FAILURE;
    ++bitmap->accessCount;
    return CLR_SUCCESS;
}

QUVBASE_API int32_t quvBitmapRelease(QuvBitmap* bitmap, int32_t accesses, int32_t previousStatus) {
    const int32_t n = accesses < 1 ? 1 : accesses;
    if (!bitmap || bitmap->accessCount < n) return previousStatus == CLR_SUCCESS ? CLR_INVALID_PARAMETER : previousStatus;
    bitmap->accessCount -= n;
    return previousStatus;
}

QUVBASE_API int32_t quvBitmapGetRow(QuvBitmap* bitmap, void* buffer, int32_t row, uint32_t bytes) {
    if (int32_t s = checkRowCall(bitmap, buffer, row); s != CLR_SUCCESS) return s;
    const uint32_t n = std::min(bytes, bitmap->bytesPerLine);
    copyRow(buffer, bitmap->pixels + uint64_t(row) * bitmap->bytesPerLine, n);
    return int32_t(n);
}

QUVBASE_API int32_t quvBitmapPutRow(QuvBitmap* bitmap, const void* buffer, int32_t row, uint32_t bytes) {
    if (int32_t s = checkRowCall(bitmap, buffer, row); s != CLR_SUCCESS) return s;
    const uint32_t n = std::min(bytes, bitmap->bytesPerLine);
    copyRow(bitmap->pixels + uint64_t(row) * bitmap->bytesPerLine, buffer, n);
    return int32_t(n);
}

QUVBASE_API int32_t quvBitmapChangePerspective(const void*, QuvBitmap* bitmap, uint32_t structSize,
                                               int32_t targetPerspective) {
    if (!bitmap || !knownPerspective(targetPerspective)) return CLR_INVALID_PARAMETER;
    if (structSize != QUV_BITMAP_SIZE) return CLR_INVALID_STRUCT_SIZE;
    if (int32_t s = checkData(bitmap); s != CLR_SUCCESS) return s;
    const int32_t from = bitmap->viewPerspective;
    if (!knownPerspective(from)) return CLR_INVALID_PARAMETER;
    if (from == targetPerspective) return CLR_SUCCESS;

    QuvBitmap turned = *bitmap;
    if (transposed(from) != transposed(targetPerspective)) std::swap(turned.width, turned.height);
    turned.bytesPerLine = rowBytes(turned.width, turned.bitsPerPixel, std::max(turned.rowAlignment, 1u));
    if (turned.bytesPerLine == 0) return CLR_INVALID_DIMENSION;
    if (int32_t s = allocatePixels(&turned, true); s != CLR_SUCCESS) return s;

    const int64_t w = bitmap->width, h = bitmap->height, pixelBytes = bitmap->bitsPerPixel / 8;
    const auto [displayW, displayH] = transposed(from) ? std::pair{h, w} : std::pair{w, h};
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x) {
            const auto [dx, dy] = toDisplay(from, x, y, w, h);
            const auto [tx, ty] = toDisplay(inverse(targetPerspective), dx, dy, displayW, displayH);
            std::memcpy(turned.pixels + ty * turned.bytesPerLine + tx * pixelBytes,
                        bitmap->pixels + y * bitmap->bytesPerLine + x * pixelBytes, size_t(pixelBytes));
        }
    std::free(bitmap->pixels);
    turned.viewPerspective = targetPerspective;
    turned.accessCount = bitmap->accessCount;
    *bitmap = turned;
    return CLR_SUCCESS;
}

QUVBASE_API int32_t quvBitmapCombineAlpha(QuvBitmap* bitmap, const QuvBitmap* alpha) {
    if (!bitmap || !alpha) return CLR_INVALID_PARAMETER;
    if (int32_t s = checkData(bitmap); s != CLR_SUCCESS) return s;
    if (int32_t s = checkData(alpha); s != CLR_SUCCESS) return s;
    if (bitmap->width != alpha->width || bitmap->height != alpha->height) return CLR_INVALID_DIMENSION;
    if (bitmap->bitsPerPixel != 24 || alpha->bitsPerPixel != 8) return CLR_INVALID_BITS_PER_PIXEL;
    QuvBitmap joined = *bitmap;
    joined.bitsPerPixel = 32;
    joined.bytesPerLine = rowBytes(joined.width, 32, std::max(joined.rowAlignment, 1u));
    if (joined.bytesPerLine == 0) return CLR_INVALID_DIMENSION;
    if (int32_t s = allocatePixels(&joined, false); s != CLR_SUCCESS) return s;
    for (int64_t y = 0; y < bitmap->height; ++y) {
        const uint8_t* rgb = bitmap->pixels + y * bitmap->bytesPerLine;
        const uint8_t* a = alpha->pixels + y * alpha->bytesPerLine;
        uint8_t* out = joined.pixels + y * joined.bytesPerLine;
        for (int64_t x = 0; x < bitmap->width; ++x, rgb += 3, out += 4) {
            std::memcpy(out, rgb, 3);
            out[3] = a[x];
        }
    }
    std::free(bitmap->pixels);
    joined.accessCount = bitmap->accessCount;
    *bitmap = joined;
    return CLR_SUCCESS;
}

}  // extern "C"
