// Mux descriptions of the generated device, as the preparation flow makes them: one per mux cell
// in cell order (by the translator's rules on CLASS, name and port names), then one per wrapper
// in the order the merger first meets it, with paths by wrapper port and per-path settings; and
// the routine that applies them to the RTL records.
//  1. Cells: four parameters, paths by the special classes and names, else by port names.
//  2. Wrappers: a depth-first walk from the top in instance order numbers them; each kind's
//     stages give paths (output entries outer, input entries inner) and settings by subpath.
//  3. Apply: PRIM_MUX, mux_index, mux_desc, paths by port index, subpaths and settings;
//     instances of non-template cells get their own description from the instance name.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <set>

#include "devgen/devgen_builder.h"
#include "nlg/nlg_mux_translator.h"
#include "util/util_assert.h"

namespace DEVGEN {

namespace {

bool contains(const std::string& s, const char* part) {
    return s.find(part) != std::string::npos;
}

std::string unquote(const std::string& s) {
    std::string r = s;
    for (int k = 0; k < 2; ++k) {
        size_t q = r.find('"');
        if (q != std::string::npos) r.erase(q, 1);
    }
    return r;
}

void add_path(PB::MUX_DESCRIPTION* d, const std::string& in, const std::string& out, bool hipi) {
    PB::MUX_DESCRIPTION::PATH* p = d->add_mux_paths();
    p->set_in(in);
    p->set_out(out);
    p->set_is_hipi_path(hipi);
}

void add_param(PB::MUX_DESCRIPTION* d, const std::string& name, const std::string& value) {
    PB::MUX_DESCRIPTION::PARAM* p = d->add_mux_params();
    p->set_name(name);
    p->set_value(value);
}

// Paths of a template cell by its port names: every input to the last output.
void port_rule(PB::MUX_DESCRIPTION* d, const std::vector<std::string>& ports) {
    std::vector<std::string> inputs;
    std::string output;
    for (const std::string& p : ports) {
        bool out = p == "drvout" || p == "muxout" || p == "mux_out" || p == "clkout" ||
                   p == "leim_rpi_out" || p == "data_output" || p == "clk_pulse" ||
                   contains(p, "dim_out");
        bool in = !out && (contains(p, "muxin") || contains(p, "long_in") || contains(p, "clkin") ||
                           contains(p, "dim_in") || contains(p, "leimclk") ||
                           contains(p, "rowclk") || contains(p, "inp") || p == "leim_rpi_in" ||
                           p == "data_input" || p == "drvin" || p == "in0" || p == "in1");
        if (out) output = p;
        if (in) inputs.push_back(p);
    }
    if (inputs.empty() || output.empty()) return;
    for (const std::string& i : inputs) add_path(d, i, output, false);
}

void template_cell(PB::MUX_DESCRIPTION* d, const std::string& name, const std::string& cls,
                   const std::string& length, const std::string& dir,
                   const std::vector<std::string>& ports) {
    d->set_is_template(true);
    d->set_name(name);
    add_param(d, "CLASS", unquote(cls));
    add_param(d, "LENGTH", length);
    add_param(d, "DIR", unquote(dir));
    add_param(d, "IS_FIRST_STAGE", length == "1000" ? "1" : "0");
    if (cls == "\"LEIM_FIRST_STAGE\"") {
        for (int o = 0; o < 4; ++o)
            for (int k = 0; k < 8; ++k)
                add_path(d, "muxin[" + std::to_string(o + 4 * k) + "]",
                         "muxout[" + std::to_string(o) + "]", false);
    } else if (cls == "\"HIPI\"" || cls == "\"HIPI_LATCH\"") {
        add_path(d, "din", "dout", false);
        add_path(d, "clk", "dout", true);
    } else if (contains(name, "rt_mux_hio_2to1_frzbuf")) {
        add_path(d, "coreout", "coreout_buff", false);
    } else if (name == "rt_mux_buffer_alien") {
        add_path(d, "core_per_in", "muxbuff_out", false);
        add_path(d, "h_wires_in", "muxbuff_out", false);
    } else if (name == "cc_redmux") {
        for (int i = 0; i < 8; ++i)
            add_path(d, "muxin[" + std::to_string(i) + "]", "muxout[" + std::to_string(i) + "]",
                     false);
    } else {
        port_rule(d, ports);
    }
}

void clock_cell(PB::MUX_DESCRIPTION* d, const std::string& name,
                const std::vector<std::string>& ports) {
    d->set_is_template(false);
    d->set_name(name);
    if (name == "an_cc_clkdrv_bi") {
        add_path(d, "clk0", "clk1", false);
        add_path(d, "clk1", "clk0", false);
        return;
    }
    std::vector<std::string> inputs;
    std::string output;
    for (const std::string& p : ports) {
        if (p == "clkout" || p == "clk_bidir" || p == "ckmx81_out")
            output = p;
        else if (contains(p, "clk") && !contains(p, "sel"))
            inputs.push_back(p);
    }
    UTIL_ASSERT_MSG(!inputs.empty() && !output.empty(), "clock cell %s has no paths", name.c_str());
    for (const std::string& i : inputs) add_path(d, i, output, false);
}

// Builds one merged description: subpaths by instance name, a settings row per path.
class MERGED {
  public:
    MERGED(PB::MUX_DESCRIPTION* d, const std::string& name) : m_d(d) {
        d->set_is_template(true);
        d->set_name(name);
    }
    void params(const std::string& cls, int length, const std::string& dir) {
        add_param(m_d, "CLASS", cls);
        add_param(m_d, "LENGTH", std::to_string(length));
        add_param(m_d, "DIR", dir);
        add_param(m_d, "IS_FIRST_STAGE", "0");
    }
    // A stage always opens a subpath of its own.
    uint32_t stage(const std::string& instance) {
        m_d->add_subpaths()->add_name(instance);
        return static_cast<uint32_t>(m_d->subpaths_size() - 1);
    }
    uint32_t find(const std::string& instance) {
        for (int k = 0; k < m_d->subpaths_size(); ++k)
            if (m_d->subpaths(k).name_size() == 1 && m_d->subpaths(k).name(0) == instance)
                return static_cast<uint32_t>(k);
        return stage(instance);
    }
    // Settings: the stage's own input, then each first stage crossed (instance, input port),
    // output side first.
    void path(const std::string& in, const std::string& out, bool hipi, uint32_t stage,
              const std::string& stage_in,
              const std::vector<std::pair<std::string, std::string>>& crossed) {
        add_path(m_d, in, out, hipi);
        PB::MUX_DESCRIPTION::SETTINGS* s = m_d->add_settings();
        s->set_path_index(static_cast<uint32_t>(m_d->mux_paths_size() - 1));
        PB::MUX_DESCRIPTION::SETTING* own = s->add_setting();
        own->set_subpath_index(stage);
        own->set_value(stage_in);
        for (const auto& c : crossed) {
            uint32_t sub = find(c.first);
            PB::MUX_DESCRIPTION::SETTING* set = s->add_setting();
            set->set_subpath_index(sub);
            set->set_value(c.second);
        }
    }

