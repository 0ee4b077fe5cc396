// The mux translator.
//  1. add_mux writes one description per cell: a template cell gets its four parameters and
//     paths by class, by module name, or by its port names; a non-template (clock) cell gets
//     paths by its port names only, and stops the run if they are not understood.
//  2. Applying a description marks its module a primitive mux, stores the description's kind
//     and its paths by port index on the module record, and, for a non-template mux, decodes
//     the kind of each instance from the instance name.
#include "nlg/nlg_mux_translator.h"

#include <google/protobuf/text_format.h>

#include <iostream>
#include <iterator>
#include <sstream>

#include "nlg_igraph.h"
#include "util/util_assert.h"
#include "util/util_symbol.h"

namespace {

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

template <size_t N>
bool equals_one_of(const std::string& text, const char* const (&names)[N]) {
    for (const char* name : names)
        if (text == name) return true;
    return false;
}

template <size_t N>
bool contains_one_of(const std::string& text, const char* const (&parts)[N]) {
    for (const char* part : parts)
        if (contains(text, part)) return true;
    return false;
}

// The RTL gives string parameters with their quotes; the description keeps the bare text.
std::string strip_two_quotes(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    int dropped = 0;
    for (char ch : text) {
        if (ch == '"' && dropped < 2) {
            ++dropped;
            continue;
        }
        out += ch;
    }
    return out;
}

void add_path(PB::MUX_DESCRIPTION& desc, const std::string& in, const std::string& out,
              bool is_hipi_path = false) {
    PB::MUX_DESCRIPTION::PATH* path = desc.add_mux_paths();
    path->set_in(in);
    path->set_out(out);
    path->set_is_hipi_path(is_hipi_path);
}

std::string bit(const char* bus, int index) {
    return std::string(bus) + "[" + std::to_string(index) + "]";
}

const char* const TEMPLATE_OUTPUTS[] = {"drvout",       "muxout",      "mux_out",  "clkout",
                                        "leim_rpi_out", "data_output", "clk_pulse"};
const char* const TEMPLATE_INPUT_PARTS[] = {"muxin",   "long_in", "clkin", "dim_in",
                                            "leimclk", "rowclk",  "inp"};
const char* const TEMPLATE_INPUTS[] = {"leim_rpi_in", "data_input", "drvin", "in0", "in1"};
const char* const CLOCK_OUTPUTS[] = {"clkout", "clk_bidir", "ckmx81_out"};

struct RE_NAME {
    const char* name;
    PB::MUX_DESCRIPTION::MUXTYPE type;
};

// Folded on purpose: "L" and "LONG1", and the several clock names.
const RE_NAME RE_NAMES[] = {
    {"H", PB::MUX_DESCRIPTION::H},
    {"V", PB::MUX_DESCRIPTION::V},
    {"L", PB::MUX_DESCRIPTION::LL},
    {"LL", PB::MUX_DESCRIPTION::LL},
    {"LEIM", PB::MUX_DESCRIPTION::LEIM},
    {"LEIM_FIRST_STAGE", PB::MUX_DESCRIPTION::LEIM},
    {"LONG1", PB::MUX_DESCRIPTION::WM},
    {"CLOCK_SEGMENT", PB::MUX_DESCRIPTION::CLOCK_SEGMENT},
    {"CLKMUX", PB::MUX_DESCRIPTION::GLOBAL_LOCAL_SEL},
    {"sb", PB::MUX_DESCRIPTION::CLOCK_SEGMENT},
    {"sb_bi", PB::MUX_DESCRIPTION::CLOCK_SEGMENT},
    {"sb_buf", PB::MUX_DESCRIPTION::CLOCK_SEGMENT},
    {"sbmux_sp", PB::MUX_DESCRIPTION::CLOCK_SEGMENT},
    {"sbmux_np", PB::MUX_DESCRIPTION::CLOCK_SEGMENT},
    {"cs", PB::MUX_DESCRIPTION::CLOCK_SPINE},
    {"vseam", PB::MUX_DESCRIPTION::CLOCK_SEGMENT_TAP},
    {"vseam_bidir", PB::MUX_DESCRIPTION::CLOCK_SEGMENT_TAP},
    {"hseam", PB::MUX_DESCRIPTION::HORIZONTAL_CLOCK_SEGMENT},
    {"rc", PB::MUX_DESCRIPTION::SCLK_TO_ROWCLK_BUF},
    {"dcm", PB::MUX_DESCRIPTION::CC_DCM_GMUX_RE},
    {"CC_DCM_GMUX_RE", PB::MUX_DESCRIPTION::CC_DCM_GMUX_RE},
    {"HIPI", PB::MUX_DESCRIPTION::HIPI_LATCH},
    {"HIPI_LATCH", PB::MUX_DESCRIPTION::HIPI_LATCH},
    {"TMUX", PB::MUX_DESCRIPTION::HIPI_T_MUX},
    {"PMUX", PB::MUX_DESCRIPTION::HIPI_P_MUX},
    {"MMUX", PB::MUX_DESCRIPTION::HIPI_M_MUX},
    {"RED", PB::MUX_DESCRIPTION::UNKNOWN},
    {"FRZBUF", PB::MUX_DESCRIPTION::UNKNOWN},
    {"RPI", PB::MUX_DESCRIPTION::UNKNOWN},
    {"TRI_DRV", PB::MUX_DESCRIPTION::UNKNOWN},
    {"dft", PB::MUX_DESCRIPTION::UNKNOWN},
};

const std::string& param_named(const PB::MUX_DESCRIPTION& desc, int position, const char* name,
                               const char* message) {
    bool ok = desc.mux_params_size() > position && desc.mux_params(position).name() == name;
    UTIL_ASSERT_MSG(ok, message, desc.name().c_str());
    return desc.mux_params(position).value();
}

void fill_template_desc(const PB::MUX_DESCRIPTION& desc, PB::ICDB::MODULE::MUX_DESC& mux_desc) {
    mux_desc.set_dir(nlg_mux_direction(
        param_named(desc, 2, "DIR", "third parameter of mux %s is wrong. should be DIR.")));
    mux_desc.set_length(atoi(
        param_named(desc, 1, "LENGTH", "second parameter of mux %s is wrong. should be LENGTH.")
            .c_str()));
    mux_desc.set_mux_type(nlg_re_type(
        param_named(desc, 0, "CLASS", "first parameter of mux %s is wrong. should be CLASS.")));
    mux_desc.set_is_first_stage(
        atoi(param_named(desc, 3, "IS_FIRST_STAGE",
                         "forth parameter of mux %s is wrong. should be IS_FIRST_STAGE.")
                 .c_str()) != 0);
    UTIL_ASSERT_MSG(
        mux_desc.mux_type() != PB::MUX_DESCRIPTION::UNKNOWN || mux_desc.is_first_stage(),
        "Unknow mux type for module %s", desc.name().c_str());
    if (desc.has_hipi_mux_type()) mux_desc.set_hipi_mux_type(desc.hipi_mux_type());
}

// A path whose port is missing keeps -1 in its place, so that the record stays complete.
void add_record_paths(const PB::MUX_DESCRIPTION& desc, NLG_IMODULE& module, NLG_ICDB_ANNS& anns) {
    PB::ICDB::MODULE& record = anns.get_module(module);
    for (const PB::MUX_DESCRIPTION::PATH& path : desc.mux_paths()) {
        PB::ICDB::MODULE::PATH* rpath = record.add_paths();
        NLG_IPORT* in = nlg_find_port(module, path.in());
        NLG_IPORT* out = nlg_find_port(module, path.out());
        rpath->set_in(in ? in->get_index() : -1);
        rpath->set_out(out ? out->get_index() : -1);
        if (in) {
            anns.get_port(*in).set_is_primary_port(true);
        } else {
            std::cout << "Warning: can't find input port " << path.in() << " on mux module "
                      << desc.name() << ". The mux.pb.txt file is probably out of date!"
                      << std::endl;
        }
        if (out) {
            anns.get_port(*out).set_is_primary_port(true);
        } else {
            std::cout << "Warning: can't find output port " << path.out() << " on mux module "
                      << desc.name() << ". The mux.pb.txt file is probably out of date!"
                      << std::endl;
        }
        if (path.has_is_hipi_path()) rpath->set_is_hipi_path(path.is_hipi_path());
    }
    for (const PB::MUX_DESCRIPTION::SUBPATH& subpath : desc.subpaths()) {
        PB::ICDB::MODULE::SUBPATH* rsub = record.add_subpaths();
        for (const std::string& name : subpath.name()) rsub->add_name(name);
    }
    for (const PB::MUX_DESCRIPTION::SETTINGS& settings : desc.settings()) {
        PB::ICDB::MODULE::SETTINGS* rset = record.add_settings();
        rset->set_path_index(settings.path_index());
        for (const PB::MUX_DESCRIPTION::SETTING& setting : settings.setting()) {
            PB::ICDB::MODULE::SETTING* rs = rset->add_setting();
            rs->set_subpath_index(setting.subpath_index());
            rs->set_value(setting.value());
        }
    }
}

}  // namespace

