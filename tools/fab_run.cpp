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
#include "mux.pb.h"

namespace {

const char* const USAGE =
    "usage: fab_run [options] DIR\n"
    "  Runs the library on a prepared device: DIR holds rtl.graph, rtl.ann, blc.graph, blc.ann.\n"
    "  Prints a progress line per stage and a summary of the routing graph.\n"
    "options:\n"
    "  --stats-json FILE  write the summary as JSON\n"
    "  --dump-graph FILE  write the graph as text: one line per node, one per edge\n"
    "  --help             this text\n";

// Options, as a table so that a new one is one more entry.
struct OPTIONS {
    std::string m_dir;
    std::string m_stats_json;
    std::string m_dump_graph;
};

struct OPTION {
    const char* m_name;
    std::string OPTIONS::*m_value;
};

const OPTION OPTION_TABLE[] = {
    {"--stats-json", &OPTIONS::m_stats_json},
    {"--dump-graph", &OPTIONS::m_dump_graph},
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
    return options;
}

// The builder of a place-and-route tool: nodes with their attributes, edges by kind in
// compressed sparse row form (offsets by source, targets), built when a kind ends.
class CSR_BUILDER : public FAB::ROUTING_GRAPH::IBUILDER {
  public:
    struct NODE_RECORD {
        uint32_t m_class;
        uint32_t m_type;  // the routing type, or the block name's symbol for block ports
        uint32_t m_direction;
        uint32_t m_index;
        int32_t m_length;
        int32_t m_clipped;
        int32_t m_x, m_y, m_z;
        NS_SYMBOL::SYM m_module;
        NS_SYMBOL::SYM m_port;
    };
    struct CSR {
        std::vector<uint64_t> m_offsets;  // n_nodes + 1
        std::vector<uint32_t> m_targets;
        std::vector<bool> m_generated;
    };
    static constexpr int N_KINDS = 4;

    void begin_graph() override { m_calls += "G"; }
    void begin_nodes() override { m_calls += "N"; }
    uint32_t add_node(const FAB::ROUTING_GRAPH::NODE& node) override {
        NODE_RECORD r;
        r.m_class = node.get_re_class();
        r.m_type = r.m_class == 3 ? node.get_node_type() : node.get_block_name().get_value();
        r.m_direction = node.get_direction();
        r.m_index = node.get_index();
        r.m_length = node.get_length();
        r.m_clipped = node.get_clipped_length();
        node.get_location(r.m_x, r.m_y, r.m_z);
        r.m_module = node.get_unique_port().get_module_name();
        r.m_port = node.get_unique_port().get_port_name();
        m_nodes.push_back(r);
        return static_cast<uint32_t>(m_nodes.size() - 1);
    }
    void end_nodes() override { m_calls += "n"; }
    void begin_edges(uint32_t kind) override {
        finish_kind();
        m_calls += "E" + std::to_string(kind);
        m_kind = static_cast<int>(kind);
        if (kind >= N_KINDS) m_protocol_error = "edge kind " + std::to_string(kind);
    }
    void add_edge(const FAB::ROUTING_GRAPH::EDGE& edge) override {
        const uint32_t n = static_cast<uint32_t>(m_nodes.size());
        if (edge.get_src() >= n || edge.get_dst() >= n || m_kind < 0)
            m_protocol_error = "edge with an endpoint that is no node";
        else if (edge.get_src() == edge.get_dst())
            ++m_self_loops;
        m_pending.push_back({edge.get_src(), edge.get_dst(), edge.is_generated()});
    }
    void end_edges() override {
        finish_kind();
        m_calls += "e";
    }
    void end_graph() override { m_calls += "g"; }

    // The sequence of calls must be G N n E0 E2 E1 E3 e g.
    bool protocol_ok() const { return m_protocol_error.empty() && m_calls == "GNnE0E2E1E3eg"; }
    const std::string& calls() const { return m_calls; }
    const std::vector<NODE_RECORD>& nodes() const { return m_nodes; }
    const CSR& kind(int k) const { return m_csr[k]; }
    uint64_t self_loops() const { return m_self_loops; }

  private:
    struct PENDING_EDGE {
        uint32_t m_src, m_dst;
        bool m_generated;
    };

