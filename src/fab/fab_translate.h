// FAB::TRANSLATE, the one object that owns the tables of the translation database, chains their
// nine sections into one file and answers the queries of a place-and-route tool; GID_SPLITTER
// and GENERIC_PORT, its cursors. The tables are util/'s; the run feeds that fill it are in
// fab/tsl_fab and fab/fab_graph_traverse.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "fab_itranslate.h"
#include "util/util_aliases.h"
#include "util/util_edgecache.h"
#include "util/util_gid.h"
#include "util/util_modules.h"
#include "util/util_mux_descriptions.h"
#include "util/util_nodemap64.h"
#include "util/util_partitions.h"
#include "util/util_portmaps.h"
#include "util/util_symbol_file.h"
#include "util/util_tlblocks.h"

namespace FAB {

class GENERIC_PORT : public ITRANSLATE::IGENERIC_PORT {
  public:
    void get_port_name(NS_SYMBOL::SYM& result) const override { result = m_port_name; }
    void get_module_name(NS_SYMBOL::SYM& result) const override { result = m_module_name; }
    int get_direction() const override { return m_direction; }

    NS_SYMBOL::SYM m_port_name;
    NS_SYMBOL::SYM m_module_name;
    int m_direction = 0;
};

class TRANSLATE : public ITRANSLATE_BUILDER {
  public:
    // The class of a node by the class of its GID type, indexed by PB.GID_TYPE.GCLASS.
    static constexpr size_t N_GCLASSES = 6;
    static constexpr size_t N_MUX_TYPES = 21;

    TRANSLATE() = default;
    TRANSLATE(const TRANSLATE&) = delete;
    TRANSLATE& operator=(const TRANSLATE&) = delete;
    ~TRANSLATE() override;

    // The file.
    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override {
        return read_stream(input, format);
    }
    bool write(std::ostream& output, uint32_t format) override;
    // The nine sections in order; a section that does not read ends the process with its
    // owner's words.
    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format);
    // The same reading without the fatal end: false with the failed read's text in `failure`,
    // for programs that answer a bad file themselves. Failures inside a table's own reader
    // still end the process with that table's words. When given, `section_ends` receives the
    // input's byte count after each section read. The object keeps the failure: a query or a
    // write on it afterwards ends the process with the report the fatal read would have given.
    bool read_sections(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format,
                       std::string& failure, std::vector<int64_t>* section_ends = nullptr);
    ERROR& get_error() override { return m_error; }

    // Queries.
    UTIL::GID64 get_invalid_gid() const override { return UTIL::GID64(); }
    IGENERIC_PORT* create_generic_port() const override { return new GENERIC_PORT(); }
    bool get_generic_port(IGENERIC_PORT& port, uint64_t node) const override;
    UTIL::GID64 map_specific_mux_port_to_gid(uint64_t specific_port) override;
    uint64_t get_node_from_gid(UTIL::GID64 gid) const override;
    const UTIL::IGID_TYPES* get_gid_types() const override;
    int32_t get_mux_type(UTIL::GID64 gid) override;
    int32_t get_node_class(UTIL::GID64 gid) override;
    NS_SYMBOL::SYM get_mux_type_symbol(int32_t type) const override;
    RTL_GRAPH_IHELPER* get_rtl_graph_helper() override { return this; }
    int32_t get_unused_c() const override { return -1; }
    int32_t get_unused_d() const override { return -1; }
    NS_SYMBOL::SYM get_unused_symbol() const override { return NS_SYMBOL::SYM(); }
    IGID_SPLITTER* create_gid_splitter() override;
    const UTIL::ITLBLOCKS* get_tlblocks() const override {
        check_read();
        return m_tlblocks;
    }
    const UTIL::IPORTMAPS* get_portmaps() const override {
        check_read();
        return m_portmaps;
    }

    // RTL_GRAPH_IHELPER.
    UTIL::IHIERARCHY::IPARTITIONS* get_partitions() override;
    UTIL::IGID_CONVERTER* create_gid_converter() override;
    int32_t get_unused_a() override { return -1; }
    int32_t get_unused_b() override { return -1; }
    const std::vector<uint64_t>& get_unused_list() override;

