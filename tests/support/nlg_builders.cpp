// Test support: the object builders of nlg_builders.h; one place makes each kind of object, the
// callers differ only in how they count serials and reserve room.
#include "nlg_builders.h"

#include <sstream>

namespace NLG_TEST {

namespace {

NLG_PORT* new_port(NLG_MODULE* m, NS_SYMBOL::SYM name, uint32_t direction, uint32_t serial,
                   NLG_FILELINE fileline) {
    m->add_port(NLG_PORT(NLG_ID(NLG_ID::PORT, serial), name, direction, fileline));
    return m->port(static_cast<int32_t>(m->get_num_ports()) - 1);
}

NLG_NET* new_net(NLG_MODULE* m, NS_SYMBOL::SYM name, uint32_t serial, NLG_FILELINE fileline) {
    m->add_net(NLG_NET(NLG_ID(NLG_ID::NET, serial), name, fileline));
    return m->net(static_cast<int32_t>(m->get_num_nets()) - 1);
}

NLG_INSTANCE* new_instance(NLG_MODULE* m, NS_SYMBOL::SYM name, NLG_MODULE* definition,
                           uint32_t serial, uint32_t n_portrefs, NLG_FILELINE fileline) {
    m->add_instance(
        NLG_INSTANCE(name, definition, NLG_ID(NLG_ID::INSTANCE, serial), fileline, n_portrefs));
    return m->instance(static_cast<int32_t>(m->get_num_instances()) - 1);
}

// Calls f(name, module) for each "name:module" of the text, the module found by name.
template <class F>
void for_each_instance(NLG_GRAPH& g, const std::string& text, F f) {
    std::istringstream in(text);
    for (std::string item; in >> item;) {
        const size_t colon = item.find(':');
        f(item.substr(0, colon), g.module(g.get_module_index(sym(g, item.substr(colon + 1)))));
    }
}

// The direction of a port word, ">name" an output, "=name" an inout, "name" an input, and its
// name.
std::pair<uint32_t, std::string> port_word(const std::string& word) {
    if (word[0] == '>') return {NLG_IPORT::OUTPUT, word.substr(1)};
    if (word[0] == '=') return {NLG_IPORT::INOUT, word.substr(1)};
    return {NLG_IPORT::INPUT, word};
}

}  // namespace

std::string fatal(const std::string& text) {
    std::string escaped;
    for (char ch : text) {
        if (std::string(".[]{}()\\*+?^$|").find(ch) != std::string::npos) escaped += '\\';
        escaped += ch;
    }
    return "IE [^ ]+:[0-9]+  " + escaped + " \n";
}

NLG_MODULE* add_module(NLG_GRAPH& g, const std::string& name, uint32_t primitive_type,
                       NLG_FILELINE fileline, bool unused, uint32_t n_ports, uint32_t n_nets,
                       uint32_t n_instances) {
    NLG_MODULE* m =
        new NLG_MODULE(sym(g, name), primitive_type, NLG_ID(NLG_ID::MODULE, g.get_num_modules()),
                       fileline, unused, n_ports, n_nets, n_instances);
    g.add_module(m);
    return m;
}

NLG_PORT* add_port(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name, uint32_t direction,
                   NLG_FILELINE fileline) {
    static uint32_t s_serial = 0;
    return new_port(m, sym(g, name), direction, s_serial++, fileline);
}

NLG_NET* add_net(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name, NLG_FILELINE fileline) {
    static uint32_t s_serial = 0;
    return new_net(m, sym(g, name), s_serial++, fileline);
}

NLG_INSTANCE* add_instance(NLG_GRAPH& g, NLG_MODULE* m, const std::string& name,
                           NLG_MODULE* definition, uint32_t n_portrefs, NLG_FILELINE fileline) {
    static uint32_t s_serial = 0;
    return new_instance(m, sym(g, name), definition, s_serial++, n_portrefs, fileline);
}

NLG_MODULE* BUILDER::module(const std::string& name, uint32_t n_ports, uint32_t n_instances) {
    return add_module(*m_graph, name, 0, NLG_FILELINE(), false, n_ports, 0, n_instances);
}

NLG_PORT* BUILDER::port(NLG_MODULE* m, const std::string& name, uint32_t direction) {
    return new_port(m, sym(name), direction, m_n_ports++, NLG_FILELINE());
}

NLG_INSTANCE* BUILDER::instance(NLG_MODULE* parent, const std::string& name,
                                NLG_MODULE* definition) {
    NLG_INSTANCE* added = new_instance(parent, sym(name), definition, m_n_instances++,
                                       definition->get_num_ports(), NLG_FILELINE());
    for (uint32_t p = 0; p < definition->get_num_ports(); ++p)
        added->add_portref(static_cast<int32_t>(p), -1, NLG_ID(NLG_ID::PORT_REF, m_n_refs++));
    return added;
}

NLG_MODULE* BUILDER::cell(const std::string& name, const std::string& ports, uint32_t n_instances) {
    std::vector<std::string> names;
    std::istringstream in(ports);
    for (std::string p; in >> p;) names.push_back(p);
    NLG_MODULE* m = module(name, static_cast<uint32_t>(names.size()), n_instances);
    for (const std::string& p : names) port(m, port_word(p).second, port_word(p).first);
    return m;
}

void BUILDER::instances(NLG_MODULE* parent, const std::string& text) {
    for_each_instance(*m_graph, text, [&](const std::string& name, NLG_MODULE* definition) {
        instance(parent, name, definition);
    });
}

TRACE_GRAPH::TRACE_GRAPH() : m_graph(new NLG_GRAPH(nullptr, "root", 0)) {
    m_graph->reserve_modules(64);
}

NLG_MODULE* TRACE_GRAPH::module(const std::string& name, uint32_t primitive_type) {
    return add_module(*m_graph, name, primitive_type, NLG_FILELINE(), false, ROOM, ROOM, ROOM);
}

NLG_PORT* TRACE_GRAPH::port(NLG_MODULE* m, const std::string& name, uint32_t direction) {
    return new_port(m, sym(name), direction, m_ports++, NLG_FILELINE());
}

NLG_NET* TRACE_GRAPH::net(NLG_MODULE* m, const std::string& name, std::vector<NLG_PORT*> ports) {
    NLG_NET* n = new_net(m, sym(name), m_nets++, NLG_FILELINE());
    n->reserve_ports(ROOM);
    for (NLG_PORT* p : ports) n->connect_port(p);
    return n;
}

NLG_INSTANCE* TRACE_GRAPH::instance(NLG_MODULE* parent, const std::string& name,
                                    NLG_MODULE* definition) {
    return new_instance(parent, sym(name), definition, m_instances++, ROOM, NLG_FILELINE());
}

NLG_PORT_REF* TRACE_GRAPH::pin(NLG_INSTANCE* inst, const std::string& port_name, NLG_NET* net) {
    NLG_IPORT* p = inst->get_definition()->get_port(sym(port_name));
    int32_t net_index = net ? inst->get_parent_module()->get_net_index(net) : -1;
    inst->add_portref(p->get_index(), net_index, NLG_ID(NLG_ID::PORT_REF, m_refs++));
    return inst->portref_of_port(p->get_index());
}

NLG_MODULE* TRACE_GRAPH::cell(const std::string& name, const std::string& ports,
                              uint32_t primitive) {
    NLG_MODULE* m = module(name, primitive);
    std::istringstream in(ports);
    for (std::string p; in >> p;) port(m, port_word(p).second, port_word(p).first);
    return m;
}

void TRACE_GRAPH::instances(NLG_MODULE* parent, const std::string& text) {
    for_each_instance(*m_graph, text, [&](const std::string& name, NLG_MODULE* definition) {
        instance(parent, name, definition);
    });
}

void TRACE_GRAPH::wire(NLG_MODULE* m, const std::string& text) {
    std::istringstream nets(text);
    for (std::string line; std::getline(nets, line, ';');) {
        std::istringstream in(line);
        std::string name;
        in >> name;
        NLG_NET* n = net(m, name.substr(0, name.size() - 1));
        for (std::string end; in >> end;) {
            const size_t dot = end.find('.');
            if (dot == std::string::npos)
                n->connect_port(port(m, end));
            else
                pin(inst(m, end.substr(0, dot)), end.substr(dot + 1), n);
        }
    }
}

NLG_INSTANCE* TRACE_GRAPH::inst(NLG_MODULE* parent, const std::string& name) {
    return parent->instance(parent->get_instance_index(sym(name)));
}

NLG_PORT* TRACE_GRAPH::port(NLG_MODULE* m, const std::string& name) {
    return m->port(m->get_port_index(m->get_port(sym(name))));
}

NLG_ANNSS& TRACE_GRAPH::annotations() {
    if (!m_annss) {
        m_annss.reset(new NLG_ANNSS(*m_graph));
        m_annss->add_type(PB::ANNS::ICDB);
    }
    return *m_annss;
}

void TRACE_GRAPH::set_mux(NLG_MODULE* m, bool is_template, bool first_stage,
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

void TRACE_GRAPH::set_instance_mux(NLG_INSTANCE* inst, bool first_stage) {
    PB::ICDB_INSTANCE& r = rec(inst);
    r.mutable_mux_desc()->set_is_template(false);
    r.mutable_mux_desc()->set_is_first_stage(first_stage);
}

PRIMITIVES::PRIMITIVES(TRACE_GRAPH& t) {
    inv = t.cell("INV", "a >y", 5);
    buf = t.cell("BUF", "a >y", 7);
    odd = t.cell("ODD", "a >y", 9);
    tri = t.cell("TRI", "d en >y", 6);
}

}  // namespace NLG_TEST
