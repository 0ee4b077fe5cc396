// NLG_INFO: prints the counts of a graph (sums over module definitions, not over the unfolded
// design) and the name statistics of its symbol table. It does not own its stream.
#pragma once

#include <ostream>

#include "nlg_iinfo.h"

class NLG_INFO : public NLG_IINFO {
  public:
    explicit NLG_INFO(std::ostream& stream) : m_stream(stream) {}

    // "GRAPH_INFO:", the table's statistics when the graph has a table, then the counts.
    void print(const NLG_IGRAPH& graph) override;
    // Over all names, "<UNKNOWN>" included; lengths in characters, the average in integers.
    void print(const UTIL::SYMBOL_TABLE& table) override;

  private:
    std::ostream& m_stream;
};
