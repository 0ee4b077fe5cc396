// The preparation of a device folder:
// 1. Check that every input can be read.
// 2. yosys on rtl.v (cells.v as a library of blackbox cells) and on blc.v; import both JSON
//    netlists into graphs; check the block-level buses against the block-level data.
// 3. Hand every mux cell to the mux translator, merge multi-stage muxes, write mux.pb.txt.
// 4. Run every annotation pass with the hand-kept files, the block-level data and mux.pb.txt.
// 5. Flat placements by hierarchy node through the instance tree, whose store also writes the
//    grid record and the sector levels.
// 6. Fan lists of the block-level graph (never of the RTL graph); write the four files.
#include "prep/prep_flow.h"

#include <google/protobuf/text_format.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "ann/annss.h"
#include "ann/blc_data.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_annotation_gen.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_mux_translator.h"
#include "prep/prep_digest.h"
#include "util/util_symbol.h"
#include "util/util_timer.h"

namespace {

const char* const HAND_KEPT[] = {"top_blocks.txt", "icd_to_pnr_mapping.txt",
                                 "spare_row_flyover.txt", "insert_node.txt"};

uint64_t elapsed_ms(uint64_t start) {
    return SCOPE_TIMER::milliseconds(SCOPE_TIMER::ticks() - start, SCOPE_TIMER::ticks_per_second());
}

uint64_t peak_kib(int who) {
    struct rusage usage;
    getrusage(who, &usage);
    return static_cast<uint64_t>(usage.ru_maxrss);
}

bool readable(const std::string& path) {
    return std::ifstream(path).good();
}

}  // namespace

PREP_FLOW::VIEW::VIEW(const char* label, PREP_YOSYS_JOB job, PREP_JSON_IMPORT::TOP_RULE rule)
    : m_label(label), m_job(std::move(job)), m_rule(rule) {}
PREP_FLOW::VIEW::VIEW(VIEW&&) noexcept = default;
// The annotation set goes before the graph it describes.
PREP_FLOW::VIEW::~VIEW() {
    m_annss.reset();
}

PREP_FLOW::PREP_FLOW(PREP_OPTIONS options)
    : m_options(std::move(options)),
      m_rtl("rtl",
            PREP_YOSYS_JOB{
                {"cells.v"}, {"rtl.v"}, m_options.m_top, true, "rtl.json", m_options.m_dir},
            m_options.m_top.empty() ? PREP_JSON_IMPORT::TOP_BY_ATTRIBUTE
                                    : PREP_JSON_IMPORT::TOP_BY_NAME),
      m_blc("blc", PREP_YOSYS_JOB{{}, {"blc.v"}, "", false, "blc.json", m_options.m_dir},
            PREP_JSON_IMPORT::NO_TOP) {}

PREP_FLOW::~PREP_FLOW() = default;

bool PREP_FLOW::fail(STATUS status, const std::string& message) {
    m_status = status;
    m_message = message;
    return false;
}

PREP_FLOW::STATUS PREP_FLOW::run() {
    const bool done = check_inputs() && run_yosys(m_rtl) && import(m_rtl) && run_yosys(m_blc) &&
                      import(m_blc) && check_blc_buses() && translate_muxes() && annotate() &&
                      store_placements() && write_view(m_rtl) && write_view(m_blc) &&
                      write_digest();
    return done ? DONE : m_status;
}

bool PREP_FLOW::check_inputs() {
    std::vector<std::string> inputs = {"cells.v", "rtl.v", "blc.v", "blc_data.pb.txt",
                                       "placements.pb.txt"};
    inputs.insert(inputs.end(), std::begin(HAND_KEPT), std::end(HAND_KEPT));
    if (m_options.m_sectors.empty()) inputs.push_back("device.json");
    for (const std::string& name : inputs)
        if (!readable(path(name))) return fail(UNREADABLE, "cannot read " + path(name));
    return true;
}

bool PREP_FLOW::run_yosys(VIEW& view) {
    // yosys is silent for minutes on the large sizes: say what runs before it ends.
    std::cout << "prep: yosys " << view.m_job.m_sources.back() << " ..." << std::endl;
    const uint64_t start = SCOPE_TIMER::ticks();
    SCOPE_TIMER timer(std::string("prep: yosys ") + view.m_job.m_sources.back());
    PREP_YOSYS yosys(m_options.m_yosys);
    if (!yosys.run(view.m_job))
        return fail(REJECTED, "yosys on " + path(view.m_job.m_sources.back()) + ": " +
                                  yosys.get_error().m_message);
    view.m_yosys_ms = elapsed_ms(start);
    return true;
}

