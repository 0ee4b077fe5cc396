// fab_run: the whole run of the library on a prepared device folder, as a place-and-route tool
// does it. It links libfab.so dynamically, reads the four run files, makes the floorplan and the
// routing graph, and keeps the graph in a compressed sparse row builder of its own. It prints a
// progress line per stage and a summary; it does not prepare devices.
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "fab_irouting_graph.h"
#include "fab_itranslate.h"
#include "fab_run_builder.h"
#include "fab_run_nextpnr.h"

namespace {

using FAB_RUN::CLASS_NAMES;
using FAB_RUN::CSR_BUILDER;
using FAB_RUN::KIND_NAMES;
using FAB_RUN::type_name;

const char* const USAGE =
    "usage: fab_run [options] DIR\n"
    "  Runs the library on a prepared device: DIR holds rtl.graph, rtl.ann, blc.graph, blc.ann.\n"
    "  Prints a progress line per stage and a summary of the routing graph.\n"
    "options:\n"
    "  --stats-json FILE  write the summary as JSON\n"
    "  --dump-graph FILE  write the graph as text: one line per node, one per edge\n"
    "  --timers           let the library print the time of each of its steps\n"
    "  --db FILE          run with a translation database and write it to FILE\n"
    "  --db-format FMT    bin (default) or text frames for --db\n"
    "  --nextpnr-arch FILE  write the graph as a nextpnr-generic architecture script; wires are\n"
    "                     named by GID text when --db is given, else by builder number\n"
    "  --help             this text\n";

// Options, as a table so that a new one is one more entry.
struct OPTIONS {
    std::string m_dir;
    std::string m_stats_json;
    std::string m_dump_graph;
    bool m_timers = false;
    std::string m_db;
    std::string m_db_format;
    std::string m_nextpnr_arch;
};

struct OPTION {
    const char* m_name;
    std::string OPTIONS::*m_value;
};

struct FLAG {
    const char* m_name;
    bool OPTIONS::*m_value;
};

const FLAG FLAG_TABLE[] = {
    {"--timers", &OPTIONS::m_timers},
};

const OPTION OPTION_TABLE[] = {
    {"--stats-json", &OPTIONS::m_stats_json},
    {"--dump-graph", &OPTIONS::m_dump_graph},
    {"--db", &OPTIONS::m_db},
    {"--db-format", &OPTIONS::m_db_format},
    {"--nextpnr-arch", &OPTIONS::m_nextpnr_arch},
};

[[noreturn]] void usage_error(const std::string& text) {
    std::cerr << "fab_run: " << text << "\n";
    std::exit(2);
}

OPTIONS parse(int argc, char** argv) {
    OPTIONS options;
    for (int k = 1; k < argc; ++k) {
        const std::string arg = argv[k];
        if (arg == "--help" || arg == "-h") {
            std::cout << USAGE;
            std::exit(0);
        }
        const FLAG* flag = nullptr;
        for (const FLAG& f : FLAG_TABLE)
            if (arg == f.m_name) flag = &f;
        if (flag) {
            options.*(flag->m_value) = true;
            continue;
        }
        const OPTION* found = nullptr;
        for (const OPTION& option : OPTION_TABLE)
            if (arg == option.m_name) found = &option;
        if (found) {
            if (k + 1 >= argc) usage_error("option " + arg + " needs a file name");
            options.*(found->m_value) = argv[++k];
        } else if (!arg.empty() && arg[0] == '-') {
            usage_error("unknown option " + arg);
        } else if (options.m_dir.empty()) {
            options.m_dir = arg;
        } else {
            usage_error("unexpected argument " + arg);
        }
    }
    if (options.m_dir.empty()) usage_error("no device folder given (see --help)");
    if (!options.m_db_format.empty() && options.m_db_format != "bin" &&
        options.m_db_format != "text")
        usage_error("bad --db-format " + options.m_db_format + " (bin or text)");
    return options;
}

double peak_rss_mb() {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0;
}

struct SUMMARY {
    uint64_t m_nodes = 0;
    std::map<std::string, uint64_t> m_by_class;
    std::map<std::string, uint64_t> m_by_type;
    uint64_t m_edges = 0;
    std::map<std::string, uint64_t> m_by_kind;
    int32_t m_columns = 0;
    int32_t m_rows = 0;
    std::vector<std::pair<std::string, double>> m_seconds;
    double m_peak_rss_mb = 0;
    bool m_protocol_ok = false;
};

SUMMARY summarise(const CSR_BUILDER& builder) {
    SUMMARY s;
    s.m_nodes = builder.nodes().size();
    for (const CSR_BUILDER::NODE_RECORD& n : builder.nodes()) {
        ++s.m_by_class[CLASS_NAMES[n.m_class < 4 ? n.m_class : 3]];
        ++s.m_by_type[n.m_class == 3 ? type_name(n.m_type) : CLASS_NAMES[n.m_class]];
    }
    for (int k = 0; k < CSR_BUILDER::N_KINDS; ++k) {
        const uint64_t n = builder.kind(k).m_targets.size();
        s.m_by_kind[KIND_NAMES[k]] = n;
        s.m_edges += n;
    }
    s.m_protocol_ok = builder.protocol_ok();
    return s;
}

void print_map(std::ostream& os, const std::map<std::string, uint64_t>& map) {
    for (const auto& entry : map) os << "    " << entry.first << " " << entry.second << "\n";
}

void print_summary(std::ostream& os, const SUMMARY& s) {
    os << "nodes " << s.m_nodes << "\n  by class\n";
    print_map(os, s.m_by_class);
    os << "  by type\n";
    print_map(os, s.m_by_type);
    os << "edges " << s.m_edges << "\n  by kind\n";
    print_map(os, s.m_by_kind);
    os << "columns " << s.m_columns << "\nrows " << s.m_rows << "\n";
    os << "builder protocol " << (s.m_protocol_ok ? "ok" : "VIOLATED") << "\n";
    char rss[32];
    snprintf(rss, sizeof(rss), "%.1f", s.m_peak_rss_mb);
    os << "peak resident memory " << rss << " MB\n";
}

void write_json_map(std::ostream& os, const std::map<std::string, uint64_t>& map) {
    os << "{";
    const char* sep = "";
    for (const auto& entry : map) {
        os << sep << "\"" << entry.first << "\": " << entry.second;
        sep = ", ";
    }
    os << "}";
}

void write_json(std::ostream& os, const SUMMARY& s) {
    os << "{\n  \"nodes\": " << s.m_nodes << ",\n  \"nodes_by_class\": ";
    write_json_map(os, s.m_by_class);
    os << ",\n  \"nodes_by_type\": ";
    write_json_map(os, s.m_by_type);
    os << ",\n  \"edges\": " << s.m_edges << ",\n  \"edges_by_kind\": ";
    write_json_map(os, s.m_by_kind);
    os << ",\n  \"columns\": " << s.m_columns << ",\n  \"rows\": " << s.m_rows;
    os << ",\n  \"seconds_by_stage\": {";
    const char* sep = "";
    for (const auto& stage : s.m_seconds) {
        os << sep << "\"" << stage.first << "\": " << stage.second;
        sep = ", ";
    }
    os << "},\n  \"peak_rss_mb\": " << s.m_peak_rss_mb;
    os << ",\n  \"protocol_ok\": " << (s.m_protocol_ok ? "true" : "false") << "\n}\n";
}

// Times a stage and prints its progress line.
void stage(SUMMARY& summary, const char* name, const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    summary.m_seconds.emplace_back(name, seconds);
    char line[128];
    snprintf(line, sizeof(line), "fab_run: %-22s %8.3f s\n", name, seconds);
    std::cout << line << std::flush;
}

std::unique_ptr<std::ifstream> open_input(const std::string& dir, const char* name) {
    const std::string path = dir + "/" + name;
    std::unique_ptr<std::ifstream> in(new std::ifstream(path, std::ios::binary));
    if (!*in) usage_error("cannot read " + path);
    return in;
}

std::unique_ptr<std::ofstream> open_output(const std::string& path) {
    if (path.empty()) return nullptr;
    std::unique_ptr<std::ofstream> out(new std::ofstream(path));
    if (!*out) usage_error("cannot write " + path);
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    const OPTIONS options = parse(argc, argv);
    auto rtl_graph = open_input(options.m_dir, "rtl.graph");
    auto rtl_ann = open_input(options.m_dir, "rtl.ann");
    auto blc_graph = open_input(options.m_dir, "blc.graph");
    auto blc_ann = open_input(options.m_dir, "blc.ann");
    auto json = open_output(options.m_stats_json);
    auto dump = open_output(options.m_dump_graph);
    auto arch = open_output(options.m_nextpnr_arch);
    std::unique_ptr<std::ofstream> db;
    if (!options.m_db.empty()) {
        db.reset(new std::ofstream(options.m_db, std::ios::binary));
        if (!*db) usage_error("cannot write " + options.m_db);
    }

    SUMMARY summary;
    // The API object owns the database; it is written before the API object goes.
    FAB::ITRANSLATE* translate = db ? fab_create_translate() : nullptr;
    std::unique_ptr<FAB::API> api(fab_create(nullptr, translate, options.m_timers));
    std::unique_ptr<FAB::FLOORPLAN> floorplan;
    std::unique_ptr<FAB::ROUTING_GRAPH> graph;
    FAB_RUN::NAMING_BUILDER builder(arch ? dynamic_cast<FAB::ITRANSLATE_BUILDER*>(translate)
                                         : nullptr);
    stage(summary, "read rtl graph", [&] { api->read_rtl_graph(*rtl_graph); });
    stage(summary, "read rtl annotation", [&] { api->read_rtl_annotation(*rtl_ann); });
    stage(summary, "read blc graph", [&] { api->read_blc_graph(*blc_graph); });
    stage(summary, "read blc annotation", [&] { api->read_blc_annotation(*blc_ann); });
    stage(summary, "create floorplan", [&] { floorplan.reset(api->create_floorplan()); });
    stage(summary, "create routing graph", [&] { graph.reset(api->create_routing_graph()); });
    stage(summary, "generate", [&] { graph->generate(builder); });
    if (db) {
        const uint32_t format = options.m_db_format == "text" ? UTIL::PB_TXT : UTIL::PB_BIN;
        stage(summary, "write database", [&] { translate->write(*db, format); });
        db->flush();
        if (!*db) usage_error("cannot write " + options.m_db);
        std::cout << "database " << options.m_db << ": " << db->tellp() << " bytes" << std::endl;
    }

    SUMMARY counted = summarise(builder);
    counted.m_seconds = summary.m_seconds;
    counted.m_columns = floorplan->get_columns();
    counted.m_rows = floorplan->get_rows();
    counted.m_peak_rss_mb = peak_rss_mb();
    print_summary(std::cout, counted);
    if (json) write_json(*json, counted);
    if (dump) FAB_RUN::dump_graph(*dump, builder);
    if (arch) {
        FAB_RUN::ARCH_COUNTS written;
        stage(summary, "write nextpnr arch",
              [&] { written = FAB_RUN::write_nextpnr_arch(*arch, builder, builder.wire_names()); });
        arch->flush();
        if (!*arch) usage_error("cannot write " + options.m_nextpnr_arch);
        std::cout << "nextpnr arch " << options.m_nextpnr_arch << ": " << written.m_wires
                  << " wires (" << written.m_named_by_gid << " by GID), " << written.m_pips
                  << " pips (" << written.m_fixed_crf << " fixed CRF, " << written.m_hipi_crf
                  << " HIPI CRF), " << written.m_bels << " bels" << std::endl;
    }
    graph.reset();
    floorplan.reset();
    api.reset();
    util_clear_symbol_tables();
    return counted.m_protocol_ok ? 0 : 1;
}
