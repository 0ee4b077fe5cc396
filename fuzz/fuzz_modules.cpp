// Fuzz target: the modules table: symbol section, then the modules.
#include "fuzz_common.h"
#include "fuzz_device.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({"Unknown Direction", "Missing module name"});
    // A file symbol id past the symbol section is an out-of-range error of the conversion.
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::INPUT input(file);
        if (!input.read_symbols(format)) return;
        UTIL::MODULES_BUILDER modules;
        modules.set_symbol_file(&input.m_symbols);
        modules.read(&input.m_stream, format);
    });
    return 0;
}
