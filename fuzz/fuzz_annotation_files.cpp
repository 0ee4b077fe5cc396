// Fuzz target: the four hand-kept text files of the annotation generator; the first byte picks the
// file.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "support/annotation_device.h"
#include "nlg/nlg_annotation_gen.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    FUZZ::allow({"mismatching RE assignment in insert_node.txt file for module *",
                 "t != PB::MUX_DESCRIPTION::UNKNOWN",
                 "module_flyover_ports[module_name][port_in] == port_out", "Insterted RE *",
                 "* is an unsupported node type!"});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const uint32_t pass = size ? (data[0] >> 1) & 3u : 0u;
    const std::string file = FUZZ::file_of(data, size);
    FUZZ::run([&] {
        NLG_TEST::ANNOTATION_DEVICE device;
        NLG_ANNOTATION_GEN gen = device.gen();
        std::istringstream in(file);
        if (pass == 0) gen.read_top_blocks(in);
        if (pass == 1) gen.read_icd_to_pnr_mapping(in);
        if (pass == 2) gen.read_spare_row_flyover(in);
        if (pass == 3) gen.read_insert_node(in);
    });
    return 0;
}
