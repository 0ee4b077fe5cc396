// The run object: creation, the four reads through TESSEL_API with their timers and guards,
// and the release of everything the run owns, in a fixed order, before the whole-run timer
// prints.
#include "fab/tsl_fab.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fab/fab_graph_traverse.h"
#include "fab/fab_portmap_visitor.h"
#include "fab/fab_position.h"
#include "fab/fab_routing_graph.h"
#include "fab/fab_serializer.h"
#include "fab_iposition.h"
#include "nlg/nlg_graph_traverse.h"
#include "fab_itranslate.h"
#include "icdb_iinstance_tree.h"
#include "nlg/nlg_api_impl.h"
#include "nlg_iannss.h"
#include "nlg_ihpath.h"
#include "tessel_api.h"
#include "ann_icdb.pb.h"
#include "util/util_assert.h"
#include "util/util_hierarchy.h"
#include "util/util_indent.h"
#include "util/util_mux_descriptions.h"
#include "util/util_portmaps.h"
#include "util/util_symbol.h"
#include "util/util_tlblocks.h"

FAB::API::~API() = default;

// Reads always go in the binary frame format of the API.
static constexpr int READ_FORMAT = TESSEL_API::FORMAT_PB_BIN;

FAB::API* fab_create(TESSEL_API* api, FAB::ITRANSLATE* translate, bool enable_timers) {
    // The default interface is stateless and lives to the end of the process: it is never
    // deleted, and kept on a process-wide list so that it stays reachable.
    if (api == nullptr) {
        static std::vector<TESSEL_API*>* s_defaults = new std::vector<TESSEL_API*>();
        api = new NLG_TESSEL();
        s_defaults->push_back(api);
    }
    return new FAB_IMPL(api, translate, enable_timers);
}

FAB_IMPL::FAB_IMPL(TESSEL_API* api, FAB::ITRANSLATE* translate, bool enable_timers) : m_api(api) {
    if (translate != nullptr) {
        m_translate = dynamic_cast<FAB::ITRANSLATE_BUILDER*>(translate);
        UTIL_ASSERT(m_translate != NULL);
    }
    if (enable_timers) m_timer = new SCOPE_TIMER("FAB takes ");
}

FAB_IMPL::~FAB_IMPL() {
    delete m_rtl_graph;
    delete m_rtl_annss;
    delete m_blc_graph;
    delete m_blc_annss;
    delete m_instance_tree;
    delete m_position;
    delete m_modules;
    delete m_hpath_a;
    delete m_hpath_b;
    delete m_hierarchy;
    delete m_translate;
    if (m_timer) {
        m_timer->stop();
        delete m_timer;
    }
}

const char* FAB_IMPL::get_version() {
    return "v0.1";
}

SCOPE_TIMER* FAB_IMPL::start_timer(const char* label) const {
    return m_timer ? new SCOPE_TIMER(label) : nullptr;
}

void FAB_IMPL::read_rtl_graph(std::istream& stream) {
    std::unique_ptr<SCOPE_TIMER> timer(start_timer("read rtl graph takes "));
    // A second read replaces the first graph without freeing it.
    m_rtl_graph = m_api->create_graph(nullptr);
    m_api->read_graph(m_rtl_graph, stream, READ_FORMAT);
}

void FAB_IMPL::read_rtl_annotation(std::istream& stream) {
    std::unique_ptr<SCOPE_TIMER> timer(start_timer("read rtl annotation takes "));
    UTIL_ASSERT(m_rtl_annss == NULL);
    m_rtl_annss = m_api->create_annss(m_rtl_graph);
    m_api->read_annss(m_rtl_annss, stream, READ_FORMAT);
}

void FAB_IMPL::read_blc_graph(std::istream& stream) {
    std::unique_ptr<SCOPE_TIMER> timer(start_timer("read blc graph takes "));
    m_blc_graph = m_api->create_graph(nullptr);
    m_api->read_graph(m_blc_graph, stream, READ_FORMAT);
}

