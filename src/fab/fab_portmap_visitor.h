// FAB::PORTMAP_VISITOR fills one port map per named request of the port map table: from each
// parent module it walks down to the mux instances and traces each requested mux port upward
// to the parent's own ports. The table, its requests and its file form are util/util_portmaps'.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "fab/fab_full_traverse.h"
#include "nlg/nlg_graph_trace.h"
#include "nlg/nlg_graph_traverse.h"
#include "nlg_ihpath.h"
#include "portmaps.pb.h"
#include "util/util_portmaps.h"

namespace FAB {

// What every visitor of one generation shares; nothing here is owned.
struct PORTMAP_CONTEXT {
    NLG_IGRAPH* m_graph;
    NLG_IANNSS* m_annss;
    NLG_IGRAPH::IHPATH* m_path;
    const UTIL::IHIERARCHY* m_hierarchy;
};

class PORTMAP_VISITOR : public FAB_VISITOR_BASE, public RTL::ITRACE2::IVISITOR {
  public:
    PORTMAP_VISITOR(const PORTMAP_CONTEXT* context,
                    const PB::PORTMAPS::SPECIFICATIONS::PARENTS& parents,
                    const PB::PORTMAPS::SPECIFICATIONS::CHILDREN& children);
    PORTMAP_VISITOR(const PORTMAP_VISITOR&) = delete;
    PORTMAP_VISITOR& operator=(const PORTMAP_VISITOR&) = delete;
    ~PORTMAP_VISITOR() override;

    // Walks every parent and fills `portmap`, which is only borrowed for the call.
    void run(PB::PORTMAPS::PORTMAP* portmap);

    void exit_instance(NLG_IINSTANCE& instance) override;
    void exit_module(NLG_IMODULE& module) override;
    // A port reached by a trace: kept, and the trace ends, when it is a port of the parent.
    bool visit_port(NLG_IPORT* port) override;

  private:
    const PORTMAP_CONTEXT* m_context;
    TSL_TRAVERSE_MUX* m_traverse;
    RTL::ITRACE2* m_tracer;
    std::vector<uint32_t> m_parents;
    std::unordered_map<uint32_t, std::vector<uint32_t>> m_module_to_ports;
    PB::PORTMAPS::PORTMAP::MODULE_TO_SUBNODE_TO_PORTS* m_current = nullptr;
    PB::PORTMAPS::PORTMAP* m_portmap = nullptr;
    NLG_IMODULE* m_root = nullptr;
    std::vector<uint32_t> m_found_ports;
};

// Computes one map per request of `portmaps` (whose requests are set) and adds them to it.
void generate_portmaps(NLG_IGRAPH* graph, NLG_IANNSS* annss, NLG_IGRAPH::IHPATH* path,
                       UTIL::IPORTMAPS_BUILDER& portmaps);

}  // namespace FAB
