// Files by handle. A handle is a descriptor; -1 means failure. Paths are wide
// (UTF-16) and reach the file system as UTF-8.
#pragma once

#include <quvclr/common.h>
#include <quvclr/status.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace quv {

using QuvFile = intptr_t;
constexpr QuvFile kBadFile = -1;

// Open modes and share words of quvFileOpen.
constexpr int kOpenRead = 0;
constexpr int kOpenReadWrite = 2;
constexpr int kShareRead = 256;
constexpr int kShareReadWrite = 384;

QuvFile quvFileOpen(const ClrWChar* path, int mode, int share);
void quvFileClose(QuvFile file);
// Bytes read, fewer only at the end of the file; negative on failure.
int64_t quvFileRead(QuvFile file, void* buffer, size_t count);
// True when exactly `count` bytes were read.
bool quvFileReadExactly(QuvFile file, void* buffer, size_t count);
// New position, or -1. Origin 0 start, 1 current, 2 end.
int64_t quvFileSeek(QuvFile file, int64_t offset, int origin);
// Bytes written; negative when nothing could be.
int64_t quvFileWrite(QuvFile file, const void* buffer, size_t count);
// Cuts the file at the present position.
void quvFileTruncate(QuvFile file);

// Creation with the access and disposition words of the Windows file API:
// access 0x80000000 read, 0x40000000 write; disposition 1 create new,
// 2 create always, 3 open existing, 4 open always, 5 truncate existing.
constexpr uint32_t kAccessRead = 0x80000000u;
constexpr uint32_t kAccessWrite = 0x40000000u;
constexpr uint32_t kCreateAlways = 2;
constexpr uint32_t kOpenExisting = 3;
QuvFile quvFileCreate(const ClrWChar* path, uint32_t access, uint32_t disposition);

// The status to report for a failed file operation.
ClrStatus quvFileMapError(ClrStatus status);

// True when `path` names an existing file (a directory does not count).
bool quvFileExists(const ClrWChar* path);

// The UTF-8 form of a wide path; false (errno ENOENT) for a null, empty or
// unpaired-surrogate path, which names no file.
bool quvNarrowPath(const ClrWChar* path, std::string* out);

}  // namespace quv
