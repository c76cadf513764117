#include "platform/module_loader.h"

#include <dlfcn.h>

namespace quv {
namespace {

std::string& directoryOverride() {
    static std::string directory;
    return directory;
}

}  // namespace

ModuleLoader::~ModuleLoader() {
    if (handle_) dlclose(handle_);
}

bool ModuleLoader::loadLibrary(const char* name) {
    if (handle_) return true;
    const std::string path = moduleDirectory() + "/" + name + ".so";
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    return handle_ != nullptr;
}

bool ModuleLoader::addFunction(const char* name) {
    if (getFunction(name)) return true;
    void* f = handle_ ? dlsym(handle_, name) : nullptr;
    if (!f || count_ == sizeof functions_ / sizeof functions_[0]) return false;
    functions_[count_++] = Function{name, f};
    return true;
}

void* ModuleLoader::getFunction(const char* name) const {
    for (unsigned i = 0; i < count_; ++i)
        if (std::strcmp(functions_[i].name, name) == 0) return functions_[i].address;
    return nullptr;
}

int32_t quvLoaderHook(void*, void*, void*, void*, uint32_t) { return 1; }

std::string moduleDirectory() {
    if (!directoryOverride().empty()) return directoryOverride();
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&moduleDirectory), &info) || !info.dli_fname) return ".";
    const std::string self = info.dli_fname;
    const size_t slash = self.rfind('/');
    return slash == std::string::npos ? "." : self.substr(0, slash);
}

namespace testing {
void setModuleDirectory(const std::string& directory) { directoryOverride() = directory; }
}  // namespace testing

}  // namespace quv
