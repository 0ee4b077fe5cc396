// Fuzz target: the annotation set of a small graph, in both frame formats.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "ann/annss.h"
#include "support/annotation_device.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({});
    // A file symbol id past the symbol section is an out-of-range error of the conversion.
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        NLG_TEST::ANNOTATION_DEVICE device;
        NLG_ANNSS annss(device.m_rtl.graph());
        std::istringstream in(file);
        annss.get_annss()->read(in, format);
    });
    return 0;
}
