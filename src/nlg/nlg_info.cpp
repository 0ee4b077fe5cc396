// Counts of a graph and of a symbol table, one "name = value" line each.
#include "nlg/nlg_info.h"

#include <algorithm>

#include "nlg_igraph.h"
#include "util/util_symbol.h"

void NLG_INFO::print(const NLG_IGRAPH& graph) {
    m_stream << "GRAPH_INFO:" << std::endl;
    const UTIL::SYMBOL_TABLE* table = graph.get_symbol_table();
    if (table) print(*table);
    uint64_t n_ports = 0;
    uint64_t n_instances = 0;
    uint64_t n_nets = 0;
    const uint32_t n_modules = graph.get_num_modules();
    for (uint32_t m = 0; m < n_modules; ++m) {
        const NLG_IMODULE* module = graph.get_module(static_cast<int32_t>(m));
        n_ports += module->get_num_ports();
        n_instances += module->get_num_instances();
        n_nets += module->get_num_nets();
    }
    m_stream << "num modules = " << n_modules << std::endl;
    m_stream << "num ports = " << n_ports << std::endl;
    m_stream << "num instances = " << n_instances << std::endl;
    m_stream << "num nets = " << n_nets << std::endl;
}

// The table holds every name once, "<UNKNOWN>" included, which is what the fast table
// lists; reading it leaves the table as it is.
void NLG_INFO::print(const UTIL::SYMBOL_TABLE& table) {
    uint32_t n_names = 0;
    uint32_t n_chars = 0;
    uint32_t max_size = 0;
    for (const std::string& name : table.get_names()) {
        const uint32_t size = static_cast<uint32_t>(name.size());
        ++n_names;
        n_chars += size;
        max_size = std::max(max_size, size);
    }
    m_stream << "num_names = " << n_names << std::endl;
    m_stream << "num_chars = " << n_chars << std::endl;
    m_stream << "avg_name_size = " << n_chars / n_names << std::endl;
    m_stream << "max_name_size = " << max_size << std::endl;
}
