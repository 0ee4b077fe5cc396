// The translation database object: its build path (called by the run's feeds), its file of nine
// sections, the queries of a place-and-route tool, its print form and fab_create_translate.
//
// Writing:
//   1. Every section but the symbols goes to a memory buffer, sections 2 to 9 in order; each
//      turns its symbols to the file's own names and so fills the file's symbol table.
//   2. The symbol section, now complete, goes to the real stream, then the buffer behind it.
// Reading goes the other way, section by section, each table built on what the earlier ones
// made: symbols, modules (and a hierarchy over them), mux descriptions, blocks, port maps,
// partitions, GID types, node map, edge cache.
#include "fab/fab_translate.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <iostream>
#include <sstream>

#include "nlg_ihpath.h"
#include "util/util_assert.h"
#include "util/util_hierarchy_serializable.h"
#include "util/util_indent.h"

namespace FAB {

namespace {

// Hierarchies made by a read live to the end of the process; the list keeps them reachable.
std::vector<UTIL::IHIERARCHY*>& read_hierarchies() {
    static std::vector<UTIL::IHIERARCHY*>* s_hierarchies = new std::vector<UTIL::IHIERARCHY*>();
    return *s_hierarchies;
}

}  // namespace

#ifdef FAB_FUZZ
// A fuzz target reads a database per input in one process: it lets go of the hierarchies of
// its reads after each input, so that they neither pile up nor show as memory not given back.
extern "C" void fab_fuzz_release_read_hierarchies() {
    for (UTIL::IHIERARCHY* hierarchy : read_hierarchies()) delete hierarchy;
    read_hierarchies().clear();
}
#endif

TRANSLATE::~TRANSLATE() {
    delete m_aliases;
    delete m_tlblocks;
    delete m_portmaps;
    delete m_partitions;
    delete m_edgemap;
    delete m_nodemap;
    delete m_mux_descriptions;
    delete m_modulesmap;
    delete m_gidmap;
    delete m_gid_converter;
}

// ---------------------------------------------------------------------------------------
// Build path

void TRANSLATE::set_modules(UTIL::IHIERARCHY::IMODULES* modules, UTIL::IHIERARCHY* hierarchy,
                            NLG_IGRAPH::IHPATH* path_a, NLG_IGRAPH::IHPATH* path_b) {
    UTIL_ASSERT(m_modules == NULL);
    UTIL_ASSERT(m_modulesmap == NULL);
    m_modules = modules;
    m_hierarchy = hierarchy;
    m_path_a = path_a;
    m_path_b = path_b;
    m_modulesmap = new UTIL::MODULES_BUILDER();
    m_modulesmap->set_symbol_file(&m_symbol_file);
    m_modulesmap->set_modules(modules);
    // Tables built without a netlist have no path cursors.
    if (m_path_a) m_path_a->set_hierarchy(hierarchy);
    if (m_path_b) m_path_b->set_hierarchy(hierarchy);
    m_aliases = new UTIL::ALIASES_BUILDER();
    m_aliases->set_hierarchy(hierarchy);
    m_tlblocks = new UTIL::TLBLOCKS_BUILDER();
    m_tlblocks->set_symbol_file(&m_symbol_file);
    m_tlblocks->set_hierarchy(hierarchy);
    m_portmaps = new UTIL::PORTMAPS_BUILDER();
    m_portmaps->set_symbol_file(&m_symbol_file);
    m_portmaps->set_hierarchy(hierarchy);
}

void TRANSLATE::set_mux_descriptions(const PB::MUX_DESCRIPTIONS& message) {
    UTIL_ASSERT(m_mux_descriptions == NULL);
    UTIL_ASSERT(m_hierarchy != NULL);
    m_mux_descriptions = new UTIL::MUX_DESCRIPTIONS();
    m_symbol_file.set_internal_const(m_hierarchy->get_modules()->get_symbol_table());
    m_mux_descriptions->set_symbol_file(&m_symbol_file);
    m_mux_descriptions->set_pb_mux_descriptions(message);
    init_type_tables();
}

// Mux types by the names of their enumeration values in the internal table. A name the table
// does not know gets no reverse entry, so that GIDs of unknown names never read as a type.
void TRANSLATE::init_type_tables() {
    const UTIL::SYMBOL_TABLE* st = m_symbol_file.get_internal_const();
    UTIL_ASSERT(st != NULL);
    m_symbol_table_id = static_cast<int32_t>(st->get_table_id());
    m_mux_type_to_symbol.assign(N_MUX_TYPES, st->get_unknown());
    m_symbol_to_mux_type.reserve(N_MUX_TYPES);
    for (int32_t t = 1; t < static_cast<int32_t>(N_MUX_TYPES); ++t) {
        const std::string& name =
            PB::MUX_DESCRIPTION::MUXTYPE_Name(static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(t));
        NS_SYMBOL::SYM symbol = st->find(name);
        m_mux_type_to_symbol[static_cast<size_t>(t)] = symbol;
        if (symbol.is_known()) m_symbol_to_mux_type.emplace(symbol.get_value(), t);
    }
    m_gclass_to_node_class.assign(N_GCLASSES, -1);
    m_gclass_to_node_class[PB::GID_TYPE::GLOBAL] = 3;
    m_gclass_to_node_class[PB::GID_TYPE::INPUT] = 0;
    m_gclass_to_node_class[PB::GID_TYPE::OUTPUT] = 0;
    m_gclass_to_node_class[PB::GID_TYPE::RE] = 1;
    m_gclass_to_node_class[PB::GID_TYPE::BLC_INTERNAL_RE] = 2;
    m_gclass_to_node_class[PB::GID_TYPE::INVALID] = -1;
}

void TRANSLATE::set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) {
    UTIL_ASSERT((m_nx == UTIL::IGID_CONVERTER::INVALID) &&
                (m_ny == UTIL::IGID_CONVERTER::INVALID) && (m_nz == UTIL::IGID_CONVERTER::INVALID));
    m_nx = nx;
    m_ny = ny;
    m_nz = nz;
}

