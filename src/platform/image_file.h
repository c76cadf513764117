// Image-file access below the profile readers and writers: what kind of file
// a path holds, byte sources that a reader walks (a file or a memory block,
// so the same reader serves files and fuzzing), JPEG segments at the byte
// level, TIFF tags through libtiff, and the temporary-then-rename rewrite.
#pragma once

#include "platform/file.h"

#include <quvclr/common.h>
#include <quvclr/status.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quv {

// Format codes as the file-information call gives them; one per container
// family this library reads or writes.
enum ImageFormat : int {
    kFormatUnknown = 0,
    kFormatGif = 2,
    kFormatTiff = 3,
    kFormatJpeg = 10,
    kFormatEps = 16,
    kFormatChunked = 56,
    kFormatPng = 75,
    kFormatPsd = 76,
    kFormatWebp = 404,
};

// How many leading bytes the recogniser looks at.
constexpr size_t kRecogniseBytes = 32;

// The format code of a file that begins with `head` (`size` bytes, fewer at
// the end of a short file). Content decides, never a name:
//   TIFF   "II*\0", "MM\0*" and the BigTIFF forms "II+\0", "MM\0+"
//   JPEG   FF D8 FF
//   EPS    "%!PS-Adobe" with "EPSF" on the first line, or the binary header C5 D0 D3 C6
//   PNG    the eight-byte PNG signature
//   PSD    "8BPS" version 1 or 2
//   WebP   "RIFF" size "WEBP"
//   GIF    "GIF87a" or "GIF89a"
//   chunked stream: a first record at offset 0, that is the byte E0, a
//          big-endian 16-bit length of at least 4 and a big-endian 32-bit
//          kind of 0, 1 or 2 (the record kinds its reader knows)
int recogniseImageFormat(const uint8_t* head, size_t size);

// Fills *format from the file's first bytes. 1; -8 when the path names no
// file; -10 when it cannot be opened. A file of unknown content is 1 with
// kFormatUnknown.
ClrStatus quvFileInfo(const ClrWChar* path, int* format);

// A readable, seekable stream of bytes.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    // Bytes read into `buffer`, 0 at the end, negative on failure.
    virtual int64_t read(void* buffer, size_t count) = 0;
    // New position, negative on failure. Origin 0 start, 1 current, 2 end.
    virtual int64_t seek(int64_t offset, int origin) = 0;
    // Total length in bytes, negative when unknown.
    virtual int64_t size() = 0;
    // Bytes from the present position to the end (0 when unknown).
    uint64_t bytesLeft();
};

// A source over an open file; the file is not closed by it.
class FileSource final : public ByteSource {
public:
    explicit FileSource(QuvFile file) : file_(file) {}
    int64_t read(void* buffer, size_t count) override;
    int64_t seek(int64_t offset, int origin) override;
    int64_t size() override;
    QuvFile file() const { return file_; }

private:
    QuvFile file_;
};

// A source over memory the caller keeps alive.
class MemorySource final : public ByteSource {
public:
    MemorySource(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    int64_t read(void* buffer, size_t count) override;
    int64_t seek(int64_t offset, int origin) override;
    int64_t size() override { return static_cast<int64_t>(size_); }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

// ---- JPEG segments ----

// Largest payload of one segment: its 16-bit length counts itself.
constexpr size_t kJpegMaxPayload = 65533;

// Calls `visit` with the marker byte and payload of every segment from the
// start of the file up to the start of scan (or end of image). A status
// other than 1 from `visit` ends the walk and is returned. 1; -9 when the
// source is no JPEG; -7 when a segment is cut short.
using JpegVisitor = std::function<ClrStatus(uint8_t marker, const uint8_t* data, size_t length)>;
ClrStatus enumJpegMarkers(ByteSource& source, const JpegVisitor& visit);

// Segments to put into a JPEG file.
class JpegMarkerList {
public:
    // Inserts before `index`, or at the end for -1. -13 for a marker byte
    // that is no metadata segment (APPn or COM), an index out of range, or a
    // payload longer than a segment holds.
    ClrStatus insert(int index, uint8_t marker, size_t length, const uint8_t* data);
    size_t count() const { return segments_.size(); }

private:
    friend ClrStatus resaveJpegMarkers(const ClrWChar* path, const JpegMarkerList& list);
    struct Segment {
        uint8_t marker;
        std::vector<uint8_t> data;
    };
    std::vector<Segment> segments_;
};

// Writes the file anew: start of image, the file's own leading APPn and COM
// segments (less its ICC_PROFILE APP2 segments, which the list replaces), the
// list's segments, then everything from the first other marker on, byte for
// byte. The new file replaces the old one only when complete.
ClrStatus resaveJpegMarkers(const ClrWChar* path, const JpegMarkerList& list);

// ---- TIFF tags ----

// The first directory's value of an undefined/byte tag: `allocate` is called
// with the count and returns where the bytes go (null: -1). 1; -9 when
// libtiff cannot read the source; -812 when the tag is absent.
ClrStatus readTiffTag(ByteSource& source, uint32_t tag, const std::function<uint8_t*(uint32_t)>& allocate);

// Sets an undefined-type tag of the first directory (count 0 removes it)
// and writes the file anew; pixel data are not touched. The rewritten file
// replaces the old one only when complete.
ClrStatus rewriteTiffTag(const ClrWChar* path, uint32_t tag, uint32_t count, const uint8_t* data);

// ---- whole-file rewrites ----

// A temporary file beside `target`, renamed over it by commit(); dropped if
// never committed.
class ReplacementFile {
public:
    explicit ReplacementFile(const std::string& target);
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    bool ok() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    const std::string& path() const { return temp_; }
    // Writes all bytes; false on failure.
    bool write(const void* data, size_t count);
    // Flushes, closes and renames over the target. -5 on failure.
    ClrStatus commit();
    // Closes the descriptor, leaving the temporary for another writer.
    void closeDescriptor();

private:
    std::string target_;
    std::string temp_;
    int fd_ = -1;
    bool committed_ = false;
};

}  // namespace quv
