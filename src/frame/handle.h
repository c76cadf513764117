// The conversion handle and the process-wide registry of live handles.
#pragma once

#include <quvclr/conversion.h>

#include <cstddef>
#include <cstdint>

namespace quv::kernels {
struct YcckTables;
}

// A handle keeps paths of up to 259 characters and their terminator.
constexpr int kHandlePathChars = 260;

// Owns everything it points to except emulationTable, which is constant data.
struct ClrHandle {
    uint32_t size;  // CLR_HANDLE_SIZE: the identity word
    uint32_t sourceSpace;
    uint32_t destSpace;
    void* iccTransform;     // lcms2 transform between the embedded profiles
    void* customTransform;  // lcms2 transform between the caller's profiles
    uint32_t inputFormat;   // lcms2 pixel format, or the raw space on two-stage handles
    uint32_t outputFormat;
    ClrCmykParams* cmykParams;
    ClrYuvParams* yuvParams;  // its layout array is owned too
    int32_t stageCount;       // 1 direct, 2 through RGB
    ClrWhitePoint* whitePoint;
    uint32_t activeMethod;
    uint32_t methodMask;
    ClrWChar inputProfilePath[kHandlePathChars];
    ClrWChar outputProfilePath[kHandlePathChars];
    ClrWChar emulationPath[kHandlePathChars];
    ClrProfileBlock* inputProfileBlock;  // with its own copy of the bytes
    ClrProfileBlock* outputProfileBlock;
    const void* emulationTable;
    void* customTable;
    int32_t gamma;
    void* labFromTable;
    void* labToTable;
    quv::kernels::YcckTables* ycckTable;
    // The YUV layout array belongs to the caller (taken by a parameter
    // update) and is not freed with the handle.
    uint8_t yuvLayoutBorrowed;
    uint8_t reserved[7];
};
static_assert(sizeof(ClrHandle) == CLR_HANDLE_SIZE, "the identity word is the record's size");
static_assert(offsetof(ClrHandle, size) == 0, "identity word first");

namespace quv {

// Registry of live handles, in order of creation. The lock is held only
// inside these calls. A listed handle's identity word is read under the lock,
// where it can't be released meanwhile.
bool registryAppend(ClrHandle* handle);  // false when the entry can't be allocated
// Listed and with its identity word intact.
bool registryHolds(const ClrHandle* handle);
// As registryHolds, and unlists it in the same step, so that only one caller
// can go on to release it.
bool registryTake(const ClrHandle* handle);
// Unlists without looking at the handle.
void registryForget(const ClrHandle* handle);
ClrHandle* registryFirst();
namespace testing {
size_t registryCount();  // handles listed now
}

// The registry lock also guards the attach count.
class RegistryLock {
public:
    RegistryLock();
    ~RegistryLock();
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;
};

// Releases what the handle owns, then the handle itself.
void destroyHandle(ClrHandle* handle);

// Gives the handle its own YCCK tables; CLR_NO_MEMORY when they can't be made.
ClrStatus attachYcckTables(ClrHandle* handle);

}  // namespace quv
