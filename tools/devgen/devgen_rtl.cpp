// The RTL view of the generated device: a top with sector occurrences, tiles in a grid, routing
// blocks (rt_tile, rt_io) of mux wrappers, and non-routing blocks as empty boxes.
//  1. Declare every module with its ports, the top first, so that index 0 is the top.
//  2. Fill the wrappers (first stages, one later stage, an output driver or latch).
//  3. Fill the routing blocks: derived source nets, then every mux's inputs and output.
//  4. Fill the tiles, the sector (wires, carry, boundary ports) and the top (sector joins).
#include <algorithm>

#include "devgen/devgen_builder.h"
#include "util/util_assert.h"

namespace DEVGEN {

std::string dg_wire(char axis, int length, char dir) {
    return std::string(1, axis) + std::to_string(length) + std::string(1, dir);
}

std::string dg_track(const std::string& base, int track, int tracks) {
    return tracks == 1 ? base : base + "_" + std::to_string(track);
}

namespace {

struct WIRE {
    std::string m_name;  // "h2r"
    char m_axis;
    int m_length;
    char m_dir;
};

std::vector<WIRE> wires(const DG_PARAMS& p) {
    std::vector<WIRE> w;
    for (int l : p.m_lh) {
        w.push_back({dg_wire('h', l, 'r'), 'h', l, 'r'});
        w.push_back({dg_wire('h', l, 'l'), 'h', l, 'l'});
    }
    for (int l : p.m_lv) {
        w.push_back({dg_wire('v', l, 'u'), 'v', l, 'u'});
        w.push_back({dg_wire('v', l, 'd'), 'v', l, 'd'});
    }
    return w;
}

std::string at(const std::string& base, int i, int width) {
    return dg_bit(base, i, width);
}

std::string inst(const std::string& instance, const std::string& port) {
    return instance + "." + port;
}

std::string tile_name(int x, int ly) {
    return "t_x" + std::to_string(x) + "_y" + std::to_string(ly);
}

}  // namespace

// ---------------------------------------------------------------- declarations

void DG_BUILDER::declare_rtl() {
    DG_NETLIST& n = m_d.m_rtl;
    n.add_module("device_top");
    n.add_module("sector");
    for (const char* t : {"tile_io", "tile_logic", "tile_dsp", "tile_r"}) n.add_module(t);
    n.add_module("rt_io");
    n.add_module("rt_tile");
    declare_blocks();
    declare_wrappers();
    declare_cells();
    int32_t inv = n.add_module("prim_inv", 5);
    n.add_port(inv, "a", DG_IN);
    n.add_port(inv, "y", DG_OUT);
    int32_t tri = n.add_module("prim_tri", 6);
    n.add_port(tri, "a", DG_IN);
    n.add_port(tri, "en", DG_IN);
    n.add_port(tri, "y", DG_OUT);
    int32_t buf = n.add_module("prim_buf", 7);
    n.add_port(buf, "a", DG_IN);
    n.add_port(buf, "y", DG_OUT);
    for (const char* prim : {"prim_inv", "prim_tri", "prim_buf"}) {
        DG_MODULE& m = n.module(prim);
        m.m_attributes.push_back({"fab_primitive", std::to_string(m.m_primitive)});
    }
}

void DG_BUILDER::declare_blocks() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    int32_t logic = n.add_module("logic_blk");
    n.add_bus(logic, "in", p.m_leim, DG_IN);
    for (const char* s : {"clk", "bin", "bin2", "bin3", "cin", "dl_in"})
        n.add_port(logic, s, DG_IN);
    n.add_bus(logic, "out", p.m_cells, DG_OUT);
    for (const char* s : {"cout", "dl_out", "fb_out", "test_o"}) n.add_port(logic, s, DG_OUT);
    int32_t dsp = n.add_module("dsp_blk");
    n.add_bus(dsp, "a", 2, DG_IN);
    n.add_bus(dsp, "p", 2, DG_OUT);
    int32_t io = n.add_module("io_blk");
    n.add_port(io, "pad_i", DG_IN);
    n.add_port(io, "oe", DG_IN);
    n.add_port(io, "pad_o", DG_OUT);
}

void DG_BUILDER::declare_wrappers() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    auto plain = [&](const std::string& name, int inputs) {
        int32_t m = n.add_module(name);
        n.add_bus(m, "in", inputs, DG_IN);
        n.add_port(m, "out", DG_OUT);
    };
    for (const WIRE& w : wires(p)) {
        plain("rt_mux_" + w.m_name, p.m_fanin);
        if (w.m_axis == 'h' && w.m_dir == 'l' && w.m_length == p.m_lh[0]) {
            int32_t m = n.add_module("rt_mux_" + w.m_name + "_hipi");
            n.add_bus(m, "in", p.m_fanin, DG_IN);
            n.add_bus(m, "t_in", p.m_hipi_fanin, DG_IN);
            n.add_bus(m, "m_in", p.m_hipi_fanin, DG_IN);
            n.add_port(m, "out", DG_OUT);
        }
    }
    plain("rt_mux_ll", p.m_ll_fanin);
    plain("rt_mux_leim", 32);
    plain("rt_mux_leim_b", 32);
    plain("clk_wrap", 4);
}

