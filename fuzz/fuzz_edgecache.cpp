// Fuzz target: the edge cache.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_edgecache.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({"Error reading pb_edgecache", "Error reading pb_graph"});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        UTIL::EDGECACHE_BUILDER cache;
        google::protobuf::io::ArrayInputStream in(file.data(), static_cast<int>(file.size()));
        cache.read_stream(&in, format);
    });
    return 0;
}
