// Text outputs of the generator: device.json, placements, protobuf text of the block-level data
// and mux descriptions, the hand-kept files; Verilog and the oracle live in their own files.
#include "devgen/devgen_files.h"

#include <fstream>
#include <functional>
#include <sstream>

#include <google/protobuf/text_format.h>

namespace DEVGEN {

namespace {

std::string quote(const std::string& s) {
    std::string r = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') r += '\\';
        r += c;
    }
    return r + "\"";
}

void write_map(std::ostream& out, const std::map<std::string, uint64_t>& m) {
    out << "{";
    const char* sep = "";
    for (const auto& e : m) {
        out << sep << quote(e.first) << ": " << e.second;
        sep = ", ";
    }
    out << "}";
}

std::string single_line(const google::protobuf::Message& m) {
    std::string s;
    google::protobuf::TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    printer.PrintToString(m, &s);
    while (!s.empty() && s.back() == ' ') s.pop_back();
    return s;
}

bool write_file(const std::string& path, const std::function<void(std::ostream&)>& body,
                std::string& error) {
    std::ofstream out(path);
    if (out) body(out);
    if (!out || !out.flush()) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

void write_graph_totals(std::ostream& out, const DG_NETLIST& n) {
    out << "{\"modules\": " << n.size() << ", \"ports\": " << n.count_ports()
        << ", \"nets\": " << n.count_nets() << ", \"instances\": " << n.count_instances()
        << ", \"portrefs\": " << n.count_portrefs() << "}";
}

void write_mux_settings(std::ostream& out, const DG_DEVICE& d) {
    out << "  \"mux_settings\": [\n";
    const char* sep = "";
    const PB::MUX_DESCRIPTIONS& mux = d.mux_descriptions();
    for (int k = 0; k < mux.mux_descriptions_size(); ++k) {
        const PB::MUX_DESCRIPTION& m = mux.mux_descriptions(k);
        if (m.settings_size() == 0) continue;
        out << sep << "    {\"module\": " << quote(m.name()) << ", \"mux_index\": " << k
            << ", \"paths\": [";
        sep = ",\n";
        for (int p = 0; p < m.settings_size(); ++p) {
            const PB::MUX_DESCRIPTION::SETTINGS& s = m.settings(p);
            const PB::MUX_DESCRIPTION::PATH& path = m.mux_paths(static_cast<int>(s.path_index()));
            out << (p ? ", " : "") << "\n      {\"in\": " << quote(path.in())
                << ", \"out\": " << quote(path.out())
                << ", \"hipi\": " << (path.is_hipi_path() ? "true" : "false") << ", \"setting\": {";
            for (int v = 0; v < s.setting_size(); ++v) {
                std::string sub;
                for (const std::string& n :
                     m.subpaths(static_cast<int>(s.setting(v).subpath_index())).name())
                    sub += (sub.empty() ? "" : "/") + n;
                out << (v ? ", " : "") << quote(sub) << ": " << quote(s.setting(v).value());
            }
            out << "}}";
        }
        out << "]}";
    }
    out << "\n  ]\n";
}

}  // namespace

void dg_write_json(const DG_DEVICE& d, std::ostream& out) {
    const DG_PARAMS& p = d.params();
    const DG_COUNTS& c = d.counts();
    auto list = [](const std::vector<int>& v) {
        std::string s = "[";
        for (size_t k = 0; k < v.size(); ++k) s += (k ? ", " : "") + std::to_string(v[k]);
        return s + "]";
    };
    out << "{\n  \"params\": {\"size\": " << quote(p.m_name) << ", \"seed\": " << p.m_seed
        << ", \"tracks\": " << p.m_tracks << ", \"lh\": " << list(p.m_lh)
        << ", \"lv\": " << list(p.m_lv) << ", \"fanin\": " << p.m_fanin
        << ", \"leim\": " << p.m_leim << ", \"leim_fanin\": " << p.m_leim_fanin
        << ", \"ll_tracks\": " << p.m_ll_tracks << ", \"ll_fanin\": " << p.m_ll_fanin
        << ", \"hipi\": " << p.m_hipi << ", \"hipi_fanin\": " << p.m_hipi_fanin
        << ", \"cells\": " << p.m_cells << ", \"imux_fanin\": " << p.m_imux_fanin << "},\n";
    std::vector<int> spare;
    for (int y = 0; y < p.m_rows; ++y)
        if (p.is_spare(y)) spare.push_back(y);
    out << "  \"grid\": {\"cols\": " << d.grid_cols() << ", \"rows\": " << d.grid_rows()
        << ", \"sector_rows\": " << p.m_sector_rows << ", \"sectors\": " << p.sectors()
        << ", \"spare_rows\": " << list(spare) << "},\n";
    out << "  \"sector_modules\": [\"sector\"],\n";
    out << "  \"counts\": {\n    \"routing_muxes\": ";
    write_map(out, c.m_muxes);
    out << ",\n    \"block_res\": ";
    write_map(out, c.m_block_res);
    out << ",\n    \"placements\": ";
    write_map(out, c.m_placements);
    out << ",\n    \"spare_placements\": " << c.m_spare_placements
        << ",\n    \"rtl_hier_nodes\": " << c.m_rtl_hier_nodes
        << ",\n    \"hybrid_hier_nodes\": " << c.m_blc_hier_nodes << ",\n    \"rtl_graph\": ";
    write_graph_totals(out, d.rtl());
    out << ",\n    \"blc_graph\": ";
    write_graph_totals(out, d.blc());
    out << ",\n    \"nodes\": ";
    write_map(out, c.m_nodes);
    // A block at (-1, -1) loses nodes in ways the count does not follow.
    out << ",\n    \"nodes_exact\": " << (p.m_warn ? "false" : "true");
    out << ",\n    \"edges_estimate\": ";
    write_map(out, c.m_edges_estimate);
    out << "\n  },\n  \"placements\": [\n";
    for (size_t k = 0; k < d.placements().size(); ++k) {
        const DG_PLACEMENT& pl = d.placements()[k];
        out << (k ? ",\n" : "") << "    {\"path\": " << quote(pl.m_path_text)
            << ", \"module\": " << quote(pl.m_module)
            << ", \"routing\": " << (pl.m_routing ? "true" : "false") << ", \"col\": " << pl.m_col
            << ", \"row\": " << pl.m_row << ", \"spare\": " << (pl.m_spare ? "true" : "false");
        if (!pl.m_uid.empty()) out << ", \"uid\": " << quote(pl.m_uid);
        out << "}";
    }
    out << "\n  ],\n";
    write_mux_settings(out, d);
    out << "}\n";
}

// One line per placement: its instance path, a blank, then the flat record in protobuf text.
void dg_write_placements(const DG_DEVICE& d, std::ostream& out) {
    for (const DG_PLACEMENT& pl : d.placements()) {
        PB::ICDB::FLAT_INSTANCE r;
        r.mutable_bposition()->set_col(pl.m_col);
        r.mutable_bposition()->set_row(pl.m_row);
        r.mutable_physical_position()->set_x(12.5f * static_cast<float>(pl.m_col));
        r.mutable_physical_position()->set_y(20.0f * static_cast<float>(pl.m_row));
        r.set_is_spare_row(pl.m_spare);
        if (!pl.m_uid.empty()) r.set_uid(pl.m_uid);
        out << pl.m_path_text << " " << single_line(r) << "\n";
    }
}

bool dg_write_files(const DG_DEVICE& d, const std::string& dir, std::string& error) {
    for (const auto& f : d.text_files())
        if (!write_file(
                dir + "/" + f.first, [&](std::ostream& o) { o << f.second; }, error))
            return false;
    auto text = [](const google::protobuf::Message& m) {
        std::string s;
        google::protobuf::TextFormat::PrintToString(m, &s);
        return s;
    };
    using WRITER = std::function<void(std::ostream&)>;
    const std::pair<const char*, WRITER> outputs[] = {
        {"blc_data.pb.txt", [&](std::ostream& o) { o << text(d.blc_data()); }},
        {"mux.pb.txt", [&](std::ostream& o) { o << text(d.mux_descriptions()); }},
        {"placements.pb.txt", [&](std::ostream& o) { dg_write_placements(d, o); }},
        {"device.json", [&](std::ostream& o) { dg_write_json(d, o); }},
        {"cells.v", [&](std::ostream& o) { dg_write_cells_verilog(d, o); }},
        {"rtl.v", [&](std::ostream& o) { dg_write_rtl_verilog(d, o); }},
        {"blc.v", [&](std::ostream& o) { dg_write_blc_verilog(d, o); }},
        {"oracle.txt", [&](std::ostream& o) { dg_write_oracle(d, o); }},
    };
    for (const auto& out : outputs)
        if (!write_file(dir + "/" + out.first, out.second, error)) return false;
    return true;
}

}  // namespace DEVGEN
