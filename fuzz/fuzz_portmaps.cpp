// Fuzz target: the port maps table over the small hierarchy.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_portmaps.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    // The index and link steps run on what was read; their checks are named internal errors.
    FUZZ::allow({"p.second", "(int)m_portmap_builders.size() == m_portmaps.portmaps_size()"});
    // A file symbol id past the symbol section is an out-of-range error of the conversion.
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::DEVICE device;
        FUZZ::INPUT input(file);
        if (!input.read_symbols(format)) return;
        UTIL::PORTMAPS_BUILDER portmaps;
        portmaps.set_hierarchy(device.m_hierarchy.get());
        portmaps.set_symbol_file(&input.m_symbols);
        portmaps.read_stream(&input.m_stream, format);
    });
    return 0;
}
