// The oracle digest: the annotations the generator designed, keyed by names only, in name order,
// so that annotations made by the preparation flow from the Verilog can be compared with it
// line by line whatever index order the importer chose. Mux indexes are left out for that reason.
#include <algorithm>
#include <sstream>

#include "devgen/devgen_digest.h"
#include "devgen/devgen_files.h"

namespace DEVGEN {

namespace {

std::string level_name(const PB::ICDB::MODULE& r) {
    return r.has_level() ? PB::ICDB::MODULE::LEVEL_Name(r.level()) : "-";
}

std::vector<std::string> path_lines(const DG_MODULE& m) {
    return dg_digest_path_lines(m.m_record,
                                [&m](int i) { return m.m_ports[static_cast<size_t>(i)].m_name; });
}

std::string port_line(const DG_PORT& p) {
    const PB::ICDB::APORT& r = p.m_record;
    std::ostringstream s;
    s << "  port " << p.m_name << " re=" << (r.has_re_name() ? dg_mux_type_name(r.re_name()) : "-")
      << " index=" << (r.has_re_index() ? std::to_string(r.re_index()) : "-")
      << " logical=" << (p.m_logical_name.empty() ? "-" : p.m_logical_name)
      << " inserted=" << dg_digest_flag(r.has_is_inserted_re(), r.is_inserted_re())
      << " route=" << dg_digest_flag(r.has_is_route_type_normal(), r.is_route_type_normal())
      << " merge=" << (r.has_merge_type() ? PB::ICDB::APORT::MERGE_TYPE_Name(r.merge_type()) : "-")
      << " primary=" << dg_digest_flag(r.has_is_primary_port(), r.is_primary_port()) << " flyover="
      << (r.has_spare_row_flyover_out() ? std::to_string(r.spare_row_flyover_out()) : "-");
    return s.str();
}

void write_view(const std::string& view, const DG_NETLIST& n, std::ostream& out) {
    std::vector<const DG_MODULE*> modules;
    for (const DG_MODULE& m : n.modules()) modules.push_back(&m);
    std::sort(modules.begin(), modules.end(),
              [](const DG_MODULE* a, const DG_MODULE* b) { return a->m_name < b->m_name; });
    for (const DG_MODULE* m : modules) {
        const PB::ICDB::MODULE& r = m->m_record;
        out << view << " module " << m->m_name << " level=" << level_name(r)
            << " routing=" << dg_digest_flag(r.has_is_routing(), r.is_routing())
            << " logical=" << (m->m_logical_name.empty() ? "-" : m->m_logical_name) << "/"
            << (m->m_logical_impl.empty() ? "-" : m->m_logical_impl) << " size=" << r.pnr_height()
            << "x" << r.pnr_width()
            << " re_ports=" << dg_digest_flag(r.has_has_port_with_re(), r.has_port_with_re());
        if (r.has_mux_desc()) out << dg_digest_mux_line(r.mux_desc());
        out << "\n";
        for (const std::string& line : path_lines(*m)) out << line << "\n";
        std::vector<std::string> ports;
        for (const DG_PORT& p : m->m_ports)
            if (p.m_has_record) ports.push_back(port_line(p));
        std::sort(ports.begin(), ports.end());
        for (const std::string& line : ports) out << line << "\n";
        std::vector<std::string> instances;
        for (const DG_INSTANCE& i : m->m_instances) {
            if (!i.m_has_record) continue;
            std::ostringstream s;
            s << "  instance " << i.m_name;
            if (i.m_record.has_pnr_x())
                s << " at=" << i.m_record.pnr_x() << "," << i.m_record.pnr_y() << ","
                  << i.m_record.pnr_z();
            if (i.m_record.has_mux_desc()) s << dg_digest_mux_line(i.m_record.mux_desc());
            instances.push_back(s.str());
        }
        std::sort(instances.begin(), instances.end());
        for (const std::string& line : instances) out << line << "\n";
    }
}

}  // namespace

void dg_write_oracle(const DG_DEVICE& d, std::ostream& out) {
    write_view("rtl", d.rtl(), out);
    write_view("blc", d.blc(), out);
}

}  // namespace DEVGEN
