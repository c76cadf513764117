// The profile readers of each container family, over a byte source, so that
// a file or a memory block (a fuzz input) drives the same code.
#pragma once

#include "platform/image_file.h"

#include <quvclr/profile.h>

namespace quv {

constexpr uint32_t kTiffIccTag = 34675;

// Grows profile->image by `count` bytes (shared family; the first call
// allocates) and profile->dataSize with it. -1 when memory runs out.
ClrStatus appendProfileBytes(IccProfile* profile, const uint8_t* data, size_t count);

// Reads the profile of a container of `format` from `source` (at its start)
// into profile->image and dataSize, which the caller has cleared. 1 with or
// without data (no data: the caller decides); -1154 for a format without a
// reader; otherwise the reader's failure. The PNG codec reads files only:
// PNG from any other source gives -825.
ClrStatus readContainerProfile(ByteSource& source, int format, IccProfile* profile);

// Recognises a memory image and reads its profile as above.
ClrStatus readProfileFromMemory(const uint8_t* data, size_t size, IccProfile* profile);

// Walks the chunks of a RIFF/WEBP file from its start. 1 with *found and
// the source just behind an "ICCP" chunk's header (*padded its padded
// payload size); 1 without *found and the source where the walk ended;
// otherwise the failure. A header cut short gives `shortHeader` (the read's
// value when nothing came).
ClrStatus findWebpIccChunk(ByteSource& source, ClrStatus shortHeader, uint64_t* padded, bool* found);

}  // namespace quv
