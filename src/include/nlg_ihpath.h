// NLG_IGRAPH::IHPATH, a path cursor over a netlist graph for the hierarchy. Only its lifetime
// is declared so far; the cursor arrives with the hierarchy adapters.
#pragma once

#include "nlg_igraph.h"

class NLG_IGRAPH::IHPATH : public UTIL::IHIERARCHY::IPATH {
  public:
    ~IHPATH() override = default;
};
