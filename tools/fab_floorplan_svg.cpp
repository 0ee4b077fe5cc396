// fab_floorplan_svg: reads a device's four run files (a folder holding rtl.graph, rtl.ann,
// blc.graph, blc.ann, or the four paths), makes its floorplan through the library and writes
// it as an SVG picture.
#include <chrono>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "floorplan_svg.h"
#include "ns_symbol.h"

namespace {

const char* const USAGE =
    "usage: fab_floorplan_svg DIR [--out FILE]\n"
    "       fab_floorplan_svg RTL_GRAPH RTL_ANN BLC_GRAPH BLC_ANN --out FILE\n"
    "\n"
    "Makes the floorplan of a device from its netlist graph, its annotations, its block-level\n"
    "graph and their annotations, and writes it as SVG: the grid, each placed block at its\n"
    "place with its size, coloured by block kind and named on hover, and a legend.\n"
    "DIR holds rtl.graph, rtl.ann, blc.graph and blc.ann; the picture goes to\n"
    "DIR/floorplan.svg unless --out says otherwise. A summary line ends the output.\n"
    "To look at it: rsvg-convert FILE.svg -o FILE.png\n";

[[noreturn]] void fail(const std::string& message) {
    std::cerr << "fab_floorplan_svg: " << message << "\n";
    std::exit(2);
}

using CLOCK = std::chrono::steady_clock;

long long ms_since(CLOCK::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(CLOCK::now() - start).count();
}

// Reads one file through the given step of the run object, with a progress line.
void read_step(const std::string& path, void (FAB::API::*step)(std::istream&), FAB::API& api) {
    std::ifstream in(path, std::ios::binary);
    if (!in) fail("cannot read " + path);
    const CLOCK::time_point start = CLOCK::now();
    (api.*step)(in);
    std::cout << "read " << path << " : " << ms_since(start) << " ms" << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> inputs;
    std::string out;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << USAGE;
            return 0;
        }
        if (arg == "--out") {
            if (i + 1 == argc) fail("--out needs a file name");
            out = argv[++i];
        } else if (!arg.empty() && arg[0] == '-') {
            fail("unknown option " + arg);
        } else {
            inputs.push_back(arg);
        }
    }
    if (inputs.size() == 1) {
        const std::string dir = inputs[0];
        inputs = {dir + "/rtl.graph", dir + "/rtl.ann", dir + "/blc.graph", dir + "/blc.ann"};
        if (out.empty()) out = dir + "/floorplan.svg";
    } else if (inputs.size() != 4) {
        fail("expected a folder or four files, got " + std::to_string(inputs.size()) +
             " arguments (see --help)");
    }
    for (const std::string& path : inputs)
        if (!std::ifstream(path)) fail("cannot read " + path);
    if (out.empty()) fail("--out is needed with four files");
    std::ofstream svg(out);
    if (!svg) fail("cannot write " + out);

    {
        std::unique_ptr<FAB::API> api(fab_create(nullptr, nullptr, false));
        read_step(inputs[0], &FAB::API::read_rtl_graph, *api);
        read_step(inputs[1], &FAB::API::read_rtl_annotation, *api);
        read_step(inputs[2], &FAB::API::read_blc_graph, *api);
        read_step(inputs[3], &FAB::API::read_blc_annotation, *api);

        CLOCK::time_point start = CLOCK::now();
        std::unique_ptr<FAB::FLOORPLAN> fp(api->create_floorplan());
        std::cout << "create floorplan : " << ms_since(start) << " ms" << std::endl;

        start = CLOCK::now();
        const FLOORPLAN_SVG_SUMMARY s = write_floorplan_svg(*fp, svg);
        svg.close();
        if (!svg) fail("cannot write " + out);
        std::cout << "write " << out << " : " << ms_since(start) << " ms" << std::endl;
        std::cout << "floorplan columns=" << fp->get_columns() << " rows=" << fp->get_rows()
                  << " modules=" << fp->get_n_modules() << " blocks=" << s.placed
                  << " unplaced=" << s.unplaced << " kinds=" << s.kinds << " svg=" << out
                  << std::endl;
    }
    util_clear_symbol_tables();
    return 0;
}
