// Merging multi-stage muxes.
//  1. Apply every description to a scratch ICDB set and fill the clock and buffer cell sets.
//  2. Walk the graph, each module definition once, visiting the last stages of template muxes
//     (H, V, LL, LEIM, HIPI T/M) and of non-template clock muxes.
//  3. For a stage, trace its outputs forward and its inputs backward through the first-stage
//     muxes next to it; the deepest module common to the stage and a crossed first stage is the
//     wrapper, and the trace ends at the wrapper's ports.
//  4. Each pair of wrapper ports joined through a stage path becomes a path of the wrapper's
//     description, with the stage input and each crossed first-stage input as its settings.
//  5. The description is closed when the walk leaves the wrapper module.
#include "nlg/nlg_mux_merger.h"

#include <algorithm>
#include <iostream>

#include "ann/annss.h"
#include "util/util_assert.h"

namespace {

using MUXTYPE = PB::MUX_DESCRIPTION::MUXTYPE;

const char* direction_letter(const PB::ICDB::MODULE::MUX_DESC& desc) {
    if (!desc.has_dir()) return "";
    switch (desc.dir()) {
        case PB::ICDB::NET::LEFT:
            return "L";
        case PB::ICDB::NET::RIGHT:
            return "R";
        case PB::ICDB::NET::UP:
            return "U";
        case PB::ICDB::NET::DOWN:
            return "D";
        default:
            return "";
    }
}

// Stage ports by index, so that the order of paths is the same in every run.
std::vector<NLG_IPORT*> path_ports(NLG_IMODULE* module, const PB::ICDB::MODULE& record, bool in) {
    std::vector<int32_t> indexes;
    for (const PB::ICDB::MODULE::PATH& path : record.paths()) {
        int32_t index = in ? path.in() : path.out();
        if (index >= 0) indexes.push_back(index);
    }
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    std::vector<NLG_IPORT*> ports;
    ports.reserve(indexes.size());
    for (int32_t index : indexes) ports.push_back(module->get_port(index));
    return ports;
}

}  // namespace

// Tracer.

TSL_RTL_TRACER_FOR_MUX_MERGER::TSL_RTL_TRACER_FOR_MUX_MERGER(NLG_IANNSS* annss)
    : TSL_RTL_TRACER(annss), m_mux_module(nullptr), m_is_hipi(false), m_min_depth(0) {}

void TSL_RTL_TRACER_FOR_MUX_MERGER::set_instances(std::vector<NLG_IINSTANCE*> instances) {
    m_start_path.assign(instances.begin(), instances.end());
    TSL_RTL_TRACER::set_instances(std::move(instances));
}

void TSL_RTL_TRACER_FOR_MUX_MERGER::clear() {
    TSL_RTL_TRACER::clear();
    m_is_hipi = false;
    recycle(m_internal_res);
    m_path_to_res.clear();
}

void TSL_RTL_TRACER_FOR_MUX_MERGER::record_end(NLG_IPORT* port) {
    record(port, m_inverted, m_through_path);
    m_path_to_res.push_back(m_internal_res);
    UTIL_ASSERT(m_res.size() == m_path_to_res.size());
}

void TSL_RTL_TRACER_FOR_MUX_MERGER::trace_up_input(NLG_IPORT* port) {
    if (port->is_output()) return;
    if (port->get_parent() == m_mux_module) {
        record_end(port);
        return;
    }
    if (static_cast<int32_t>(m_instances.size()) < m_min_depth) return;
    UTIL_ASSERT(!m_instances.empty());
    NLG_IPORT_REF* ref = m_instances.back()->get_portref(port);
    if (ref) trace_net_fanin(ref);
}

void TSL_RTL_TRACER_FOR_MUX_MERGER::trace_up_output(NLG_IPORT* port) {
    if (port->is_input()) return;
    if (port->get_parent() == m_mux_module) {
        record_end(port);
        return;
    }
    if (static_cast<int32_t>(m_instances.size()) < m_min_depth) return;
    UTIL_ASSERT(!m_instances.empty());
    NLG_IPORT_REF* ref = m_instances.back()->get_portref(port);
    if (ref) trace_net_fanout(ref);
}

