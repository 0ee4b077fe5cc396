// Export of the received routing graph as a nextpnr-generic architecture script.
//   1. Wires: one per node, located at the node's x and y, typed by its routing type or class.
//   2. Pips: one per distinct (source, destination) pair over all edge kinds, self loops left
//      out; a CRF edge that is a fixed connection (bridge, inserted RE) gets the kind CRF_FIXED,
//      one into a HIPI shadow node (a HIPI path, which the database does not hold) CRF_HIPI; the
//      delay is 0.05 ns plus 0.1 ns per unit of the destination's clipped length, so that the
//      router prefers short wires.
//   3. Bels: the atom ports grouped by block name and place make one bel each; its type is the
//      block name and its pins are the ports. The script keeps the data in literal tables and
//      makes the calls in three loops, which keeps loading fast.
#include "fab_run_nextpnr.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <tuple>
#include <unordered_set>

#include "util/util_gid.h"
#include "util/util_nodemap64.h"

namespace FAB_RUN {

namespace {

constexpr uint32_t ATOM_CLASS = 0;
constexpr uint32_t ROUTING_CLASS = 3;

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + "\"";
}

std::string wire_type(const CSR_BUILDER::NODE_RECORD& n) {
    return n.m_class == ROUTING_CLASS ? type_name(n.m_type)
                                      : CLASS_NAMES[n.m_class < 4 ? n.m_class : 3];
}

std::string sym_text(NS_SYMBOL::SYM symbol) {
    return symbol.is_known() ? symbol.get_name_fast() : "<UNKNOWN>";
}

void write_wires(std::ostream& os, const CSR_BUILDER& builder,
                 const std::vector<std::string>& names) {
    os << "W = [  # name, type, x, y\n";
    const std::vector<CSR_BUILDER::NODE_RECORD>& nodes = builder.nodes();
    for (size_t k = 0; k < nodes.size(); ++k)
        os << "(" << quoted(names[k]) << "," << quoted(wire_type(nodes[k])) << "," << nodes[k].m_x
           << "," << nodes[k].m_y << "),\n";
    os << "]\nfor n, t, x, y in W:\n    ctx.addWire(name=n, type=t, x=x, y=y)\n\n";
}

// HIPI shadow nodes: the sources of the VIRTUAL edges.
std::vector<bool> hipi_shadows(const CSR_BUILDER& builder) {
    const CSR_BUILDER::CSR& csr = builder.kind(3);
    std::vector<bool> shadow(builder.nodes().size(), false);
    for (size_t src = 0; src + 1 < csr.m_offsets.size(); ++src)
        shadow[src] = csr.m_offsets[src + 1] > csr.m_offsets[src];
    return shadow;
}

uint64_t write_pips(std::ostream& os, const CSR_BUILDER& builder, ARCH_COUNTS& counts) {
    const std::vector<CSR_BUILDER::NODE_RECORD>& nodes = builder.nodes();
    const std::vector<bool> shadow = hipi_shadows(builder);
    std::unordered_set<uint64_t> seen;
    uint64_t count = 0;
    constexpr int CRF_FIXED = CSR_BUILDER::N_KINDS, CRF_HIPI = CRF_FIXED + 1;
    os << "K = [\"CRF\", \"BLC\", \"FCD\", \"VIRTUAL\", \"CRF_FIXED\", \"CRF_HIPI\"]\n";
    os << "P = [  # source, destination, kind, delay in ns\n";
    for (int kind = 0; kind < CSR_BUILDER::N_KINDS; ++kind) {
        const CSR_BUILDER::CSR& csr = builder.kind(kind);
        for (size_t src = 0; src + 1 < csr.m_offsets.size(); ++src) {
            for (uint64_t e = csr.m_offsets[src]; e < csr.m_offsets[src + 1]; ++e) {
                const uint32_t dst = csr.m_targets[e];
                if (dst == src || !seen.insert(uint64_t(src) << 32 | dst).second) continue;
                const int32_t length = std::max(nodes[dst].m_clipped, 0);
                std::ostringstream delay;
                delay << 0.05 + 0.1 * length;
                const bool is_fixed = kind == 0 && csr.m_fixed[e];
                const bool is_hipi = kind == 0 && !is_fixed && shadow[dst];
                os << "(" << src << "," << dst << ","
                   << (is_fixed  ? CRF_FIXED
                       : is_hipi ? CRF_HIPI
                                 : kind)
                   << "," << delay.str() << "),\n";
                ++count;
                counts.m_fixed_crf += is_fixed;
                counts.m_hipi_crf += is_hipi;
            }
        }
    }
    os << "]\nfor s, d, k, t in P:\n"
          "    ctx.addPip(name=K[k] + \"|\" + W[s][0] + \">\" + W[d][0], type=K[k], "
          "srcWire=W[s][0], "
          "dstWire=W[d][0], delay=ctx.getDelayFromNS(t), loc=Loc(W[d][2], W[d][3], 0))\n\n";
    return count;
}

// Atom ports by block: (x, y, z, block) to the port nodes, in a fixed order.
using BLOCK_KEY = std::tuple<int32_t, int32_t, int32_t, std::string>;

uint64_t write_bels(std::ostream& os, const CSR_BUILDER& builder) {
    const std::vector<CSR_BUILDER::NODE_RECORD>& nodes = builder.nodes();
    std::map<BLOCK_KEY, std::vector<uint32_t>> blocks;
    for (size_t k = 0; k < nodes.size(); ++k) {
        const CSR_BUILDER::NODE_RECORD& n = nodes[k];
        if (n.m_class != ATOM_CLASS || n.m_port_direction > 1) continue;
        blocks[BLOCK_KEY(n.m_x, n.m_y, n.m_z, sym_text(NS_SYMBOL::SYM(n.m_type)))].push_back(
            static_cast<uint32_t>(k));
    }
    // nextpnr wants one bel per (x, y, z): blocks sharing a place get the next free z.
    std::map<std::pair<int32_t, int32_t>, int32_t> next_z;
    os << "B = [  # name, type, x, y, z, pins as (name, wire, is output)\n";
    for (const auto& block : blocks) {
        const int32_t x = std::get<0>(block.first), y = std::get<1>(block.first);
        const int32_t z = next_z[{x, y}]++;
        const std::string& type = std::get<3>(block.first);
        os << "("
           << quoted("X" + std::to_string(x) + "Y" + std::to_string(y) + "Z" + std::to_string(z) +
                     "_" + type)
           << "," << quoted(type) << "," << x << "," << y << "," << z << ",[";
        std::set<std::string> pins;
        for (uint32_t node : block.second) {
            const std::string pin = sym_text(nodes[node].m_port);
            if (!pins.insert(pin).second) continue;
            os << "(" << quoted(pin) << "," << node << "," << nodes[node].m_port_direction << "),";
        }
        os << "]),\n";
    }
    os << "]\nfor n, t, x, y, z, pins in B:\n"
          "    ctx.addBel(name=n, type=t, loc=Loc(x, y, z), gb=False, hidden=False)\n"
          "    for p, w, out in pins:\n"
          "        if out:\n"
          "            ctx.addBelOutput(bel=n, name=p, wire=W[w][0])\n"
          "        else:\n"
          "            ctx.addBelInput(bel=n, name=p, wire=W[w][0])\n";
    return blocks.size();
}

// Whether the database has a GID type: a node of another type never got a GID.
bool has_type(const UTIL::IGID_TYPES& types, PB::GID_TYPE::GCLASS gclass, NS_SYMBOL::SYM name,
              int32_t length) {
    for (uint32_t t = 0; t < types.get_n_gid_types(); ++t) {
        const UTIL::IGID_TYPE& type = types.get_gid_type(t);
        if (type.get_gclass() == gclass && type.get_name() == name && type.get_length() == length)
            return true;
    }
    return false;
}

}  // namespace

