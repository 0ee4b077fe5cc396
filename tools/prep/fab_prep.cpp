// fab_prep: the preparation flow of a device folder. It runs yosys on the device's Verilog
// (rtl.v with the cell library cells.v, and the block-level blc.v), imports both netlists into
// netlist graphs and writes them as graph files. It prints each stage with its time and ends with
// one summary line for scripts.
// 1. Check the arguments and the input files.
// 2. yosys on the RTL, then the import; yosys on the block-level view, then the import.
// 3. Write rtl.graph and blc.graph in the binary frame format.
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "prep/prep_json_import.h"
#include "prep/prep_yosys.h"
#include "util/util_protobuf.h"
#include "util/util_timer.h"

namespace {

const char* const USAGE =
    "usage: fab_prep [--top MODULE] [--yosys PROGRAM] DIR\n"
    "\n"
    "Prepares the device in DIR for a run: yosys reads cells.v (as a library of blackbox cells)\n"
    "with rtl.v, and blc.v alone, and writes their JSON netlists (rtl.json, blc.json); these are\n"
    "imported into netlist graphs and written to DIR as rtl.graph and blc.graph.\n"
    "\n"
    "  --top MODULE     top module of rtl.v (default: the one root yosys finds)\n"
    "  --yosys PROGRAM  the yosys to run (default: yosys on the PATH)\n"
    "  --help           this text\n"
    "\n"
    "Exit status: 0 done; 1 yosys rejected the Verilog or a netlist is not usable (one line\n"
    "names the file and the module); 2 a wrong argument or an unreadable or unwritable file.\n";

struct OPTIONS {
    std::string m_dir;
    std::string m_top;
    std::string m_yosys = "yosys";
};

[[noreturn]] void usage_error(const std::string& message) {
    std::cerr << "fab_prep: " << message << "\n";
    exit(2);
}

OPTIONS parse_arguments(int argc, char** argv) {
    OPTIONS options;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::cout << USAGE;
            exit(0);
        }
        if (a == "--top" || a == "--yosys") {
            if (i + 1 >= argc) usage_error("missing value after " + a);
            (a == "--top" ? options.m_top : options.m_yosys) = argv[++i];
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
    for (const char* name : {"cells.v", "rtl.v", "blc.v"}) {
        std::ifstream probe(options.m_dir + "/" + name);
        if (!probe.good()) usage_error("cannot read " + options.m_dir + "/" + name);
    }
    return options;
}

// One view: yosys writes its JSON, which becomes a graph.
struct VIEW {
    const char* m_label;
    PREP_YOSYS_JOB m_job;
    PREP_JSON_IMPORT::TOP_RULE m_rule;
    std::unique_ptr<NLG_GRAPH> m_graph;
    PREP_IMPORT_COUNTS m_counts;
    std::vector<PREP_MUX_CELL> m_mux_cells;
    uint64_t m_yosys_ms = 0;
    uint64_t m_import_ms = 0;
};

uint64_t elapsed_ms(uint64_t start) {
    return SCOPE_TIMER::milliseconds(SCOPE_TIMER::ticks() - start, SCOPE_TIMER::ticks_per_second());
}

void run_yosys(const OPTIONS& options, VIEW& view) {
    const uint64_t start = SCOPE_TIMER::ticks();
    SCOPE_TIMER timer(std::string("yosys ") + view.m_label);
    PREP_YOSYS yosys(options.m_yosys);
    if (!yosys.run(view.m_job)) {
        timer.stop();
        std::cerr << "fab_prep: yosys on " << options.m_dir << "/" << view.m_job.m_sources.back()
                  << ": " << yosys.get_error().m_message << "\n";
        exit(1);
    }
    view.m_yosys_ms = elapsed_ms(start);
}

void import_view(const OPTIONS& options, VIEW& view) {
    const uint64_t start = SCOPE_TIMER::ticks();
    SCOPE_TIMER timer(std::string("import ") + view.m_job.m_json);
    const std::string path = options.m_dir + "/" + view.m_job.m_json;
    std::ifstream in(path, std::ios::binary);
    if (!in.good()) usage_error("cannot read " + path);
    std::vector<std::string> sources = view.m_job.m_libraries;
    sources.insert(sources.end(), view.m_job.m_sources.begin(), view.m_job.m_sources.end());
    PREP_JSON_IMPORT importer(sources);
    view.m_graph = std::make_unique<NLG_GRAPH>(nullptr, nullptr, 0);
    if (!importer.import(in, view.m_rule, view.m_job.m_top, view.m_graph.get())) {
        timer.stop();
        std::cerr << "fab_prep: " << path << ": " << importer.get_error().m_message << "\n";
        exit(1);
    }
    view.m_counts = importer.get_counts();
    view.m_mux_cells = importer.get_mux_cells();
    view.m_import_ms = elapsed_ms(start);
}

void write_graph(const OPTIONS& options, const VIEW& view, const std::string& name) {
    SCOPE_TIMER timer("write " + name);
    const std::string path = options.m_dir + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out.good() || !nlg_graph_readwrite().write(*view.m_graph, out, UTIL::PB_BIN) ||
        !out.flush())
        usage_error("cannot write " + path);
}

uint64_t peak_kib(int who) {
    struct rusage usage;
    getrusage(who, &usage);
    return static_cast<uint64_t>(usage.ru_maxrss);
}

void print_summary(const VIEW& rtl, const VIEW& blc) {
    std::cout << "summary";
    for (const VIEW* v : {&rtl, &blc}) {
        const std::string p = std::string(" ") + v->m_label + "_";
        std::cout << p << "modules=" << v->m_counts.m_modules << p
                  << "instances=" << v->m_counts.m_instances << p << "ports=" << v->m_counts.m_ports
                  << p << "nets=" << v->m_counts.m_nets << p
                  << "portrefs=" << v->m_counts.m_portrefs << p << "yosys_ms=" << v->m_yosys_ms << p
                  << "import_ms=" << v->m_import_ms;
    }
    std::cout << " mux_cells=" << rtl.m_mux_cells.size() << " peak_kib=" << peak_kib(RUSAGE_SELF)
              << " yosys_peak_kib=" << peak_kib(RUSAGE_CHILDREN) << "\n";
}

}  // namespace

int main(int argc, char** argv) {
    const OPTIONS options = parse_arguments(argc, argv);

    VIEW rtl{"rtl", {}, PREP_JSON_IMPORT::TOP_BY_NAME, nullptr, {}, {}, 0, 0};
    rtl.m_job = {{"cells.v"}, {"rtl.v"}, options.m_top, true, "rtl.json", options.m_dir};
    if (options.m_top.empty()) rtl.m_rule = PREP_JSON_IMPORT::TOP_BY_ATTRIBUTE;
    VIEW blc{"blc", {}, PREP_JSON_IMPORT::NO_TOP, nullptr, {}, {}, 0, 0};
    blc.m_job = {{}, {"blc.v"}, "", false, "blc.json", options.m_dir};

    for (VIEW* view : {&rtl, &blc}) {
        run_yosys(options, *view);
        import_view(options, *view);
    }
    write_graph(options, rtl, "rtl.graph");
    write_graph(options, blc, "blc.graph");
    print_summary(rtl, blc);
    return 0;
}
