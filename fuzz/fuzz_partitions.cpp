// Fuzz target: the partitions table over the small hierarchy.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "util/util_hierarchy_serializable.h"

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
        UTIL::PARTITIONS_SERIALIZABLE reader(nullptr, partitions.get());
        google::protobuf::io::ArrayInputStream in(file.data(), static_cast<int>(file.size()));
        reader.read(&in, format);
    });
    return 0;
}
