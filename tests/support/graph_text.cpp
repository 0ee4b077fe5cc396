// Test support: the canonical text of graph_text.h.
#include "graph_text.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace NLG_TEST {

namespace {

std::string name(const NLG_IPORT* p) {
    return p->get_name().get_name();
}
std::string name(const NLG_PORT_REF* r) {
    return r->get_instance()->get_name().get_name() + "." + name(r->get_port());
}

template <class LIST>
std::string list_text(const LIST* list) {
    if (!list) return "-";
    std::string text = "[";
    for (const auto* o : *list) text += name(o) + " ";
    return text + "]";
}

template <class T>
std::string fans(const T* o) {
    return " out " + list_text(o->get_fanout_ports()) + list_text(o->get_fanout_refs()) + " in " +
           list_text(o->get_fanin_ports()) + list_text(o->get_fanin_refs());
}

std::string fl(const NLG_IFILELINE* f) {
    return " fl " + std::to_string(static_cast<const NLG_FILELINE*>(f)->get_value()) + " ";
}

}  // namespace

std::string graph_text(const NLG_GRAPH& g, bool exact) {
    std::ostringstream os;
    if (exact)
        for (const NS_SYMBOL::SYM& f : g.get_filenames()) os << "file " << f.get_name() << "\n";
    for (uint32_t m = 0; m < g.get_num_modules(); ++m) {
        const NLG_MODULE* module = g.module(static_cast<int32_t>(m));
        os << "module " << module->get_name().get_name() << " prim "
           << module->get_primitive_type();
        if (exact)
            os << " unused " << module->get_unused_nonprimitive() << fl(module->get_fileline());
        os << "\n";
        for (uint32_t i = 0; i < module->get_num_ports(); ++i) {
            const NLG_PORT* p = module->port(static_cast<int32_t>(i));
            os << " port " << name(p) << " dir " << p->get_direction();
            if (exact) os << " net " << p->get_net_index() << fl(p->get_fileline()) << fans(p);
            os << "\n";
        }
        std::vector<std::string> nets;
        for (uint32_t i = 0; i < module->get_num_nets(); ++i) {
            const NLG_NET* n = module->net(static_cast<int32_t>(i));
            std::vector<std::string> ends;
            for (uint32_t k = 0; k < n->get_num_ports(); ++k)
                ends.push_back(name(n->get_port(static_cast<int32_t>(k))));
            for (uint32_t k = 0; k < n->get_num_portrefs(); ++k)
                ends.push_back(
                    name(static_cast<NLG_PORT_REF*>(n->get_portref(static_cast<int32_t>(k)))));
            if (!exact) std::sort(ends.begin(), ends.end());
            std::string line = " net";
            if (exact) line += " " + n->get_name().get_name() + fl(n->get_fileline());
            for (const std::string& end : ends) line += " " + end;
            nets.push_back(line);
        }
        if (!exact) std::sort(nets.begin(), nets.end());
        for (const std::string& line : nets) os << line << "\n";
        for (uint32_t i = 0; i < module->get_num_instances(); ++i) {
            const NLG_INSTANCE* inst = module->instance(static_cast<int32_t>(i));
            os << " inst " << inst->get_name().get_name() << " of "
               << inst->get_module()->get_name().get_name() << " pins " << inst->get_num_portrefs();
            if (exact) os << fl(inst->get_fileline());
            os << "\n";
            for (uint32_t k = 0; exact && k < inst->get_num_portrefs(); ++k) {
                const NLG_PORT_REF* r = inst->portref(static_cast<int32_t>(k));
                os << "  ref " << name(r->get_port()) << " net "
                   << (r->get_net() ? r->get_net()->get_name().get_name() : "none") << fans(r)
                   << "\n";
            }
        }
    }
    return os.str();
}

}  // namespace NLG_TEST