NLG_IMODULE* nlg_find_module(NLG_IGRAPH& graph, const std::string& name) {
    NS_SYMBOL::SYM sym = graph.get_symbol_table()->find(name);
    return sym.get_value() & 0xFFFFFFu ? graph.get_module(sym) : nullptr;
}

NLG_IPORT* nlg_find_port(NLG_IMODULE& module, const std::string& name) {
    NS_SYMBOL::SYM sym = module.get_graph()->get_symbol_table()->find(name);
    return sym.get_value() & 0xFFFFFFu ? module.get_port(sym) : nullptr;
}

bool nlg_find_re_type(const std::string& name, PB::MUX_DESCRIPTION::MUXTYPE& type) {
    for (const RE_NAME& entry : RE_NAMES)
        if (name == entry.name) {
            type = entry.type;
            return true;
        }
    return false;
}

PB::MUX_DESCRIPTION::MUXTYPE nlg_re_type(const std::string& name) {
    PB::MUX_DESCRIPTION::MUXTYPE type;
    if (nlg_find_re_type(name, type)) return type;
    UTIL_FAIL("%s is an unsupported node type!", name.c_str());
}

PB::ICDB::NET::DIRECTION nlg_mux_direction(const std::string& name) {
    static const struct {
        const char* letter;
        PB::ICDB::NET::DIRECTION dir;
    } DIRS[] = {{"L", PB::ICDB::NET::LEFT},
                {"R", PB::ICDB::NET::RIGHT},
                {"U", PB::ICDB::NET::UP},
                {"D", PB::ICDB::NET::DOWN}};
    for (const auto& d : DIRS)
        if (name == d.letter || name == PB::ICDB::NET::DIRECTION_Name(d.dir)) return d.dir;
    return PB::ICDB::NET::NO_DIR;
}

