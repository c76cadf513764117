#include "platform/image_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quv {
namespace {

bool startsWith(const uint8_t* head, size_t size, const char* text, size_t offset = 0) {
    const size_t n = std::strlen(text);
    return size >= offset + n && std::memcmp(head + offset, text, n) == 0;
}

uint32_t be32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}

// "%!PS-Adobe-3.0 EPSF-3.0": the EPSF mark stands on the first line.
bool isEpsText(const uint8_t* head, size_t size) {
    if (!startsWith(head, size, "%!PS-Adobe")) return false;
    for (size_t i = 10; i + 4 <= size && head[i] != '\r' && head[i] != '\n'; ++i)
        if (std::memcmp(head + i, "EPSF", 4) == 0) return true;
    return false;
}

}  // namespace

int recogniseImageFormat(const uint8_t* head, size_t size) {
    static const uint8_t kPng[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    static const uint8_t kEpsBinary[4] = {0xC5, 0xD0, 0xD3, 0xC6};
    if (!head) return kFormatUnknown;
    if (size >= 4 && ((head[0] == 'I' && head[1] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0) ||
                      (head[0] == 'M' && head[1] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43))))
        return kFormatTiff;
    if (size >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF) return kFormatJpeg;
    if (size >= 8 && std::memcmp(head, kPng, 8) == 0) return kFormatPng;
    if (size >= 6 && startsWith(head, size, "8BPS") && head[4] == 0 && (head[5] == 1 || head[5] == 2))
        return kFormatPsd;
    if (startsWith(head, size, "RIFF") && startsWith(head, size, "WEBP", 8)) return kFormatWebp;
    if (startsWith(head, size, "GIF87a") || startsWith(head, size, "GIF89a")) return kFormatGif;
    if ((size >= 4 && std::memcmp(head, kEpsBinary, 4) == 0) || isEpsText(head, size)) return kFormatEps;
    if (size >= 7 && head[0] == 0xE0 && ((head[1] << 8) | head[2]) >= 4 && be32(head + 3) <= 2) return kFormatChunked;
    return kFormatUnknown;
}

ClrStatus quvFileInfo(const ClrWChar* path, int* format) {
    *format = kFormatUnknown;
    std::string name;
    if (!quvNarrowPath(path, &name)) return CLR_FILE_NOT_FOUND;
    const QuvFile file = quvFileOpen(path, kOpenRead, kShareRead);
    if (file == kBadFile) return errno == ENOENT ? CLR_FILE_NOT_FOUND : CLR_FILE_OPEN_FAILED;
    uint8_t head[kRecogniseBytes];
    const int64_t got = quvFileRead(file, head, sizeof head);
    quvFileClose(file);
    *format = recogniseImageFormat(head, got < 0 ? 0 : static_cast<size_t>(got));
    return CLR_SUCCESS;
}

uint64_t ByteSource::bytesLeft() {
    const int64_t here = seek(0, 1);
    const int64_t total = size();
    return here >= 0 && total > here ? static_cast<uint64_t>(total - here) : 0;
}

int64_t FileSource::read(void* buffer, size_t count) { return quvFileRead(file_, buffer, count); }
int64_t FileSource::seek(int64_t offset, int origin) { return quvFileSeek(file_, offset, origin); }
int64_t FileSource::size() {
    struct stat st;
    return fstat(static_cast<int>(file_), &st) == 0 ? st.st_size : -1;
}

int64_t MemorySource::read(void* buffer, size_t count) {
    const size_t n = std::min(count, size_ - pos_);
    if (n) std::memcpy(buffer, data_ + pos_, n);
    pos_ += n;
    return static_cast<int64_t>(n);
}

int64_t MemorySource::seek(int64_t offset, int origin) {
    const int64_t base = origin == 1 ? static_cast<int64_t>(pos_) : origin == 2 ? static_cast<int64_t>(size_) : 0;
    // Positions past the end are allowed, as in a file; reads there give 0.
    if (offset < -base || offset > INT64_MAX / 2 - base) return -1;
    const int64_t target = base + offset;
    pos_ = static_cast<size_t>(std::min<int64_t>(target, static_cast<int64_t>(size_)));
    return target;
}

ReplacementFile::ReplacementFile(const std::string& target) : target_(target) {
    std::string pattern = target + ".XXXXXX";
    fd_ = mkstemp(pattern.data());
    if (fd_ < 0) return;
    temp_ = pattern;
    // The new file keeps the old one's permissions.
    struct stat st;
    if (stat(target.c_str(), &st) == 0) (void)fchmod(fd_, st.st_mode & 07777);
}

ReplacementFile::~ReplacementFile() {
    closeDescriptor();
    if (!committed_ && !temp_.empty()) unlink(temp_.c_str());
}

void ReplacementFile::closeDescriptor() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
}

bool ReplacementFile::write(const void* data, size_t count) {
    return fd_ >= 0 && quvFileWrite(fd_, data, count) == static_cast<int64_t>(count);
}

ClrStatus ReplacementFile::commit() {
    if (temp_.empty()) return CLR_FILE_WRITE_FAILED;
    if (fd_ >= 0 && fsync(fd_) != 0) return CLR_FILE_WRITE_FAILED;
    closeDescriptor();
    if (rename(temp_.c_str(), target_.c_str()) != 0) return CLR_FILE_WRITE_FAILED;
    committed_ = true;
    return CLR_SUCCESS;
}

}  // namespace quv