void TRANSLATE::set_global_types(const GLOBAL_TYPES& types) {
    UTIL_ASSERT((m_nx != UTIL::IGID_CONVERTER::INVALID) &&
                (m_ny != UTIL::IGID_CONVERTER::INVALID) && (m_nz != UTIL::IGID_CONVERTER::INVALID));
    m_gidmap = UTIL::create_gid64_builder();
    m_gidmap->set_symbol_file(&m_symbol_file);
    m_gidmap->set_dimensions(m_nx, m_ny, m_nz);
    m_gidmap->add_global_types(types);
}

void TRANSLATE::set_sectors(const std::vector<NS_SYMBOL::SYM>& sectors) {
    UTIL_ASSERT(m_modules != NULL);
    UTIL_ASSERT((m_nx != UTIL::IGID_CONVERTER::INVALID) &&
                (m_ny != UTIL::IGID_CONVERTER::INVALID) && (m_nz != UTIL::IGID_CONVERTER::INVALID));
    std::vector<uint32_t> module_indexes;
    module_indexes.reserve(sectors.size());
    for (NS_SYMBOL::SYM sector : sectors)
        module_indexes.push_back(m_hierarchy->get_module_index(sector));
    UTIL::IHIERARCHY::IPARTITIONS* partitions = m_hierarchy->create_partitions();
    const bool ok = partitions->set_partitions(module_indexes);
    UTIL_ASSERT_MSG(ok, "partitions->set_modules(module_indexes)");
    m_partitions = partitions;
    m_nodemap = new UTIL::NODEMAP64();
    m_nodemap->set_dimensions(m_nx, m_ny, m_nz);
    m_nodemap->set_hierarchy(m_hierarchy);
    m_nodemap->set_gid_builder(m_gidmap);
    m_edgemap = new UTIL::EDGECACHE_BUILDER();
    m_edgemap->set_hierarchy(m_hierarchy);
}

