// NLG_IGRAPH::IHPATH, a path cursor over a netlist graph for the hierarchy: it reads the
// caller's instance stack in place, so that setting it costs nothing. It owns neither the
// stack nor the hierarchy. NLG::HPATH in nlg/nlg_hierarchy implements it.
#pragma once

#include <vector>

#include "nlg_igraph.h"

class NLG_IGRAPH::IHPATH : public UTIL::IHIERARCHY::IPATH {
  public:
    using INSTANCES = std::vector<NLG_IINSTANCE*>;

    ~IHPATH() override = default;
    virtual void set_hierarchy(const UTIL::IHIERARCHY* hierarchy) = 0;
    // The stack is read in place and must outlive every query; a later change shows at once.
    // A path ends at an instance: port index invalid (-1), base module 0.
    virtual void set(const INSTANCES* instances) = 0;
    // A null port ends the path at an instance; a null module is base module 0.
    virtual void set(const INSTANCES* instances, const NLG_IPORT* port,
                     const NLG_IMODULE* module) = 0;
    virtual void set(const INSTANCES* instances, uint32_t port_index,
                     uint32_t base_module_index) = 0;
    virtual const INSTANCES* get_instances() const = 0;
};
