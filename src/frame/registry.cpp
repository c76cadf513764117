#include "frame/handle.h"

#include "platform/memory.h"

#include <mutex>

namespace quv {
namespace {

struct RegistryEntry {
    RegistryEntry* next;
    RegistryEntry* previous;
    ClrHandle* handle;
};
static_assert(sizeof(RegistryEntry) == 24);

// Constant-initialised, so it exists before any load order can matter.
constinit std::mutex g_lock;
RegistryEntry* g_head = nullptr;
RegistryEntry* g_tail = nullptr;

RegistryEntry* find(const ClrHandle* handle) {
    for (RegistryEntry* e = g_head; e; e = e->next)
        if (e->handle == handle) return e;
    return nullptr;
}

void unlink(RegistryEntry* e) {
    (e->previous ? e->previous->next : g_head) = e->next;
    (e->next ? e->next->previous : g_tail) = e->previous;
}

}  // namespace

RegistryLock::RegistryLock() { g_lock.lock(); }
RegistryLock::~RegistryLock() { g_lock.unlock(); }

bool registryAppend(ClrHandle* handle) {
    auto* e = static_cast<RegistryEntry*>(quvMalloc(1, sizeof(RegistryEntry)));
    if (!e) return false;
    *e = {nullptr, nullptr, handle};
    RegistryLock lock;
    e->previous = g_tail;
    (g_tail ? g_tail->next : g_head) = e;
    g_tail = e;
    return true;
}

bool registryHolds(const ClrHandle* handle) {
    RegistryLock lock;
    return find(handle) && handle->size == CLR_HANDLE_SIZE;
}

bool registryTake(const ClrHandle* handle) {
    RegistryEntry* e;
    {
        RegistryLock lock;
        e = find(handle);
        if (!e || handle->size != CLR_HANDLE_SIZE) return false;
        unlink(e);
    }
    quvFree(e);
    return true;
}

void registryForget(const ClrHandle* handle) {
    RegistryEntry* e;
    {
        RegistryLock lock;
        e = find(handle);
        if (!e) return;
        unlink(e);
    }
    quvFree(e);
}

ClrHandle* registryFirst() {
    RegistryLock lock;
    return g_head ? g_head->handle : nullptr;
}

namespace testing {
size_t registryCount() {
    RegistryLock lock;
    size_t n = 0;
    for (RegistryEntry* e = g_head; e; e = e->next) ++n;
    return n;
}
}  // namespace testing

}  // namespace quv
