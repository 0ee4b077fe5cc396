// The deep comparison of two netlist graphs.
// 1. Module counts, then each module with the one at its index: id, name and raw file-line,
//    then its ports, instances and nets, each pair by the same three first.
// 2. Ports add their net, their connection and the sizes of their four fan lists; instances
//    their port references; nets the ids of the ports and references they list.
// 3. Last the filename tables, by size and by symbol value.
// Every check returns false at its first difference after writing one line.
#include "nlg/nlg_graph_compare.h"

#include <ostream>

#include "nlg/nlg_graph.h"
#include "util/util_symbol.h"

namespace {

using NS_SYMBOL::SYM;

uint32_t fileline_value(const NLG_IGRAPH_NODE& object) {
    return static_cast<const NLG_FILELINE*>(object.get_fileline())->get_value();
}

bool same_head(const NLG_IGRAPH_NODE& a, const NLG_IGRAPH_NODE& b) {
    return a.get_id() == b.get_id() && a.get_name() == b.get_name() &&
           fileline_value(a) == fileline_value(b);
}

const char* connection(const void* net) {
    return net ? "connected" : "unconnected";
}

template <class T>
size_t list_size(const std::vector<T>* list) {
    return list ? list->size() : 0;
}

class COMPARE {
  public:
    explicit COMPARE(std::ostream& out) : m_out(out) {}

    bool graphs(const NLG_GRAPH& a, const NLG_GRAPH& b);

  private:
    bool module(const NLG_MODULE& a, const NLG_MODULE& b, int32_t index);
    bool port(const NLG_PORT& a, const NLG_PORT& b, SYM module_name, int32_t index);
    bool fan_lists(const NLG_PORT& a, const NLG_PORT& b, SYM module_name);
    bool instance(const NLG_INSTANCE& a, const NLG_INSTANCE& b, SYM module_name, int32_t index);
    bool portref(const NLG_PORT_REF& a, const NLG_PORT_REF& b, SYM name, SYM module_name,
                 int32_t index);
    bool net(const NLG_NET& a, const NLG_NET& b, SYM module_name, int32_t index);

    // "{" id ":" name ":" file-line "} v.s. {" ... "}", then the line end.
    void heads(const NLG_IGRAPH_NODE& a, const NLG_IGRAPH_NODE& b) {
        m_out << a.get_id().get_value() << ":" << a.get_name() << ":" << fileline_value(a)
              << "} v.s. {" << b.get_id().get_value() << ":" << b.get_name() << ":"
              << fileline_value(b) << "}" << std::endl;
    }
    // head name " on module " module " at location " index " : " a " v.s. " b
    template <class A, class B>
    bool differ(const char* head, SYM name, SYM module_name, int32_t index, const A& a,
                const B& b) {
        m_out << head << name << " on module " << module_name << " at location " << index << " : "
              << a << " v.s. " << b << std::endl;
        return false;
    }

