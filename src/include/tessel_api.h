// TESSEL_API: the small factory and file interface through which a caller obtains a netlist
// graph and its annotation set. Whoever calls a create_ operation owns the result; the
// interface itself is never deleted through this type.
#pragma once

#include <istream>
#include <ostream>

#include "fab_export.h"

namespace UTIL {
class SYMBOL_TABLE;
}
class NLG_IGRAPH;
class NLG_IANNSS;

class FAB_EXPORT TESSEL_API {
  public:
    // Formats of this interface; they differ from the frame formats of the library.
    enum FORMAT { FORMAT_BIN = 0, FORMAT_PB_BIN = 1, FORMAT_PB_TXT = 2 };

    virtual const char* get_version() = 0;
    // A null table makes a new one.
    virtual NLG_IGRAPH* create_graph(UTIL::SYMBOL_TABLE* table) = 0;
    virtual UTIL::SYMBOL_TABLE* get_symbol_table(NLG_IGRAPH* graph) = 0;
    virtual bool read_graph(NLG_IGRAPH* graph, std::istream& stream, int format) = 0;
    virtual bool write_graph(NLG_IGRAPH* graph, std::ostream& stream, int format) = 0;
    virtual NLG_IANNSS* create_annss(NLG_IGRAPH* graph) = 0;
    virtual bool write_annss(NLG_IANNSS* annss, std::ostream& stream, int format) = 0;
    virtual bool read_annss(NLG_IANNSS* annss, std::istream& stream, int format) = 0;

  protected:
    ~TESSEL_API() = default;
};
