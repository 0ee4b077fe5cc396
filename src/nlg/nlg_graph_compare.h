// compare_graphs: a deep structural comparison of two netlist graphs that reports the first
// difference in words. It reads both graphs and owns nothing.
#pragma once

#include <iosfwd>

class NLG_GRAPH;

// True when the graphs are equal. At the first difference one line goes to `out` and the
// result is false. Symbols compare by value, so the graphs should share a symbol table.
bool compare_graphs(const NLG_GRAPH& a, const NLG_GRAPH& b, std::ostream& out);
