// A small hand-checked graph for the instance tree and the hierarchy adapters.
#pragma once

#include "nlg_test_graph.h"

namespace NLG_TEST {

// top (0): u0:m0, u1:m1, ports a in, b out, c inout
// m0 (1):  u1:m1, port p in
// m1 (2):  ports x in, y out
// Nodes with ports (port tree, hierarchy): top 0, u0 1, u0/u1 2, u0/u1/x 3, u0/u1/y 4, u0/p 5,
// u1 6, u1/x 7, u1/y 8, a 9, b 10, c 11. Instances only: top 0, u0 1, u0/u1 2, u1 3.
inline NLG_GRAPH* make_tree_graph(UTIL::SYMBOL_TABLE* table = nullptr) {
    NLG_GRAPH* g = new NLG_GRAPH(table, "root", 3);
    NLG_MODULE* top = add_module(*g, "top", 0, NLG_FILELINE(), false, 3, 0, 2);
    NLG_MODULE* m0 = add_module(*g, "m0", 0, NLG_FILELINE(), false, 1, 0, 1);
    NLG_MODULE* m1 = add_module(*g, "m1", 0, NLG_FILELINE(), false, 2, 0, 0);
    add_port(*g, top, "a", NLG_IPORT::INPUT);
    add_port(*g, top, "b", NLG_IPORT::OUTPUT);
    add_port(*g, top, "c", NLG_IPORT::INOUT);
    add_port(*g, m0, "p", NLG_IPORT::INPUT);
    add_port(*g, m1, "x", NLG_IPORT::INPUT);
    add_port(*g, m1, "y", NLG_IPORT::OUTPUT);
    add_instance(*g, top, "u0", m0, 0);
    add_instance(*g, top, "u1", m1, 0);
    add_instance(*g, m0, "u1", m1, 0);
    return g;
}

}  // namespace NLG_TEST