void FAB_IMPL::read_blc_annotation(std::istream& stream) {
    std::unique_ptr<SCOPE_TIMER> timer(start_timer("read blc annotation takes "));
    UTIL_ASSERT(m_blc_annss == NULL);
    m_blc_annss = m_api->create_annss(m_blc_graph);
    m_api->read_annss(m_blc_annss, stream, READ_FORMAT);
}

// Floorplan step

int32_t g_min_x = 0;
int32_t g_min_y = 0;
int32_t g_max_x = 0;
int32_t g_max_y = 0;

namespace {

bool is_prim_mux(const PB::ICDB::MODULE& record) {
    return record.level() == PB::ICDB::MODULE::PRIM_MUX;
}

}  // namespace

FAB::FLOORPLAN* FAB_IMPL::create_floorplan() {
    std::unique_ptr<SCOPE_TIMER> timer(start_timer("create floorplan takes: "));
    UTIL_ASSERT(m_rtl_graph);
    UTIL_ASSERT(m_rtl_annss);
    UTIL_ASSERT(m_blc_graph);
    UTIL_ASSERT(m_blc_annss);
    const GLOBAL_GID_TYPES global_types = fab_global_gid_types(m_rtl_graph->get_symbol_table());
    if (m_translate) feed_translate_modules();
    m_rtl_graph->get_symbol_table()->init_name_fast();
    m_blc_graph->get_symbol_table()->init_name_fast();

    FAB_FLOORPLAN_IMPL* floorplan = new FAB_FLOORPLAN_IMPL();
    // Provisional bounds; end_serialize replaces them by what the placed blocks reach.
    const PB::ICDB::GRAPH& bounds = m_rtl_annss->get_icdb().get_graph();
    floorplan->set_columns(static_cast<uint32_t>(bounds.max_bcol() + 1));
    floorplan->set_rows(static_cast<uint32_t>(bounds.max_brow() + 1));
    FAB_FLOORPLAN_GENERATOR builder(*floorplan);
    std::unique_ptr<FAB_ISERIALIZER> trace;
    if (m_floorplan_trace) trace.reset(new FAB_TRACE_SERIALIZER(*m_floorplan_trace, builder));
    FAB_ISERIALIZER& generator = trace ? *trace : static_cast<FAB_ISERIALIZER&>(builder);
    generator.begin_serialize();
    const uint32_t n_blc = serialize_definitions(generator);
    generator.module_bodies_begin(n_blc + 1);
    generator.add_module_body(0);

    UTIL_ASSERT(m_rtl_graph && m_rtl_annss);
    UTIL_ASSERT(m_blc_graph && m_blc_annss);
    UTIL_ASSERT(m_instance_tree == NULL);
    m_instance_tree = ICDB::create_instance_tree(m_rtl_graph);
    m_instance_tree->load(m_rtl_annss->get_icdb());
    UTIL_ASSERT(m_position == NULL);
    m_position =
        fab_create_position(m_instance_tree, &m_rtl_annss->get_icdb(), &m_blc_annss->get_icdb());

    serialize_placed_blocks(generator);
    serialize_block_bodies(generator);
    generator.module_bodies_end();
    generator.end_serialize();

    g_min_x = 0;
    g_min_y = 0;
    g_max_x = static_cast<int32_t>(floorplan->get_columns()) - 1;
    g_max_y = static_cast<int32_t>(floorplan->get_rows()) - 1;
    if (m_translate) {
        feed_translate_tables(global_types, floorplan->get_columns(), floorplan->get_rows());
    }
    m_floorplan = floorplan;
    return floorplan;
}

