// Fuzz target: the top-level blocks table over the small hierarchy.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_tlblocks.h"

namespace {
// Made once; the reads only look at its hierarchy.
std::unique_ptr<FUZZ::DEVICE> g_device;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    // The read calls the filling operations, whose named checks (a node given twice, a mux
    // module given as a block) end the process.
    FUZZ::allow({"@util/util_tlblocks.cpp"});
    // A file symbol id past the symbol section is an out-of-range error of the conversion.
    FUZZ::allow_out_of_range(true);
    FUZZ::keep_across_inputs([] { g_device = std::make_unique<FUZZ::DEVICE>(); },
                             [] { g_device.reset(); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::INPUT input(file);
        if (!input.read_symbols(format)) return;
        UTIL::TLBLOCKS_BUILDER tlblocks;
        tlblocks.set_hierarchy(g_device->m_hierarchy.get());
        tlblocks.set_symbol_file(&input.m_symbols);
        tlblocks.read_stream(&input.m_stream, format);
    });
    return 0;
}