    // Build path.
    void set_modules(UTIL::IHIERARCHY::IMODULES* modules, UTIL::IHIERARCHY* hierarchy,
                     NLG_IGRAPH::IHPATH* path_a, NLG_IGRAPH::IHPATH* path_b) override;
    void set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) override;
    void set_global_types(const GLOBAL_TYPES& types) override;
    void set_sectors(const std::vector<NS_SYMBOL::SYM>& sectors) override;
    void set_sector_names(const std::vector<std::string>& names) override;
    void set_mux_descriptions(const PB::MUX_DESCRIPTIONS& message) override;
    void finish_nodes() override;
    void fill_gid_fields(UTIL::IGID_CONVERTER& converter,
                         const ROUTING_GRAPH::NODE& node) const override;
    void fill_gid_type(UTIL::IGID_CONVERTER& converter,
                       const ROUTING_GRAPH::NODE& node) const override;
    void add_gid(uint64_t node_number, UTIL::IGID_CONVERTER& converter) override;
    bool add_module_edges(uint32_t module_index, UTIL::IEDGECACHE::IFEDGES& fedges) override;
    UTIL::IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    UTIL::SYMBOL_FILE* get_symbol_file() override { return &m_symbol_file; }
    UTIL::NODEMAP64* get_nodemap() const override { return m_nodemap; }
    UTIL::EDGECACHE_BUILDER* get_edgemap() const override { return m_edgemap; }
    UTIL::ALIASES_BUILDER* get_aliases_builder() const override { return m_aliases; }
    UTIL::ITLBLOCKS_BUILDER* get_tlblocks_builder() const override { return m_tlblocks; }
    UTIL::IPORTMAPS_BUILDER* get_portmaps_builder() const override { return m_portmaps; }
    UTIL::IMUX_DESCRIPTIONS* get_mux_descriptions() const override { return m_mux_descriptions; }
    NLG_IGRAPH::IHPATH* get_path_a() const override { return m_path_a; }
    NLG_IGRAPH::IHPATH* get_path_b() const override { return m_path_b; }

    // The GID type of a routing node, from what the routing graph knows of it: class 0 atom
    // port (direction 0 or 1), 1 block port, 2 block-internal RE, 3 core routing (node type and
    // length). Block names are of the netlist's table.
    void fill_gid_type_fields(UTIL::IGID_CONVERTER& converter, int32_t re_class,
                              int32_t port_direction, NS_SYMBOL::SYM block_name, int32_t node_type,
                              int32_t length) const;

    uint32_t get_n_gids() const { return m_n_gids; }
    UTIL::GID64_BUILDER* get_gidmap() const { return m_gidmap; }
    const UTIL::IHIERARCHY::IMODULES* get_modules() const { return m_modules; }
    void print(std::ostream& os) const;

  private:
    // Ends the process with the report of a failed read.
    [[noreturn]] static void fail_read(const std::string& failure);
    // Refuses a half-read object; nothing for one that was built or read whole.
    void check_read() const {
        if (!m_read_failure.empty()) fail_read(m_read_failure);
    }
    void init_type_tables();
    void ensure_gid_converter();
    NS_SYMBOL::SYM to_internal_symbol(NS_SYMBOL::SYM name) const;

    ERROR m_error;
    uint32_t m_nx = UTIL::IGID_CONVERTER::INVALID;
    uint32_t m_ny = UTIL::IGID_CONVERTER::INVALID;
    uint32_t m_nz = UTIL::IGID_CONVERTER::INVALID;
    UTIL::SYMBOL_FILE m_symbol_file;
    UTIL::MODULES_BUILDER* m_modulesmap = nullptr;
    UTIL::GID64_BUILDER* m_gidmap = nullptr;
    UTIL::EDGECACHE_BUILDER* m_edgemap = nullptr;
    UTIL::NODEMAP64* m_nodemap = nullptr;
    UTIL::ALIASES_BUILDER* m_aliases = nullptr;
    UTIL::IHIERARCHY::IPARTITIONS* m_partitions = nullptr;
    UTIL::IHIERARCHY* m_hierarchy = nullptr;
    const UTIL::IHIERARCHY::IMODULES* m_modules = nullptr;
    UTIL::TLBLOCKS_BUILDER* m_tlblocks = nullptr;
    UTIL::PORTMAPS_BUILDER* m_portmaps = nullptr;
    NLG_IGRAPH::IHPATH* m_path_a = nullptr;
    NLG_IGRAPH::IHPATH* m_path_b = nullptr;
    UTIL::MUX_DESCRIPTIONS* m_mux_descriptions = nullptr;
    UTIL::IGID_CONVERTER* m_gid_converter = nullptr;
    int32_t m_symbol_table_id = -1;
    std::vector<NS_SYMBOL::SYM> m_mux_type_to_symbol;
    std::unordered_map<uint32_t, int32_t> m_symbol_to_mux_type;
    std::vector<int32_t> m_gclass_to_node_class;
    uint32_t m_n_gids = 0;
    // The words of a read that did not finish; empty for an object built or read whole.
    std::string m_read_failure;
};

class GID_SPLITTER : public ITRANSLATE::IGID_SPLITTER {
  public:
    explicit GID_SPLITTER(TRANSLATE* translate);
    GID_SPLITTER(const GID_SPLITTER&) = delete;
    GID_SPLITTER& operator=(const GID_SPLITTER&) = delete;
    ~GID_SPLITTER() override { delete m_tlsplitter; }

    // A splitter moves only by set_edge: this ends the process.
    bool set_node(uint64_t node) override;
    uint64_t get_node() const override { return m_tlsplitter->get_node(); }
    const UTIL::ITLBLOCKS* get_tlblocks() const override { return m_tlsplitter->get_tlblocks(); }
    void get_uid(NS_SYMBOL::SYM& result) const override { m_tlsplitter->get_uid(result); }
    const UTIL::ITLATTRIBUTE* get_tlattribute() const override {
        return m_tlsplitter->get_tlattribute();
    }
    const UTIL::ISUBATTRIBUTES* get_subattributes() const override {
        return m_tlsplitter->get_subattributes();
    }

    bool set_edge(UTIL::GID64 src_gid, UTIL::GID64 dst_gid) override;
    uint32_t get_ipath_index() const override { return m_fedge.m_ipath_index; }
    uint64_t get_dst_driver() const override { return m_dst_driver; }
    const UTIL::IMUX_DESCRIPTION* get_mux_description() const override;
    const UTIL::IHIERARCHY::IPORT* get_input_port() const override;
    const UTIL::ISUBATTRIBUTE_SETTINGS* get_path_settings() const override;

    const UTIL::FEDGE& get_fedge() const { return m_fedge; }

  private:
    TRANSLATE* m_translate;
    UTIL::ITLBLOCKS::ITLSPLITTER* m_tlsplitter;
    UTIL::FEDGE m_fedge;
    uint64_t m_dst_driver = ~0ull;
};

}  // namespace FAB
