// fab_devgen: generates a synthetic device (RTL and block-level Verilog, block-level data, the
// hand-kept text files, placements, device.json) and, with --direct, the four files a run reads.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "devgen/devgen_device.h"
#include "devgen/devgen_direct.h"
#include "devgen/devgen_files.h"
#include "util/util_timer.h"

namespace {

const char* const USAGE =
    "usage: fab_devgen (--size NAME | --cols C --rows R) [--seed S] [--direct] --out DIR\n"
    "\n"
    "Generates a synthetic device into DIR: rtl.v, blc.v, cells.v, blc_data.pb.txt,\n"
    "top_blocks.txt, icd_to_pnr_mapping.txt, spare_row_flyover.txt, insert_node.txt,\n"
    "placements.pb.txt, mux.pb.txt, device.json and oracle.txt.\n"
    "\n"
    "  --size NAME   tiny, small, medium, large or huge; tiny-warn is tiny with the cases\n"
    "                that make a run print notices and drop things\n"
    "  --cols C      grid columns (with --rows; other knobs as small)\n"
    "  --rows R      grid rows\n"
    "  --seed S      seed of the mux input choice (default 1; tiny is hand-wired)\n"
    "  --direct      also write rtl.graph, rtl.ann, blc.graph, blc.ann (binary frames)\n"
    "  --out DIR     output folder, made if missing\n"
    "  --help        this text\n"
    "\n"
    "Prints a progress line per stage and ends with one summary line:\n"
    "  devgen: size=NAME modules=N rtl_hier_nodes=N hybrid_hier_nodes=N placements=N\n";

int fail(const std::string& message) {
    std::cerr << "fab_devgen: " << message << "\n";
    return 2;
}

bool parse_int(const std::string& text, long long& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    value = std::strtoll(text.c_str(), &end, 10);
    return *end == '\0';
}

}  // namespace

int main(int argc, char** argv) {
    std::string size, out;
    long long cols = -1, rows = -1, seed = 1;
    bool direct = false;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto value = [&](std::string& v) {
            if (i + 1 >= argc) return false;
            v = argv[++i];
            return true;
        };
        std::string v;
        if (a == "--help" || a == "-h") {
            std::cout << USAGE;
            return 0;
        } else if (a == "--direct") {
            direct = true;
        } else if (a == "--size") {
            if (!value(size)) return fail("--size needs a name");
        } else if (a == "--out") {
            if (!value(out)) return fail("--out needs a folder");
        } else if (a == "--cols" || a == "--rows" || a == "--seed") {
            long long n = 0;
            if (!value(v) || !parse_int(v, n) || n < 0)
                return fail("bad value for " + a + ": " + v);
            (a == "--cols" ? cols : a == "--rows" ? rows : seed) = n;
        } else {
            return fail("unknown argument " + a);
        }
    }
    DEVGEN::DG_PARAMS params;
    if (!size.empty()) {
        if (cols >= 0 || rows >= 0) return fail("--size excludes --cols and --rows");
        if (!DEVGEN::dg_preset(size, params)) return fail("unknown size " + size);
    } else if (cols >= 0 && rows >= 0) {
        params = DEVGEN::dg_custom(static_cast<int>(cols), static_cast<int>(rows));
    } else {
        return fail("give --size NAME or both --cols and --rows");
    }
    if (out.empty()) return fail("--out is required");
    params.m_seed = static_cast<uint64_t>(seed);
    std::string problem = DEVGEN::dg_check(params);
    if (!problem.empty()) return fail(problem);
    std::error_code ec;
    std::filesystem::create_directories(out, ec);
    if (ec || !std::filesystem::is_directory(out) || !std::ofstream(out + "/.devgen_probe")) {
        return fail("cannot write folder " + out);
    }
    std::filesystem::remove(out + "/.devgen_probe", ec);

    SCOPE_TIMER total("devgen: total");
    SCOPE_TIMER build("devgen: model");
    DEVGEN::DG_DEVICE device(params);
    build.stop();
    std::string error;
    {
        SCOPE_TIMER files("devgen: files");
        if (!DEVGEN::dg_write_files(device, out, error)) return fail(error);
    }
    if (direct && !DEVGEN::dg_write_direct(device, out, error)) return fail(error);
    total.stop();
    const DEVGEN::DG_COUNTS& c = device.counts();
    std::cout << "devgen: size=" << params.m_name << " modules=" << device.rtl().size()
              << " rtl_hier_nodes=" << c.m_rtl_hier_nodes
              << " hybrid_hier_nodes=" << c.m_blc_hier_nodes
              << " placements=" << device.placements().size() << "\n";
    return 0;
}
