// Libraries reached by name at run time, found in the directory of the
// library that holds this code (beside libquvclr.so).
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace quv {

class ModuleLoader {
public:
    ModuleLoader() = default;
    ~ModuleLoader();
    ModuleLoader(const ModuleLoader&) = delete;
    ModuleLoader& operator=(const ModuleLoader&) = delete;

    // Loads `<directory>/<name>.so`; false when it is absent or fails to load.
    bool loadLibrary(const char* name);
    bool isLoaded() const { return handle_ != nullptr; }
    // Looks the function up; false when the library lacks it.
    bool addFunction(const char* name);
    bool isFunctionOk(const char* name) const { return getFunction(name) != nullptr; }
    void* getFunction(const char* name) const;

private:
    // A module offers a handful of functions; names are the caller's
    // constants.
    struct Function {
        const char* name = nullptr;
        void* address = nullptr;
    };
    void* handle_ = nullptr;
    Function functions_[8];
    unsigned count_ = 0;
};

// The base library's module-loading hook. On Linux the shared objects are
// mapped and initialised by the dynamic loader, so the hook has nothing to
// load and answers 1 whatever it is given.
int32_t quvLoaderHook(void* self, void* first, void* second, void* third, uint32_t reserved);

// Where modules are looked for: the directory of this library, unless a test
// has named another.
std::string moduleDirectory();

namespace testing {
// Modules are looked for in `directory` from now on ("" restores the default).
void setModuleDirectory(const std::string& directory);
}  // namespace testing

}  // namespace quv