    std::ostream& m_out;
};

bool COMPARE::graphs(const NLG_GRAPH& a, const NLG_GRAPH& b) {
    if (a.get_num_modules() != b.get_num_modules()) {
        m_out << "different number of modules " << a.get_num_modules() << " v.s. "
              << b.get_num_modules() << std::endl;
        return false;
    }
    for (uint32_t m = 0; m < a.get_num_modules(); ++m) {
        const int32_t index = static_cast<int32_t>(m);
        if (!module(*a.module(index), *b.module(index), index)) return false;
    }
    const std::vector<SYM>& files_a = a.get_filenames();
    const std::vector<SYM>& files_b = b.get_filenames();
    if (files_a.size() != files_b.size()) {
        m_out << "different number of fileline_filename vector " << files_a.size() << " v.s. "
              << files_b.size() << std::endl;
        return false;
    }
    for (size_t f = 0; f < files_a.size(); ++f) {
        if (files_a[f] == files_b[f]) continue;
        // Both names are taken from the first graph, as the line has always shown them.
        m_out << "fileline differ {" << files_a[f] << "} v.s. {" << files_a[f] << "}" << std::endl;
        return false;
    }
    return true;
}

bool COMPARE::module(const NLG_MODULE& a, const NLG_MODULE& b, int32_t index) {
    if (!same_head(a, b)) {
        // The first id switches the stream to hexadecimal, and the rest of the line follows.
        m_out << "different module at location " << index << ": {" << std::hex;
        heads(a, b);
        m_out << std::dec;
        return false;
    }
    const SYM name = a.get_name();
    if (a.get_num_ports() != b.get_num_ports()) {
        m_out << "different number of ports on module " << name << " : " << a.get_num_ports()
              << " v.s. " << b.get_num_ports() << std::endl;
        return false;
    }
    for (uint32_t p = 0; p < a.get_num_ports(); ++p) {
        const int32_t i = static_cast<int32_t>(p);
        if (!port(*a.port(i), *b.port(i), name, i)) return false;
    }
    if (a.get_num_instances() != b.get_num_instances()) {
        m_out << "different number of instances on module " << name << " : "
              << a.get_num_instances() << " v.s. " << b.get_num_instances() << std::endl;
        return false;
    }
    for (uint32_t n = 0; n < a.get_num_instances(); ++n) {
        const int32_t i = static_cast<int32_t>(n);
        if (!instance(*a.instance(i), *b.instance(i), name, i)) return false;
    }
    if (a.get_num_nets() != b.get_num_nets()) {
        m_out << "different number of nets on module " << name << " : " << a.get_num_nets()
              << " v.s. " << b.get_num_nets() << std::endl;
        return false;
    }
    for (uint32_t n = 0; n < a.get_num_nets(); ++n) {
        const int32_t i = static_cast<int32_t>(n);
        if (!net(*a.net(i), *b.net(i), name, i)) return false;
    }
    return true;
}

bool COMPARE::port(const NLG_PORT& a, const NLG_PORT& b, SYM module_name, int32_t index) {
    if (!same_head(a, b)) {
        m_out << "different port on module " << module_name << " at location " << index << ": {";
        heads(a, b);
        return false;
    }
    const NLG_INET* net_a = a.get_net();
    const NLG_INET* net_b = b.get_net();
    if (net_a && net_b && net_a->get_name() != net_b->get_name()) {
        return differ("different net of port ", a.get_name(), module_name, index, net_a->get_name(),
                      net_b->get_name());
    }
    if (!net_a != !net_b) {
        return differ("different connectivity of port ", a.get_name(), module_name, index,
                      connection(net_a), connection(net_b));
    }
    return fan_lists(a, b, module_name);
}

// Only the sizes count; a missing list differs from a present one even when that is empty.
bool COMPARE::fan_lists(const NLG_PORT& a, const NLG_PORT& b, SYM module_name) {
    const bool same_presence[4] = {!a.get_fanout_ports() == !b.get_fanout_ports(),
                                   !a.get_fanin_ports() == !b.get_fanin_ports(),
                                   !a.get_fanout_refs() == !b.get_fanout_refs(),
                                   !a.get_fanin_refs() == !b.get_fanin_refs()};
    const size_t sizes_a[4] = {list_size(a.get_fanout_ports()), list_size(a.get_fanin_ports()),
                               list_size(a.get_fanout_refs()), list_size(a.get_fanin_refs())};
    const size_t sizes_b[4] = {list_size(b.get_fanout_ports()), list_size(b.get_fanin_ports()),
                               list_size(b.get_fanout_refs()), list_size(b.get_fanin_refs())};
    for (int list = 0; list < 4; ++list) {
        if (same_presence[list] && sizes_a[list] == sizes_b[list]) continue;
        m_out << "different number of fanout on port " << a.get_name() << " of module "
              << module_name << " : " << sizes_a[list] << " v.s. " << sizes_b[list] << std::endl;
        return false;
    }
    return true;
}

bool COMPARE::instance(const NLG_INSTANCE& a, const NLG_INSTANCE& b, SYM module_name,
                       int32_t index) {
    if (!same_head(a, b)) {
        m_out << "different instance on module " << module_name << " at location " << index
              << ": {";
        heads(a, b);
        return false;
    }
    if (a.get_num_portrefs() != b.get_num_portrefs()) {
        return differ("different number of portrefs on instance ", a.get_name(), module_name, index,
                      a.get_num_portrefs(), b.get_num_portrefs());
    }
    for (uint32_t r = 0; r < a.get_num_portrefs(); ++r) {
        const int32_t i = static_cast<int32_t>(r);
        if (!portref(*a.portref(i), *b.portref(i), a.get_name(), module_name, index)) return false;
    }
    return true;
}

// `index` is the instance's location: the lines name the instance, not the reference.
bool COMPARE::portref(const NLG_PORT_REF& a, const NLG_PORT_REF& b, SYM name, SYM module_name,
                      int32_t index) {
    if (a.get_id() != b.get_id()) {
        return differ("different portref of instance ", name, module_name, index,
                      a.get_id().get_value(), b.get_id().get_value());
    }
    if (a.get_port()->get_name() != b.get_port()->get_name()) {
        return differ("different port on portref of instance ", name, module_name, index,
                      a.get_port()->get_name(), b.get_port()->get_name());
    }
    const NLG_INET* net_a = a.get_net();
    const NLG_INET* net_b = b.get_net();
    if (net_a && net_b && net_a->get_name() != net_b->get_name()) {
        return differ("different net on portref of instance ", name, module_name, index,
                      net_a->get_name(), net_b->get_name());
    }
    if (!net_a != !net_b) {
        return differ("different connectivity on portref of instance ", name, module_name, index,
                      connection(net_a), connection(net_b));
    }
    return true;
}

bool COMPARE::net(const NLG_NET& a, const NLG_NET& b, SYM module_name, int32_t index) {
    if (!same_head(a, b)) {
        m_out << "different net on module " << module_name << " at location " << index << ": {";
        heads(a, b);
        return false;
    }
    const SYM name = a.get_name();
    if (a.get_num_ports() != b.get_num_ports()) {
        return differ("different number of ports on net ", name, module_name, index,
                      a.get_num_ports(), b.get_num_ports());
    }
    if (a.get_num_portrefs() != b.get_num_portrefs()) {
        return differ("different number of portrefs on net ", name, module_name, index,
                      a.get_num_portrefs(), b.get_num_portrefs());
    }
    for (uint32_t p = 0; p < a.get_num_ports(); ++p) {
        const NLG_ID id_a = a.get_port(static_cast<int32_t>(p))->get_id();
        const NLG_ID id_b = b.get_port(static_cast<int32_t>(p))->get_id();
        if (id_a != id_b) {
            return differ("different port of net ", name, module_name, index, id_a.get_value(),
                          id_b.get_value());
        }
    }
    for (uint32_t r = 0; r < a.get_num_portrefs(); ++r) {
        const NLG_ID id_a = a.get_portref(static_cast<int32_t>(r))->get_id();
        const NLG_ID id_b = b.get_portref(static_cast<int32_t>(r))->get_id();
        if (id_a != id_b) {
            return differ("different portref of net ", name, module_name, index, id_a.get_value(),
                          id_b.get_value());
        }
    }
    return true;
}

}  // namespace

bool compare_graphs(const NLG_GRAPH& a, const NLG_GRAPH& b, std::ostream& out) {
    a.get_symbol_table()->init_name_fast();
    b.get_symbol_table()->init_name_fast();
    return COMPARE(out).graphs(a, b);
}