void DG_BUILDER::declare_cells() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    auto cell = [&](const std::string& name, const std::string& cls, const std::string& length,
                    const std::string& dir) {
        int32_t m = n.add_module(name);
        DG_MODULE& mod = n.module(m);
        mod.m_attributes.push_back({"fab_mux", "1"});
        if (!cls.empty()) {
            mod.m_parameters.push_back({"CLASS", "\"" + cls + "\""});
            mod.m_parameters.push_back({"LENGTH", length});
            mod.m_parameters.push_back({"DIR", "\"" + dir + "\""});
        }
        return m;
    };
    auto mux = [&](const std::string& name, int inputs, const std::string& cls, int length,
                   const std::string& dir) {
        int32_t m = cell(name, cls, std::to_string(length), dir);
        n.add_bus(m, "muxin", inputs, DG_IN);
        n.add_port(m, "sel", DG_IN);
        n.add_port(m, "muxout", DG_OUT);
    };
    auto driver = [&](const std::string& name, const std::string& cls, int length,
                      const std::string& dir) {
        int32_t m = cell(name, cls, std::to_string(length), dir);
        n.add_port(m, "drvin", DG_IN);
        n.add_port(m, "drvout", DG_OUT);
    };
    mux("mux2_fs", 2, "H", 1000, "R");
    int stage = p.m_fanin / 2;
    for (const WIRE& w : wires(p)) {
        std::string dir(1, static_cast<char>(std::toupper(w.m_dir)));
        mux("mux" + std::to_string(stage) + "_" + w.m_name, stage, w.m_axis == 'h' ? "H" : "V",
            w.m_length, dir);
    }
    mux("mux" + std::to_string(p.m_ll_fanin / 2) + "_ll", p.m_ll_fanin / 2, "L", 1, "R");
    driver("drv_buf", "H", 1000, "R");
    mux("tmux" + std::to_string(p.m_hipi_fanin), p.m_hipi_fanin, "TMUX", p.m_lh[0], "L");
    mux("mmux" + std::to_string(p.m_hipi_fanin), p.m_hipi_fanin, "MMUX", p.m_lh[0], "L");
    int32_t latch = cell("hipi_latch", "HIPI", "1000", "");
    n.add_port(latch, "din", DG_IN);
    n.add_port(latch, "clk", DG_IN);
    n.add_port(latch, "dout", DG_OUT);
    int32_t lfs = cell("leim_fs", "LEIM_FIRST_STAGE", "1000", "");
    n.add_bus(lfs, "muxin", 32, DG_IN);
    n.add_bus(lfs, "muxout", 4, DG_OUT);
    n.add_bus(lfs, "sel", 3, DG_IN);
    int32_t ls = cell("leim_s", "LEIM", "0", "");
    n.add_bus(ls, "muxin", 4, DG_IN);
    n.add_bus(ls, "sel", 2, DG_IN);
    n.add_port(ls, "muxout", DG_OUT);
    driver("rt_buffer_h1", "H", 1, "R");
    int32_t odd = cell("rt_mux_odd", "V", "1", "U");
    n.add_port(odd, "a", DG_IN);
    n.add_port(odd, "b", DG_IN);
    n.add_port(odd, "y", DG_OUT);
    int32_t red = cell("cc_redmux", "RED", "1000", "");
    n.add_bus(red, "muxin", 8, DG_IN);
    n.add_bus(red, "muxout", 8, DG_OUT);
    int32_t frz = cell("rt_mux_hio_2to1_frzbuf", "FRZBUF", "1000", "");
    n.add_port(frz, "coreout", DG_IN);
    n.add_port(frz, "coreout_buff", DG_OUT);
    int32_t alien = cell("rt_mux_buffer_alien", "H", "1000", "");
    n.add_port(alien, "core_per_in", DG_IN);
    n.add_port(alien, "h_wires_in", DG_IN);
    n.add_port(alien, "muxbuff_out", DG_OUT);
    int32_t clk = cell("clk_mux2", "", "", "");
    n.add_bus(clk, "clkin", 2, DG_IN);
    n.add_port(clk, "clk_sel", DG_IN);
    n.add_port(clk, "clkout", DG_OUT);
    int32_t bi = cell("an_cc_clkdrv_bi", "", "", "");
    n.add_port(bi, "clk0", DG_INOUT);
    n.add_port(bi, "clk1", DG_INOUT);
}