uint32_t FAB_IMPL::serialize_definitions(FAB_ISERIALIZER& serializer) {
    NLG_ICDB_ANNS& rtl = m_rtl_annss->get_icdb();
    NLG_ICDB_ANNS& blc = m_blc_annss->get_icdb();
    const uint32_t n_modules = m_blc_graph->get_num_modules();
    uint32_t n_blc = 0;
    for (uint32_t m = 0; m < n_modules; ++m)
        if (!is_prim_mux(blc.get_module(*m_blc_graph->get_module(static_cast<int32_t>(m)))))
            ++n_blc;

    serializer.module_defs_begin(static_cast<int32_t>(n_blc + 1));
    NLG_IMODULE* top = m_rtl_graph->get_top_module();
    serializer.add_module_def(top, rtl.get_module(*top));
    for (uint32_t m = 0; m < n_modules; ++m) {
        NLG_IMODULE* module = m_blc_graph->get_module(static_cast<int32_t>(m));
        const PB::ICDB::MODULE& record = blc.get_module(*module);
        if (is_prim_mux(record)) continue;
        serializer.add_module_def(module, record);
        const uint32_t n_ports = module->get_num_ports();
        serializer.module_ports_begin(static_cast<int32_t>(n_ports));
        for (uint32_t p = 0; p < n_ports; ++p) {
            NLG_IPORT* port = module->get_port(static_cast<int32_t>(p));
            serializer.add_module_port(port, blc.get_port(*port));
        }
        serializer.module_ports_end();
    }
    serializer.module_defs_end();
    return n_blc;
}

// Body 0: the placed non-routing blocks, counted by one walk and added by a second.
void FAB_IMPL::serialize_placed_blocks(FAB_ISERIALIZER& serializer) {
    uint32_t count = 0;
    {
        TSL_TOP_IP_COUNTER counter(m_rtl_annss, &count);
        std::unique_ptr<TSL_TRAVERSE_BASE> walk(
            tsl_create_traverse_top_ip(&counter, m_rtl_annss, m_instance_tree, false));
        counter.set_traverse(walk.get());
        walk->traverse(m_rtl_graph);
    }
    serializer.module_instances_begin(static_cast<int32_t>(count));
    TSL_TOP_IP_GENERATOR generator(m_instance_tree, m_position, m_rtl_annss, &serializer,
                                   m_translate, m_rtl_graph->get_symbol_table());
    std::unique_ptr<TSL_TRAVERSE_BASE> walk(
        tsl_create_traverse_top_ip(&generator, m_rtl_annss, m_instance_tree, false));
    generator.set_traverse(walk.get());
    walk->traverse(m_rtl_graph);
    serializer.module_instances_end();
}

// Bodies 1..n: the instances of each block-level definition, at their offsets in the block.
void FAB_IMPL::serialize_block_bodies(FAB_ISERIALIZER& serializer) {
    NLG_ICDB_ANNS& blc = m_blc_annss->get_icdb();
    const uint32_t n_modules = m_blc_graph->get_num_modules();
    uint32_t body = 0;
    for (uint32_t m = 0; m < n_modules; ++m) {
        NLG_IMODULE* module = m_blc_graph->get_module(static_cast<int32_t>(m));
        if (is_prim_mux(blc.get_module(*module))) continue;
        serializer.add_module_body(++body);
        const uint32_t n_instances = module->get_num_instances();
        uint32_t count = 0;
        for (uint32_t i = 0; i < n_instances; ++i) {
            NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
            if (!is_prim_mux(blc.get_module(*instance->get_module()))) ++count;
        }
        serializer.module_instances_begin(static_cast<int32_t>(count));
        for (uint32_t i = 0; i < n_instances; ++i) {
            NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
            if (is_prim_mux(blc.get_module(*instance->get_module()))) continue;
            FAB_LOCATION location = {-1, -1, -1};
            m_position->set(instance, UTIL::IHIERARCHY::INVALID_NODE);
            m_position->get_location(location.x, location.y, location.z);
            serializer.add_blc_module_instance(instance, location);
        }
        serializer.module_instances_end();
    }
}

FAB::ROUTING_GRAPH* FAB_IMPL::create_routing_graph() {
    if (!m_floorplan)
        UTIL_FAIL("Can't create routing graph without a floorplan. Call create_floorplan first.");
    UTIL_ASSERT_MSG(m_rtl_graph, "m_rtl_graph");
    UTIL_ASSERT_MSG(m_rtl_annss, "m_rtl_annss");
    UTIL_ASSERT_MSG(m_blc_graph, "m_blc_graph");
    UTIL_ASSERT_MSG(m_blc_annss, "m_blc_annss");
    m_match.init(m_rtl_graph, m_blc_graph, m_rtl_annss, m_blc_annss);
    return new FAB_ROUTING_GRAPH_IMPL(m_rtl_graph, m_rtl_annss, m_blc_graph, m_blc_annss,
                                      m_instance_tree, m_position, m_translate, &m_match,
                                      m_timer != nullptr);
}

