// NLG_IINFO: counts of a netlist graph and of a symbol table, printed on a stream. It reads
// what it is given and owns nothing of it.
#pragma once

class NLG_IGRAPH;
namespace UTIL {
class SYMBOL_TABLE;
}

class NLG_IINFO {
  public:
    virtual ~NLG_IINFO() = default;
    virtual void print(const NLG_IGRAPH& graph) = 0;
    virtual void print(const UTIL::SYMBOL_TABLE& table) = 0;
};