void TRANSLATE::set_sector_names(const std::vector<std::string>& names) {
    const UTIL::SYMBOL_TABLE* table = m_modules->get_symbol_table();
    std::vector<NS_SYMBOL::SYM> sectors;
    sectors.reserve(names.size());
    for (const std::string& name : names) sectors.push_back(table->find(name));
    set_sectors(sectors);
}

NS_SYMBOL::SYM TRANSLATE::to_internal_symbol(NS_SYMBOL::SYM name) const {
    if (static_cast<int32_t>(name.get_table_id()) == m_symbol_table_id) return name;
    const UTIL::SYMBOL_TABLE* st = m_symbol_file.get_internal_const();
    const std::string& text = UTIL::fast_name(name);
    NS_SYMBOL::SYM internal = st->find(text);
    if (internal.is_unknown()) {
        std::cout << "Unable to convert " << text << " to internal symbol" << std::endl;
    }
    return internal;
}

void TRANSLATE::fill_gid_type_fields(UTIL::IGID_CONVERTER& converter, int32_t re_class,
                                     int32_t port_direction, NS_SYMBOL::SYM block_name,
                                     int32_t node_type, int32_t length) const {
    converter.set_gclass(PB::GID_TYPE::INVALID);
    converter.set_length(-1);
    switch (re_class) {
        case 0:
            if (port_direction != 0 && port_direction != 1) {
                UTIL_FAIL("Bidir port not supported for Atom");
            }
            converter.set_gclass(port_direction == 0 ? PB::GID_TYPE::INPUT : PB::GID_TYPE::OUTPUT);
            converter.set_name(to_internal_symbol(block_name));
            converter.set_length(-1);
            break;
        case 1:
        case 2:
            // Block-internal REs share the class of block ports.
            converter.set_gclass(PB::GID_TYPE::RE);
            converter.set_name(to_internal_symbol(block_name));
            converter.set_length(-1);
            break;
        case 3: {
            converter.set_gclass(PB::GID_TYPE::GLOBAL);
            converter.set_name(UTIL::at(m_mux_type_to_symbol, static_cast<size_t>(node_type)));
            const bool wire =
                node_type == PB::MUX_DESCRIPTION::H || node_type == PB::MUX_DESCRIPTION::V;
            converter.set_length(wire ? length : -1);
            break;
        }
        default:
            break;
    }
}

void TRANSLATE::fill_gid_fields(UTIL::IGID_CONVERTER& converter,
                                const ROUTING_GRAPH::NODE& node) const {
    int32_t x = 0, y = 0, z = 0;
    node.get_location(x, y, z);
    converter.set_x(static_cast<uint32_t>(x));
    converter.set_y(static_cast<uint32_t>(y));
    converter.set_z(static_cast<uint32_t>(z));
    converter.set_i(node.get_index());
    fill_gid_type(converter, node);
}

// A node answers only the questions of its class: block names for ports, types for routing.
void TRANSLATE::fill_gid_type(UTIL::IGID_CONVERTER& converter,
                              const ROUTING_GRAPH::NODE& node) const {
    const int32_t re_class = static_cast<int32_t>(node.get_re_class());
    const bool routing = re_class == 3;
    const bool port = re_class >= 0 && re_class <= 2;
    fill_gid_type_fields(
        converter, re_class,
        re_class == 0 ? static_cast<int32_t>(node.get_unique_port().get_direction()) : 0,
        port ? node.get_block_name() : NS_SYMBOL::SYM(),
        routing ? static_cast<int32_t>(node.get_node_type()) : 0, routing ? node.get_length() : -1);
}

void TRANSLATE::add_gid(uint64_t node_number, UTIL::IGID_CONVERTER& converter) {
    uint64_t gid = m_gidmap->make_gid64(converter.get_x(), converter.get_y(), converter.get_z(),
                                        converter.get_i(), converter.get_gclass(),
                                        converter.get_name(), converter.get_length());
    m_nodemap->add_node(gid, node_number);
    ++m_n_gids;
}

void TRANSLATE::finish_nodes() {
    m_nodemap->apply_aliases(*m_aliases);
    m_nodemap->seal();
}

