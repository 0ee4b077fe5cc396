// Fuzz target: the GID types table and the GID map (dimensions, then the types).
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_gid_type.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({"name.is_known()", "l == IGID_TYPE::LENGTH_INVALID*"});
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::INPUT input(file);
        if (!input.read_symbols(format)) return;
        std::unique_ptr<UTIL::GID64_BUILDER> gids(UTIL::create_gid64_builder());
        gids->set_symbol_file(&input.m_symbols);
        gids->read_stream(&input.m_stream, format);
    });
    return 0;
}