// Module pairing

namespace {

using LOGICAL_PAIR = RTL_TO_BLC_MATCH::LOGICAL_PAIR;

uint64_t fnv1a_64(const std::string& text) {
    uint64_t h = 14695981039346656037ull;
    for (unsigned char c : text) {
        h ^= c;
        h *= 1099511628211ull;
    }
    return h;
}

uint64_t fold(uint64_t h) {
    return h ^ (h >> 32);
}

bool has_logical_pair(const PB::ICDB::MODULE& record) {
    return record.has_logical_name() && record.has_logical_impl();
}

LOGICAL_PAIR logical_pair(const PB::ICDB::MODULE& record) {
    return {UTIL::fast_name(NS_SYMBOL::SYM(record.logical_name().value())),
            UTIL::fast_name(NS_SYMBOL::SYM(record.logical_impl().value()))};
}

}  // namespace

size_t RTL_TO_BLC_MATCH::PAIR_HASH::operator()(const LOGICAL_PAIR& pair) const {
    return static_cast<size_t>(~fold(fnv1a_64(pair.first)) ^ fold(fnv1a_64(pair.second)));
}

void RTL_TO_BLC_MATCH::init(NLG_IGRAPH* rtl_graph, NLG_IGRAPH* blc_graph, NLG_IANNSS* rtl_annss,
                            NLG_IANNSS* blc_annss) {
    m_rtl_graph = rtl_graph;
    m_blc_graph = blc_graph;
    m_rtl_annss = rtl_annss;
    m_blc_annss = blc_annss;

    // Several netlist modules may share one pair; they go to the same block-level module.
    std::unordered_map<LOGICAL_PAIR, std::set<NLG_IMODULE*>, PAIR_HASH> rtl_by_pair;
    NLG_ICDB_ANNS& rtl = rtl_annss->get_icdb();
    const uint32_t n_rtl = rtl_graph->get_num_modules();
    for (uint32_t m = 0; m < n_rtl; ++m) {
        NLG_IMODULE* module = rtl_graph->get_module(static_cast<int32_t>(m));
        const PB::ICDB::MODULE& record = rtl.get_module(*module);
        if (has_logical_pair(record)) rtl_by_pair[logical_pair(record)].insert(module);
    }

    NLG_ICDB_ANNS& blc = blc_annss->get_icdb();
    const uint32_t n_blc = blc_graph->get_num_modules();
    for (uint32_t m = 0; m < n_blc; ++m) {
        NLG_IMODULE* module = blc_graph->get_module(static_cast<int32_t>(m));
        const PB::ICDB::MODULE& record = blc.get_module(*module);
        if (!has_logical_pair(record)) continue;
        auto it = rtl_by_pair.find(logical_pair(record));
        if (it == rtl_by_pair.end()) continue;
        for (NLG_IMODULE* rtl_module : it->second) m_module_map[rtl_module] = module;
        // The modules of one pair are taken to have the same ports.
        pair_ports(*it->second.begin(), module);
    }
}

const std::string& RTL_TO_BLC_MATCH::port_name(const NLG_IPORT& port) const {
    const PB::ICDB::APORT& record = m_rtl_annss->get_icdb().get_port(port);
    if (record.has_logical_name())
        return UTIL::fast_name(NS_SYMBOL::SYM(record.logical_name().value()));
    return UTIL::fast_name(port.get_name());
}

