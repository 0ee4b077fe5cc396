// Fuzz target: GID text, through the converter and GID extraction operators.
#include "fuzz_common.h"
#include "fuzz_device.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    // A GID read that stopped leaves the converter reset, whose GID is out of range.
    // Coordinates past the fields end with the range report and the internal error "false".
    FUZZ::allow({"false"});
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FUZZ::DEVICE device;
        FUZZ::GRID grid(device);
        std::unique_ptr<UTIL::IGID_CONVERTER> converter(grid.m_builder->create_converter());
        std::istringstream in(file);
        if (format) {
            in >> *converter;
        } else {
            UTIL::GID64 gid;
            while (in >> gid) {
            }
        }
    });
    return 0;
}