bool PREP_FLOW::import(VIEW& view) {
    const uint64_t start = SCOPE_TIMER::ticks();
    SCOPE_TIMER timer("prep: import " + view.m_job.m_json);
    std::ifstream in(path(view.m_job.m_json), std::ios::binary);
    if (!in.good()) return fail(UNREADABLE, "cannot read " + path(view.m_job.m_json));
    // Design modules number before library cells.
    std::vector<std::string> sources = view.m_job.m_sources;
    sources.insert(sources.end(), view.m_job.m_libraries.begin(), view.m_job.m_libraries.end());
    PREP_JSON_IMPORT importer(sources);
    view.m_graph = std::make_unique<NLG_GRAPH>(nullptr, nullptr, 0);
    if (!importer.import(in, view.m_rule, view.m_job.m_top, view.m_graph.get()))
        return fail(REJECTED, path(view.m_job.m_json) + ": " + importer.get_error().m_message);
    view.m_counts = importer.get_counts();
    view.m_mux_cells = importer.get_mux_cells();
    view.m_annss = std::make_unique<NLG_ANNSS>(*view.m_graph);
    view.m_annss->add_type(PB::ANNS::ICDB);
    view.m_import_ms = elapsed_ms(start);
    return true;
}

// Each port of the block-level data must be there, bit by bit, in the block-level netlist;
// the annotation passes would otherwise stop on the first that is not.
bool PREP_FLOW::check_blc_buses() {
    BLC_DATA data;
    std::ifstream in(path("blc_data.pb.txt"));
    if (!data.read(in))
        return fail(REJECTED, path("blc_data.pb.txt") + ": " + data.get_error().m_message);
    NLG_GRAPH& graph = *m_blc.m_graph;
    for (const auto& [name, entry] : data.get_entries()) {
        NLG_IMODULE* module = nlg_find_module(graph, name);
        if (!module) continue;
        for (const auto& [port_name, port] : entry.m_ports) {
            const int32_t width = port->width();
            for (int32_t b = 0; b < width; ++b) {
                const std::string bit =
                    width == 1 ? port_name : port_name + "[" + std::to_string(b) + "]";
                if (nlg_find_port(*module, bit)) continue;
                return fail(REJECTED, path("blc.v") + ": module " + name + ": port " + bit +
                                          " of the " + std::to_string(width) + "-bit port " +
                                          port_name +
                                          " of the block-level data is not in the netlist");
            }
        }
    }
    return true;
}

bool PREP_FLOW::translate_muxes() {
    SCOPE_TIMER timer("prep: mux translation and merge");
    NLG_MUX_TRANSLATOR translator;
    for (const PREP_MUX_CELL& cell : m_rtl.m_mux_cells)
        translator.add_mux(cell.m_module, cell.m_is_template, cell.m_class, cell.m_length,
                           cell.m_dir, false, cell.m_ports);
    translator.merge_muxes(m_rtl.m_graph.get());
    std::ofstream out(path("mux.pb.txt"), std::ios::trunc);
    if (!out.good() || translator.get_mux_descriptions().mux_descriptions_size() == 0 ||
        !translator.write(out, UTIL::PB_TXT) || !out.flush())
        return fail(UNREADABLE, "cannot write " + path("mux.pb.txt"));
    return true;
}

bool PREP_FLOW::annotate() {
    SCOPE_TIMER timer("prep: annotation passes");
    BLC_DATA data;
    std::ifstream blc_data(path("blc_data.pb.txt"));
    data.read(blc_data);  // checked by check_blc_buses
    std::ifstream top_blocks(path(HAND_KEPT[0])), mapping(path(HAND_KEPT[1])),
        flyover(path(HAND_KEPT[2])), insert(path(HAND_KEPT[3])), mux_file(path("mux.pb.txt"));
    NLG_ANNOTATION_GEN generator(m_rtl.m_graph.get(), m_rtl.m_annss.get(), m_blc.m_graph.get(),
                                 m_blc.m_annss.get(), &data);
    generator.run(&top_blocks, &mapping, &flyover, &insert, mux_file);
    return true;
}

// The sector modules: as given, or the generator's list in device.json.
bool PREP_FLOW::read_sectors(std::vector<uint32_t>* sectors) {
    std::vector<std::string> names = m_options.m_sectors;
    if (names.empty()) {
        std::ifstream in(path("device.json"));
        const nlohmann::json device = nlohmann::json::parse(in, nullptr, false);
        if (device.is_discarded() || !device.contains("sector_modules") ||
            !device["sector_modules"].is_array())
            return fail(REJECTED, path("device.json") + ": no list sector_modules");
        for (const auto& name : device["sector_modules"])
            if (name.is_string()) names.push_back(name.get<std::string>());
    }
    for (const std::string& name : names) {
        NLG_IMODULE* module = nlg_find_module(*m_rtl.m_graph, name);
        if (!module) return fail(REJECTED, "sector module " + name + " is not in the RTL");
        sectors->push_back(static_cast<uint32_t>(module->get_index()));
    }
    return true;
}

