// The digest of a view's annotations by names only, in name order: per module its level, routing
// flag, logical pair, size, mux description and paths with their settings; per port with a record
// its RE fields; per instance with a record its offset and mux description. Two annotation sets
// of one device compare line by line whatever index orders their graphs have.
#pragma once

#include <ostream>
#include <string>

class NLG_IGRAPH;
class NLG_IANNSS;

void prep_write_digest(const std::string& view, const NLG_IGRAPH& graph, NLG_IANNSS& annss,
                       std::ostream& out);
