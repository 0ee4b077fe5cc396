// Digest lines: modules sorted by name; under each, its paths, ports and instances, each group
// sorted as text. Settings of a path are "subpath=value", sorted; absent fields print "-".
#include "prep/prep_digest.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "ann/annss.h"
#include "devgen/devgen_digest.h"
#include "nlg_igraph.h"

namespace {

std::string symbol_text(bool has, const PB::SYMBOL& symbol) {
    return has ? NS_SYMBOL::SYM(symbol.value()).get_name() : "-";
}

std::string mux_type(int type) {
    return PB::MUX_DESCRIPTION::MUXTYPE_Name(static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(type));
}

std::string port_name(const NLG_IMODULE& m, int32_t index) {
    return index >= 0 && static_cast<uint32_t>(index) < m.get_num_ports()
               ? m.get_port(index)->get_name().get_name()
               : "?";
}

std::vector<std::string> path_lines(const NLG_IMODULE& m, const PB::ICDB::MODULE& r) {
    return DEVGEN::dg_digest_path_lines(r, [&m](int i) { return port_name(m, i); });
}

std::string port_line(const std::string& name, const PB::ICDB::APORT& r) {
    std::ostringstream s;
    s << "  port " << name << " re=" << (r.has_re_name() ? mux_type(r.re_name()) : "-")
      << " index=" << (r.has_re_index() ? std::to_string(r.re_index()) : "-")
      << " logical=" << symbol_text(r.has_logical_name(), r.logical_name())
      << " inserted=" << DEVGEN::dg_digest_flag(r.has_is_inserted_re(), r.is_inserted_re())
      << " route=" << DEVGEN::dg_digest_flag(r.has_is_route_type_normal(), r.is_route_type_normal())
      << " merge=" << (r.has_merge_type() ? PB::ICDB::APORT::MERGE_TYPE_Name(r.merge_type()) : "-")
      << " primary=" << DEVGEN::dg_digest_flag(r.has_is_primary_port(), r.is_primary_port())
      << " flyover="
      << (r.has_spare_row_flyover_out() ? std::to_string(r.spare_row_flyover_out()) : "-");
    return s.str();
}

void write_module(const std::string& view, const NLG_IMODULE& m, NLG_ICDB_ANNS& icdb,
                  std::ostream& out) {
    const PB::ICDB::MODULE& r = icdb.get_module(m);
    out << view << " module " << m.get_name().get_name()
        << " level=" << (r.has_level() ? PB::ICDB::MODULE::LEVEL_Name(r.level()) : "-")
        << " routing=" << DEVGEN::dg_digest_flag(r.has_is_routing(), r.is_routing())
        << " logical=" << symbol_text(r.has_logical_name(), r.logical_name()) << "/"
        << symbol_text(r.has_logical_impl(), r.logical_impl()) << " size=" << r.pnr_height() << "x"
        << r.pnr_width()
        << " re_ports=" << DEVGEN::dg_digest_flag(r.has_has_port_with_re(), r.has_port_with_re());
    if (r.has_mux_desc()) out << DEVGEN::dg_digest_mux_line(r.mux_desc());
    out << "\n";
    for (const std::string& line : path_lines(m, r)) out << line << "\n";
    std::vector<std::string> lines;
    for (uint32_t p = 0; p < m.get_num_ports(); ++p) {
        const NLG_IPORT& port = *m.get_port(static_cast<int32_t>(p));
        const PB::ICDB::APORT& pr = icdb.get_port(port);
        if (pr.ByteSizeLong() > 0) lines.push_back(port_line(port.get_name().get_name(), pr));
    }
    std::sort(lines.begin(), lines.end());
    for (const std::string& line : lines) out << line << "\n";
    lines.clear();
    for (uint32_t i = 0; i < m.get_num_instances(); ++i) {
        const NLG_IINSTANCE& instance = *m.get_instance(static_cast<int32_t>(i));
        const PB::ICDB::INSTANCE& ir = icdb.get_instance(instance);
        if (ir.ByteSizeLong() == 0) continue;
        std::ostringstream s;
        s << "  instance " << instance.get_name().get_name();
        if (ir.has_pnr_x()) s << " at=" << ir.pnr_x() << "," << ir.pnr_y() << "," << ir.pnr_z();
        if (ir.has_mux_desc()) s << DEVGEN::dg_digest_mux_line(ir.mux_desc());
        lines.push_back(s.str());
    }
    std::sort(lines.begin(), lines.end());
    for (const std::string& line : lines) out << line << "\n";
}

}  // namespace

void prep_write_digest(const std::string& view, const NLG_IGRAPH& graph, NLG_IANNSS& annss,
                       std::ostream& out) {
    std::vector<const NLG_IMODULE*> modules;
    for (uint32_t i = 0; i < graph.get_num_modules(); ++i)
        modules.push_back(graph.get_module(static_cast<int32_t>(i)));
    std::sort(modules.begin(), modules.end(), [](const NLG_IMODULE* a, const NLG_IMODULE* b) {
        return a->get_name().get_name() < b->get_name().get_name();
    });
    for (const NLG_IMODULE* m : modules) write_module(view, *m, annss.get_icdb(), out);
}
