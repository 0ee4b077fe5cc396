// FAB::ITRANSLATE, the translation database as a place-and-route tool sees it (GIDs to places,
// edges to block settings), with its cursors IGID_SPLITTER and IGENERIC_PORT; the builder face
// ITRANSLATE_BUILDER that a run fills; and RTL_GRAPH_IHELPER. The tables behind them are in
// util/; the object itself and fab_create_translate are in fab/fab_translate.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fab_export.h"
#include "fab_irouting_graph.h"
#include "nlg_igraph.h"
#include "util/util_edgecache.h"
#include "util/util_error.h"
#include "util/util_gid.h"
#include "util/util_hierarchy.h"
#include "util/util_protobuf.h"
#include "util/util_tlblocks.h"

namespace PB {
class MUX_DESCRIPTIONS;
}
namespace UTIL {
class SYMBOL_FILE;
class NODEMAP64;
class ALIASES_BUILDER;
class IPORTMAPS;
class IPORTMAPS_BUILDER;
class IMUX_DESCRIPTION;
class IMUX_DESCRIPTIONS;
}  // namespace UTIL

namespace FAB {

class RTL_GRAPH_IHELPER {
  public:
    virtual ~RTL_GRAPH_IHELPER() = default;
    virtual UTIL::IHIERARCHY::IPARTITIONS* get_partitions() = 0;
    // A converter over the GID tables; the caller owns it.
    virtual UTIL::IGID_CONVERTER* create_gid_converter() = 0;
    // Kept so that the order of operations stays that of the interface: no answer of this
    // object.
    virtual int32_t get_unused_a() = 0;
    virtual int32_t get_unused_b() = 0;
    virtual const std::vector<uint64_t>& get_unused_list() = 0;
};

class FAB_EXPORT ITRANSLATE : public UTIL::ISERIALIZABLE, public UTIL::IERROR {
  public:
    // A module port seen without the netlist: names and direction.
    class IGENERIC_PORT {
      public:
        virtual ~IGENERIC_PORT() = default;
        virtual void get_port_name(NS_SYMBOL::SYM& result) const = 0;
        virtual void get_module_name(NS_SYMBOL::SYM& result) const = 0;
        virtual int get_direction() const = 0;
    };

    // The cursor of the edge question: set_edge places it on the block instance and mux path
    // that a routing edge configures.
    class IGID_SPLITTER : public UTIL::ITLBLOCKS::ITLSPLITTER {
      public:
        virtual bool set_edge(UTIL::GID64 src_gid, UTIL::GID64 dst_gid) = 0;
        virtual uint32_t get_ipath_index() const = 0;
        virtual uint64_t get_dst_driver() const = 0;
        virtual const UTIL::IMUX_DESCRIPTION* get_mux_description() const = 0;
        virtual const UTIL::IHIERARCHY::IPORT* get_input_port() const = 0;
        virtual const UTIL::ISUBATTRIBUTE_SETTINGS* get_path_settings() const = 0;
    };

    ~ITRANSLATE() override = default;
    virtual UTIL::GID64 get_invalid_gid() const = 0;
    // The caller owns the result.
    virtual IGENERIC_PORT* create_generic_port() const = 0;
    virtual bool get_generic_port(IGENERIC_PORT& port, uint64_t node) const = 0;
    virtual UTIL::GID64 map_specific_mux_port_to_gid(uint64_t specific_port) = 0;
    virtual uint64_t get_node_from_gid(UTIL::GID64 gid) const = 0;
    virtual const UTIL::IGID_TYPES* get_gid_types() const = 0;
    virtual int32_t get_mux_type(UTIL::GID64 gid) = 0;
    virtual int32_t get_node_class(UTIL::GID64 gid) = 0;
    virtual NS_SYMBOL::SYM get_mux_type_symbol(int32_t type) const = 0;
    virtual RTL_GRAPH_IHELPER* get_rtl_graph_helper() = 0;
    // Kept so that the order of operations stays that of the interface.
    virtual int32_t get_unused_c() const = 0;
    virtual int32_t get_unused_d() const = 0;
    virtual NS_SYMBOL::SYM get_unused_symbol() const = 0;
    // The caller owns the result; this object must outlive it.
    virtual IGID_SPLITTER* create_gid_splitter() = 0;
    virtual const UTIL::ITLBLOCKS* get_tlblocks() const = 0;
    virtual const UTIL::IPORTMAPS* get_portmaps() const = 0;
};

class FAB_EXPORT ITRANSLATE_BUILDER : public ITRANSLATE, public RTL_GRAPH_IHELPER {
  public:
    using GLOBAL_TYPES = std::vector<std::pair<NS_SYMBOL::SYM, int32_t>>;

    ~ITRANSLATE_BUILDER() override = default;
    // Not owned: they belong to the run object.
    virtual void set_modules(UTIL::IHIERARCHY::IMODULES* modules, UTIL::IHIERARCHY* hierarchy,
                             NLG_IGRAPH::IHPATH* path_a, NLG_IGRAPH::IHPATH* path_b) = 0;
    virtual void set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) = 0;
    virtual void set_global_types(const GLOBAL_TYPES& types) = 0;
    virtual void set_sectors(const std::vector<NS_SYMBOL::SYM>& sectors) = 0;
    virtual void set_sector_names(const std::vector<std::string>& names) = 0;
    virtual void set_mux_descriptions(const PB::MUX_DESCRIPTIONS& message) = 0;
    virtual void finish_nodes() = 0;
    // The cell, index and type of a routing node's GID.
    virtual void fill_gid_fields(UTIL::IGID_CONVERTER& converter,
                                 const ROUTING_GRAPH::NODE& node) const = 0;
    virtual void fill_gid_type(UTIL::IGID_CONVERTER& converter,
                               const ROUTING_GRAPH::NODE& node) const = 0;
    virtual void add_gid(uint64_t node_number, UTIL::IGID_CONVERTER& converter) = 0;
    virtual bool add_module_edges(uint32_t module_index, UTIL::IEDGECACHE::IFEDGES& fedges) = 0;
    virtual UTIL::IHIERARCHY* get_hierarchy() const = 0;
    virtual UTIL::SYMBOL_FILE* get_symbol_file() = 0;
    virtual UTIL::NODEMAP64* get_nodemap() const = 0;
    virtual UTIL::EDGECACHE_BUILDER* get_edgemap() const = 0;
    virtual UTIL::ALIASES_BUILDER* get_aliases_builder() const = 0;
    virtual UTIL::ITLBLOCKS_BUILDER* get_tlblocks_builder() const = 0;
    virtual UTIL::IPORTMAPS_BUILDER* get_portmaps_builder() const = 0;
    virtual UTIL::IMUX_DESCRIPTIONS* get_mux_descriptions() const = 0;
    virtual NLG_IGRAPH::IHPATH* get_path_a() const = 0;
    virtual NLG_IGRAPH::IHPATH* get_path_b() const = 0;
};

FAB_EXPORT std::ostream& operator<<(std::ostream& os, const ITRANSLATE& translate);

}  // namespace FAB

// A new, empty translation database: give it to fab_create to have a run fill it, or read a
// file into it. The caller owns it until fab_create takes it over.
FAB_EXPORT FAB::ITRANSLATE* fab_create_translate();
