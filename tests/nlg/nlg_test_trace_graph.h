// A small builder of netlists for the tracer tests: ids are numbered per graph so that the
// annotation records (found by the low 24 bits of an id) line up with the objects, and every
// vector is reserved ahead so that pointers stay put while the graph grows.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ann/annss.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_test_graph.h"
#include "util/util_symbol.h"

namespace NLG_TEST {

class TRACE_GRAPH {
  public:
    static constexpr uint32_t ROOM = 24;

    TRACE_GRAPH() : m_graph(new NLG_GRAPH(nullptr, "root", 0)) { m_graph->reserve_modules(64); }

    NLG_GRAPH& graph() { return *m_graph; }
    NS_SYMBOL::SYM sym(const std::string& name) { return m_graph->get_symbol_table()->add(name); }

    NLG_MODULE* module(const std::string& name, uint32_t primitive_type = 0) {
        NLG_MODULE* m = new NLG_MODULE(sym(name), primitive_type,
                                       NLG_ID(NLG_ID::MODULE, m_graph->get_num_modules()),
                                       NLG_FILELINE(), false, ROOM, ROOM, ROOM);
        m_graph->add_module(m);
        return m;
    }
    NLG_PORT* port(NLG_MODULE* m, const std::string& name, uint32_t direction) {
        m->add_port(
            NLG_PORT(NLG_ID(NLG_ID::PORT, m_ports++), sym(name), direction, NLG_FILELINE()));
        return m->port(static_cast<int32_t>(m->get_num_ports()) - 1);
    }
    // A net of the module tying the given ports of the module.
    NLG_NET* net(NLG_MODULE* m, const std::string& name, std::vector<NLG_PORT*> ports = {}) {
        m->add_net(NLG_NET(NLG_ID(NLG_ID::NET, m_nets++), sym(name), NLG_FILELINE()));
        NLG_NET* n = m->net(static_cast<int32_t>(m->get_num_nets()) - 1);
        n->reserve_ports(ROOM);
        for (NLG_PORT* p : ports) n->connect_port(p);
        return n;
    }
    NLG_INSTANCE* instance(NLG_MODULE* parent, const std::string& name, NLG_MODULE* definition) {
        NLG_INSTANCE inst(sym(name), definition, NLG_ID(NLG_ID::INSTANCE, m_instances++),
                          NLG_FILELINE(), ROOM);
        parent->add_instance(inst);
        return parent->instance(static_cast<int32_t>(parent->get_num_instances()) - 1);
    }
    // Ties the instance's port (by name) to a net of the parent; a null net leaves the pin
    // without a net.
    NLG_PORT_REF* pin(NLG_INSTANCE* inst, const std::string& port_name, NLG_NET* net) {
        NLG_MODULE* def = inst->get_definition();
        NLG_IPORT* p = def->get_port(sym(port_name));
        int32_t net_index = net ? inst->get_parent_module()->get_net_index(net) : -1;
        inst->add_portref(p->get_index(), net_index, NLG_ID(NLG_ID::PORT_REF, m_refs++));
        return inst->portref_of_port(p->get_index());
    }

    // Records exist once the graph is complete.
    NLG_ANNSS& annotations() {
        if (!m_annss) {
            m_annss.reset(new NLG_ANNSS(*m_graph));
            m_annss->add_type(PB::ANNS::ICDB);
        }
        return *m_annss;
    }
    PB::ICDB_APORT& rec(NLG_IPORT* p) { return annotations().get_icdb().get_port(*p); }
    PB::ICDB_MODULE& rec(NLG_IMODULE* m) { return annotations().get_icdb().get_module(*m); }
    PB::ICDB_INSTANCE& rec(NLG_IINSTANCE* i) { return annotations().get_icdb().get_instance(*i); }

    void set_mux(NLG_MODULE* m, bool is_template, bool first_stage,
                 std::vector<std::pair<int, int>> paths) {
        PB::ICDB_MODULE& r = rec(m);
        r.mutable_mux_desc()->set_is_template(is_template);
        if (is_template) r.mutable_mux_desc()->set_is_first_stage(first_stage);
        for (auto& p : paths) {
            PB::ICDB_MODULE_PATH* path = r.add_paths();
            path->set_in(p.first);
            path->set_out(p.second);
        }
    }
    void set_instance_mux(NLG_INSTANCE* inst, bool first_stage) {
        PB::ICDB_INSTANCE& r = rec(inst);
        r.mutable_mux_desc()->set_is_template(false);
        r.mutable_mux_desc()->set_is_first_stage(first_stage);
    }

  private:
    std::unique_ptr<NLG_GRAPH> m_graph;
    std::unique_ptr<NLG_ANNSS> m_annss;
    uint32_t m_ports = 0, m_nets = 0, m_instances = 0, m_refs = 0;
};

// The primitive cells that the walks step through: inverter (5) a->y, buffer (7) a->y,
// tri-state driver (6) d, en -> y, and a primitive of another type (9).
struct PRIMITIVES {
    NLG_MODULE* inv;
    NLG_MODULE* buf;
    NLG_MODULE* tri;
    NLG_MODULE* odd;

    explicit PRIMITIVES(TRACE_GRAPH& t) {
        inv = two_pin(t, "INV", 5);
        buf = two_pin(t, "BUF", 7);
        odd = two_pin(t, "ODD", 9);
        tri = t.module("TRI", 6);
        t.port(tri, "d", NLG_IPORT::INPUT);
        t.port(tri, "en", NLG_IPORT::INPUT);
        t.port(tri, "y", NLG_IPORT::OUTPUT);
    }
    static NLG_MODULE* two_pin(TRACE_GRAPH& t, const char* name, uint32_t type) {
        NLG_MODULE* m = t.module(name, type);
        t.port(m, "a", NLG_IPORT::INPUT);
        t.port(m, "y", NLG_IPORT::OUTPUT);
        return m;
    }
};

}  // namespace NLG_TEST
