/* The public headers compile as C99, with the record layouts checked there too. */
#include <quvclr/quvclr.h>

int main(void) {
    ClrParams params = {0};
    ClrWhitePoint white = {50, 0.3457, 0.3585};
    params.size = CLR_PARAMS_SIZE;
    params.whitePoint = &white;
    QuvBitmap bitmap = {0};
    bitmap.size = QUV_BITMAP_SIZE;
    if (bitmap.size != sizeof bitmap) return 1;
    if (CLR_EMBEDDED_PROFILE_RGB != 105 || CLR_EMBEDDED_PROFILE_CMY != 110) return 1;
    return (int)(sizeof params + sizeof(ClrProfileBlock) + sizeof(ClrYuvParams) + sizeof(ClrLabParams) +
                 sizeof(ClrCmykParams)) == 1652 + 20 + 48 + 32 + 12 ? 0 : 1;
}
