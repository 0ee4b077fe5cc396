// Fuzz target: the edge map over the partitions of the small hierarchy.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_edgemap.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::DEVICE device;
        std::unique_ptr<UTIL::IHIERARCHY::IPARTITIONS> partitions(
            device.m_hierarchy->create_partitions());
        partitions->set_partitions({1, 3});
        UTIL::EDGEMAP map(partitions.get());
        google::protobuf::io::ArrayInputStream in(file.data(), static_cast<int>(file.size()));
        map.read_stream(&in, format);
    });
    return 0;
}
