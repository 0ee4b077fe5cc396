// Fuzz target: the mux description text (mux.pb.txt) of the mux translator.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "nlg/nlg_mux_translator.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        (void)format;
        NLG_MUX_TRANSLATOR translator;
        std::istringstream in(file);
        translator.read(in, UTIL::PB_TXT);
    });
    return 0;
}
