// Verilog of the model as yosys reads it: cells.v holds the mux cells and primitives as
// blackboxes with attributes (read with -lib), rtl.v the RTL modules, blc.v the BLC modules.
//  1. Every name that is not a plain identifier (bits "in[0]", "IO__-") is an escaped
//     identifier, so that each netlist port stays one scalar port of exactly that name.
//  2. A net takes the name of one of its module ports when it has any (an input first), and
//     the module's other ports on it are assigned from that one; otherwise it is a wire.
//  3. Cell instances repeat the cell's parameters, strings with their quotes.
#include <cctype>

#include "devgen/devgen_files.h"

namespace DEVGEN {

namespace {

std::string id(const std::string& name) {
    bool plain =
        !name.empty() && (std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_');
    for (char c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '$') plain = false;
    // Keywords that a generated name could collide with.
    static const char* const KEYWORDS[] = {
        "and", "assign", "bit", "buf",    "logic", "end",     "inout",   "input", "module", "nand",
        "nor", "not",    "or",  "output", "reg",   "supply0", "supply1", "tri",   "wire",   "xor"};
    for (const char* k : KEYWORDS)
        if (name == k) plain = false;
    return plain ? name : "\\" + name + " ";
}

const char* direction(uint32_t dir) {
    return dir == DG_IN ? "input" : dir == DG_OUT ? "output" : "inout";
}

bool is_cell(const DG_MODULE& m) {
    return !m.m_attributes.empty();
}

void write_header(const DG_MODULE& m, std::ostream& out) {
    for (const auto& a : m.m_attributes) out << "(* " << a.first << " = " << a.second << " *)\n";
    out << "module " << id(m.m_name);
    if (!m.m_parameters.empty()) {
        out << " #(";
        for (size_t k = 0; k < m.m_parameters.size(); ++k)
            out << (k ? ", " : "") << "parameter " << m.m_parameters[k].first << " = "
                << m.m_parameters[k].second;
        out << ")";
    }
    out << " (";
    for (size_t k = 0; k < m.m_ports.size(); ++k) out << (k ? ", " : "") << id(m.m_ports[k].m_name);
    out << ");\n";
    for (const DG_PORT& p : m.m_ports)
        out << "  " << direction(p.m_dir) << " " << id(p.m_name) << ";\n";
}

void write_body(const DG_NETLIST& n, const DG_MODULE& m, std::ostream& out) {
    std::vector<std::string> net_names(m.m_nets.size());
    for (size_t k = 0; k < m.m_nets.size(); ++k) {
        const DG_NET& net = m.m_nets[k];
        if (net.m_ports.empty()) {
            net_names[k] = "n" + std::to_string(k) + "_" + net.m_name;
            out << "  wire " << id(net_names[k]) << ";\n";
            continue;
        }
        int32_t head = net.m_ports[0];
        for (int32_t p : net.m_ports)
            if (m.m_ports[static_cast<size_t>(p)].m_dir == DG_IN) {
                head = p;
                break;
            }
        net_names[k] = m.m_ports[static_cast<size_t>(head)].m_name;
        for (int32_t p : net.m_ports)
            if (p != head)
                out << "  assign " << id(m.m_ports[static_cast<size_t>(p)].m_name) << " = "
                    << id(net_names[k]) << ";\n";
    }
    for (const DG_INSTANCE& i : m.m_instances) {
        const DG_MODULE& def = n.module(i.m_module);
        out << "  " << id(def.m_name);
        if (!def.m_parameters.empty()) {
            out << " #(";
            for (size_t k = 0; k < def.m_parameters.size(); ++k)
                out << (k ? ", " : "") << "." << def.m_parameters[k].first << "("
                    << def.m_parameters[k].second << ")";
            out << ")";
        }
        out << " " << id(i.m_name) << " (";
        for (size_t k = 0; k < i.m_conns.size(); ++k)
            out << (k ? ", " : "") << "."
                << id(def.m_ports[static_cast<size_t>(i.m_conns[k].first)].m_name) << "("
                << id(net_names[static_cast<size_t>(i.m_conns[k].second)]) << ")";
        out << ");\n";
    }
}

void write_modules(const DG_NETLIST& n, std::ostream& out, bool cells) {
    for (const DG_MODULE& m : n.modules()) {
        if (is_cell(m) != cells) continue;
        write_header(m, out);
        if (!cells) write_body(n, m, out);
        out << "endmodule\n\n";
    }
}

}  // namespace

void dg_write_rtl_verilog(const DG_DEVICE& d, std::ostream& out) {
    out << "// RTL view of the generated device '" << d.params().m_name
        << "'; read cells.v with -lib first.\n\n";
    write_modules(d.rtl(), out, false);
}

void dg_write_blc_verilog(const DG_DEVICE& d, std::ostream& out) {
    out << "// Block-level view of the generated device '" << d.params().m_name << "'.\n\n";
    write_modules(d.blc(), out, false);
}

void dg_write_cells_verilog(const DG_DEVICE& d, std::ostream& out) {
    out << "// Mux cells and primitives of the generated device '" << d.params().m_name
        << "': blackboxes, read with -lib.\n\n";
    write_modules(d.rtl(), out, true);
    // A cell that the mux file still describes but the RTL no longer uses: declared, never
    // instantiated, so that the translator meets its description and warns.
    DG_MODULE ghost;
    ghost.m_name = "ghost_mux";
    ghost.m_attributes = {{"fab_mux", "1"}};
    ghost.m_parameters = {{"CLASS", "\"H\""}, {"LENGTH", "3"}, {"DIR", "\"R\""}};
    ghost.m_ports.resize(2);
    ghost.m_ports[0].m_name = "muxin[0]";
    ghost.m_ports[0].m_dir = DG_IN;
    ghost.m_ports[1].m_name = "muxout";
    ghost.m_ports[1].m_dir = DG_OUT;
    write_header(ghost, out);
    out << "endmodule\n\n";
}

}  // namespace DEVGEN