bool TRANSLATE::add_module_edges(uint32_t module_index, UTIL::IEDGECACHE::IFEDGES& fedges) {
    return m_edgemap->add_module(module_index, fedges);
}

UTIL::IHIERARCHY::IPARTITIONS* TRANSLATE::get_partitions() {
    UTIL_ASSERT(m_partitions != NULL);
    return m_partitions;
}

UTIL::IGID_CONVERTER* TRANSLATE::create_gid_converter() {
    return m_gidmap->create_converter();
}

const std::vector<uint64_t>& TRANSLATE::get_unused_list() {
    static const std::vector<uint64_t> s_empty;
    return s_empty;
}

// ---------------------------------------------------------------------------------------
// The file

bool TRANSLATE::write(std::ostream& output, uint32_t format) {
    check_read();
    UTIL_ASSERT(m_mux_descriptions != NULL);
    UTIL_ASSERT(m_edgemap != NULL);
    UTIL::PARTITIONS_SERIALIZABLE partitions(m_partitions, nullptr);
    std::stringstream body(std::ios::in | std::ios::out | std::ios::binary);
    m_modulesmap->write(body, format);
    m_mux_descriptions->write(body, format);
    m_tlblocks->write(body, format);
    m_portmaps->write(body, format);
    partitions.write(body, format);
    m_gidmap->write(body, format);
    m_nodemap->write(body, format);
    m_edgemap->write(body, format);
    m_symbol_file.write(output, format);
    // Straight from the buffer: str() would copy the whole file once more.
    if (body.tellp() > 0) output << body.rdbuf();
    return true;
}

bool TRANSLATE::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

void TRANSLATE::fail_read(const std::string& failure) {
    UTIL::IERROR::ERROR_MSG message(UTIL::IERROR::ERROR_MSG::INTERNAL);
    message << failure;
    UTIL_FAIL("%s", message.str().c_str());
}

bool TRANSLATE::read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    std::string failure;
    if (!read_sections(input, format, failure)) fail_read(failure);
    return true;
}

bool TRANSLATE::read_sections(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format,
                              std::string& failure, std::vector<int64_t>* section_ends) {
    // A second read would find the tables of the first in use.
    UTIL_ASSERT(m_modulesmap == NULL);
    auto fail = [this, &failure](const char* section) {
        failure = std::string("Failed read of ") + section;
        m_read_failure = failure;
        return false;
    };
    auto done = [input, section_ends]() {
        if (section_ends) section_ends->push_back(input->ByteCount());
    };
    m_symbol_file.set_internal(UTIL::symbol_tables().new_table());
    if (!m_symbol_file.read(input, format)) return fail("symbol file");
    done();

    m_modulesmap = new UTIL::MODULES_BUILDER();
    m_modulesmap->set_symbol_file(&m_symbol_file);
    if (!m_modulesmap->read(input, format)) return fail("modulesmap");
    done();
    m_modules = m_modulesmap->get_modules();
    m_hierarchy = new UTIL::HIERARCHY(m_modules);
    read_hierarchies().push_back(m_hierarchy);
    init_type_tables();

    // Its result is not looked at: a short section shows in the next one.
    m_mux_descriptions = new UTIL::MUX_DESCRIPTIONS();
    m_mux_descriptions->set_symbol_file(&m_symbol_file);
    m_mux_descriptions->read_stream(input, format);
    done();

    m_tlblocks = new UTIL::TLBLOCKS_BUILDER();
    m_tlblocks->set_symbol_file(&m_symbol_file);
    m_tlblocks->set_hierarchy(m_hierarchy);
    if (!m_tlblocks->read_stream(input, format)) return fail("tlblocks");
    done();

    m_portmaps = new UTIL::PORTMAPS_BUILDER();
    m_portmaps->set_symbol_file(&m_symbol_file);
    m_portmaps->set_hierarchy(m_hierarchy);
    if (!m_portmaps->read_stream(input, format)) return fail("portmaps");
    done();

    m_partitions = m_hierarchy->create_partitions();
    UTIL::PARTITIONS_SERIALIZABLE partitions(nullptr, m_partitions);
    if (!partitions.read(input, format)) return fail("partitions");
    done();

    m_gidmap = UTIL::create_gid64_builder();
    m_gidmap->set_symbol_file(&m_symbol_file);
    if (!m_gidmap->read_stream(input, format)) return fail("gidmap");
    done();

    m_nodemap = new UTIL::NODEMAP64();
    m_nodemap->set_hierarchy(m_hierarchy);
    m_nodemap->set_gid_builder(m_gidmap);
    if (!m_nodemap->read_stream(input, format)) return fail("nodemap");
    done();

    m_edgemap = new UTIL::EDGECACHE_BUILDER();
    m_edgemap->set_hierarchy(m_hierarchy);
    if (!m_edgemap->read_stream(input, format)) return fail("edgemap");
    done();
    return true;
}

