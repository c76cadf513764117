/* quvclr: ICC profiles inside image files. Load finds the profile of a TIFF,
 * JPEG, EPS, PNG, PSD or WebP file (or a chunked stream) and leaves its bytes
 * in a profile record's image and dataSize, for Quv_FillICCProfileStructure
 * to decode; Save writes a record's image into a TIFF, JPEG, GIF or WebP
 * file. The options pointers are reserved: pass null. The A forms take UTF-8
 * paths. */
#ifndef QUVCLR_IMAGEFILE_H
#define QUVCLR_IMAGEFILE_H

#include "common.h"
#include "profile.h"
#include "status.h"

QUV_EXTERN_C_BEGIN

QUV_API ClrStatus Quv_LoadICCProfile(const ClrWChar* path, IccProfile* profile, const void* loadOptions);
QUV_API ClrStatus Quv_LoadICCProfileA(const char* path, IccProfile* profile, const void* loadOptions);
/* 1 when the file holds a profile, else 0. */
QUV_API int32_t Quv_HasICCProfile(const ClrWChar* path, const void* loadOptions);
QUV_API int32_t Quv_HasICCProfileA(const char* path, const void* loadOptions);
QUV_API ClrStatus Quv_SaveICCProfile(const ClrWChar* path, const IccProfile* profile, const void* saveOptions);
QUV_API ClrStatus Quv_SaveICCProfileA(const char* path, const IccProfile* profile, const void* saveOptions);

QUV_EXTERN_C_END

#endif