    // Counting sort of the kind's edges by source into its CSR arrays.
    void finish_kind() {
        if (m_kind < 0 || m_kind >= N_KINDS) {
            m_pending.clear();
            return;
        }
        CSR& csr = m_csr[m_kind];
        const size_t n = m_nodes.size();
        csr.m_offsets.assign(n + 1, 0);
        for (const PENDING_EDGE& e : m_pending)
            if (e.m_src < n) ++csr.m_offsets[e.m_src + 1];
        for (size_t k = 0; k < n; ++k) csr.m_offsets[k + 1] += csr.m_offsets[k];
        csr.m_targets.resize(csr.m_offsets[n]);
        csr.m_generated.resize(csr.m_offsets[n]);
        std::vector<uint64_t> fill(csr.m_offsets.begin(), csr.m_offsets.end() - 1);
        for (const PENDING_EDGE& e : m_pending) {
            if (e.m_src >= n) continue;
            const uint64_t at = fill[e.m_src]++;
            csr.m_targets[at] = e.m_dst;
            csr.m_generated[at] = e.m_generated;
        }
        std::vector<PENDING_EDGE>().swap(m_pending);
        m_kind = -1;
    }

    std::vector<NODE_RECORD> m_nodes;
    std::array<CSR, N_KINDS> m_csr;
    std::vector<PENDING_EDGE> m_pending;
    int m_kind = -1;
    std::string m_calls;
    std::string m_protocol_error;
    uint64_t m_self_loops = 0;
};

const char* const KIND_NAMES[CSR_BUILDER::N_KINDS] = {"CRF", "BLC", "FCD", "VIRTUAL"};
const char* const CLASS_NAMES[4] = {"atom_port", "block_port", "blc_internal", "core_routing"};

double peak_rss_mb() {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0;
}

std::string type_name(uint32_t type) {
    if (!PB::MUX_DESCRIPTION::MUXTYPE_IsValid(static_cast<int>(type))) return std::to_string(type);
    return PB::MUX_DESCRIPTION::MUXTYPE_Name(static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(type));
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

// Nodes in the order of delivery; edges of a kind sorted, since the order within a mux is not
// stable across runs.
void dump_graph(std::ostream& os, const CSR_BUILDER& builder) {
    const std::vector<CSR_BUILDER::NODE_RECORD>& nodes = builder.nodes();
    for (size_t k = 0; k < nodes.size(); ++k) {
        const CSR_BUILDER::NODE_RECORD& n = nodes[k];
        os << "node " << k << " (" << n.m_x << "," << n.m_y << "," << n.m_z << ") "
           << CLASS_NAMES[n.m_class < 4 ? n.m_class : 3] << " ";
        if (n.m_class == 3)
            os << type_name(n.m_type);
        else
            os << NS_SYMBOL::SYM(n.m_type);
        os << " " << n.m_index << " dir " << n.m_direction << " len " << n.m_length << "/"
           << n.m_clipped << " " << n.m_module << "." << n.m_port << "\n";
    }
    for (int kind : {0, 2, 1, 3}) {
        const CSR_BUILDER::CSR& csr = builder.kind(kind);
        for (size_t src = 0; src + 1 < csr.m_offsets.size(); ++src) {
            std::vector<std::pair<uint32_t, bool>> out;
            for (uint64_t e = csr.m_offsets[src]; e < csr.m_offsets[src + 1]; ++e)
                out.emplace_back(csr.m_targets[e], csr.m_generated[e]);
            std::sort(out.begin(), out.end());
            for (const auto& e : out)
                os << "edge " << KIND_NAMES[kind] << " " << src << " " << e.first
                   << (e.second ? "" : " bridge_or_virtual") << "\n";
        }
    }
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

    SUMMARY summary;
    std::unique_ptr<FAB::API> api(fab_create(nullptr, nullptr, false));
    std::unique_ptr<FAB::FLOORPLAN> floorplan;
    std::unique_ptr<FAB::ROUTING_GRAPH> graph;
    CSR_BUILDER builder;
    stage(summary, "read rtl graph", [&] { api->read_rtl_graph(*rtl_graph); });
    stage(summary, "read rtl annotation", [&] { api->read_rtl_annotation(*rtl_ann); });
    stage(summary, "read blc graph", [&] { api->read_blc_graph(*blc_graph); });
    stage(summary, "read blc annotation", [&] { api->read_blc_annotation(*blc_ann); });
    stage(summary, "create floorplan", [&] { floorplan.reset(api->create_floorplan()); });
    stage(summary, "create routing graph", [&] { graph.reset(api->create_routing_graph()); });
    stage(summary, "generate", [&] { graph->generate(builder); });

    SUMMARY counted = summarise(builder);
    counted.m_seconds = summary.m_seconds;
    counted.m_columns = floorplan->get_columns();
    counted.m_rows = floorplan->get_rows();
    counted.m_peak_rss_mb = peak_rss_mb();
    print_summary(std::cout, counted);
    if (json) write_json(*json, counted);
    if (dump) dump_graph(*dump, builder);
    graph.reset();
    floorplan.reset();
    api.reset();
    util_clear_symbol_tables();
    return counted.m_protocol_ok ? 0 : 1;
}
