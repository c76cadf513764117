// Loading and unloading of the library: the attach count, the process-wide
// tables, and release of the handles still live at the last unload.
#pragma once

#include <cstdint>

namespace quv {

enum ModuleReason : uint32_t { kProcessDetach = 0, kProcessAttach = 1 };

// Runs at load (attach) and unload (detach); other reasons do nothing.
// Always 1.
int moduleEntry(void* module, uint32_t reason);

namespace testing {
// State the interface does not show: loads not yet matched by an unload, and
// the module SetResModule named.
int32_t attachCount();
void* resourceModule();
}  // namespace testing

}  // namespace quv