void RTL_TO_BLC_MATCH::pair_ports(const NLG_IMODULE* rtl_module, const NLG_IMODULE* blc_module) {
    const UTIL::SYMBOL_TABLE* blc_symbols = m_blc_graph->get_symbol_table();
    const uint32_t n_ports = rtl_module->get_num_ports();
    for (uint32_t p = 0; p < n_ports; ++p) {
        NLG_IPORT* port = rtl_module->get_port(static_cast<int32_t>(p));
        NLG_IPORT* blc_port = blc_module->get_port(blc_symbols->find(port_name(*port)));
        if (blc_port) m_port_map[blc_port] = port;
    }
}

// Translation database feeds

GLOBAL_GID_TYPES fab_global_gid_types(UTIL::SYMBOL_TABLE* table) {
    static const int32_t s_wire_lengths[] = {2, 3, 4, 10, 16, 24, 32};
    GLOBAL_GID_TYPES types;
    types.reserve(28);
    for (int t = PB::MUX_DESCRIPTION::LL; t <= PB::MUX_DESCRIPTION::HIPI_LATCH; ++t) {
        const std::string& name =
            PB::MUX_DESCRIPTION::MUXTYPE_Name(static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(t));
        types.emplace_back(table->add(name), -1);
    }
    for (const char* wire : {"H", "V"}) {
        const NS_SYMBOL::SYM name = table->add(wire);
        for (int32_t length : s_wire_lengths) types.emplace_back(name, length);
    }
    return types;
}

namespace {

PB::MUX_DESCRIPTION describe_mux(const NLG_IMODULE& module, const PB::ICDB::MODULE& a) {
    PB::MUX_DESCRIPTION mux;
    mux.set_name(UTIL::fast_name(module.get_name()));
    mux.set_is_template(a.mux_desc().is_template());
    UTIL_ASSERT(mux.mux_ipaths_size() == 0);
    for (const PB::ICDB::MODULE::PATH& path : a.paths()) {
        PB::MUX_DESCRIPTION::IPATH* ipath = mux.add_mux_ipaths();
        ipath->set_in(path.in());
        ipath->set_out(path.out());
    }
    return mux;
}

void add_mux_module(UTIL::ITLBLOCKS_BUILDER& t, UTIL::SYMBOL_TABLE& symbols, uint32_t module_index,
                    const PB::ICDB::MODULE& a) {
    t.add_mux_module(module_index, a.mux_index());
    std::vector<NS_SYMBOL::SYM> names;
    for (const PB::ICDB::MODULE::SUBPATH& subpath : a.subpaths()) {
        names.clear();
        for (const std::string& name : subpath.name()) names.push_back(symbols.add(name));
        t.add_subpath(module_index, names);
    }
    std::vector<UTIL::TL_SETTING_PAIR> pairs;
    for (const PB::ICDB::MODULE::SETTINGS& settings : a.settings()) {
        pairs.clear();
        for (const PB::ICDB::MODULE::SETTING& setting : settings.setting()) {
            pairs.emplace_back(setting.subpath_index(), symbols.add(setting.value()));
        }
        t.add_settings(module_index, settings.path_index(), pairs);
    }
}

}  // namespace

PB::MUX_DESCRIPTIONS fab_collect_mux_descriptions(NLG_IGRAPH* graph, NLG_IANNSS* annss,
                                                  UTIL::ITLBLOCKS_BUILDER* tlblocks) {
    NLG_ICDB_ANNS& icdb = annss->get_icdb();
    int64_t max_index = -1;
    std::map<uint32_t, PB::MUX_DESCRIPTION> by_index;
    const uint32_t n_modules = graph->get_num_modules();
    for (uint32_t m = 0; m < n_modules; ++m) {
        const NLG_IMODULE& module = *graph->get_module(static_cast<int32_t>(m));
        const PB::ICDB::MODULE& a = icdb.get_module(module);
        if (!a.has_level() || a.level() != PB::ICDB::MODULE::PRIM_MUX) continue;
        const uint32_t i = a.mux_index();
        by_index.emplace(i, describe_mux(module, a));  // the first module of an index stays
        max_index = std::max<int64_t>(max_index, i);
        if (tlblocks) add_mux_module(*tlblocks, *graph->get_symbol_table(), m, a);
    }
    PB::MUX_DESCRIPTIONS result;
    for (int64_t i = 0; i <= max_index; ++i) {
        auto it = by_index.find(static_cast<uint32_t>(i));
        if (it != by_index.end()) {
            *result.add_mux_descriptions() = it->second;
            continue;
        }
        std::cout << "Unknown description for mux_index = " << i << std::endl;
        PB::MUX_DESCRIPTION* unknown = result.add_mux_descriptions();
        unknown->set_is_template(false);
        unknown->set_name("<UNKNOWN_MUX>");
    }
    return result;
}

