// The PNG codec module, loaded at run time from beside the library on first
// use (once, under a guard). The library itself does not link libpng.
#pragma once

#include "platform/file.h"

#include <quvclr/profile.h>

namespace quv {

constexpr const char* kPngCodecModule = "Quv.Codecs.Png.PngCodec";
constexpr const char* kPngExtractFunction = "PngExtractICCProfile";

// The module's extractor: reads the PNG at the file's present position; 1
// with a malloc'd block of *size bytes in *data, else a status.
using PngExtractICCProfileFn = int32_t (*)(intptr_t file, uint8_t** data, uint64_t* size);

// The iCCP profile of an open PNG file into profile->image and dataSize.
// -825 when the module or its function is missing.
ClrStatus extractPngProfile(QuvFile file, IccProfile* profile);

}  // namespace quv