  private:
    PB::MUX_DESCRIPTION* m_d;
};

std::string bit(const std::string& base, int i, int width) {
    return dg_bit(base, i, width);
}

}  // namespace

// The translator's own naming table, so that the generator's descriptions can never drift from it.
bool dg_mux_type(const std::string& name, PB::MUX_DESCRIPTION::MUXTYPE& type) {
    return nlg_find_re_type(name, type);
}

std::string dg_mux_type_name(int type) {
    return PB::MUX_DESCRIPTION::MUXTYPE_Name(static_cast<PB::MUX_DESCRIPTION::MUXTYPE>(type));
}

void DG_BUILDER::describe_cells() {
    for (const DG_MODULE& m : m_d.m_rtl.modules()) {
        if (m.m_attributes.empty() || m.m_attributes[0].first != "fab_mux") continue;
        std::vector<std::string> ports;
        for (const DG_PORT& p : m.m_ports) ports.push_back(p.m_name);
        PB::MUX_DESCRIPTION* d = m_d.m_mux.add_mux_descriptions();
        if (m.m_parameters.empty())
            clock_cell(d, m.m_name, ports);
        else
            template_cell(d, m.m_name, m.m_parameters[0].second, m.m_parameters[1].second,
                          m.m_parameters[2].second, ports);
    }
    // A cell that the RTL no longer has: its description stays, its index is taken.
    template_cell(m_d.m_mux.add_mux_descriptions(), "ghost_mux", "\"H\"", "3", "\"R\"",
                  {"muxin[0]", "muxout"});
}

void DG_BUILDER::describe_wrappers() {
    const DG_NETLIST& n = m_d.m_rtl;
    std::set<int32_t> wrappers;
    for (const DG_MODULE& m : n.modules())
        if (m.m_name.compare(0, 7, "rt_mux_") == 0 && m.m_attributes.empty() &&
            m.m_name != "rt_mux_odd")
            wrappers.insert(n.find_module(m.m_name));
    wrappers.insert(n.find_module("clk_wrap"));
    // First meeting in a depth-first walk from the top; a definition is walked once.
    std::set<int32_t> done;
    std::vector<int32_t> stack{0};
    std::function<void(int32_t)> walk = [&](int32_t mi) {
        if (!done.insert(mi).second) return;
        for (const DG_INSTANCE& i : n.module(mi).m_instances) {
            if (wrappers.count(i.m_module) && !done.count(i.m_module)) {
                done.insert(i.m_module);
                m_wrapper_order.push_back(n.module(i.m_module).m_name);
            } else {
                walk(i.m_module);
            }
        }
    };
    walk(0);
    const DG_PARAMS& p = m_p;
    for (const std::string& name : m_wrapper_order) {
        const DG_MODULE& w = n.module(n.find_module(name));
        MERGED d(m_d.m_mux.add_mux_descriptions(), name);
        if (name == "clk_wrap") {
            d.params("CLOCK_SEGMENT", -1, "");
            uint32_t c = d.stage("c_dolsgn_sb_dolsgn_0");
            const char* first[2] = {"a_dolsgn_sb_dolsgn_1", "b_dolsgn_dft_dolsgn_0"};
            for (int i = 0; i < 2; ++i)
                for (int j = 0; j < 2; ++j)
                    d.path(bit("in", 2 * i + j, 4), "out", false, c, bit("clkin", i, 2),
                           {{first[i], bit("clkin", j, 2)}});
            continue;
        }
        if (name == "rt_mux_leim" || name == "rt_mux_leim_b") {
            d.params("LEIM", 0, "");
            uint32_t s = d.stage("s");
            for (int o = 0; o < 4; ++o)
                for (int k = 0; k < 8; ++k)
                    d.path(bit("in", o + 4 * k, 32), "out", false, s, bit("muxin", o, 4),
                           {{"fs", bit("muxin", o + 4 * k, 32)}});
            continue;
        }
        // Wire wrappers: the stage cell names the class, length and direction.
        const DG_MODULE& stage = n.module(w.m_instances[w.m_instance_map.at("s")].m_module);
        std::string cls = unquote(stage.m_parameters[0].second);
        cls = cls == "L" ? "LL" : cls;
        d.params(cls, std::atoi(stage.m_parameters[1].second.c_str()),
                 unquote(stage.m_parameters[2].second));
        bool hipi = name.find("_hipi") != std::string::npos;
        int inputs = static_cast<int>(w.m_ports.size()) - 1 - (hipi ? 2 * p.m_hipi_fanin : 0);
        int fs = inputs / 2;
        uint32_t s = d.stage("s");
        std::vector<std::pair<std::string, std::string>> tail =
            hipi ? std::vector<std::pair<std::string, std::string>>{{"l1", "din"}, {"l2", "din"}}
                 : std::vector<std::pair<std::string, std::string>>{{"d", "drvin"}};
        for (int i = 0; i < fs; ++i)
            for (int j = 0; j < 2; ++j) {
                auto crossed = tail;
                crossed.push_back({"f" + std::to_string(i), bit("muxin", j, 2)});
                d.path(bit("in", 2 * i + j, inputs), "out", false, s, bit("muxin", i, fs), crossed);
            }
        if (!hipi) continue;
        int fh = p.m_hipi_fanin;
        uint32_t t = d.stage("t");
        for (int k = 0; k < fh; ++k)
            d.path(bit("t_in", k, fh), "out", true, t, bit("muxin", k, fh),
                   {{"l1", "clk"}, {"l2", "din"}});
        uint32_t m = d.stage("m");
        for (int k = 0; k < fh; ++k)
            d.path(bit("m_in", k, fh), "out", true, m, bit("muxin", k, fh), {{"l2", "clk"}});
        // The M stage is merged last, so its kind is the one that stays.
        m_d.m_mux.mutable_mux_descriptions(m_d.m_mux.mux_descriptions_size() - 1)
            ->set_hipi_mux_type(PB::MUX_DESCRIPTION::HIPI_M_MUX);
    }
}

void DG_BUILDER::apply_descriptions() {
    for (int i = 0; i < m_d.m_mux.mux_descriptions_size(); ++i) apply_one(i);
}

static PB::ICDB::MODULE::MUX_DESC instance_desc(const std::string& name) {
    PB::ICDB::MODULE::MUX_DESC d;
    d.set_is_template(false);
    size_t first = name.find("_dolsgn_");
    if (first == std::string::npos) {
        d.set_is_first_stage(false);
        d.set_mux_type(PB::MUX_DESCRIPTION::UNKNOWN);
        return d;
    }
    size_t second = name.find("_dolsgn_", first + 8);
    UTIL_ASSERT(second != std::string::npos);
    std::string type = name.substr(first + 8, second - first - 8);
    int number = std::atoi(name.c_str() + second + 8);
    PB::MUX_DESCRIPTION::MUXTYPE t = PB::MUX_DESCRIPTION::UNKNOWN;
    UTIL_ASSERT_MSG(dg_mux_type(type, t), "%s is an unsupported node type!", type.c_str());
    d.set_is_first_stage(number != 0 || type == "dft");
    d.set_mux_type(t);
    return d;
}

static void set_dir(PB::ICDB::MODULE::MUX_DESC& d, const std::string& dir) {
    d.set_dir(dir == "L"   ? PB::ICDB::NET::LEFT
              : dir == "R" ? PB::ICDB::NET::RIGHT
              : dir == "U" ? PB::ICDB::NET::UP
              : dir == "D" ? PB::ICDB::NET::DOWN
                           : PB::ICDB::NET::NO_DIR);
}

void DG_BUILDER::apply_one(int index) {
    const PB::MUX_DESCRIPTION& desc = m_d.m_mux.mux_descriptions(index);
    DG_NETLIST& n = m_d.m_rtl;
    int32_t mi = -1;
    for (size_t k = 0; k < n.size() && mi < 0; ++k)
        if (n.module(static_cast<int32_t>(k)).m_name == desc.name()) mi = static_cast<int32_t>(k);
    if (mi < 0) return;  // a cell the RTL lost
    DG_MODULE& m = n.module(mi);
    PB::ICDB::MODULE& r = m.m_record;
    r.set_level(PB::ICDB::MODULE::PRIM_MUX);
    r.set_mux_index(static_cast<uint32_t>(index));
    PB::ICDB::MODULE::MUX_DESC d;
    d.set_is_template(desc.is_template());
    if (desc.is_template()) {
        set_dir(d, desc.mux_params(2).value());
        d.set_length(std::atoi(desc.mux_params(1).value().c_str()));
        PB::MUX_DESCRIPTION::MUXTYPE t = PB::MUX_DESCRIPTION::UNKNOWN;
        UTIL_ASSERT(dg_mux_type(desc.mux_params(0).value(), t));
        d.set_mux_type(t);
        d.set_is_first_stage(std::atoi(desc.mux_params(3).value().c_str()) != 0);
        UTIL_ASSERT(t != PB::MUX_DESCRIPTION::UNKNOWN || d.is_first_stage());
        if (desc.has_hipi_mux_type()) d.set_hipi_mux_type(desc.hipi_mux_type());
    } else {
        for (size_t k = 0; k < n.size(); ++k)
            for (DG_INSTANCE& i : n.module(static_cast<int32_t>(k)).m_instances)
                if (i.m_module == mi) {
                    i.m_has_record = true;
                    *i.m_record.mutable_mux_desc() = instance_desc(i.m_name);
                }
    }
    *r.mutable_mux_desc() = d;
    for (const PB::MUX_DESCRIPTION::PATH& path : desc.mux_paths()) {
        PB::ICDB::MODULE::PATH* rp = r.add_paths();
        int32_t in = n.port_index(mi, path.in()), out = n.port_index(mi, path.out());
        for (int32_t p : {in, out}) {
            m.m_ports[static_cast<size_t>(p)].m_has_record = true;
            m.m_ports[static_cast<size_t>(p)].m_record.set_is_primary_port(true);
        }
        rp->set_in(in);
        rp->set_out(out);
        rp->set_is_hipi_path(path.is_hipi_path());
    }
    for (const PB::MUX_DESCRIPTION::SUBPATH& s : desc.subpaths()) {
        PB::ICDB::MODULE::SUBPATH* rs = r.add_subpaths();
        for (const std::string& name : s.name()) rs->add_name(name);
    }
    for (const PB::MUX_DESCRIPTION::SETTINGS& s : desc.settings()) {
        PB::ICDB::MODULE::SETTINGS* rs = r.add_settings();
        rs->set_path_index(s.path_index());
        for (const PB::MUX_DESCRIPTION::SETTING& v : s.setting()) {
            PB::ICDB::MODULE::SETTING* rv = rs->add_setting();
            rv->set_subpath_index(v.subpath_index());
            rv->set_value(v.value());
        }
    }
}

}  // namespace DEVGEN