// ---------------------------------------------------------------- wrappers

void DG_BUILDER::body_wrappers() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    // First stages of two inputs each in front of `stage`; the stage's output leaves through
    // `tail` ends (a driver, or the latch chain of a HIPI wrapper).
    auto front = [&](int32_t m, int inputs, const std::string& stage_cell) {
        int fs = inputs / 2;
        for (int i = 0; i < fs; ++i)
            n.add_instance(m, "f" + std::to_string(i), n.find_module("mux2_fs"));
        n.add_instance(m, "s", n.find_module(stage_cell));
        for (int i = 0; i < fs; ++i) {
            std::string f = "f" + std::to_string(i);
            for (int j = 0; j < 2; ++j)
                n.connect(m, {at("in", 2 * i + j, inputs), inst(f, at("muxin", j, 2))});
            n.connect(m, {inst(f, "muxout"), inst("s", at("muxin", i, fs))});
        }
    };
    auto plain = [&](const std::string& name, int inputs, const std::string& stage_cell) {
        int32_t m = n.find_module(name);
        front(m, inputs, stage_cell);
        n.add_instance(m, "d", n.find_module("drv_buf"));
        n.connect(m, {"s.muxout", "d.drvin"});
        n.connect(m, {"d.drvout", "out"});
    };
    std::string stage = "mux" + std::to_string(p.m_fanin / 2) + "_";
    for (const WIRE& w : wires(p)) {
        plain("rt_mux_" + w.m_name, p.m_fanin, stage + w.m_name);
        if (w.m_axis != 'h' || w.m_dir != 'l' || w.m_length != p.m_lh[0]) continue;
        int32_t m = n.find_module("rt_mux_" + w.m_name + "_hipi");
        front(m, p.m_fanin, stage + w.m_name);
        std::string fh = std::to_string(p.m_hipi_fanin);
        n.add_instance(m, "t", n.find_module("tmux" + fh));
        n.add_instance(m, "m", n.find_module("mmux" + fh));
        n.add_instance(m, "l1", n.find_module("hipi_latch"));
        n.add_instance(m, "l2", n.find_module("hipi_latch"));
        n.connect(m, {"s.muxout", "l1.din"});
        for (int k = 0; k < p.m_hipi_fanin; ++k) {
            n.connect(m,
                      {at("t_in", k, p.m_hipi_fanin), inst("t", at("muxin", k, p.m_hipi_fanin))});
            n.connect(m,
                      {at("m_in", k, p.m_hipi_fanin), inst("m", at("muxin", k, p.m_hipi_fanin))});
        }
        n.connect(m, {"t.muxout", "l1.clk"});
        n.connect(m, {"l1.dout", "l2.din"});
        n.connect(m, {"m.muxout", "l2.clk"});
        n.connect(m, {"l2.dout", "out"});
    }
    plain("rt_mux_ll", p.m_ll_fanin, "mux" + std::to_string(p.m_ll_fanin / 2) + "_ll");
    for (const char* name : {"rt_mux_leim", "rt_mux_leim_b"}) {
        int32_t m = n.find_module(name);
        n.add_instance(m, "fs", n.find_module("leim_fs"));
        n.add_instance(m, "s", n.find_module("leim_s"));
        for (int i = 0; i < 32; ++i)
            n.connect(m, {at("in", i, 32), inst("fs", at("muxin", i, 32))});
        for (int o = 0; o < 4; ++o)
            n.connect(m, {inst("fs", at("muxout", o, 4)), inst("s", at("muxin", o, 4))});
        n.connect(m, {"s.muxout", "out"});
    }
    int32_t cw = n.find_module("clk_wrap");
    int32_t clk = n.find_module("clk_mux2");
    n.add_instance(cw, "a_dolsgn_sb_dolsgn_1", clk);
    n.add_instance(cw, "b_dolsgn_dft_dolsgn_0", clk);
    n.add_instance(cw, "c_dolsgn_sb_dolsgn_0", clk);
    n.connect(cw, {"in[0]", "a_dolsgn_sb_dolsgn_1.clkin[0]"});
    n.connect(cw, {"in[1]", "a_dolsgn_sb_dolsgn_1.clkin[1]"});
    n.connect(cw, {"in[2]", "b_dolsgn_dft_dolsgn_0.clkin[0]"});
    n.connect(cw, {"in[3]", "b_dolsgn_dft_dolsgn_0.clkin[1]"});
    n.connect(cw, {"a_dolsgn_sb_dolsgn_1.clkout", "c_dolsgn_sb_dolsgn_0.clkin[0]"});
    n.connect(cw, {"b_dolsgn_dft_dolsgn_0.clkout", "c_dolsgn_sb_dolsgn_0.clkin[1]"});
    n.connect(cw, {"c_dolsgn_sb_dolsgn_0.clkout", "out"});
}

