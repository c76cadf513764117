/* The public headers compile as C99, with the record layouts checked there too. */
#include <quvclr/quvclr.h>

int main(void) {
    ClrParams params = {0};
    ClrWhitePoint white = {50, 0.3457, 0.3585};
    IccProfile profile = {0};
    IccHeader header = {0};
    IccTagEntry row = {0};
    IccTagRecord record;
    IccXYZNumber xyz = {0, 0x10000, 0};
    params.size = CLR_PARAMS_SIZE;
    params.whitePoint = &white;
    QuvBitmap bitmap = {0};
    bitmap.size = QUV_BITMAP_SIZE;
    if (bitmap.size != sizeof bitmap) return 1;
    if (CLR_EMBEDDED_PROFILE_RGB != 105 || CLR_EMBEDDED_PROFILE_CMY != 110) return 1;
    profile.structSize = ICC_PROFILE_STRUCT_SIZE;
    profile.header = &header;
    profile.tagTable = &row;
    header.signature = ICC_MAGIC;
    row.signature = QUV_ICC_SIG('w', 't', 'p', 't');
    record.xyz.head.signature = ICC_TYPE_XYZ;
    record.xyz.values = &xyz;
    record.xyz.count = 1;
    if (row.signature != 0x77747074u || record.head.signature != 0x58595a20u) return 1;
    if (sizeof profile != 56 || sizeof header != 128 || sizeof row != 12 || sizeof record != 120) return 1;
    return (int)(sizeof params + sizeof(ClrProfileBlock) + sizeof(ClrYuvParams) + sizeof(ClrLabParams) +
                 sizeof(ClrCmykParams)) == 1652 + 20 + 48 + 32 + 12 ? 0 : 1;
}
