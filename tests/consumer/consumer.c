/* A program built against the installed library: one pixel from RGB to YUV
 * and back by formula. */
#include <quvclr/quvclr.h>

#include <stdio.h>
#include <stdlib.h>

int main(void) {
    const uint8_t rgb[3] = {200, 100, 50};
    uint8_t yuv[3], back[3];
    ClrHandle *there, *home;
    if (Quv_ClrInit(&there, ClrSpaceRgb, ClrSpaceYuv, NULL) != CLR_SUCCESS) return 1;
    if (Quv_ClrInit(&home, ClrSpaceYuv, ClrSpaceRgb, NULL) != CLR_SUCCESS) return 1;
    if (Quv_ClrConvert(there, rgb, yuv, 1, 1, 0, 0) != CLR_SUCCESS) return 1;
    if (Quv_ClrConvert(home, yuv, back, 1, 1, 0, 0) != CLR_SUCCESS) return 1;
    Quv_ClrFree(there);
    Quv_ClrFree(home);
    for (int i = 0; i < 3; ++i)
        if (abs(rgb[i] - back[i]) > 2) return 1;
    printf("consumer: rgb %u %u %u -> yuv %u %u %u\n", rgb[0], rgb[1], rgb[2], yuv[0], yuv[1], yuv[2]);
    return 0;
}