// ---------------------------------------------------------------- routing blocks

// The signals a mux of rt_tile may take, in a fixed order: wire inputs (three of them through
// the redundancy cell, two inverters and a buffer), LL inputs, bufi, block outputs, feedback.
std::vector<std::string> DG_BUILDER::tile_sources() const {
    const DG_PARAMS& p = m_p;
    std::vector<std::string> s;
    std::string red = at(dg_wire('v', p.m_lv[0], 'u') + "_in", 0, p.m_tracks);
    std::string invs = at(dg_wire('h', p.m_lh[0], 'l') + "_in", 0, p.m_tracks);
    for (const WIRE& w : wires(p))
        for (int t = 0; t < p.m_tracks; ++t) {
            std::string port = at(w.m_name + "_in", t, p.m_tracks);
            s.push_back(port == red ? "red.muxout[0]" : port == invs ? "inv1.y" : port);
        }
    for (int t = 0; t < p.m_ll_tracks; ++t)
        s.push_back(t == 0 ? "bf0.y" : at("ll_in", t, p.m_ll_tracks));
    s.push_back("bufi");
    for (int k = 0; k < p.m_cells; ++k) s.push_back(at("blk_in", k, p.m_cells));
    s.push_back("fb_in");
    return s;
}

// `count` distinct sources for mux number `mux`, by rotation from a seeded offset, skipping
// those in `avoid` (so that no two inputs of one mux share a source).
std::vector<std::string> DG_BUILDER::pick_sources(int mux, int count,
                                                  const std::vector<std::string>& sources,
                                                  const std::vector<std::string>& avoid) const {
    std::vector<std::string> picked;
    size_t n = sources.size();
    size_t start = (static_cast<size_t>(mux) * 7 + static_cast<size_t>(m_p.m_seed) * 13) % n;
    for (size_t k = 0; k < n && static_cast<int>(picked.size()) < count; ++k) {
        const std::string& s = sources[(start + k) % n];
        if (std::find(avoid.begin(), avoid.end(), s) == avoid.end()) picked.push_back(s);
    }
    UTIL_ASSERT_MSG(static_cast<int>(picked.size()) == count, "too few sources for mux %d", mux);
    return picked;
}

namespace {

// Hand-chosen inputs of the tiny device's muxes, by source name.
const char* const V2U_R = "red.muxout[0]";
const char* const H2L_B = "inv1.y";
const char* const LL_B = "bf0.y";

}  // namespace