void TSL_RTL_TRACER_FOR_MUX_MERGER::cross_first_stage(NLG_IMODULE* module,
                                                      const PB::ICDB_MODULE_PATH& path, NEXT next) {
    m_through_path = true;
    if (path.is_hipi_path()) m_is_hipi = true;
    NLG_IPORT* in = module->get_port(path.in());
    NLG_IPORT* out = module->get_port(path.out());
    record(m_internal_res, in, m_inverted, m_through_path);
    record(m_internal_res, out, m_inverted, m_through_path);

    size_t common = 0;
    while (common < m_start_path.size() && common < m_instances.size() &&
           m_start_path[common] == m_instances[common])
        ++common;
    UTIL_ASSERT_MSG(common > 0, "!common_path.empty()");
    NLG_IMODULE* wrapper = m_instances[common - 1]->get_module();
    if (!m_mux_module) {
        m_mux_module = wrapper;
    } else if (m_mux_module != wrapper) {
        std::cout << "previous found mux module is " << m_mux_module->get_name()
                  << " newly found mux module is " << wrapper->get_name() << std::endl;
    }

    if (next == UP_OUTPUT) {
        trace_up_output(out);
    } else if (next == UP_INPUT) {
        trace_up_input(in);
    } else {
        NLG_IPORT_REF* ref = m_instances.back()->get_portref(in);
        if (ref) trace_net_fanin(ref);
    }
    UTIL_ASSERT(m_internal_res.size() >= 2);
    for (int n = 0; n < 2; ++n) {
        m_spare.push_back(std::move(m_internal_res.back()));
        m_internal_res.pop_back();
    }
}

void TSL_RTL_TRACER_FOR_MUX_MERGER::trace_mux_fanout(NLG_IPORT* port,
                                                     const PB::ICDB_MODULE& module) {
    NLG_IMODULE* mux = port->get_parent();
    for (const PB::ICDB_MODULE_PATH& path : module.paths())
        if (path.in() == port->get_index()) cross_first_stage(mux, path, UP_OUTPUT);
}

void TSL_RTL_TRACER_FOR_MUX_MERGER::trace_mux_fanin(NLG_IPORT* port,
                                                    const PB::ICDB_MODULE& module) {
    NLG_IMODULE* mux = port->get_parent();
    for (const PB::ICDB_MODULE_PATH& path : module.paths())
        if (path.out() == port->get_index()) cross_first_stage(mux, path, UP_INPUT);
}

// A non-template first stage is known by its instance; the walk goes on from its input pin.
void TSL_RTL_TRACER_FOR_MUX_MERGER::trace_ref_fanin(NLG_IPORT_REF* ref) {
    NLG_IINSTANCE* inst = ref->get_instance();
    const PB::ICDB_INSTANCE& record = m_anns->get_instance(*inst);
    if (!record.has_mux_desc()) {
        trace_down_output(ref->get_port());
        return;
    }
    if (!record.mux_desc().is_first_stage()) return;
    NLG_IMODULE* mux = inst->get_module();
    int32_t index = ref->get_port()->get_index();
    for (const PB::ICDB_MODULE_PATH& path : module_record(mux).paths())
        if (path.out() == index) cross_first_stage(mux, path, NET_FANIN);
}

// Visitor.

TSL_MUX_MERGER::TSL_MUX_MERGER(NLG_IANNSS* annss, NLG_MUX_TRANSLATOR* translator)
    : m_tracer(annss),
      m_translator(translator),
      m_new_mux_module(nullptr),
      m_new_mux_desc(nullptr),
      m_anns(&annss->get_icdb()) {
    m_hier_blks.reserve(20);
}

bool TSL_MUX_MERGER::resolve_outputs(NLG_IMODULE* module, const std::vector<NLG_IPORT*>& outputs) {
    bool is_hipi = false;
    for (NLG_IPORT* port : outputs) {
        m_tracer.clear();
        m_tracer.trace_up_output(port);
        is_hipi = is_hipi || m_tracer.is_hipi();
        std::vector<ENTRY>& entries = m_outputs[port];
        const std::vector<TSL_TRACED_PORT>& res = m_tracer.get_results();
        if (res.size() == 1) {
            entries.push_back(ENTRY{res[0], m_tracer.get_path_to_res()[0]});
            continue;
        }
        std::cout << (res.empty() ? "No output found for mux "
                                  : "More than one fanouts are found for mux ")
                  << module->get_name() << " output " << port->get_name() << std::endl;
    }
    return is_hipi;
}

