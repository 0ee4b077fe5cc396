// Fuzz target: the block-level data text.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "ann/blc_data.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        (void)format;
        BLC_DATA blc;
        std::istringstream in(file);
        blc.read(in);
    });
    return 0;
}