void DG_BUILDER::body_rt_tile() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    int32_t rt = n.find_module("rt_tile");
    int T = p.m_tracks;
    std::string tap_wire = dg_wire('h', p.m_lh[0], 'l');
    for (const WIRE& w : wires(p)) n.add_bus(rt, w.m_name + "_in", T, DG_IN);
    n.add_bus(rt, "ll_in", p.m_ll_tracks, DG_IN);
    n.add_port(rt, "bufi", DG_IN);
    n.add_bus(rt, "blk_in", p.m_cells, DG_IN);
    n.add_port(rt, "fb_in", DG_IN);
    for (const WIRE& w : wires(p)) {
        n.add_bus(rt, w.m_name + "_out", T, DG_OUT);
        if (w.m_name == tap_wire) n.add_port(rt, tap_wire + "_tap", DG_OUT);
    }
    n.add_bus(rt, "ll_out", p.m_ll_tracks, DG_OUT);
    n.add_port(rt, "bufo", DG_OUT);
    n.add_bus(rt, "leim_out", p.m_leim, DG_OUT);
    n.add_port(rt, "clk_out", DG_OUT);
    n.add_port(rt, "cw_out", DG_OUT);
    n.add_port(rt, "cd0", DG_INOUT);
    n.add_port(rt, "cd1", DG_INOUT);

    n.add_instance(rt, "red", n.find_module("cc_redmux"));
    n.add_instance(rt, "inv0", n.find_module("prim_inv"));
    n.add_instance(rt, "inv1", n.find_module("prim_inv"));
    n.add_instance(rt, "bf0", n.find_module("prim_buf"));
    struct MUX {
        std::string m_inst;
        std::string m_module;
        std::string m_out;
        bool m_tap;
    };
    std::vector<MUX> muxes;
    for (const WIRE& w : wires(p))
        for (int t = 0; t < T; ++t) {
            bool hipi = w.m_name == tap_wire && t < p.m_hipi;
            std::string module = "rt_mux_" + w.m_name + (hipi ? "_hipi" : "");
            muxes.push_back({dg_track("w_" + w.m_name, t, T), module, at(w.m_name + "_out", t, T),
                             w.m_name == tap_wire && t == 0});
        }
    for (int t = 0; t < p.m_ll_tracks; ++t)
        muxes.push_back({dg_track("w_ll", t, p.m_ll_tracks), "rt_mux_ll",
                         at("ll_out", t, p.m_ll_tracks), false});
    for (int k = 0; k < p.m_leim; ++k)
        muxes.push_back({"leim" + std::to_string(k), k % 2 == 0 ? "rt_mux_leim" : "rt_mux_leim_b",
                         at("leim_out", k, p.m_leim), false});
    for (const MUX& m : muxes) n.add_instance(rt, m.m_inst, n.find_module(m.m_module));
    n.add_instance(rt, "gclk_dolsgn_sb_dolsgn_0", n.find_module("clk_mux2"));
    n.add_instance(rt, "cw", n.find_module("clk_wrap"));
    n.add_instance(rt, "tr0", n.find_module("prim_tri"));
    n.add_instance(rt, "cd_dolsgn_sb_bi_dolsgn_0", n.find_module("an_cc_clkdrv_bi"));
    n.add_instance(rt, "buf0", n.find_module("rt_buffer_h1"));
    n.add_instance(rt, "odd0", n.find_module("rt_mux_odd"));

    // Derived sources: a redundancy cell on one V input, two inverters on one H input, a
    // buffer on the first LL input.
    n.connect(rt, {at(dg_wire('v', p.m_lv[0], 'u') + "_in", 0, T), "red.muxin[0]"});
    n.connect(rt, {at(tap_wire + "_in", 0, T), "inv0.a"});
    n.connect(rt, {"inv0.y", "inv1.a"});
    n.connect(rt, {at("ll_in", 0, p.m_ll_tracks), "bf0.a"});

    std::vector<std::string> sources = tile_sources();
    std::vector<std::string> block_sources;
    for (int k = 0; k < p.m_cells; ++k) block_sources.push_back(at("blk_in", k, p.m_cells));
    block_sources.push_back("fb_in");
    std::vector<std::string> none;
    auto feed = [&](const std::string& mux, const std::string& bus,
                    const std::vector<std::string>& from, int width) {
        for (size_t i = 0; i < from.size(); ++i)
            n.connect(rt, {from[i], inst(mux, at(bus, static_cast<int>(i), width))});
    };
    int serial = 0;
    for (const MUX& m : muxes) {
        bool hipi = m.m_module.find("_hipi") != std::string::npos;
        bool leim = m.m_module.find("leim") != std::string::npos;
        int fanin = leim ? std::min(p.m_leim_fanin, static_cast<int>(sources.size()))
                    : m.m_module == "rt_mux_ll" ? p.m_ll_fanin
                                                : p.m_fanin;
        int width = leim ? 32 : fanin;
        std::vector<std::string> in, t_in, m_in;
        if (p.m_tiny_tables) {
            const std::string& i = m.m_inst;
            if (i == "w_h2r") in = {V2U_R, "v2d_in", "blk_in[0]", "fb_in"};
            if (i == "w_h2l") {
                in = {H2L_B, V2U_R, p.m_warn ? "blk_in[1]" : "v2d_in", "bufi"};
                t_in = {"h2r_in", "blk_in[0]"};
                m_in = {LL_B, "blk_in[1]"};
            }
            if (i == "w_v2u") in = {"h2r_in", H2L_B, V2U_R, "blk_in[0]"};
            if (i == "w_v2d") in = {"h2r_in", "v2d_in", LL_B, "blk_in[1]"};
            if (i == "w_ll") in = {"blk_in[0]", "blk_in[1]", H2L_B, "v2d_in"};
            if (i == "leim0") in = {"h2r_in", H2L_B, V2U_R, "v2d_in", LL_B, "bufi"};
            if (i == "leim1") in = {"v2d_in", LL_B, "bufi", "blk_in[0]", "blk_in[1]", "fb_in"};
        } else {
            // A mux that may merge into its own block's input must not take that block's
            // outputs (the tap of the first HIPI wrapper feeds LOGIC.bin).
            in = pick_sources(serial, fanin, sources, m.m_tap ? block_sources : none);
            if (hipi) {
                std::vector<std::string> used = in;
                std::vector<std::string> extra =
                    pick_sources(serial + 1, 2 * p.m_hipi_fanin, sources, used);
                t_in.assign(extra.begin(), extra.begin() + p.m_hipi_fanin);
                m_in.assign(extra.begin() + p.m_hipi_fanin, extra.end());
            }
        }
        ++serial;
        feed(m.m_inst, "in", in, width);
        feed(m.m_inst, "t_in", t_in, p.m_hipi_fanin);
        feed(m.m_inst, "m_in", m_in, p.m_hipi_fanin);
        std::vector<std::string> out{inst(m.m_inst, "out"), m.m_out};
        if (m.m_tap) out.push_back(tap_wire + "_tap");
        n.connect(rt, out);
    }
    // Standalone clock mux (fed from a wire input only), clock wrapper through a tristate,
    // bidirectional clock driver, buffer cell and a cell whose ports no rule knows.
    n.connect(rt,
              {at(dg_wire('h', p.m_lh[0], 'r') + "_in", 0, T), "gclk_dolsgn_sb_dolsgn_0.clkin[0]"});
    n.connect(rt, {"gclk_dolsgn_sb_dolsgn_0.clkout", "clk_out"});
    std::vector<std::string> cw_in;
    if (p.m_tiny_tables)
        cw_in = {"h2r_in", H2L_B, V2U_R, "v2d_in"};
    else
        cw_in = pick_sources(serial, 4, sources, block_sources);
    feed("cw", "in", cw_in, 4);
    n.connect(rt, {"cw.out", "tr0.a"});
    n.connect(rt, {"tr0.y", "cw_out"});
    n.connect(rt, {"cd_dolsgn_sb_bi_dolsgn_0.clk0", "cd0"});
    n.connect(rt, {"cd_dolsgn_sb_bi_dolsgn_0.clk1", "cd1"});
    n.connect(rt, {at("blk_in", p.m_cells - 1, p.m_cells), "buf0.drvin"});
    n.connect(rt, {"buf0.drvout", "bufo"});
    n.connect(rt, {LL_B, "odd0.a"});
}

