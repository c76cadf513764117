#include "platform/file.h"

#include "platform/text.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace quv {
namespace {

int descriptor(QuvFile file) { return static_cast<int>(file); }

}  // namespace

// A path with no UTF-8 form names no file.
bool quvNarrowPath(const ClrWChar* path, std::string* out) {
    bool lossy = false;
    if (path) *out = utf16ToUtf8(std::u16string_view(path, wideLength(path)), &lossy);
    if (!path || lossy || out->empty()) {
        errno = ENOENT;
        return false;
    }
    return true;
}

QuvFile quvFileOpen(const ClrWChar* path, int mode, int /*share*/) {
    std::string name;
    if (!quvNarrowPath(path, &name)) return kBadFile;
    const int flags = (mode == kOpenReadWrite ? O_RDWR : O_RDONLY) | O_CLOEXEC;
    int fd;
    do fd = open(name.c_str(), flags);
    while (fd < 0 && errno == EINTR);
    return fd < 0 ? kBadFile : fd;
}

void quvFileClose(QuvFile file) {
    if (file != kBadFile) close(descriptor(file));
}

int64_t quvFileRead(QuvFile file, void* buffer, size_t count) {
    size_t done = 0;
    auto* p = static_cast<unsigned char*>(buffer);
    while (done < count) {
        ssize_t n = read(descriptor(file), p + done, count - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return -1;
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    return static_cast<int64_t>(done);
}

bool quvFileReadExactly(QuvFile file, void* buffer, size_t count) {
    return quvFileRead(file, buffer, count) == static_cast<int64_t>(count);
}

int64_t quvFileSeek(QuvFile file, int64_t offset, int origin) {
    const int whence = origin == 1 ? SEEK_CUR : origin == 2 ? SEEK_END : SEEK_SET;
    return lseek(descriptor(file), offset, whence);
}

int64_t quvFileWrite(QuvFile file, const void* buffer, size_t count) {
    size_t done = 0;
    const auto* p = static_cast<const unsigned char*>(buffer);
    while (done < count) {
        ssize_t n = write(descriptor(file), p + done, count - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return done ? static_cast<int64_t>(done) : -1;
        done += static_cast<size_t>(n);
    }
    return static_cast<int64_t>(done);
}

void quvFileTruncate(QuvFile file) {
    const off_t here = lseek(descriptor(file), 0, SEEK_CUR);
    if (here >= 0) (void)ftruncate(descriptor(file), here);
}

QuvFile quvFileCreate(const ClrWChar* path, uint32_t access, uint32_t disposition) {
    std::string name;
    if (!quvNarrowPath(path, &name)) return kBadFile;
    const bool reads = (access & kAccessRead) != 0;
    const bool writes = (access & kAccessWrite) != 0;
    int flags = O_CLOEXEC | (reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY);
    switch (disposition) {
    case 1: flags |= O_CREAT | O_EXCL; break;
    case 2: flags |= O_CREAT | O_TRUNC; break;
    case 3: break;
    case 4: flags |= O_CREAT; break;
    case 5: flags |= O_TRUNC; break;
    default: return kBadFile;
    }
    int fd;
    do fd = open(name.c_str(), flags, 0666);
    while (fd < 0 && errno == EINTR);
    return fd < 0 ? kBadFile : fd;
}

ClrStatus quvFileMapError(ClrStatus status) { return status; }

bool quvFileExists(const ClrWChar* path) {
    std::string name;
    struct stat st;
    return quvNarrowPath(path, &name) && stat(name.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
}

}  // namespace quv
