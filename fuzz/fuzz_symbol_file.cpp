// Fuzz target: the symbol section of a file.
#include "fuzz_common.h"
#include "fuzz_device.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::INPUT input(file);
        input.read_symbols(format);
    });
    return 0;
}
