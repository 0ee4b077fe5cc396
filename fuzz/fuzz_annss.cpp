// Fuzz target: the annotation set of a small graph, in both frame formats.
#include <memory>

#include "ann/annss.h"
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "support/annotation_device.h"

namespace {
// Made once: building the graph and its block-level data costs more than most reads.
std::unique_ptr<NLG_TEST::ANNOTATION_DEVICE> g_device;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({});
    // A file symbol id past the symbol section is an out-of-range error of the conversion.
    FUZZ::allow_out_of_range(true);
    // The read interns the names of the file's symbol section into the graph's table and looks
    // none of them up there.
    FUZZ::keep_across_inputs([] { g_device = std::make_unique<NLG_TEST::ANNOTATION_DEVICE>(); },
                             [] { g_device.reset(); }, 4096);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        NLG_ANNSS annss(g_device->m_rtl.graph());
        std::istringstream in(file);
        annss.get_annss()->read(in, format);
    });
    return 0;
}