void nlg_add_mux_params(PB::MUX_DESCRIPTION& desc, const std::string& mux_class,
                        const std::string& length, const std::string& dir,
                        const std::string& is_first_stage) {
    const std::pair<const char*, std::string> params[] = {{"CLASS", strip_two_quotes(mux_class)},
                                                          {"LENGTH", length},
                                                          {"DIR", strip_two_quotes(dir)},
                                                          {"IS_FIRST_STAGE", is_first_stage}};
    for (const auto& p : params) {
        PB::MUX_DESCRIPTION::PARAM* param = desc.add_mux_params();
        param->set_name(p.first);
        param->set_value(p.second);
    }
}

void nlg_decode_mux_instance_name(const std::string& name, PB::ICDB::MODULE::MUX_DESC* mux_desc) {
    static const std::string MARK = "_dolsgn_";
    if (name.find(MARK) == std::string::npos) {
        mux_desc->set_is_first_stage(false);
        mux_desc->set_mux_type(PB::MUX_DESCRIPTION::UNKNOWN);
        return;
    }
    std::string spaced = name;
    for (int n = 0; n < 2; ++n) {
        size_t at = spaced.find(MARK);
        if (at == std::string::npos) break;
        spaced.replace(at, MARK.size(), " ");
    }
    std::istringstream fields(spaced);
    std::string prefix, type;
    int number = 0;
    fields >> prefix >> type >> number;
    mux_desc->set_is_first_stage(number != 0 || type == "dft");
    mux_desc->set_mux_type(nlg_re_type(type));
    UTIL_ASSERT(mux_desc->is_first_stage() ||
                (mux_desc->mux_type() != PB::MUX_DESCRIPTION::UNKNOWN));
}