void DG_BUILDER::body_rt_io() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    int T = p.m_tracks;
    int32_t io = n.find_module("rt_io");
    n.add_port(io, "io_in", DG_IN);
    for (int l : p.m_lh) n.add_bus(io, dg_wire('h', l, 'l') + "_in", T, DG_IN);
    for (int l : p.m_lh) n.add_bus(io, dg_wire('h', l, 'r') + "_out", T, DG_OUT);
    for (int l : p.m_lh) n.add_bus(io, dg_wire('h', l, 'l') + "_out", T, DG_OUT);
    n.add_port(io, "pad_out", DG_OUT);
    n.add_instance(io, "fz", n.find_module("rt_mux_hio_2to1_frzbuf"));
    n.add_instance(io, "al", n.find_module("rt_mux_buffer_alien"));
    std::vector<std::pair<std::string, std::string>> muxes;  // instance, output port
    for (char d : {'r', 'l'})
        for (int l : p.m_lh)
            for (int t = 0; t < T; ++t) {
                std::string w = dg_wire('h', l, d);
                n.add_instance(io, dg_track("w_" + w, t, T), n.find_module("rt_mux_" + w));
                muxes.push_back({dg_track("w_" + w, t, T), at(w + "_out", t, T)});
            }
    n.add_instance(io, "w_pad", n.find_module("rt_mux_ll"));
    n.connect(io, {"io_in", "fz.coreout"});
    n.connect(io, {"fz.coreout_buff", "al.core_per_in"});
    n.connect(io, {at(dg_wire('h', p.m_lh[0], 'l') + "_in", 0, T), "al.h_wires_in", "w_pad.in[0]"});
    std::vector<std::string> alien{"al.muxbuff_out"};
    for (const auto& m : muxes) alien.push_back(inst(m.first, "in[0]"));
    n.connect(io, alien);
    for (const auto& m : muxes) n.connect(io, {inst(m.first, "out"), m.second});
    n.connect(io, {"w_pad.out", "pad_out"});
}

// ---------------------------------------------------------------- tiles, sector, top

