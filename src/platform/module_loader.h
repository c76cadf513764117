// Libraries reached by name at run time, found in the directory of the
// library that holds this code (beside libquvclr.so).
#pragma once

#include <map>
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
    bool isFunctionOk(const char* name) const { return functions_.count(name) != 0; }
    void* getFunction(const char* name) const;

private:
    void* handle_ = nullptr;
    std::map<std::string, void*> functions_;
};

// Where modules are looked for: the directory of this library, unless a test
// has named another.
std::string moduleDirectory();

namespace testing {
// Modules are looked for in `directory` from now on ("" restores the default).
void setModuleDirectory(const std::string& directory);
}  // namespace testing

}  // namespace quv