void nlg_apply_mux_description(NLG_IGRAPH& graph, NLG_ICDB_ANNS& anns,
                               const PB::MUX_DESCRIPTION& desc, uint32_t index) {
    if (desc.is_template() && desc.mux_params_size() == 0) {
        std::cout << "Info: mux module " << desc.name() << " does not have any parameters!"
                  << std::endl;
        return;
    }
    NLG_IMODULE* module = nlg_find_module(graph, desc.name());
    graph.get_symbol_table()->init_name_fast();
    if (!module) {
        std::cout << "Warning: mux module " << desc.name()
                  << " listed in mux.pb.txt file can't be found in RTL!" << std::endl;
        return;
    }
    PB::ICDB::MODULE& record = anns.get_module(*module);
    record.set_level(PB::ICDB::MODULE::PRIM_MUX);
    record.set_mux_index(index);
    PB::ICDB::MODULE::MUX_DESC mux_desc;
    mux_desc.set_is_template(desc.is_template());
    if (!desc.is_template()) {
        for (uint32_t r = 0, n = module->get_num_references(); r < n; ++r) {
            NLG_IINSTANCE* inst = module->get_reference(static_cast<int32_t>(r));
            PB::ICDB::MODULE::MUX_DESC inst_desc;
            inst_desc.set_is_template(false);
            nlg_decode_mux_instance_name(inst->get_name().str_fast(), &inst_desc);
            *anns.get_instance(*inst).mutable_mux_desc() = inst_desc;
        }
    } else {
        fill_template_desc(desc, mux_desc);
    }
    *record.mutable_mux_desc() = mux_desc;
    add_record_paths(desc, *module, anns);
}

void nlg_apply_mux_descriptions(NLG_IGRAPH& graph, NLG_ICDB_ANNS& anns,
                                const PB::MUX_DESCRIPTIONS& descriptions) {
    for (int i = 0; i < descriptions.mux_descriptions_size(); ++i)
        nlg_apply_mux_description(graph, anns, descriptions.mux_descriptions(i),
                                  static_cast<uint32_t>(i));
}

std::set<const NLG_IMODULE*>& nlg_clock_cell_set() {
    static std::set<const NLG_IMODULE*> s_clock_cells;
    return s_clock_cells;
}

std::set<const NLG_IMODULE*>& nlg_buffer_cell_set() {
    static std::set<const NLG_IMODULE*> s_buffer_cells;
    return s_buffer_cells;
}

bool NLG_MUX_TRANSLATOR::read(std::istream& input, uint32_t format) {
    UTIL_ASSERT_MSG(format == UTIL::PB_TXT, "format == UTIL::ISERIALIZABLE::PB_TXT");
    UTIL_ASSERT(m_pb.mux_descriptions_size() == 0);
    std::string text((std::istreambuf_iterator<char>(input)), std::istreambuf_iterator<char>());
    return google::protobuf::TextFormat::ParseFromString(text, &m_pb);
}

