// The emulation table loader on a file of the input's bytes, the first byte
// choosing the kind of table; a table that loads is then used.
#include "frame/table_file.h"
#include "kernels/emulation.h"
#include "platform/memory.h"
#include "platform/probe.h"
#include "platform/text.h"

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    namespace k = quv::kernels;
    const int32_t kind = (data[0] & 1) ? k::kTableKindCmyk : k::kTableKind33;
    static const std::string path = "/tmp/quvclr-table-fuzz-" + std::to_string(getpid()) + ".tif";
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data + 1, 1, size - 1, f);
        std::fclose(f);
    } else {
        return 0;
    }
    ClrWChar* wide = quv::quvTextToWide(path.c_str());
    uint8_t* table = nullptr;
    if (quv::loadEmulationTable(wide, &table, kind) == CLR_SUCCESS) {
        uint8_t pixels[12] = {0, 255, 17, 128, 64, 200, 3, 9, 250, 1, 2, 3};
        uint8_t out[9];
        quv::MemoryProbe probe;
        const k::KernelIo io{pixels, out, 3, 1, 0, 0, &probe};
        if (kind == k::kTableKindCmyk)
            k::cmykToRgbByTable(table, io, 1);
        else
            k::rgbToLabByTable(table, io, 1);
    }
    quv::quvFree(table);
    quv::quvTextFree(wide);
    return 0;
}