void DG_BUILDER::body_tiles() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    int T = p.m_tracks;
    for (const char* name : {"tile_logic", "tile_dsp", "tile_r"}) {
        int32_t t = n.find_module(name);
        bool logic = std::string(name) == "tile_logic";
        std::vector<std::string> shared;  // ports that pass straight to the routing block
        for (const WIRE& w : wires(p)) n.add_bus(t, w.m_name + "_in", T, DG_IN);
        n.add_bus(t, "ll_in", p.m_ll_tracks, DG_IN);
        n.add_port(t, "bufi", DG_IN);
        if (logic) {
            n.add_port(t, "cin", DG_IN);
            n.add_port(t, "dl_in", DG_IN);
        }
        for (const WIRE& w : wires(p)) n.add_bus(t, w.m_name + "_out", T, DG_OUT);
        n.add_bus(t, "ll_out", p.m_ll_tracks, DG_OUT);
        n.add_port(t, "bufo", DG_OUT);
        if (logic) {
            n.add_port(t, "cout", DG_OUT);
            n.add_port(t, "dl_out", DG_OUT);
        }
        n.add_port(t, "cd0", DG_INOUT);
        n.add_port(t, "cd1", DG_INOUT);
        n.add_instance(t, "rt", n.find_module("rt_tile"));
        for (const DG_PORT& port : n.module(t).m_ports) {
            const std::string& s = port.m_name;
            if (s == "cin" || s == "dl_in" || s == "cout" || s == "dl_out") continue;
            n.connect(t, {s, inst("rt", s)});
        }
        if (logic) {
            n.add_instance(t, "logic", n.find_module("logic_blk"));
            for (int k = 0; k < p.m_cells; ++k)
                n.connect(t, {inst("logic", at("out", k, p.m_cells)),
                              inst("rt", at("blk_in", k, p.m_cells))});
            n.connect(t, {"logic.fb_out", "rt.fb_in"});
            for (int k = 0; k < p.m_leim; ++k)
                n.connect(t, {inst("rt", at("leim_out", k, p.m_leim)),
                              inst("logic", at("in", k, p.m_leim))});
            n.connect(t, {"rt.clk_out", "logic.clk"});
            n.connect(t, {inst("rt", dg_wire('h', p.m_lh[0], 'l') + "_tap"), "logic.bin"});
            n.connect(t, {"rt.cw_out", "logic.bin2", "logic.bin3"});
            n.connect(t, {"cin", "logic.cin"});
            n.connect(t, {"logic.cout", "cout"});
            n.connect(t, {"dl_in", "logic.dl_in"});
            n.connect(t, {"logic.dl_out", "dl_out"});
        } else if (std::string(name) == "tile_dsp") {
            n.add_instance(t, "dsp", n.find_module("dsp_blk"));
            for (int k = 0; k < 2; ++k) {
                n.connect(t, {inst("dsp", at("p", k, 2)), inst("rt", at("blk_in", k, p.m_cells))});
                n.connect(t, {inst("rt", at("leim_out", k, p.m_leim)), inst("dsp", at("a", k, 2))});
            }
        }
    }
    int32_t t = n.find_module("tile_io");
    for (int l : p.m_lh) n.add_bus(t, dg_wire('h', l, 'l') + "_in", T, DG_IN);
    for (int l : p.m_lh) n.add_bus(t, dg_wire('h', l, 'r') + "_out", T, DG_OUT);
    n.add_instance(t, "rtio", n.find_module("rt_io"));
    n.add_instance(t, "io", n.find_module("io_blk"));
    for (const DG_PORT& port : n.module(t).m_ports)
        n.connect(t, {port.m_name, inst("rtio", port.m_name)});
    n.connect(t, {"io.pad_o", "rtio.io_in"});
    n.connect(t, {"rtio.pad_out", "io.pad_i"});
}

static std::string tile_module(const DG_PARAMS& p, int x, int ly) {
    if (x == 0) return "tile_io";
    if (!p.is_dsp_column(x)) return "tile_logic";
    return (ly % 2 == 0 && ly + 1 < p.m_sector_rows) ? "tile_dsp" : "tile_r";
}

static std::string boundary(const std::string& side, const std::string& wire, int t, int tracks,
                            const std::string& io, int x, int j) {
    std::string track = tracks == 1 ? "" : "_t" + std::to_string(t);
    return side + "_" + wire + track + "_" + io + "[" + std::to_string(x) + "][" +
           std::to_string(j) + "]";
}