// ---------------------------------------------------------------------------------------
// Queries

void TRANSLATE::ensure_gid_converter() {
    check_read();
    if (m_gid_converter == nullptr) m_gid_converter = create_gid_converter();
}

bool TRANSLATE::get_generic_port(IGENERIC_PORT& port, uint64_t node) const {
    check_read();
    uint32_t port_index = UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;
    uint32_t module_index = m_hierarchy->get_port_of_node(port_index, node);
    if (module_index == UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID) return false;
    const UTIL::IHIERARCHY::IMODULE* module = m_modules->get_module(module_index);
    const UTIL::IHIERARCHY::IPORT* p = module->get_port(port_index);
    GENERIC_PORT& generic = static_cast<GENERIC_PORT&>(port);
    generic.m_module_name = module->get_name();
    generic.m_port_name = p->get_name();
    generic.m_direction = p->get_direction();
    return true;
}

// An input of a mux stands for the output it feeds; any other port for itself.
UTIL::GID64 TRANSLATE::map_specific_mux_port_to_gid(uint64_t specific_port) {
    check_read();
    uint32_t port_index = static_cast<uint32_t>(-1);
    const uint32_t module_index = m_hierarchy->get_port_of_node(port_index, specific_port);
    if (module_index == UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID ||
        port_index == static_cast<uint32_t>(-1)) {
        std::ostringstream text;
        text << "map_specific_mux_port_to_gid"
             << ": "
             << "Illegal specific_port = " << specific_port;
        m_error.m_ok = false;
        m_error.m_message = text.str();
        return UTIL::GID64();
    }
    const UTIL::IHIERARCHY::IMODULE& module = *m_modules->get_module(module_index);
    const uint32_t mux_index = m_mux_descriptions->find_mux_index(module.get_name());
    uint64_t node = specific_port;
    if (mux_index == UTIL::IMUX_DESCRIPTIONS::NO_MUX) {
        return UTIL::GID64(m_nodemap->get_gid(node));
    }
    UTIL_ASSERT_MSG(mux_index < m_mux_descriptions->get_n_mux_descriptions(),
                    "Illegal mux index = %u", mux_index);
    if (module.get_port(port_index)->get_direction() == 0) {
        const UTIL::IMUX_DESCRIPTION& desc = m_mux_descriptions->get_mux_description(mux_index);
        const UTIL::IMUX_DESCRIPTION::PORT_TYPE type = desc.get_port_type(port_index);
        if (type == UTIL::IMUX_DESCRIPTION::P_UNKNOWN) return UTIL::GID64();
        UTIL_ASSERT_MSG(type == UTIL::IMUX_DESCRIPTION::P_INPUT,
                        "type == IMUX_DESCRIPTION::P_INPUT");
        const uint32_t output_port_index = desc.get_output_for_input(port_index);
        const int direction = module.get_port(output_port_index)->get_direction();
        UTIL_ASSERT_MSG(direction == 1 || direction == 2,
                        "(module.get_port(output_port_index).get_direction() == "
                        "IHIERARCHY::IPORT::DIRECTION::OUTPUT) || "
                        "(module.get_port(output_port_index).get_direction() == "
                        "IHIERARCHY::IPORT::DIRECTION::INOUT)");
        const uint64_t parent = m_hierarchy->get_port_parent(module_index, port_index, node);
        node = m_hierarchy->get_port_node(module_index, parent, output_port_index);
    }
    return UTIL::GID64(m_nodemap->get_gid(node));
}

