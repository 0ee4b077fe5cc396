// Fuzz target: graph files in both frame formats, through TESSEL_API.
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    // The frame fails with false; every structural fault is a phase check of the reader or a
    // check of the graph model it fills (indexes, names, file-lines).
    FUZZ::allow({"@nlg/nlg_readwrite.cpp", "@nlg/nlg_module.cpp", "@nlg/nlg_instance.cpp",
                 "@nlg/nlg_net.cpp", "@nlg/nlg_port.cpp", "@nlg/nlg_port_ref.cpp",
                 "@nlg/nlg_fileline.cpp", "@nlg/nlg_graph.cpp"});
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        NLG_TESSEL api;
        std::unique_ptr<NLG_IGRAPH> graph(api.create_graph(nullptr));
        std::istringstream in(file);
        api.read_graph(graph.get(), in,
                       format ? TESSEL_API::FORMAT_PB_TXT : TESSEL_API::FORMAT_PB_BIN);
    });
    return 0;
}
