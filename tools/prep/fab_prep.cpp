// fab_prep: the preparation flow of a device folder, from its Verilog (read by yosys), its
// block-level data, hand-kept files and placements to the four files a run reads. It checks its
// arguments, runs PREP_FLOW, and ends with one summary line for scripts.
#include <sys/stat.h>

#include <iostream>
#include <string>

#include "prep/prep_flow.h"

namespace {

const char* const USAGE =
    "usage: fab_prep [--top MODULE] [--sector MODULE]... [--yosys PROGRAM] [--digest FILE] DIR\n"
    "\n"
    "Prepares the device in DIR for a run. yosys reads cells.v (a library of blackbox cells) with\n"
    "rtl.v, and blc.v alone, and writes rtl.json and blc.json; both become netlist graphs. Mux\n"
    "cells go to the mux translator and merger (mux.pb.txt); the annotation passes read\n"
    "blc_data.pb.txt, top_blocks.txt, icd_to_pnr_mapping.txt, spare_row_flyover.txt and\n"
    "insert_node.txt; placements.pb.txt gives the flat placements. Written to DIR: rtl.graph,\n"
    "rtl.ann, blc.graph, blc.ann.\n"
    "\n"
    "  --top MODULE     top module of rtl.v (default: the one root yosys finds)\n"
    "  --sector MODULE  a sector module (default: sector_modules of DIR/device.json)\n"
    "  --yosys PROGRAM  the yosys to run (default: yosys on the PATH)\n"
    "  --digest FILE    also write the digest of both views' annotations, by names\n"
    "  --help           this text\n"
    "\n"
    "Exit status: 0 done; 1 yosys rejected the Verilog or an input does not fit the netlist (one\n"
    "line names the file and the module); 2 a wrong argument or an unreadable or unwritable "
    "file.\n";

[[noreturn]] void usage_error(const std::string& message) {
    std::cerr << "fab_prep: " << message << "\n";
    exit(2);
}

PREP_OPTIONS parse_arguments(int argc, char** argv) {
    PREP_OPTIONS options;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::cout << USAGE;
            exit(0);
        }
        if (a == "--top" || a == "--yosys" || a == "--sector" || a == "--digest") {
            if (i + 1 >= argc) usage_error("missing value after " + a);
            const std::string value = argv[++i];
            if (a == "--top") options.m_top = value;
            if (a == "--yosys") options.m_yosys = value;
            if (a == "--sector") options.m_sectors.push_back(value);
            if (a == "--digest") options.m_digest = value;
        } else if (!a.empty() && a[0] == '-') {
            usage_error("unknown argument " + a + " (see --help)");
        } else if (options.m_dir.empty()) {
            options.m_dir = a;
        } else {
            usage_error("unexpected argument " + a + " (one DIR only)");
        }
    }
    if (options.m_dir.empty()) usage_error("missing DIR (see --help)");
    struct stat info;
    if (stat(options.m_dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        usage_error("not a folder: " + options.m_dir);
    return options;
}

}  // namespace

int main(int argc, char** argv) {
    PREP_FLOW flow(parse_arguments(argc, argv));
    const PREP_FLOW::STATUS status = flow.run();
    if (status != PREP_FLOW::DONE) {
        std::cerr << "fab_prep: " << flow.get_message() << "\n";
        return status;
    }
    std::cout << flow.summary() << "\n";
    return 0;
}
