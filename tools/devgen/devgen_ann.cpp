// The RTL records that the preparation passes give the device (top-level blocks, IP mapping,
// spare-row fly-over, inserted REs, block ports from BLC_DATA), the placements of the blocks,
// and the four hand-kept text files, each with the stale lines that such files collect.
//  1. The text passes' effects, in the order the preparation flow runs them.
//  2. The top-level port pass: sizes into the RTL record, each logical port bit onto its RTL
//     port (a port that the RTL lacks is left out, as the critical warning does).
//  3. One placement per block of each tile, in sector, row, column order.
#include <cctype>
#include <sstream>

#include "devgen/devgen_builder.h"
#include "util/util_assert.h"

namespace DEVGEN {

void DG_BUILDER::build() {
    declare_rtl();
    body_wrappers();
    body_rt_tile();
    body_rt_io();
    body_tiles();
    body_sector();
    body_top();
    m_d.m_rtl.finish();
    build_blc();
    m_d.m_blc.finish();
    annotate_blc();
    annotate_text_files();
    annotate_top_ports();
    describe_cells();
    describe_wrappers();
    apply_descriptions();
    place_blocks();
    write_text_files();
    m_d.m_sector_modules = {"sector"};
    count();
}

DG_DEVICE::DG_DEVICE(const DG_PARAMS& params) : m_params(params) {
    DG_BUILDER builder(*this);
    builder.build();
}

namespace {

// The leim outputs that insert_node.txt declares: even ones as LEIM, odd ones by the first-stage
// spelling of the same type.
std::string leim_type(int k) {
    return k % 2 == 0 ? "LEIM" : "LEIM_FIRST_STAGE";
}

DG_PORT& port(DG_NETLIST& n, const std::string& module, const std::string& name) {
    int32_t m = n.find_module(module);
    DG_PORT& p = n.module(m).m_ports[static_cast<size_t>(n.port_index(m, name))];
    p.m_has_record = true;
    return p;
}

}  // namespace

void DG_BUILDER::annotate_text_files() {
    DG_NETLIST& n = m_d.m_rtl;
    for (const char* b : {"logic_blk", "dsp_blk", "io_blk", "rt_io", "rt_tile"}) {
        PB::ICDB::MODULE& r = n.module(b).m_record;
        bool routing = b[0] == 'r';
        r.set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
        r.set_is_routing(routing);
        if (!routing) r.set_has_port_with_re(true);
    }
    const std::pair<const char*, std::pair<const char*, const char*>> mapping[] = {
        {"device_top", {"-", "-"}},
        {"dsp_blk", {"DSP", "FAST"}},
        {"io_blk", {"IO", "-"}},
        {"logic_blk", {"LOGIC", "DEFAULT"}}};
    for (const auto& m : mapping) {
        n.module(m.first).m_logical_name = m.second.first;
        n.module(m.first).m_logical_impl = m.second.second;
    }
    port(n, "logic_blk", "cin")
        .m_record.set_spare_row_flyover_out(n.port_index(n.find_module("logic_blk"), "cout"));
    n.module("rt_tile").m_record.set_has_port_with_re(true);
    PB::MUX_DESCRIPTION::MUXTYPE t = PB::MUX_DESCRIPTION::UNKNOWN;
    for (int k = 0; k < m_p.m_leim; ++k) {
        DG_PORT& p = port(n, "rt_tile", dg_bit("leim_out", k, m_p.m_leim));
        p.m_record.set_is_inserted_re(true);
        UTIL_ASSERT(dg_mux_type(leim_type(k), t));
        p.m_record.set_re_name(t);
    }
    DG_PORT& fb = port(n, "rt_tile", "fb_in");
    fb.m_record.set_is_inserted_re(true);
    fb.m_record.set_re_name(PB::MUX_DESCRIPTION::WM);
    port(n, "rt_mux_leim", "out").m_record.set_merge_type(PB::ICDB::APORT::MERGE);
}

void DG_BUILDER::annotate_top_ports() {
    DG_NETLIST& rtl = m_d.m_rtl;
    DG_NETLIST& blc = m_d.m_blc;
    for (const char* b : {"dsp_blk", "io_blk", "logic_blk"}) {
        DG_MODULE& rm = rtl.module(b);
        std::string key = rm.m_logical_name;
        if (rm.m_logical_impl != "DEFAULT") key += "__" + rm.m_logical_impl;
        int32_t bi = blc.find_module(key);
        DG_MODULE& bm = blc.module(bi);
        bm.m_record.set_level(PB::ICDB::MODULE::TOP_LEVEL_IP);
        rm.m_record.set_pnr_height(bm.m_record.pnr_height());
        rm.m_record.set_pnr_width(bm.m_record.pnr_width());
        const PB::BLC_DATA::ENTRY* entry = nullptr;
        for (const PB::BLC_DATA::ENTRY& e : m_d.m_blc_data.entries())
            if (e.module() == key) entry = &e;
        UTIL_ASSERT(entry);
        int32_t ri = rtl.find_module(b);
        for (const PB::BLC_DATA::PORT& bp : entry->ports())
            for (int k = 0; k < bp.width(); ++k) {
                std::string logical = dg_bit(bp.name(), k, bp.width());
                std::string icd = bp.has_icd_msb() ? bp.icd_port_name() + "[" +
                                                         std::to_string(bp.icd_lsb() + k) + "]"
                                                   : bp.icd_port_name();
                auto it = rtl.module(ri).m_port_map.find(icd);
                if (it == rtl.module(ri).m_port_map.end()) continue;  // not in the RTL
                const DG_PORT& lp = bm.m_ports[static_cast<size_t>(blc.port_index(bi, logical))];
                DG_PORT& rp = rtl.module(ri).m_ports[static_cast<size_t>(it->second)];
                rp.m_has_record = true;
                rp.m_logical_name = logical;
                rp.m_record.set_re_name(lp.m_record.re_name());
                rp.m_record.set_re_index(bp.first_re_index() + k);
                rp.m_record.set_is_route_type_normal(lp.m_record.is_route_type_normal());
            }
    }
}

void DG_BUILDER::place_blocks() {
    const DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    const DG_MODULE& sector = n.module(n.find_module("sector"));
    for (int s = 0; s < p.sectors(); ++s)
        for (int ly = 0; ly < p.m_sector_rows; ++ly)
            for (int x = 0; x < p.m_cols; ++x) {
                int y = s * p.m_sector_rows + ly;
                std::string tile = "t_x" + std::to_string(x) + "_y" + std::to_string(ly);
                int32_t ti = sector.m_instance_map.at(tile);
                const DG_MODULE& tm =
                    n.module(sector.m_instances[static_cast<size_t>(ti)].m_module);
                for (size_t b = 0; b < tm.m_instances.size(); ++b) {
                    const DG_MODULE& bm = n.module(tm.m_instances[b].m_module);
                    DG_PLACEMENT pl;
                    pl.m_path = {s, ti, static_cast<int32_t>(b)};
                    pl.m_path_text =
                        "sec" + std::to_string(s) + "/" + tile + "/" + tm.m_instances[b].m_name;
                    pl.m_module = bm.m_name;
                    pl.m_routing = bm.m_record.is_routing();
                    bool lost = p.m_warn && bm.m_name == "dsp_blk" && x == 2 && y == 0;
                    pl.m_col = lost ? -1 : x;
                    pl.m_row = lost ? -1 : y;
                    pl.m_spare = p.is_spare(y);
                    if (bm.m_name == "logic_blk")
                        pl.m_uid = "LOGIC_X" + std::to_string(x) + "Y" + std::to_string(y);
                    m_d.m_placements.push_back(pl);
                }
            }
}

void DG_BUILDER::write_text_files() {
    std::ostringstream top, map, fly, ins;
    top << "# name  routing-flag\n"
           "logic_blk 0\n"
           "dsp_blk 0\n"
           "io_blk 0\n"
           "rt_tile 1\n"
           "rt_io 1\n"
           "ghost_blk 0\n"
           "logic_blk 1 # would make the LOGIC a routing block: skipped whole\n";
    map << "device_top - -\n"
           "logic_blk logic default\n"
           "dsp_blk dsp fast\n"
           "io_blk io -\n"
           "ghost_blk ghost default\n"
           "rt_tile ROUTING DEFAULT # skipped whole: routing blocks stay unmapped\n";
    fly << "logic_blk cin cout\n"
           "logic_blk cin cout\n"
           "ghost_blk a b\n"
           "logic_blk nope cout\n";
    for (int k = 0; k < m_p.m_leim; ++k)
        ins << (k % 2 == 0 ? "" : "+ ") << "rt_tile " << dg_bit("leim_out", k, m_p.m_leim) << " "
            << leim_type(k) << "\n";
    ins << "+ rt_tile fb_in LONG1\n"
           "rt_tile leim_out[0] LEIM\n"
           "- rt_mux_leim out\n"
           "+ rt_tile\n"
           "+ ghost_mod p LEIM\n"
           "+ rt_tile no_such_port LEIM\n";
    m_d.m_text_files["top_blocks.txt"] = top.str();
    m_d.m_text_files["icd_to_pnr_mapping.txt"] = map.str();
    m_d.m_text_files["spare_row_flyover.txt"] = fly.str();
    m_d.m_text_files["insert_node.txt"] = ins.str();
}

}  // namespace DEVGEN