void TSL_MUX_MERGER::resolve_inputs(const std::vector<NLG_IPORT*>& inputs) {
    for (NLG_IPORT* port : inputs) {
        m_tracer.clear();
        m_tracer.trace_up_input(port);
        std::vector<ENTRY>& entries = m_inputs[port];
        const std::vector<TSL_TRACED_PORT>& res = m_tracer.get_results();
        for (size_t i = 0; i < res.size(); ++i)
            entries.push_back(ENTRY{res[i], m_tracer.get_path_to_res()[i]});
    }
}

void TSL_MUX_MERGER::write_params(const PB::ICDB_MODULE& record, MUXTYPE type) {
    const PB::ICDB::MODULE::MUX_DESC& desc = record.mux_desc();
    std::string length = std::to_string(desc.has_length() ? desc.length() : -1);
    nlg_add_mux_params(*m_new_mux_desc, PB::MUX_DESCRIPTION::MUXTYPE_Name(type), length,
                       direction_letter(desc), "0");
}

std::vector<std::string> TSL_MUX_MERGER::names_below_wrapper(
    const std::vector<NLG_IINSTANCE*>& stack) const {
    size_t first = 0;
    for (size_t i = stack.size(); i-- > 0;) {
        if (stack[i]->get_module() == m_new_mux_module) {
            first = i + 1;
            break;
        }
    }
    std::vector<std::string> names;
    names.reserve(stack.size() - first);
    for (size_t i = first; i < stack.size(); ++i) names.push_back(stack[i]->get_name().str_fast());
    return names;
}

uint32_t TSL_MUX_MERGER::find_or_add_subpath(const std::vector<std::string>& names) {
    for (int i = 0; i < m_new_mux_desc->subpaths_size(); ++i) {
        const auto& stored = m_new_mux_desc->subpaths(i).name();
        if (std::equal(stored.begin(), stored.end(), names.begin(), names.end()))
            return static_cast<uint32_t>(i);
    }
    PB::MUX_DESCRIPTION::SUBPATH* subpath = m_new_mux_desc->add_subpaths();
    for (const std::string& name : names) subpath->add_name(name);
    return static_cast<uint32_t>(m_new_mux_desc->subpaths_size() - 1);
}

// The input port of each first-stage mux crossed: every second record, from the first.
void TSL_MUX_MERGER::add_settings(PB::MUX_DESCRIPTION::SETTINGS& settings,
                                  const std::vector<TSL_TRACED_PORT>& internal) {
    for (size_t i = 0; i < internal.size(); i += 2) {
        PB::MUX_DESCRIPTION::SETTING* setting = settings.add_setting();
        setting->set_value(internal[i].m_port->get_name().str_fast());
        setting->set_subpath_index(
            find_or_add_subpath(names_below_wrapper(internal[i].m_instances)));
    }
}

void TSL_MUX_MERGER::add_stage_paths(NLG_IMODULE* module, const PB::ICDB_MODULE& record,
                                     uint32_t stage_subpath, bool is_hipi) {
    for (const PB::ICDB::MODULE::PATH& path : record.paths()) {
        if (path.in() < 0 || path.out() < 0) continue;
        NLG_IPORT* pi = module->get_port(path.in());
        NLG_IPORT* po = module->get_port(path.out());
        auto in_it = m_inputs.find(pi);
        auto out_it = m_outputs.find(po);
        if (in_it == m_inputs.end() || out_it == m_outputs.end()) continue;
        for (const ENTRY& eo : out_it->second) {
            for (const ENTRY& ei : in_it->second) {
                PB::MUX_DESCRIPTION::PATH* mux_path = m_new_mux_desc->add_mux_paths();
                mux_path->set_in(ei.m_end.m_port->get_name().str_fast());
                mux_path->set_out(eo.m_end.m_port->get_name().str_fast());
                mux_path->set_is_hipi_path(is_hipi);
                PB::MUX_DESCRIPTION::SETTINGS* settings = m_new_mux_desc->add_settings();
                settings->set_path_index(
                    static_cast<uint32_t>(m_new_mux_desc->mux_paths_size() - 1));
                PB::MUX_DESCRIPTION::SETTING* setting = settings->add_setting();
                setting->set_subpath_index(stage_subpath);
                setting->set_value(pi->get_name().str_fast());
                add_settings(*settings, eo.m_internal);
                add_settings(*settings, ei.m_internal);
            }
        }
    }
}

