// NLG_IMODULE_MATCH: which block-level module corresponds to a netlist module. It owns
// nothing; the views that ask it do not own it either.
#pragma once

#include <vector>

#include "ns_symbol.h"

class NLG_IMODULE;

class NLG_IMODULE_MATCH {
  public:
    virtual ~NLG_IMODULE_MATCH() = default;
    // The block-level twin of a netlist module, or null.
    virtual NLG_IMODULE* get_match(const NLG_IMODULE* module) const = 0;
    // One symbol per port of the module, in index order, in the block-level symbol table.
    virtual void get_port_symbols(const NLG_IMODULE* module,
                                  std::vector<NS_SYMBOL::SYM>& symbols) const = 0;
};
