// Fuzz target: the mux descriptions table: symbol section, then the descriptions.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_mux_descriptions.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({});
    // A file symbol id past the symbol section is an out-of-range error of the conversion.
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::INPUT input(file);
        if (!input.read_symbols(format)) return;
        UTIL::MUX_DESCRIPTIONS descriptions;
        descriptions.set_symbol_file(&input.m_symbols);
        descriptions.read_stream(&input.m_stream, format);
    });
    return 0;
}