std::ostream& operator<<(std::ostream& os, const FAB_SECTORS& sectors) {
    UTIL::INDENT guard(os, 3);
    os << "FAB_SECTORS {" << std::endl;
    for (NS_SYMBOL::SYM sector : sectors.m_sectors) os << sector << ", ";
    return os << std::endl << "}";
}

void FAB_IMPL::feed_translate_modules() {
    m_modules = m_rtl_graph->create_hmodules();
    m_hierarchy = new UTIL::HIERARCHY(m_modules);
    m_hpath_a = m_rtl_graph->create_hpath();
    m_hpath_b = m_rtl_graph->create_hpath();
    m_translate->set_modules(m_modules, m_hierarchy, m_hpath_a, m_hpath_b);
    m_translate->set_mux_descriptions(fab_collect_mux_descriptions(
        m_rtl_graph, m_rtl_annss, m_translate->get_tlblocks_builder()));
}

void FAB_IMPL::feed_translate_tables(const GLOBAL_GID_TYPES& types, uint32_t columns,
                                     uint32_t rows) {
    m_translate->get_tlblocks_builder()->finish();
    PB::PORTMAPS::SPECIFICATIONS specifications;
    UTIL::mux_ports_to_top_level_ip_ports(*m_translate->get_tlblocks(),
                                          *m_translate->get_mux_descriptions(), specifications);
    UTIL::IPORTMAPS_BUILDER& portmaps = *m_translate->get_portmaps_builder();
    portmaps.set_specifications(specifications);
    FAB::generate_portmaps(m_rtl_graph, m_rtl_annss, m_translate->get_path_a(), portmaps);
    FAB_SECTORS sectors;
    NLG_ICDB_ANNS& icdb = m_rtl_annss->get_icdb();
    const uint32_t n_modules = m_rtl_graph->get_num_modules();
    for (uint32_t m = 0; m < n_modules; ++m) {
        const NLG_IMODULE& module = *m_rtl_graph->get_module(static_cast<int32_t>(m));
        const PB::ICDB::MODULE& a = icdb.get_module(module);
        if (a.has_level() && a.level() == PB::ICDB::MODULE::SECTOR) {
            sectors.m_sectors.push_back(module.get_name());
        }
    }
    // The device's z extent is 2.
    m_translate->set_dimensions(columns, rows, 2);
    m_translate->set_global_types(types);
    m_translate->set_sectors(sectors.m_sectors);
}

NLG_IMODULE* RTL_TO_BLC_MATCH::get_match(const NLG_IMODULE* module) const {
    auto it = m_module_map.find(module);
    return it == m_module_map.end() ? nullptr : it->second;
}

NLG_IPORT* RTL_TO_BLC_MATCH::get_rtl_port(const NLG_IPORT* blc_port) const {
    auto it = m_port_map.find(blc_port);
    return it == m_port_map.end() ? nullptr : it->second;
}

void RTL_TO_BLC_MATCH::get_port_symbols(const NLG_IMODULE* module,
                                        std::vector<NS_SYMBOL::SYM>& symbols) const {
    UTIL_ASSERT(m_rtl_annss);
    const UTIL::SYMBOL_TABLE* blc_symbols = m_blc_graph->get_symbol_table();
    const uint32_t n_ports = module->get_num_ports();
    symbols.clear();
    symbols.reserve(n_ports);
    for (uint32_t p = 0; p < n_ports; ++p)
        symbols.push_back(blc_symbols->find(port_name(*module->get_port(static_cast<int32_t>(p)))));
}