NAMING_BUILDER::NAMING_BUILDER(FAB::ITRANSLATE_BUILDER* translate) : m_translate(translate) {}

uint32_t NAMING_BUILDER::add_node(const FAB::ROUTING_GRAPH::NODE& node) {
    const uint32_t number = CSR_BUILDER::add_node(node);
    // An atom port both ways has no GID class; it keeps its number.
    const bool bidir_atom =
        node.get_re_class() == ATOM_CLASS && node.get_unique_port().get_direction() > 1;
    // The database has its GID table only once the floorplan fed it its dimensions.
    if (m_translate && !m_converter) m_converter.reset(m_translate->create_gid_converter());
    if (m_translate && !bidir_atom) {
        m_translate->fill_gid_fields(*m_converter, node);
        m_fields.push_back({m_converter->get_x(), m_converter->get_y(), m_converter->get_z(),
                            m_converter->get_i(), static_cast<int32_t>(m_converter->get_gclass()),
                            m_converter->get_name(), m_converter->get_length()});
    } else if (m_translate) {
        m_fields.push_back({0, 0, 0, 0, -1, NS_SYMBOL::SYM(), -1});
    }
    return number;
}

std::vector<std::string> NAMING_BUILDER::wire_names() const {
    std::vector<std::string> names(nodes().size());
    std::unordered_set<std::string> used;
    const UTIL::NODEMAP64* nodemap = m_translate ? m_translate->get_nodemap() : nullptr;
    for (size_t k = 0; k < names.size(); ++k) {
        if (nodemap && k < m_fields.size() && m_fields[k].m_gclass >= 0) {
            const GID_FIELDS& f = m_fields[k];
            const auto gclass = static_cast<PB::GID_TYPE::GCLASS>(f.m_gclass);
            const UTIL::IGID_TYPES& types = *m_translate->get_gid_types();
            uint64_t cached = 0, driver = 0;
            if (has_type(types, gclass, f.m_name, f.m_length)) {
                const uint64_t gid = m_converter->make_gid64(f.m_x, f.m_y, f.m_z, f.m_i, gclass,
                                                             f.m_name, f.m_length);
                if (nodemap->get_nodes(cached, driver, gid)) {
                    std::ostringstream text;
                    m_converter->set_gid64(gid);
                    text << *m_converter;
                    if (used.insert(text.str()).second) {
                        names[k] = text.str();
                        continue;
                    }
                }
            }
        }
        names[k] = "N" + std::to_string(k);
    }
    return names;
}

ARCH_COUNTS write_nextpnr_arch(std::ostream& os, const CSR_BUILDER& builder,
                               const std::vector<std::string>& names) {
    ARCH_COUNTS counts;
    os << "# Routing graph for nextpnr-generic, written by fab_run --nextpnr-arch.\n"
          "# Wires are named by GID text where the database knows the node, else N and the "
          "builder number.\n";
    write_wires(os, builder, names);
    counts.m_wires = names.size();
    counts.m_pips = write_pips(os, builder, counts);
    counts.m_bels = write_bels(os, builder);
    for (const std::string& name : names)
        if (name.find(':') != std::string::npos) ++counts.m_named_by_gid;
    return counts;
}

}  // namespace FAB_RUN
