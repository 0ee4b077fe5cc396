// The block-level view: one root module per non-routing block (LOGIC, DSP__FAST, IO__-) and the
// block-internal modules below them, the BLC_DATA entries that describe them, and the ICDB
// records the block-level passes give them (logical pair, port REs, PRIM_MUX, placements, sizes).
//  1. Declare each module with its ports; ports carry width, RE index, route flag, RTL name.
//  2. Wire the bodies (IMUX fan-in by rotation over the general inputs, the cell chain).
//  3. Write BLC_DATA with ports in name order, then derive the records from it: the port rule
//     for every module, placements, and sizes grown from placed instances.
#include <algorithm>

#include "devgen/devgen_builder.h"
#include "util/util_assert.h"

namespace DEVGEN {

namespace {

struct BLC_PORT {
    std::string m_name;
    int m_width;
    uint32_t m_dir;
    int m_re;
    bool m_route;
    std::string m_icd;  // RTL port (bus) of a top-level block's port; empty inside blocks
};

struct BLC_INST {
    std::string m_name;
    std::string m_module;
    int m_x, m_y, m_z;
};

struct BLC_DEF {
    std::string m_name, m_logical, m_impl;
    bool m_internal;
    std::vector<BLC_PORT> m_ports;
    std::vector<BLC_INST> m_instances;
};

std::vector<BLC_DEF> blc_defs(const DG_PARAMS& p) {
    int nl = p.m_leim, a = p.m_cells, fl = p.m_imux_fanin;
    std::vector<BLC_DEF> d;
    BLC_DEF logic{"LOGIC", "LOGIC", "DEFAULT", false, {}, {}};
    int re = 0;
    for (const char* s : {"bin", "bin2", "bin3", "cin", "clk"})
        logic.m_ports.push_back({s, 1, DG_IN, re++, true, s});
    logic.m_ports.push_back({"cout", 1, DG_OUT, re++, true, "cout"});
    logic.m_ports.push_back({"datain", nl, DG_IN, re, true, "in"});
    re += nl;
    logic.m_ports.push_back({"dataout", a, DG_OUT, re, true, "out"});
    re += a;
    logic.m_ports.push_back({"dl_in", 1, DG_IN, re++, true, "dl_in"});
    logic.m_ports.push_back({"dl_out", 1, DG_OUT, re++, true, "dl_out"});
    logic.m_ports.push_back({"fb_out", 1, DG_OUT, re++, true, "fb_out"});
    logic.m_ports.push_back({"scan_en", 1, DG_IN, re++, false, "logic_scan"});
    for (int j = 0; j < a; ++j)
        logic.m_instances.push_back({"imux" + std::to_string(j), "IMUX", 0, 0, 0});
    logic.m_instances.push_back({"core", "LOGIC_CORE", 0, 0, 0});
    d.push_back(logic);
    d.push_back(
        {"DSP__FAST",
         "DSP",
         "FAST",
         false,
         {{"a", 2, DG_IN, 0, true, "a"}, {"p", 2, DG_OUT, 2, true, "p"}},
         {{"mac0", "MAC", 0, 0, 0}, {"mac1", "MAC", 0, 1, 0}, {"mac2", "MAC", -1, -1, -1}}});
    d.push_back({"IO__-",
                 "IO",
                 "-",
                 false,
                 {{"pad_in", 1, DG_IN, 0, true, "pad_i"},
                  {"pad_out", 1, DG_OUT, 1, true, "pad_o"},
                  {"oe_n", 1, DG_IN, 2, false, "oe"}},
                 {}});
    BLC_DEF core{"LOGIC_CORE",
                 "LOGIC_CORE",
                 "DEFAULT",
                 false,
                 {{"a", a, DG_IN, 0, true, ""},
                  {"ci", 1, DG_IN, a, true, ""},
                  {"co", 1, DG_OUT, a + 1, true, ""},
                  {"q", a, DG_OUT, a + 2, true, ""}},
                 {}};
    for (int k = 0; k < a; ++k)
        core.m_instances.push_back({"cell" + std::to_string(k), "CELL", 0, 0, k % 2});
    d.push_back(core);
    d.push_back({"CELL",
                 "CELL",
                 "DEFAULT",
                 false,
                 {{"a", 4, DG_IN, 0, true, ""}, {"q", 2, DG_OUT, 4, true, ""}},
                 {}});
    d.push_back({"IMUX",
                 "IMUX",
                 "DEFAULT",
                 true,
                 {{"o", 1, DG_OUT, 0, true, ""}, {"i", fl, DG_IN, 1, false, ""}},
                 {}});
    d.push_back({"MAC",
                 "MAC",
                 "DEFAULT",
                 false,
                 {{"x", 2, DG_IN, 0, true, ""}, {"y", 1, DG_OUT, 2, true, ""}},
                 {}});
    return d;
}

std::string bit(const std::string& base, int b, int width) {
    return dg_bit(base, b, width);
}

}  // namespace

void DG_BUILDER::build_blc() {
    DG_NETLIST& n = m_d.m_blc;
    const DG_PARAMS& p = m_p;
    std::vector<BLC_DEF> defs = blc_defs(p);
    for (const BLC_DEF& def : defs) {
        int32_t m = n.add_module(def.m_name);
        for (const BLC_PORT& port : def.m_ports)
            n.add_bus(m, port.m_name, port.m_width, port.m_dir);
    }
    for (const BLC_DEF& def : defs) {
        int32_t m = n.find_module(def.m_name);
        for (const BLC_INST& i : def.m_instances)
            n.add_instance(m, i.m_name, n.find_module(i.m_module));
    }
    // LOGIC: IMUX j takes the general inputs by rotation; the core's first output fans out.
    int32_t logic = n.find_module("LOGIC");
    int nl = p.m_leim, a = p.m_cells, fl = p.m_imux_fanin;
    std::vector<std::string> general;
    for (int k = 0; k < nl; ++k) general.push_back(bit("datain", k, nl));
    for (const char* s : {"clk", "bin", "bin2", "bin3", "dl_in"}) general.push_back(s);
    for (int j = 0; j < a; ++j) {
        std::string imux = "imux" + std::to_string(j);
        for (int m = 0; m < fl; ++m)
            n.connect(logic, {general[static_cast<size_t>(j * fl + m) % general.size()],
                              imux + "." + bit("i", m, fl)});
        n.connect(logic, {imux + ".o", "core." + bit("a", j, a)});
    }
    n.connect(logic, {"cin", "core.ci"});
    n.connect(logic, {"core." + bit("q", 0, a), bit("dataout", 0, a), "dl_out", "fb_out"});
    for (int k = 1; k < a; ++k) n.connect(logic, {"core." + bit("q", k, a), bit("dataout", k, a)});
    n.connect(logic, {"core.co", "cout"});
    if (p.m_warn) {
        // A port that the block-level data does not know, on the net of a described one.
        n.add_port(logic, "dbg_out", DG_OUT);
        n.connect(logic, {"core." + bit("q", 1, a), "dbg_out"});
    }
    int32_t core = n.find_module("LOGIC_CORE");
    for (int k = 0; k < a; ++k) {
        std::string c = "cell" + std::to_string(k) + ".";
        n.connect(core, {bit("a", k, a), c + "a[0]"});
        n.connect(core, {bit("a", (k + 1) % a, a), c + "a[1]"});
        if (k == 0)
            n.connect(core, {"ci", c + "a[2]"});
        else
            n.connect(core, {"cell" + std::to_string(k - 1) + ".q[1]", c + "a[2]"});
        n.connect(core, {c + "q[0]", bit("q", k, a)});
    }
    n.connect(core, {"cell" + std::to_string(a - 1) + ".q[1]", "co"});
    int32_t dsp = n.find_module("DSP__FAST");
    n.connect(dsp, {"a[0]", "mac0.x[0]", "mac2.x[0]"});
    n.connect(dsp, {"a[1]", "mac0.x[1]", "mac1.x[0]"});
    n.connect(dsp, {"mac0.y", "mac1.x[1]"});
    n.connect(dsp, {"mac1.y", "p[0]"});
    n.connect(dsp, {"mac2.y", "p[1]"});

    for (const BLC_DEF& def : defs) {
        PB::BLC_DATA::ENTRY* e = m_d.m_blc_data.add_entries();
        e->set_module(def.m_name);
        e->set_logical_name(def.m_logical);
        e->set_logical_impl(def.m_impl);
        if (def.m_internal) e->set_internal(true);
        std::vector<BLC_PORT> ports = def.m_ports;
        std::sort(ports.begin(), ports.end(),
                  [](const BLC_PORT& x, const BLC_PORT& y) { return x.m_name < y.m_name; });
        for (const BLC_PORT& bp : ports) {
            PB::BLC_DATA::PORT* port = e->add_ports();
            port->set_name(bp.m_name);
            if (bp.m_width != 1) port->set_width(bp.m_width);
            port->set_first_re_index(bp.m_re);
            if (!bp.m_route) port->set_route(false);
            if (!bp.m_icd.empty()) {
                port->set_icd_port_name(bp.m_icd);
                if (bp.m_width != 1) {
                    port->set_icd_msb(bp.m_width - 1);
                    port->set_icd_lsb(0);
                }
            }
        }
        for (const BLC_INST& i : def.m_instances) {
            PB::BLC_DATA::PLACEMENT* pl = e->add_placements();
            pl->set_instance(i.m_name);
            pl->set_pnr_x(i.m_x);
            pl->set_pnr_y(i.m_y);
            pl->set_pnr_z(i.m_z);
        }
    }
}

// The block-level passes on the model: logical pair and port rule for every BLC module,
// PRIM_MUX for internal ones, instance offsets, then sizes from placed instances.
void DG_BUILDER::annotate_blc() {
    DG_NETLIST& n = m_d.m_blc;
    std::vector<bool> instantiated(n.size(), false);
    for (const DG_MODULE& m : n.modules())
        for (const DG_INSTANCE& i : m.m_instances)
            instantiated[static_cast<size_t>(i.m_module)] = true;
    for (const PB::BLC_DATA::ENTRY& e : m_d.m_blc_data.entries()) {
        int32_t mi = n.find_module(e.module());
        DG_MODULE& m = n.module(mi);
        m.m_record.set_has_port_with_re(true);
        m.m_logical_name = e.logical_name();
        m.m_logical_impl = e.logical_impl();
        if (e.internal()) m.m_record.set_level(PB::ICDB::MODULE::PRIM_MUX);
        for (const PB::BLC_DATA::PORT& bp : e.ports())
            for (int b = 0; b < bp.width(); ++b) {
                DG_PORT& port =
                    m.m_ports[static_cast<size_t>(n.port_index(mi, bit(bp.name(), b, bp.width())))];
                port.m_has_record = true;
                port.m_logical_name = port.m_name;
                port.m_record.set_is_route_type_normal(bp.route());
                // A root is a top-level block: the top-level port pass names every port of
                // its logical block, routed or not; elsewhere route 0 leaves the port bare.
                if (!bp.route() && instantiated[static_cast<size_t>(mi)]) continue;
                PB::MUX_DESCRIPTION::MUXTYPE re =
                    !m.m_instances.empty() ? PB::MUX_DESCRIPTION::BLOCK_PORT
                    : e.internal()         ? PB::MUX_DESCRIPTION::BLC_INTERNAL_RE
                    : port.m_dir == DG_IN  ? PB::MUX_DESCRIPTION::ATOM_INPUT
                                           : PB::MUX_DESCRIPTION::ATOM_OUTPUT;
                port.m_record.set_re_name(re);
                port.m_record.set_re_index(bp.first_re_index() + b);
            }
        for (const PB::BLC_DATA::PLACEMENT& pl : e.placements()) {
            DG_INSTANCE& i =
                m.m_instances[static_cast<size_t>(n.instance_index(mi, pl.instance()))];
            i.m_has_record = true;
            i.m_record.set_pnr_x(pl.pnr_x());
            i.m_record.set_pnr_y(pl.pnr_y());
            i.m_record.set_pnr_z(pl.pnr_z());
        }
    }
    // Sizes: leaves are 1 by 1; a module grows to hold each fully placed instance. Children
    // come later in index order here, so walk from the last module back.
    for (size_t k = n.size(); k-- > 0;) {
        DG_MODULE& m = n.module(static_cast<int32_t>(k));
        if (m.m_instances.empty()) {
            m.m_record.set_pnr_height(1);
            m.m_record.set_pnr_width(1);
            continue;
        }
        int h = m.m_record.pnr_height(), w = m.m_record.pnr_width();
        for (const DG_INSTANCE& i : m.m_instances) {
            const PB::ICDB::MODULE& c = n.module(i.m_module).m_record;
            UTIL_ASSERT(c.pnr_height() >= 1 && c.pnr_width() >= 1);
            if (i.m_record.pnr_x() < 0 || i.m_record.pnr_y() < 0 || i.m_record.pnr_z() < 0)
                continue;
            w = std::max(w, i.m_record.pnr_x() + c.pnr_width());
            h = std::max(h, i.m_record.pnr_y() + c.pnr_height());
        }
        m.m_record.set_pnr_height(h);
        m.m_record.set_pnr_width(w);
    }
}

}  // namespace DEVGEN
