// FAB_IMPL, the run object behind FAB::API: it owns both graphs, both annotation sets, the
// instance tree, the position service, the hierarchy objects given to a translate object, the
// translate object itself and the whole-run timer. It does not own the TESSEL_API it reads
// through, nor the floorplan and routing graph it hands out. RTL_TO_BLC_MATCH pairs the
// modules of the two views.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "fab_api.h"
#include "nlg_igraph.h"
#include "nlg_imodule_match.h"
#include "mux.pb.h"
#include "util/util_timer.h"

class NLG_IANNSS;
class FAB_IPOSITION;
class FAB_FLOORPLAN_IMPL;
class FAB_ISERIALIZER;
namespace ICDB {
class IINSTANCE_TREE;
}
namespace FAB {
class ITRANSLATE_BUILDER;
}
namespace UTIL {
class SYMBOL_TABLE;
class ITLBLOCKS_BUILDER;
}  // namespace UTIL

// Grid bounds of the device, set by create_floorplan: 0, 0, columns - 1, rows - 1. Shared by
// every run of the process; the last floorplan wins.
extern int32_t g_min_x;
extern int32_t g_min_y;
extern int32_t g_max_x;
extern int32_t g_max_y;

// Pairs netlist modules with block-level modules that carry the same logical name and
// implementation, and the ports of each pair by name.
// The GID types that every device has, named in the netlist's symbol table: the kinds of
// routing resource from LL to HIPI_LATCH without a length, then the wires H and V with each
// wire length.
using GLOBAL_GID_TYPES = std::vector<std::pair<NS_SYMBOL::SYM, int32_t>>;
GLOBAL_GID_TYPES fab_global_gid_types(UTIL::SYMBOL_TABLE* table);

// The mux descriptions of a netlist, one per mux index from 0 to the largest (a gap gets the
// "<UNKNOWN_MUX>" description and a notice); each mux module, with its subpaths and settings,
// also goes to the top-level block table when one is given.
PB::MUX_DESCRIPTIONS fab_collect_mux_descriptions(NLG_IGRAPH* graph, NLG_IANNSS* annss,
                                                  UTIL::ITLBLOCKS_BUILDER* tlblocks);

// The sector modules of a run, by name, in module order.
struct FAB_SECTORS {
    std::vector<NS_SYMBOL::SYM> m_sectors;
};
std::ostream& operator<<(std::ostream& os, const FAB_SECTORS& sectors);

class RTL_TO_BLC_MATCH : public NLG_IMODULE_MATCH {
  public:
    using LOGICAL_PAIR = std::pair<std::string, std::string>;
    // 64-bit FNV-1a of each text, folded to h ^ (h >> 32); the first fold complemented, the
    // two combined by xor.
    struct PAIR_HASH {
        size_t operator()(const LOGICAL_PAIR& pair) const;
    };

    // Fills both maps; the four objects are not owned and must outlive the match.
    void init(NLG_IGRAPH* rtl_graph, NLG_IGRAPH* blc_graph, NLG_IANNSS* rtl_annss,
              NLG_IANNSS* blc_annss);
    NLG_IMODULE* get_match(const NLG_IMODULE* module) const override;
    void get_port_symbols(const NLG_IMODULE* module,
                          std::vector<NS_SYMBOL::SYM>& symbols) const override;
    // The netlist port that a block-level port stands for, or null.
    NLG_IPORT* get_rtl_port(const NLG_IPORT* blc_port) const;

  private:
    // The port's name as the block-level view knows it: its logical name, else its own.
    const std::string& port_name(const NLG_IPORT& port) const;
    void pair_ports(const NLG_IMODULE* rtl_module, const NLG_IMODULE* blc_module);

    NLG_IGRAPH* m_rtl_graph = nullptr;
    NLG_IGRAPH* m_blc_graph = nullptr;
    NLG_IANNSS* m_rtl_annss = nullptr;
    NLG_IANNSS* m_blc_annss = nullptr;
    std::unordered_map<const NLG_IMODULE*, NLG_IMODULE*> m_module_map;
    std::unordered_map<const NLG_IPORT*, NLG_IPORT*> m_port_map;
};

class FAB_IMPL : public FAB::API {
  public:
    FAB_IMPL(TESSEL_API* api, FAB::ITRANSLATE* translate, bool enable_timers);
    FAB_IMPL(const FAB_IMPL&) = delete;
    FAB_IMPL& operator=(const FAB_IMPL&) = delete;
    ~FAB_IMPL() override;

    const char* get_version() override;
    void read_rtl_graph(std::istream& stream) override;
    void read_rtl_annotation(std::istream& stream) override;
    void read_blc_graph(std::istream& stream) override;
    void read_blc_annotation(std::istream& stream) override;
    FAB::FLOORPLAN* create_floorplan() override;
    FAB::ROUTING_GRAPH* create_routing_graph() override;

    NLG_IGRAPH* get_rtl_graph() const { return m_rtl_graph; }
    NLG_IGRAPH* get_blc_graph() const { return m_blc_graph; }
    NLG_IANNSS* get_rtl_annss() const { return m_rtl_annss; }
    NLG_IANNSS* get_blc_annss() const { return m_blc_annss; }
    TESSEL_API* get_api() const { return m_api; }
    // Diagnosis: create_floorplan writes each call of the floorplan protocol to the stream.
    void set_floorplan_trace(std::ostream* os) { m_floorplan_trace = os; }

  private:
    // A step timer exists only when the run was made with timers.
    SCOPE_TIMER* start_timer(const char* label) const;
    // The definitions of the floorplan: the device, then every block-level module that is not
    // a primitive mux, with its ports. Gives the number of block-level definitions.
    uint32_t serialize_definitions(FAB_ISERIALIZER& serializer);
    void serialize_placed_blocks(FAB_ISERIALIZER& serializer);
    void serialize_block_bodies(FAB_ISERIALIZER& serializer);
    // The feeds of a translate object: hierarchy, path cursors and mux descriptions before
    // the floorplan; blocks, port maps, grid, GID types and sectors after it.
    void feed_translate_modules();
    void feed_translate_tables(const GLOBAL_GID_TYPES& types, uint32_t columns, uint32_t rows);

    TESSEL_API* m_api = nullptr;
    NLG_IGRAPH* m_rtl_graph = nullptr;
    NLG_IGRAPH* m_blc_graph = nullptr;
    NLG_IANNSS* m_rtl_annss = nullptr;
    NLG_IANNSS* m_blc_annss = nullptr;
    ICDB::IINSTANCE_TREE* m_instance_tree = nullptr;
    FAB_IPOSITION* m_position = nullptr;
    FAB::FLOORPLAN* m_floorplan = nullptr;
    SCOPE_TIMER* m_timer = nullptr;
    RTL_TO_BLC_MATCH m_match;
    UTIL::IHIERARCHY::IMODULES* m_modules = nullptr;
    UTIL::IHIERARCHY* m_hierarchy = nullptr;
    NLG_IGRAPH::IHPATH* m_hpath_a = nullptr;
    NLG_IGRAPH::IHPATH* m_hpath_b = nullptr;
    FAB::ITRANSLATE_BUILDER* m_translate = nullptr;
    std::ostream* m_floorplan_trace = nullptr;
};