uint64_t TRANSLATE::get_node_from_gid(UTIL::GID64 gid) const {
    check_read();
    return m_nodemap->get_driver_node(gid.get_value());
}

const UTIL::IGID_TYPES* TRANSLATE::get_gid_types() const {
    check_read();
    return m_gidmap ? &m_gidmap->get_gid_types() : nullptr;
}

int32_t TRANSLATE::get_mux_type(UTIL::GID64 gid) {
    ensure_gid_converter();
    m_gid_converter->set_gid64(gid.get_value());
    auto it = m_symbol_to_mux_type.find(m_gid_converter->get_name().get_value());
    return it == m_symbol_to_mux_type.end() ? PB::MUX_DESCRIPTION::UNKNOWN : it->second;
}

int32_t TRANSLATE::get_node_class(UTIL::GID64 gid) {
    ensure_gid_converter();
    m_gid_converter->set_gid64(gid.get_value());
    const int32_t node_class =
        UTIL::at(m_gclass_to_node_class, static_cast<size_t>(m_gid_converter->get_gclass()));
    UTIL_ASSERT_MSG(node_class >= 0, "node_class >= 0");
    return node_class;
}

NS_SYMBOL::SYM TRANSLATE::get_mux_type_symbol(int32_t type) const {
    check_read();
    if (type == PB::MUX_DESCRIPTION::UNKNOWN) {
        return m_mux_type_to_symbol.empty() ? NS_SYMBOL::SYM() : m_mux_type_to_symbol[0];
    }
    return UTIL::at(m_mux_type_to_symbol, static_cast<size_t>(type));
}

ITRANSLATE::IGID_SPLITTER* TRANSLATE::create_gid_splitter() {
    check_read();
    return new GID_SPLITTER(this);
}

// ---------------------------------------------------------------------------------------
// Splitting an edge

GID_SPLITTER::GID_SPLITTER(TRANSLATE* translate)
    : m_translate(translate), m_tlsplitter(translate->get_tlblocks()->create_splitter()) {}

bool GID_SPLITTER::set_node(uint64_t) {
    UTIL_FAIL("false");
}

// The cached nodes find the edge, as the edge cache knew them when the fedges were made; the
// destination's driver finds the block, since the configured mux is the one that drives it.
bool GID_SPLITTER::set_edge(UTIL::GID64 src_gid, UTIL::GID64 dst_gid) {
    const UTIL::NODEMAP64& nodemap = *m_translate->get_nodemap();
    const UTIL::IHIERARCHY& hierarchy = *m_translate->get_hierarchy();
    UTIL::EDGECACHE_BUILDER& edgemap = *m_translate->get_edgemap();
    uint64_t src_cached = 0, src_driver = 0, dst_cached = 0, dst_driver = 0;
    if (!nodemap.get_nodes(src_cached, src_driver, src_gid.get_value())) {
        std::cout << "FAIL: Invalid GID: " << src_gid << std::endl;
        return false;
    }
    if (!nodemap.get_nodes(dst_cached, dst_driver, dst_gid.get_value())) {
        std::cout << "FAIL: Invalid GID: " << dst_gid << std::endl;
        return false;
    }
    uint64_t common = 0;
    const uint32_t module = hierarchy.get_common_path(nullptr, common, src_cached, dst_cached, 0);
    m_fedge.m_src = src_cached - common;
    m_fedge.m_dst = dst_cached - common;
    if (!edgemap.get_fedge_info(m_fedge, module)) {
        std::cout << "src_cached = " << src_cached << std::endl
                  << "src_driver = " << src_driver << std::endl
                  << "dst_cached = " << dst_cached << std::endl
                  << "dst_driver = " << dst_driver << std::endl
                  << "m_fedge.m_src = " << m_fedge.m_src << std::endl
                  << "m_fedge.m_dst = " << m_fedge.m_dst << std::endl
                  << "src GID: " << src_gid << std::endl
                  << "dst GID: " << dst_gid << std::endl;
        return false;
    }
    uint32_t port = 0;
    const uint32_t dst_driver_module = hierarchy.get_port_of_node(port, dst_driver);
    UTIL_ASSERT_MSG(dst_driver_module != UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID,
                    "dst_driver_module != IHIERARCHY::IMODULES::MODULE_INDEX_INVALID");
    const uint64_t node = hierarchy.get_port_parent(dst_driver_module, port, dst_driver);
    if (!m_tlsplitter->set_node(node)) {
        std::cout << "FAIL: unable to set_node on tlblocks: " << node << std::endl;
        return false;
    }
    m_dst_driver = dst_driver;
    return true;
}

