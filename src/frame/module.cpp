#include "frame/module.h"

#include "frame/handle.h"
#include "kernels/ink.h"

#include <quvclr/conversion.h>

#include <atomic>
#include <dlfcn.h>

namespace quv {
namespace {

int32_t g_attachCount = 0;  // guarded by the registry lock
std::atomic<void*> g_resourceModule{nullptr};

void* ownModule() {
    Dl_info info{};
    return dladdr(reinterpret_cast<void*>(&ownModule), &info) ? info.dli_fbase : nullptr;
}

__attribute__((constructor)) void onLoad() { moduleEntry(ownModule(), kProcessAttach); }
__attribute__((destructor)) void onUnload() { moduleEntry(ownModule(), kProcessDetach); }

}  // namespace

int moduleEntry(void* module, uint32_t reason) {
    if (reason == kProcessAttach) {
        g_resourceModule = module;
        {
            RegistryLock lock;
            if (++g_attachCount == 1) kernels::buildProcessYcckTables();
        }
        kernels::buildGrayGammaTable();
    } else if (reason == kProcessDetach) {
        int32_t count;
        {
            RegistryLock lock;
            count = --g_attachCount;
        }
        if (count < 1) {
            while (ClrHandle* h = registryFirst())
                if (Quv_ClrFree(h) != CLR_SUCCESS) registryForget(h);  // a handle whose identity was overwritten
        }
    }
    return 1;
}

namespace testing {
int32_t attachCount() {
    RegistryLock lock;
    return g_attachCount;
}

void* resourceModule() { return g_resourceModule; }
}  // namespace testing

}  // namespace quv

extern "C" QUV_API void SetResModule(void* module) { quv::g_resourceModule = module; }
