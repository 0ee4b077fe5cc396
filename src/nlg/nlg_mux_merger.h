// The mux merger: the walk over last-stage primitive muxes (TSL_TRAVERSE_MULTISTAGE_MUX), the
// tracer that crosses first stages up to the wrapper module (TSL_RTL_TRACER_FOR_MUX_MERGER), and
// the visitor that writes one description per wrapper (TSL_MUX_MERGER) into the translator.
// Used by NLG_MUX_TRANSLATOR::merge_muxes only; none of them owns the graph or the annotations.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "nlg/nlg_graph_trace.h"
#include "nlg/nlg_graph_traverse.h"
#include "nlg/nlg_mux_translator.h"

// Net walk that never stops at REs: it records the wrapper's ports that it leaves by, and for
// each end the stage ports of the first-stage muxes crossed on the way.
class TSL_RTL_TRACER_FOR_MUX_MERGER : public TSL_RTL_TRACER {
  public:
    explicit TSL_RTL_TRACER_FOR_MUX_MERGER(NLG_IANNSS* annss);

    // Also the start path against which the wrapper is found.
    void set_instances(std::vector<NLG_IINSTANCE*> instances) override;
    void trace_up_input(NLG_IPORT* port) override;
    void trace_up_output(NLG_IPORT* port) override;
    void trace_ref_fanin(NLG_IPORT_REF* ref) override;
    void trace_mux_fanout(NLG_IPORT* port, const PB::ICDB_MODULE& module) override;
    void trace_mux_fanin(NLG_IPORT* port, const PB::ICDB_MODULE& module) override;
    bool stop_at_port(NLG_IPORT*) override { return false; }
    // Keeps the wrapper found so far.
    void clear() override;

    NLG_IMODULE* get_mux_module() const { return m_mux_module; }
    void set_mux_module(NLG_IMODULE* module) { m_mux_module = module; }
    void set_min_depth(int32_t depth) { m_min_depth = depth; }
    bool is_hipi() const { return m_is_hipi; }
    const std::vector<std::vector<TSL_TRACED_PORT>>& get_path_to_res() const {
        return m_path_to_res;
    }

  private:
    enum NEXT { UP_OUTPUT, UP_INPUT, NET_FANIN };
    // Crosses one path of a first-stage mux whose instance is on top of the stack.
    void cross_first_stage(NLG_IMODULE* module, const PB::ICDB_MODULE_PATH& path, NEXT next);
    void record_end(NLG_IPORT* port);

    NLG_IMODULE* m_mux_module;
    bool m_is_hipi;
    int32_t m_min_depth;
    std::vector<TSL_TRACED_PORT> m_internal_res;
    std::vector<NLG_IINSTANCE*> m_start_path;
    std::vector<std::vector<TSL_TRACED_PORT>> m_path_to_res;
};

class TSL_MUX_MERGER : public TSL_VISITOR_BASE {
  public:
    TSL_MUX_MERGER(NLG_IANNSS* annss, NLG_MUX_TRANSLATOR* translator);
    void exit_instance(NLG_IINSTANCE& instance) override;

    NLG_IMODULE* get_new_mux_module() const { return m_new_mux_module; }
    PB::MUX_DESCRIPTION* get_new_mux_desc() const { return m_new_mux_desc; }
    // Called when the walk leaves the wrapper.
    void end_wrapper() {
        m_new_mux_module = nullptr;
        m_new_mux_desc = nullptr;
    }

  private:
    // One end of a stage port at the wrapper, with the first-stage ports crossed to reach it.
    struct ENTRY {
        TSL_TRACED_PORT m_end;
        std::vector<TSL_TRACED_PORT> m_internal;
    };
    using ENTRY_MAP = std::map<const NLG_IPORT*, std::vector<ENTRY>>;

    bool resolve_outputs(NLG_IMODULE* module, const std::vector<NLG_IPORT*>& outputs);
    void resolve_inputs(const std::vector<NLG_IPORT*>& inputs);
    void write_params(const PB::ICDB_MODULE& record, PB::MUX_DESCRIPTION::MUXTYPE type);
    // Names of the instances of a stack below the wrapper, outermost first.
    std::vector<std::string> names_below_wrapper(const std::vector<NLG_IINSTANCE*>& stack) const;
    uint32_t find_or_add_subpath(const std::vector<std::string>& names);
    void add_settings(PB::MUX_DESCRIPTION::SETTINGS& settings,
                      const std::vector<TSL_TRACED_PORT>& internal);
    void add_stage_paths(NLG_IMODULE* module, const PB::ICDB_MODULE& record, uint32_t stage_subpath,
                         bool is_hipi);

    TSL_RTL_TRACER_FOR_MUX_MERGER m_tracer;
    std::vector<NLG_IINSTANCE*> m_hier_blks;
    NLG_MUX_TRANSLATOR* m_translator;
    NLG_IMODULE* m_new_mux_module;
    PB::MUX_DESCRIPTION* m_new_mux_desc;
    ENTRY_MAP m_inputs;
    ENTRY_MAP m_outputs;
    NLG_ICDB_ANNS* m_anns;
};

// Visits the last stages of multi-stage muxes, each module definition once; a wrapper's
// description is closed when the walk leaves the wrapper module.
class TSL_TRAVERSE_MULTISTAGE_MUX : public TSL_TRAVERSE_BASE {
  public:
    TSL_TRAVERSE_MULTISTAGE_MUX(TSL_MUX_MERGER* merger, NLG_IANNSS* annss);
    void traverse_module(NLG_IMODULE* module) override;

  private:
    bool qualifies(NLG_IINSTANCE* instance, const PB::ICDB_MODULE& record) const;

    TSL_MUX_MERGER* m_merger;
    NLG_ICDB_ANNS* m_anns;
    std::set<const NLG_IMODULE*> m_visited_modules;
};