const UTIL::IMUX_DESCRIPTION* GID_SPLITTER::get_mux_description() const {
    const UTIL::ITLATTRIBUTE* attribute = m_tlsplitter->get_tlattribute();
    return &m_translate->get_mux_descriptions()->get_mux_description(attribute->get_mux_index());
}

const UTIL::IHIERARCHY::IPORT* GID_SPLITTER::get_input_port() const {
    const PB::MUX_DESCRIPTION& desc = get_mux_description()->get_pb();
    const int path = m_fedge.m_ipath_index;
    if (path >= desc.mux_ipaths_size()) UTIL::throw_vector_subscript();
    const uint32_t module_index = m_tlsplitter->get_tlattribute()->get_module_index();
    const UTIL::IHIERARCHY::IMODULES* modules = m_translate->get_hierarchy()->get_modules();
    return modules->get_module(module_index)
        ->get_port(static_cast<uint32_t>(desc.mux_ipaths(path).in()));
}

const UTIL::ISUBATTRIBUTE_SETTINGS* GID_SPLITTER::get_path_settings() const {
    return &m_tlsplitter->get_tlattribute()->get_settings(m_fedge.m_ipath_index);
}

// ---------------------------------------------------------------------------------------
// Print form

namespace {

template <class T>
void print_table(std::ostream& os, const char* label, const T* table) {
    os << label;
    if (table == nullptr) {
        os << "NULL" << std::endl;
        return;
    }
    std::ostringstream form;
    UTIL::INDENT inner(form, 3);
    UTIL::set_detail(form, UTIL::get_detail(os));
    form << *table;
    os << form.str();
    if (form.str().empty() || form.str().back() != '\n') os << std::endl;
}

}  // namespace

void TRANSLATE::print(std::ostream& os) const {
    UTIL::INDENT guard(os, 3);
    os << (UTIL::get_detail(os) == 4 ? "TRANSLATE_STATISTICS {" : "TRANSLATE {") << std::endl
       << UTIL::indent;
    print_table(os, "m_mux_descriptions = ",
                static_cast<const UTIL::IMUX_DESCRIPTIONS*>(m_mux_descriptions));
    print_table(os, "m_tlblocks = ", static_cast<const UTIL::ITLBLOCKS*>(m_tlblocks));
    print_table(os, "m_portmaps = ", static_cast<const UTIL::IPORTMAPS*>(m_portmaps));
    print_table(os, "m_edgemap = ", static_cast<const UTIL::IEDGECACHE*>(m_edgemap));
    print_table(os, "m_nodemap = ", static_cast<const UTIL::INODEMAP*>(m_nodemap));
    os << UTIL::outdent << "}" << std::endl;
}

std::ostream& operator<<(std::ostream& os, const ITRANSLATE& translate) {
    const TRANSLATE* concrete = dynamic_cast<const TRANSLATE*>(&translate);
    UTIL_ASSERT(concrete != NULL);
    concrete->print(os);
    return os;
}

}  // namespace FAB

FAB::ITRANSLATE* fab_create_translate() {
    return new FAB::TRANSLATE();
}
