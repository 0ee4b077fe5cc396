// What the generator designed, counted from its own model: routing muxes by type and block REs
// by type over the placed non-spare blocks, placements by module, hierarchy node totals; and a
// per-tile estimate of the routing graph's edges and the exact routing nodes by type.
//
// Estimate (per non-spare tile; NW = 2T(|LH|+|LV|) wire wrappers):
//   rt_tile CRF    = NW*F + 2*NH*FH + NL*FLEIM + TLL*FLL + 8
//   LOGIC BLC edges A*fL + 6A + 5, FCD 3; DSP BLC edges 7; IO tile CRF 2T|LH| + 1
//   CRF adds 2 bridges per LOGIC tile and NL inserted-RE edges per rt_tile; VIRTUAL is NH
//   per rt_tile (exact); BLC is exact.
// Wires that leave the grid lose their edges; the estimate does not subtract them.
#include <functional>

#include "devgen/devgen_builder.h"

namespace DEVGEN {

namespace {

// Hierarchy nodes of one occurrence of each module: itself, its instances' subtrees, its ports.
std::vector<uint64_t> hier_nodes(const DG_NETLIST& n) {
    std::vector<uint64_t> nodes(n.size(), 0);
    std::function<uint64_t(int32_t)> count = [&](int32_t mi) -> uint64_t {
        uint64_t& c = nodes[static_cast<size_t>(mi)];
        if (c) return c;
        const DG_MODULE& m = n.module(mi);
        uint64_t total = 1 + m.m_ports.size();
        for (const DG_INSTANCE& i : m.m_instances) total += count(i.m_module);
        c = total;
        return c;
    };
    for (size_t k = 0; k < n.size(); ++k) count(static_cast<int32_t>(k));
    return nodes;
}

}  // namespace

void DG_BUILDER::count() {
    const DG_NETLIST& n = m_d.m_rtl;
    DG_COUNTS& c = m_d.m_counts;
    // Routing muxes below a block: the walk stops at every PRIM_MUX and counts later stages.
    std::function<void(int32_t)> muxes = [&](int32_t mi) {
        for (const DG_INSTANCE& i : n.module(mi).m_instances) {
            const PB::ICDB::MODULE& r = n.module(i.m_module).m_record;
            if (r.level() != PB::ICDB::MODULE::PRIM_MUX) {
                muxes(i.m_module);
                continue;
            }
            const PB::ICDB::MODULE::MUX_DESC& d =
                r.mux_desc().is_template() ? r.mux_desc() : i.m_record.mux_desc();
            if (!d.is_first_stage()) ++c.m_muxes[dg_mux_type_name(d.mux_type())];
        }
    };
    for (const DG_PLACEMENT& pl : m_d.m_placements) {
        ++c.m_placements[pl.m_module];
        if (pl.m_spare) {
            ++c.m_spare_placements;
            continue;
        }
        int32_t mi = n.find_module(pl.m_module);
        if (pl.m_routing) muxes(mi);
        for (const DG_PORT& p : n.module(mi).m_ports)
            if (p.m_record.has_re_name()) ++c.m_block_res[dg_mux_type_name(p.m_record.re_name())];
    }
    std::vector<uint64_t> rtl_nodes = hier_nodes(n);
    std::vector<uint64_t> blc_nodes = hier_nodes(m_d.m_blc);
    c.m_rtl_hier_nodes = rtl_nodes[0];
    // The hybrid hierarchy puts each non-routing block's BLC contents under its RTL box.
    uint64_t hybrid = rtl_nodes[0];
    for (const DG_PLACEMENT& pl : m_d.m_placements) {
        if (pl.m_routing) continue;
        const DG_MODULE& box = n.module(n.find_module(pl.m_module));
        std::string key = box.m_logical_name;
        if (box.m_logical_impl != "DEFAULT") key += "__" + box.m_logical_impl;
        hybrid +=
            blc_nodes[static_cast<size_t>(m_d.m_blc.find_module(key))] - 1 - box.m_ports.size();
    }
    c.m_blc_hier_nodes = hybrid;

    expect_nodes();
    const DG_PARAMS& p = m_p;
    uint64_t nw = static_cast<uint64_t>(p.wire_muxes()), a = static_cast<uint64_t>(p.m_cells);
    uint64_t nl = static_cast<uint64_t>(p.m_leim), nh = static_cast<uint64_t>(p.m_hipi);
    uint64_t tll = static_cast<uint64_t>(p.m_ll_tracks);
    uint64_t crf = nw * static_cast<uint64_t>(p.m_fanin) +
                   2 * nh * static_cast<uint64_t>(p.m_hipi_fanin) +
                   nl * static_cast<uint64_t>(std::min(p.m_leim_fanin, 32)) +
                   tll * static_cast<uint64_t>(p.m_ll_fanin) + 8;
    uint64_t io_wires = 2 * static_cast<uint64_t>(p.m_tracks) * p.m_lh.size();
    std::map<std::string, uint64_t>& edges = c.m_edges_estimate;
    for (const DG_PLACEMENT& pl : m_d.m_placements) {
        if (pl.m_spare) continue;
        if (pl.m_module == "rt_tile") {
            edges["CRF"] += crf + nl;  // mux paths, then the inserted REs' own edges
            edges["VIRTUAL"] += nh;
        } else if (pl.m_module == "logic_blk") {
            edges["BLC"] += a * static_cast<uint64_t>(p.m_imux_fanin) + 6 * a + 5;
            edges["FCD"] += 3;
            edges["CRF"] += 2;  // bridges of the clock wrapper and the HIPI tap
        } else if (pl.m_module == "dsp_blk") {
            edges["BLC"] += 7;
        } else if (pl.m_module == "rt_io") {
            edges["CRF"] += io_wires + 1;
        }
    }
}

// Routing nodes by type, as the three node generators make them over non-spare placements:
// block REs of the top instance and of every BLC instance inside (route 0 skipped), inserted
// REs, and one node per primary output of each later-stage mux unless that output merges
// (MERGE, a LEIM into its inserted RE, the clock mux into LOGIC.clk, the pad mux into IO, the
// HIPI tap where its wire leaves the grid), plus one shadow node per output of a HIPI mux.
void DG_BUILDER::expect_nodes() {
    const DG_NETLIST& n = m_d.m_rtl;
    const DG_NETLIST& b = m_d.m_blc;
    std::map<std::string, uint64_t>& nodes = m_d.m_counts.m_nodes;
    auto ports = [&](const DG_MODULE& m, bool inserted_only) {
        for (const DG_PORT& p : m.m_ports) {
            const PB::ICDB::APORT& r = p.m_record;
            if (!r.has_re_name() || (r.has_is_route_type_normal() && !r.is_route_type_normal()))
                continue;
            if (inserted_only && !r.is_inserted_re()) continue;
            ++nodes[dg_mux_type_name(r.re_name())];
        }
    };
    std::function<void(int32_t)> inside = [&](int32_t mi) {
        for (const DG_INSTANCE& i : b.module(mi).m_instances) {
            ports(b.module(i.m_module), false);
            inside(i.m_module);
        }
    };
    std::string tap = dg_track("w_" + dg_wire('h', m_p.m_lh[0], 'l'), 0, m_p.m_tracks);
    const DG_MODULE& sector = n.module(n.find_module("sector"));
    for (const DG_PLACEMENT& pl : m_d.m_placements) {
        if (pl.m_spare) continue;
        const DG_MODULE& m = n.module(n.find_module(pl.m_module));
        if (!pl.m_routing) {
            ports(m, false);
            std::string key = m.m_logical_name;
            if (m.m_logical_impl != "DEFAULT") key += "__" + m.m_logical_impl;
            inside(b.find_module(key));
            continue;
        }
        ports(m, true);
        const std::string& tile =
            n.module(sector.m_instances[static_cast<size_t>(pl.m_path[1])].m_module).m_name;
        for (const DG_INSTANCE& i : m.m_instances) {
            const DG_MODULE& mux = n.module(i.m_module);
            const PB::ICDB::MODULE& r = mux.m_record;
            if (r.level() != PB::ICDB::MODULE::PRIM_MUX) continue;
            const PB::ICDB::MODULE::MUX_DESC& d =
                r.mux_desc().is_template() ? r.mux_desc() : i.m_record.mux_desc();
            if (d.is_first_stage()) continue;
            bool merged = mux.m_name == "rt_mux_leim" || mux.m_name == "rt_mux_leim_b" ||
                          i.m_name == "w_pad" ||
                          (tile == "tile_logic" && i.m_name == "gclk_dolsgn_sb_dolsgn_0") ||
                          (tile == "tile_logic" && i.m_name == tap && pl.m_col < m_p.m_lh[0]);
            for (const DG_PORT& p : mux.m_ports) {
                if (p.m_dir == DG_IN || !p.m_record.is_primary_port()) continue;
                if (!merged) ++nodes[dg_mux_type_name(d.mux_type())];
                if (r.mux_desc().has_hipi_mux_type())
                    ++nodes[dg_mux_type_name(r.mux_desc().hipi_mux_type())];
            }
        }
    }
}

}  // namespace DEVGEN