void TSL_MUX_MERGER::exit_instance(NLG_IINSTANCE& instance) {
    UTIL_ASSERT_MSG(m_traverse, "Traverse is unset for visitor TSL_RE_FINDER!");
    const TSL_ITRAVERSE::INSTANCES& stack = m_traverse->get_hier_blks();
    m_tracer.set_instances(stack);
    m_hier_blks.assign(stack.begin(), stack.end());

    NLG_IMODULE* module = instance.get_module();
    const PB::ICDB_MODULE& record = m_anns->get_module(*module);
    std::vector<NLG_IPORT*> inputs = path_ports(module, record, true);
    std::vector<NLG_IPORT*> outputs = path_ports(module, record, false);
    m_tracer.set_mux_module(nullptr);
    m_tracer.set_min_depth(static_cast<int32_t>(stack.size()) - 1);
    m_inputs.clear();
    m_outputs.clear();

    MUXTYPE type = record.mux_desc().is_template()
                       ? record.mux_desc().mux_type()
                       : m_anns->get_instance(instance).mux_desc().mux_type();
    bool inputs_first = type == PB::MUX_DESCRIPTION::CLOCK_SEGMENT ||
                        type == PB::MUX_DESCRIPTION::LEIM ||
                        type == PB::MUX_DESCRIPTION::CC_DCM_GMUX_RE;
    // The HIPI mark is read from the forward traces only: a latch path lies behind the output.
    bool is_hipi = false;
    if (inputs_first)
        resolve_inputs(inputs);
    else
        is_hipi = resolve_outputs(module, outputs);
    NLG_IMODULE* found = m_tracer.get_mux_module();
    if (!found) {
        std::cout << "Warning: can't find new mux module for "
                  << (inputs_first ? "input" : "output") << " ports on module "
                  << module->get_name() << std::endl;
        return;
    }
    if (!m_new_mux_module) {
        m_new_mux_module = found;
    } else {
        UTIL_ASSERT_MSG(
            m_new_mux_module == found, "previous mux module is %s, new mux module is %s",
            m_new_mux_module->get_name().str_fast().c_str(), found->get_name().str_fast().c_str());
    }
    if (inputs_first)
        resolve_outputs(module, outputs);
    else
        resolve_inputs(inputs);

    if (m_new_mux_desc) {
        UTIL_ASSERT(m_new_mux_desc->name() == m_new_mux_module->get_name().str_fast());
    } else {
        m_new_mux_desc = m_translator->get_pb().add_mux_descriptions();
        m_new_mux_desc->set_is_template(true);
        m_new_mux_desc->set_name(m_new_mux_module->get_name().str_fast());
    }
    if (!is_hipi && m_new_mux_desc->mux_params_size() == 0) write_params(record, type);
    if (is_hipi) m_new_mux_desc->set_hipi_mux_type(type);

    PB::MUX_DESCRIPTION::SUBPATH* subpath = m_new_mux_desc->add_subpaths();
    for (const std::string& name : names_below_wrapper(m_hier_blks)) subpath->add_name(name);
    uint32_t stage_subpath = static_cast<uint32_t>(m_new_mux_desc->subpaths_size() - 1);
    add_stage_paths(module, record, stage_subpath, is_hipi);
}

// Walk.