void DG_BUILDER::body_sector() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    int32_t s = n.find_module("sector");
    int W = p.m_cols, Sy = p.m_sector_rows, T = p.m_tracks;
    std::vector<int> logic_cols;
    for (int x = 1; x < W; ++x)
        if (!p.is_dsp_column(x)) logic_cols.push_back(x);
    // Boundary ports: north then south; V wires crossing the sector edge, then the carry.
    auto v_ports = [&](const std::string& side, char dir, const std::string& io, uint32_t d) {
        for (int x = 1; x < W; ++x)
            for (int l : p.m_lv)
                for (int t = 0; t < T; ++t)
                    for (int j = 0; j < l; ++j)
                        n.add_port(s, boundary(side, dg_wire('v', l, dir), t, T, io, x, j), d);
    };
    v_ports("n", 'u', "o", DG_OUT);
    v_ports("n", 'd', "i", DG_IN);
    for (int x : logic_cols) n.add_port(s, "n_cout[" + std::to_string(x) + "]", DG_OUT);
    v_ports("s", 'u', "i", DG_IN);
    v_ports("s", 'd', "o", DG_OUT);
    for (int x : logic_cols) n.add_port(s, "s_cin[" + std::to_string(x) + "]", DG_IN);

    for (int ly = 0; ly < Sy; ++ly)
        for (int x = 0; x < W; ++x)
            n.add_instance(s, tile_name(x, ly), n.find_module(tile_module(p, x, ly)));
    auto pin = [&](int x, int ly, const std::string& port) { return inst(tile_name(x, ly), port); };
    for (int ly = 0; ly < Sy; ++ly) {
        for (int l : p.m_lh)
            for (int t = 0; t < T; ++t) {
                std::string r = dg_wire('h', l, 'r'), lw = dg_wire('h', l, 'l');
                for (int x = 0; x + l < W; ++x)
                    n.connect(
                        s, {pin(x, ly, at(r + "_out", t, T)), pin(x + l, ly, at(r + "_in", t, T))});
                for (int x = std::max(1, l); x < W; ++x)
                    n.connect(s, {pin(x, ly, at(lw + "_out", t, T)),
                                  pin(x - l, ly, at(lw + "_in", t, T))});
            }
        for (int x = 1; x + 1 < W; ++x) {
            for (int t = 0; t < p.m_ll_tracks; ++t)
                n.connect(s, {pin(x, ly, at("ll_out", t, p.m_ll_tracks)),
                              pin(x + 1, ly, at("ll_in", t, p.m_ll_tracks))});
            n.connect(s, {pin(x, ly, "bufo"), pin(x + 1, ly, "bufi")});
        }
        for (size_t k = 0; k + 1 < logic_cols.size(); ++k)
            n.connect(s, {pin(logic_cols[k], ly, "dl_out"), pin(logic_cols[k + 1], ly, "dl_in")});
    }
    for (int x = 1; x < W; ++x)
        for (int l : p.m_lv)
            for (int t = 0; t < T; ++t) {
                std::string u = dg_wire('v', l, 'u'), d = dg_wire('v', l, 'd');
                for (int ly = 0; ly < Sy; ++ly) {
                    std::string uo = pin(x, ly, at(u + "_out", t, T));
                    if (ly + l < Sy)
                        n.connect(s, {uo, pin(x, ly + l, at(u + "_in", t, T))});
                    else
                        n.connect(s, {uo, boundary("n", u, t, T, "o", x, ly - (Sy - l))});
                    std::string dout = pin(x, ly, at(d + "_out", t, T));
                    if (ly - l >= 0)
                        n.connect(s, {dout, pin(x, ly - l, at(d + "_in", t, T))});
                    else
                        n.connect(s, {dout, boundary("s", d, t, T, "o", x, ly)});
                }
                for (int j = 0; j < l; ++j) {
                    n.connect(s,
                              {boundary("s", u, t, T, "i", x, j), pin(x, j, at(u + "_in", t, T))});
                    n.connect(s, {boundary("n", d, t, T, "i", x, j),
                                  pin(x, Sy - l + j, at(d + "_in", t, T))});
                }
            }
    for (int x : logic_cols) {
        std::string xs = "[" + std::to_string(x) + "]";
        n.connect(s, {"s_cin" + xs, pin(x, 0, "cin")});
        for (int ly = 0; ly + 1 < Sy; ++ly)
            n.connect(s, {pin(x, ly, "cout"), pin(x, ly + 1, "cin")});
        n.connect(s, {pin(x, Sy - 1, "cout"), "n_cout" + xs});
    }
}

void DG_BUILDER::body_top() {
    DG_NETLIST& n = m_d.m_rtl;
    const DG_PARAMS& p = m_p;
    int32_t top = n.find_module("device_top");
    int32_t sector = n.find_module("sector");
    int S = p.sectors();
    for (int k = 0; k < S; ++k) n.add_instance(top, "sec" + std::to_string(k), sector);
    // North ports of sector k meet the south ports of sector k + 1 by name.
    const DG_MODULE& sm = n.module(sector);
    for (int k = 0; k + 1 < S; ++k) {
        std::string lo = "sec" + std::to_string(k) + ".", hi = "sec" + std::to_string(k + 1) + ".";
        for (const DG_PORT& port : sm.m_ports) {
            if (port.m_name.compare(0, 2, "n_") != 0) continue;
            std::string south = "s_" + port.m_name.substr(2);
            size_t io = south.rfind(port.m_dir == DG_OUT ? "_o[" : "_i[");
            if (io != std::string::npos) south[io + 1] = port.m_dir == DG_OUT ? 'i' : 'o';
            if (port.m_name.compare(0, 6, "n_cout") == 0) south = "s_cin" + port.m_name.substr(6);
            n.connect(top, {lo + port.m_name, hi + south});
        }
    }
}

}  // namespace DEVGEN
