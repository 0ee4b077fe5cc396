// In-memory generator of a synthetic device netlist for the graph benchmarks.
#pragma once

#include <cstdint>

class NLG_GRAPH;
namespace UTIL {
class SYMBOL_TABLE;
}

namespace NLG_BENCH {

// The full device is 20,000 module definitions, 2,000,000 instances and 10,000,000 ports and
// port references; a divisor scales all three down.
struct GRAPH_SHAPE {
    uint32_t m_modules;
    uint32_t m_hier_modules;
    uint32_t m_leaf_ports;
    uint32_t m_hier_ports;
    uint32_t m_instances_per_module;
    uint32_t m_nets_per_module;
    uint32_t m_refs_per_instance;

    explicit GRAPH_SHAPE(uint32_t divisor);
};

struct GRAPH_COUNTS {
    uint64_t m_modules = 0;
    uint64_t m_ports = 0;
    uint64_t m_nets = 0;
    uint64_t m_instances = 0;
    uint64_t m_portrefs = 0;
    uint64_t total() const { return m_modules + m_ports + m_nets + m_instances + m_portrefs; }
};

NLG_GRAPH* make_graph(const GRAPH_SHAPE& shape, UTIL::SYMBOL_TABLE* table);
GRAPH_COUNTS count(const NLG_GRAPH& graph);

}  // namespace NLG_BENCH