bool NLG_MUX_TRANSLATOR::write(std::ostream& output, uint32_t format) {
    UTIL_ASSERT_MSG(format == UTIL::PB_TXT, "format == UTIL::ISERIALIZABLE::PB_TXT");
    UTIL_ASSERT(m_pb.mux_descriptions_size() > 0);
    std::string text;
    if (!google::protobuf::TextFormat::PrintToString(m_pb, &text)) return false;
    output << text;
    return static_cast<bool>(output);
}

void NLG_MUX_TRANSLATOR::add_mux(const std::string& name, bool is_template,
                                 const std::string& mux_class, const std::string& length,
                                 const std::string& dir, bool is_first_stage,
                                 const std::vector<std::string>& ports) {
    PB::MUX_DESCRIPTION& desc = *m_pb.add_mux_descriptions();
    desc.set_is_template(is_template);
    desc.set_name(name);
    if (!is_template) {
        add_clock_paths(desc, ports);
        return;
    }
    // A length of 1000 marks a first stage too.
    std::string first = is_first_stage || length == "1000" ? "1" : "0";
    nlg_add_mux_params(desc, mux_class, length, dir, first);
    add_template_paths(desc, mux_class, ports);
}

// Classes are compared with their quotes, as the RTL gives them.
void NLG_MUX_TRANSLATOR::add_template_paths(PB::MUX_DESCRIPTION& desc, const std::string& mux_class,
                                            const std::vector<std::string>& ports) {
    const std::string& name = desc.name();
    if (mux_class == "\"LEIM_FIRST_STAGE\"") {
        for (int o = 0; o < 4; ++o)
            for (int k = 0; k < 8; ++k) add_path(desc, bit("muxin", o + 4 * k), bit("muxout", o));
        return;
    }
    if (mux_class == "\"HIPI\"" || mux_class == "\"HIPI_LATCH\"") {
        add_path(desc, "din", "dout", false);
        add_path(desc, "clk", "dout", true);
        return;
    }
    if (contains(name, "rt_mux_hio_2to1_frzbuf")) {
        add_path(desc, "coreout", "coreout_buff");
        return;
    }
    if (name == "rt_mux_buffer_alien") {
        add_path(desc, "core_per_in", "muxbuff_out");
        add_path(desc, "h_wires_in", "muxbuff_out");
        return;
    }
    if (name == "cc_redmux") {
        for (int i = 0; i < 8; ++i) add_path(desc, bit("muxin", i), bit("muxout", i));
        return;
    }
    const std::string* output = nullptr;
    std::vector<const std::string*> inputs;
    for (const std::string& port : ports) {
        if (equals_one_of(port, TEMPLATE_OUTPUTS) || contains(port, "dim_out"))
            output = &port;
        else if (contains_one_of(port, TEMPLATE_INPUT_PARTS) ||
                 equals_one_of(port, TEMPLATE_INPUTS))
            inputs.push_back(&port);
    }
    if (output && !inputs.empty()) {
        for (const std::string* in : inputs) add_path(desc, *in, *output);
        return;
    }
    std::cout << "Warning: Unrecognized ports found on mux: " << name << ", class: " << mux_class
              << " ports: ";
    for (const std::string& port : ports) std::cout << port << "    ";
    std::cout << std::endl;
}

void NLG_MUX_TRANSLATOR::add_clock_paths(PB::MUX_DESCRIPTION& desc,
                                         const std::vector<std::string>& ports) {
    if (desc.name() == "an_cc_clkdrv_bi") {
        add_path(desc, "clk0", "clk1");
        add_path(desc, "clk1", "clk0");
        return;
    }
    const std::string* output = nullptr;
    std::vector<const std::string*> inputs;
    for (const std::string& port : ports) {
        if (equals_one_of(port, CLOCK_OUTPUTS))
            output = &port;
        else if (contains(port, "clk") && !contains(port, "sel"))
            inputs.push_back(&port);
    }
    UTIL_ASSERT_MSG(output && !inputs.empty(),
                    "Not all input and output of module %s is recongnized!", desc.name().c_str());
    for (const std::string* in : inputs) add_path(desc, *in, *output);
}
