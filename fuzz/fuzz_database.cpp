// Fuzz target: the whole translation database, every section read in turn by the translate
// object as a place-and-route tool reads it (symbol file, modules, mux descriptions, top-level
// blocks, port maps, partitions, GID map, node map, edge cache).
#include "fab/fab_translate.h"
#include "fuzz_common.h"
#include "fuzz_device.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FUZZ::quiet_stdout();
    // The sections' own readers end the process on what their owners document as a bad file:
    // the assertions the single-table targets allow, and the construction failures of the
    // hierarchy made over the modules read (an instantiation cycle, no modules, too many
    // nodes). A section that reads false is reported by read_sections, not by an assertion.
    FUZZ::allow({"Unknown Direction", "Missing module name", "@util/util_tlblocks.cpp", "p.second",
                 "(int)m_portmap_builders.size() == m_portmaps.portmaps_size()", "name.is_known()",
                 "l == IGID_TYPE::LENGTH_INVALID*", "Error reading pb_nodemap",
                 "Error reading pb_key_nodes", "false", "Error reading pb_edgecache",
                 "Error reading pb_graph", "it != m_module_map.end()", "modules_changed > 0",
                 "Overflowed number of nodes on module *", "!m_num_nodes_overflowed",
                 "(a >= 0) && (b >= 0)"});
    // A file symbol id past the symbol section is an out-of-range error of the conversion.
    FUZZ::allow_out_of_range(true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ::run_on_file(data, size, [&](const std::string& file, uint32_t format) {
        FAB::TRANSLATE translate;
        google::protobuf::io::ArrayInputStream in(file.data(), static_cast<int>(file.size()));
        std::string failure;
        translate.read_sections(&in, format, failure);
    });
    return 0;
}
