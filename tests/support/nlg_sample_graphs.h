// Test support: small hand-numbered netlist graphs shared by the graph tests (every kind of
// object; an instance tree with hand-checked node numbers) and a netlist/block-level pair with
// a module match for the union views. Sketches stand in nlg_sample_graphs.cpp.
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "nlg_builders.h"
#include "nlg_imodule_match.h"

namespace NLG_TEST {

// Every kind of object: ports of each direction, nets with and without ports, references on
// and off nets, fan lists of each kind, file-lines; filenames f0..f3.
NLG_GRAPH* make_small_graph(UTIL::SYMBOL_TABLE* table = nullptr);

// top: u0:m0, u1:m1, ports a in, b out, c inout; m0: u1:m1, port p in; m1: ports x in, y out.
NLG_GRAPH* make_tree_graph(UTIL::SYMBOL_TABLE* table = nullptr);

// Twins by netlist module.
class TEST_MATCH : public NLG_IMODULE_MATCH {
  public:
    void add(const NLG_IMODULE* rtl, NLG_IMODULE* blc) { m_twins[rtl] = blc; }
    NLG_IMODULE* get_match(const NLG_IMODULE* module) const override;
    void get_port_symbols(const NLG_IMODULE* module,
                          std::vector<NS_SYMBOL::SYM>& symbols) const override;

  private:
    std::unordered_map<const NLG_IMODULE*, NLG_IMODULE*> m_twins;
};

// Netlist, 5 modules: top: t0:r1, t1:r2, port q; r1: port i; r2: r0:r3, ports i, o; r3; r4.
// Block level, 3 modules, own table: b0: k0:b2, k1:b2, port z; b1: k0:b2; b2: port w.
struct UNION_GRAPHS {
    std::unique_ptr<NLG_GRAPH> rtl, blc;
    NLG_MODULE* r[5];
    NLG_MODULE* b[3];
    UNION_GRAPHS();
};

}  // namespace NLG_TEST
