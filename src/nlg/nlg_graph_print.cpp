// Print forms of the netlist graph objects: graph, module, port, net and instance, each under
// an indenting guard of step 3. Names print by the fast table, which each form readies on the
// table of the object's graph when there is one.
#include <ostream>
#include <string>

#include "nlg_igraph.h"
#include "util/util_indent.h"
#include "util/util_symbol.h"

namespace {

void ready_names(const NLG_IGRAPH* graph) {
    if (!graph) return;
    UTIL::SYMBOL_TABLE* table = graph->get_symbol_table();
    if (table) table->init_name_fast();
}

void ready_names(const NLG_IMODULE* module) {
    if (module) ready_names(module->get_graph());
}

// Decimal whatever the stream's base: other diagnostics leave streams in hexadecimal.
std::string decimal(NLG_ID id) {
    return std::to_string(id.get_value());
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const NLG_IPORT& port) {
    ready_names(port.get_parent());
    UTIL::INDENT guard(os, 3);
    os << "PORT {" << port.get_name() << ":" << decimal(port.get_id()) << "}" << std::endl;
    return os;
}

std::ostream& operator<<(std::ostream& os, const NLG_INET& net) {
    ready_names(net.get_parent());
    UTIL::INDENT guard(os, 3);
    os << "NET {" << net.get_name() << ":" << decimal(net.get_id()) << " "
       << "m_ports = {";
    const uint32_t n_ports = net.get_num_ports();
    for (uint32_t p = 0; p < n_ports; ++p) {
        os << static_cast<const void*>(net.get_port(static_cast<int32_t>(p))) << " ";
    }
    os << "}"
       << "}" << std::endl;
    return os;
}

std::ostream& operator<<(std::ostream& os, const NLG_IINSTANCE& instance) {
    ready_names(instance.get_parent());
    UTIL::INDENT guard(os, 3);
    os << "NLG_INSTANCE {" << std::endl << UTIL::indent;
    os << "m_name = " << instance.get_name() << std::endl;
    os << "m_id = " << decimal(instance.get_id()) << std::endl;
    os << "m_module = " << instance.get_module()->get_name() << std::endl;
    os << "m_parent = " << instance.get_parent()->get_name() << std::endl;
    os << UTIL::outdent << "}" << std::endl;
    return os;
}

// Instances are not part of a module's form.
std::ostream& operator<<(std::ostream& os, const NLG_IMODULE& module) {
    ready_names(&module);
    UTIL::INDENT guard(os, 3);
    os << "NLG_MODULE {" << std::endl << UTIL::indent;
    os << "m_name = " << module.get_name() << std::endl;
    os << "m_id = " << decimal(module.get_id()) << std::endl;
    os << "m_ports = {" << std::endl << UTIL::indent;
    const uint32_t n_ports = module.get_num_ports();
    for (uint32_t p = 0; p < n_ports; ++p) os << *module.get_port(static_cast<int32_t>(p));
    os << UTIL::outdent << "}" << std::endl;
    os << "m_nets = {" << std::endl << UTIL::indent;
    const uint32_t n_nets = module.get_num_nets();
    for (uint32_t n = 0; n < n_nets; ++n) os << *module.get_net(static_cast<int32_t>(n));
    os << UTIL::outdent << "}" << std::endl;
    os << UTIL::outdent << "}";
    return os;
}

// A graph without a table of its own prints "NULL" for it.
std::ostream& operator<<(std::ostream& os, const NLG_IGRAPH& graph) {
    ready_names(&graph);
    UTIL::INDENT guard(os, 3);
    os << "NLG_GRAPH {" << std::endl << UTIL::indent;
    os << "m_id = " << decimal(graph.get_id()) << std::endl;
    os << "m_symbol_table = ";
    const UTIL::SYMBOL_TABLE* table = graph.get_symbol_table();
    if (table) {
        os << *static_cast<const NS_SYMBOL::SYM_TABLE*>(table) << std::endl;
    } else {
        os << "NULL" << std::endl;
    }
    os << "m_name = " << graph.get_name() << std::endl;
    os << "m_modules = {" << std::endl << UTIL::indent;
    const uint32_t n_modules = graph.get_num_modules();
    for (uint32_t m = 0; m < n_modules; ++m) {
        os << *graph.get_module(static_cast<int32_t>(m)) << std::endl;
    }
    os << UTIL::outdent << "}" << std::endl;
    os << UTIL::outdent << "}" << std::endl;
    return os;
}