TSL_TRAVERSE_MULTISTAGE_MUX::TSL_TRAVERSE_MULTISTAGE_MUX(TSL_MUX_MERGER* merger, NLG_IANNSS* annss)
    : TSL_TRAVERSE_BASE(merger, nullptr, false), m_merger(merger), m_anns(&annss->get_icdb()) {}

bool TSL_TRAVERSE_MULTISTAGE_MUX::qualifies(NLG_IINSTANCE* instance,
                                            const PB::ICDB_MODULE& record) const {
    const NLG_IMODULE* module = instance->get_module();
    if (record.mux_desc().is_template()) {
        const PB::ICDB::MODULE::MUX_DESC& desc = record.mux_desc();
        switch (desc.mux_type()) {
            case PB::MUX_DESCRIPTION::LEIM:
            case PB::MUX_DESCRIPTION::LL:
            case PB::MUX_DESCRIPTION::V:
            case PB::MUX_DESCRIPTION::H:
            case PB::MUX_DESCRIPTION::HIPI_T_MUX:
            case PB::MUX_DESCRIPTION::HIPI_M_MUX:
                break;
            default:
                return false;
        }
        return !desc.is_first_stage() && nlg_buffer_cell_set().count(module) == 0;
    }
    const PB::ICDB::MODULE::MUX_DESC& desc = m_anns->get_instance(*instance).mux_desc();
    bool clock = desc.mux_type() == PB::MUX_DESCRIPTION::CLOCK_SEGMENT ||
                 desc.mux_type() == PB::MUX_DESCRIPTION::CC_DCM_GMUX_RE;
    return clock && !desc.is_first_stage() && nlg_clock_cell_set().count(module) == 0;
}

void TSL_TRAVERSE_MULTISTAGE_MUX::traverse_module(NLG_IMODULE* module) {
    if (m_visited_modules.count(module)) return;
    for (uint32_t i = 0, n = module->get_num_instances(); i < n; ++i) {
        NLG_IINSTANCE* instance = module->get_instance(static_cast<int32_t>(i));
        NLG_IMODULE* child = instance->get_module();
        const PB::ICDB_MODULE& record = m_anns->get_module(*child);
        push_instance(instance, false);
        if (record.level() != PB::ICDB::MODULE::PRIM_MUX) {
            traverse_module(child);
        } else if (qualifies(instance, record)) {
            instance->accept_enter(*m_visitor);
            instance->accept_exit(*m_visitor);
        }
        pop_instance(false);
    }
    if (module != m_merger->get_new_mux_module()) return;
    if (m_merger->get_new_mux_desc()->mux_params_size() == 0) {
        for (NLG_IINSTANCE* inst : m_hier_blks) std::cout << "/" << inst->get_name();
        std::cout << std::endl
                  << "Warning: mux module " << module->get_name() << " does not have any paramters!"
                  << std::endl;
    }
    m_visited_modules.insert(module);
    m_merger->end_wrapper();
}

// Entry.

void NLG_MUX_TRANSLATOR::merge_muxes(NLG_IGRAPH* graph) {
    graph->get_symbol_table()->init_name_fast();
    NLG_ANNSS annss(*graph);
    annss.add_type(PB::ANNS::ICDB);
    nlg_apply_mux_descriptions(*graph, annss.get_icdb(), m_pb);

    // The sets name modules of the graph being merged only: entries of an earlier graph, freed
    // since, could share an address with a module of this one.
    nlg_clock_cell_set().clear();
    nlg_buffer_cell_set().clear();
    for (uint32_t i = 0, n = graph->get_num_modules(); i < n; ++i) {
        const NLG_IMODULE* module = graph->get_module(static_cast<int32_t>(i));
        const std::string& name = module->get_name().str_fast();
        if (name.find("cc_clkmux") != std::string::npos ||
            name.find("an_cc_clk") != std::string::npos || name == "d04gbf00nd0b0")
            nlg_clock_cell_set().insert(module);
        else if (name.find("rt_buffer") != std::string::npos)
            nlg_buffer_cell_set().insert(module);
    }

    TSL_MUX_MERGER merger(&annss, this);
    TSL_TRAVERSE_MULTISTAGE_MUX walk(&merger, &annss);
    merger.set_traverse(&walk);
    walk.traverse(graph);
}
