// A small matched pair of a netlist graph and a block-level graph, and a module match given
// by hand, for the views over both graphs.
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "nlg_imodule_match.h"
#include "nlg_test_graph.h"

namespace NLG_TEST {

// Twins by netlist module.
class TEST_MATCH : public NLG_IMODULE_MATCH {
  public:
    void add(const NLG_IMODULE* rtl, NLG_IMODULE* blc) { m_twins[rtl] = blc; }
    NLG_IMODULE* get_match(const NLG_IMODULE* module) const override {
        auto it = m_twins.find(module);
        return it == m_twins.end() ? nullptr : it->second;
    }
    void get_port_symbols(const NLG_IMODULE* module,
                          std::vector<NS_SYMBOL::SYM>& symbols) const override {
        for (uint32_t i = 0; i < module->get_num_ports(); ++i)
            symbols.push_back(module->get_port(static_cast<int32_t>(i))->get_name());
    }

  private:
    std::unordered_map<const NLG_IMODULE*, NLG_IMODULE*> m_twins;
};

// Netlist, 5 modules: top: t0:r1, t1:r2, port q; r1: port i; r2: r0:r3, ports i, o; r3; r4.
// Block level, 3 modules, own table: b0: k0:b2, k1:b2, port z; b1: k0:b2; b2: port w.
struct UNION_GRAPHS {
    std::unique_ptr<NLG_GRAPH> rtl{new NLG_GRAPH(nullptr, "rtl", 5)};
    std::unique_ptr<NLG_GRAPH> blc{new NLG_GRAPH(nullptr, "blc", 3)};
    NLG_MODULE* r[5];
    NLG_MODULE* b[3];

    UNION_GRAPHS() {
        r[0] = add_module(*rtl, "top", 0, NLG_FILELINE(), false, 1, 0, 2);
        r[1] = add_module(*rtl, "r1", 0, NLG_FILELINE(), false, 1, 0, 0);
        r[2] = add_module(*rtl, "r2", 0, NLG_FILELINE(), false, 2, 0, 1);
        r[3] = add_module(*rtl, "r3", 0, NLG_FILELINE(), false, 0, 0, 0);
        r[4] = add_module(*rtl, "r4", 0, NLG_FILELINE(), false, 0, 0, 0);
        add_port(*rtl, r[0], "q", NLG_IPORT::INPUT);
        add_port(*rtl, r[1], "i", NLG_IPORT::INPUT);
        add_port(*rtl, r[2], "i", NLG_IPORT::INPUT);
        add_port(*rtl, r[2], "o", NLG_IPORT::OUTPUT);
        add_instance(*rtl, r[0], "t0", r[1], 0);
        add_instance(*rtl, r[0], "t1", r[2], 0);
        add_instance(*rtl, r[2], "r0", r[3], 0);
        b[0] = add_module(*blc, "b0", 0, NLG_FILELINE(), false, 1, 0, 2);
        b[1] = add_module(*blc, "b1", 0, NLG_FILELINE(), false, 0, 0, 1);
        b[2] = add_module(*blc, "b2", 0, NLG_FILELINE(), false, 1, 0, 0);
        add_port(*blc, b[0], "z", NLG_IPORT::INPUT);
        add_port(*blc, b[2], "w", NLG_IPORT::OUTPUT);
        add_instance(*blc, b[0], "k0", b[2], 0);
        add_instance(*blc, b[0], "k1", b[2], 0);
        add_instance(*blc, b[1], "k0", b[2], 0);
    }
};

}  // namespace NLG_TEST
