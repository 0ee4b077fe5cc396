// Fuzz target: the node map over the small grid: GID map, then the node map.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_nodemap64.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    // A key beyond 34 bits is a range violation of the GID it makes: the report, then "false".
    FUZZ::allow({"Error reading pb_nodemap", "Error reading pb_key_nodes", "p.second",
                 "name.is_known()", "l == IGID_TYPE::LENGTH_INVALID*", "false"});
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::INPUT input(file);
        if (!input.read_symbols(format)) return;
        std::unique_ptr<UTIL::GID64_BUILDER> gids(UTIL::create_gid64_builder());
        gids->set_symbol_file(&input.m_symbols);
        if (!gids->read_stream(&input.m_stream, format)) return;
        UTIL::NODEMAP64 map;
        map.set_gid_builder(gids.get());
        map.read_stream(&input.m_stream, format);
    });
    return 0;
}