// placements.pb.txt: per line an instance path from the top ("a/b/c"), a blank, and the flat
// record of that placement in protobuf text.
bool PREP_FLOW::store_placements() {
    SCOPE_TIMER timer("prep: placements");
    std::vector<uint32_t> sectors;
    if (!read_sectors(&sectors)) return false;
    NLG_GRAPH& graph = *m_rtl.m_graph;
    graph.get_symbol_table()->init_name_fast();
    ICDB::INSTANCE_TREE tree(&graph);
    UTIL::IHIERARCHY* hierarchy = tree.get_hierarchy();
    std::ifstream in(path("placements.pb.txt"));
    std::string line;
    for (uint32_t number = 1; std::getline(in, line); ++number) {
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        const std::string where = path("placements.pb.txt") + ":" + std::to_string(number) + ": ";
        const size_t blank = line.find(' ');
        std::istringstream names(line.substr(0, blank));
        uint64_t node = 0;
        uint32_t module = 0;
        for (std::string name; std::getline(names, name, '/');) {
            NLG_IMODULE* parent = graph.get_module(static_cast<int32_t>(module));
            const NS_SYMBOL::SYM symbol = graph.get_symbol_table()->find(name);
            const int32_t index = symbol.get_name_id() ? parent->get_instance_index(symbol) : -1;
            if (index < 0)
                return fail(REJECTED, where + "module " + parent->get_name().get_name() +
                                          " has no instance " + name);
            uint32_t child = 0;
            node = hierarchy->get_child_node(&child, module, node, static_cast<uint32_t>(index));
            module = child;
        }
        PB::ICDB::FLAT_INSTANCE record;
        if (blank == std::string::npos ||
            !google::protobuf::TextFormat::ParseFromString(line.substr(blank + 1), &record))
            return fail(REJECTED, where + "not a path and a flat record");
        if (!tree.add_flat_instance(node, record))
            return fail(REJECTED, where + "a second placement of " + line.substr(0, blank));
        ++m_placements;
    }
    tree.store(m_rtl.m_annss->get_icdb(), sectors);
    return true;
}

bool PREP_FLOW::write_view(VIEW& view) {
    SCOPE_TIMER timer(std::string("prep: write ") + view.m_label + ".graph, " + view.m_label +
                      ".ann");
    // The block-level traces walk fan lists, which the RTL graph must not carry.
    if (&view == &m_blc) view.m_graph->populate_fanin_fanout(view.m_annss.get());
    NLG_TESSEL api;
    const std::string graph_path = path(std::string(view.m_label) + ".graph");
    std::ofstream graph(graph_path, std::ios::binary | std::ios::trunc);
    if (!graph || !api.write_graph(view.m_graph.get(), graph, TESSEL_API::FORMAT_PB_BIN) ||
        !graph.flush())
        return fail(UNREADABLE, "cannot write " + graph_path);
    const std::string ann_path = path(std::string(view.m_label) + ".ann");
    std::ofstream ann(ann_path, std::ios::binary | std::ios::trunc);
    if (!ann || !api.write_annss(view.m_annss.get(), ann, TESSEL_API::FORMAT_PB_BIN) ||
        !ann.flush())
        return fail(UNREADABLE, "cannot write " + ann_path);
    return true;
}

bool PREP_FLOW::write_digest() {
    if (m_options.m_digest.empty()) return true;
    std::ofstream out(m_options.m_digest, std::ios::trunc);
    prep_write_digest("rtl", *m_rtl.m_graph, *m_rtl.m_annss, out);
    prep_write_digest("blc", *m_blc.m_graph, *m_blc.m_annss, out);
    if (!out.flush()) return fail(UNREADABLE, "cannot write " + m_options.m_digest);
    return true;
}

std::string PREP_FLOW::summary() const {
    std::ostringstream s;
    s << "summary";
    for (const VIEW* v : {&m_rtl, &m_blc}) {
        const std::string p = std::string(" ") + v->m_label + "_";
        s << p << "modules=" << v->m_counts.m_modules << p
          << "instances=" << v->m_counts.m_instances << p << "ports=" << v->m_counts.m_ports << p
          << "nets=" << v->m_counts.m_nets << p << "portrefs=" << v->m_counts.m_portrefs << p
          << "yosys_ms=" << v->m_yosys_ms << p << "import_ms=" << v->m_import_ms;
    }
    s << " mux_cells=" << m_rtl.m_mux_cells.size() << " placements=" << m_placements
      << " peak_kib=" << peak_kib(RUSAGE_SELF) << " yosys_peak_kib=" << peak_kib(RUSAGE_CHILDREN);
    return s.str();
}
