// Test support: a netlist graph as canonical text, so that two graphs compare object by object
// and a difference shows as the lines that differ.
#pragma once

#include <string>

#include "nlg/nlg_graph.h"

namespace NLG_TEST {

// Every module in index order with its primitive type, its ports (name, direction) and its
// instances (name, definition, pins). `exact` adds all that a file round trip keeps: file names,
// the unused mark, file-line values (as " fl N "), net indexes of ports and nets of pins, fan
// lists, and the nets in order with their names. Without it, nets are the sorted sets of their
// ends by name: the graph up to the names and the order of its nets.
std::string graph_text(const NLG_GRAPH& g, bool exact);

}  // namespace NLG_TEST
