// RTL tracers: walks from a port in a hierarchical place, forward (towards loads) or backward
// (towards drivers), to the ports where a stop rule ends them. TSL_RTL_TRACER walks nets and
// primitive modules; the list walks follow the fan lists that the fan-list pass leaves on ports
// and port references. Tracers own their results and debug log, not the graph or annotations.
#pragma once

#include <iosfwd>
#include <memory>
#include <utility>
#include <vector>

#include "ann_icdb.pb.h"
#include "nlg_iannss.h"

class NLG_IGRAPH;
class NLG_PORT;
class NLG_PORT_REF;

// One end of a trace.
struct TSL_TRACED_PORT {
    // The instance stack when recorded; empty means the module in which the trace began.
    std::vector<NLG_IINSTANCE*> m_instances;
    NLG_IPORT* m_port = nullptr;
    // An odd number of inverters lay on the way.
    bool m_inverted = false;
    // The way led through the path table of a first-stage mux.
    bool m_through_path = false;
};

class TSL_RTL_ITRACE {
  public:
    virtual ~TSL_RTL_ITRACE() = default;
    virtual std::vector<TSL_TRACED_PORT>& get_results() = 0;
    // The last entry is the instance of the module of the start port.
    virtual void set_instances(std::vector<NLG_IINSTANCE*> instances) = 0;
    virtual void trace_net_fanin(NLG_IPORT_REF* ref) = 0;
    virtual void trace_up_input(NLG_IPORT* port) = 0;
    virtual void trace_net_fanout(NLG_IPORT_REF* ref) = 0;
    virtual void trace_up_output(NLG_IPORT* port) = 0;
    virtual void trace_down_input(NLG_IPORT* port) = 0;
    virtual void trace_down_output(NLG_IPORT* port) = 0;
    virtual void trace_primitive_fanout(NLG_IPORT* port) = 0;
    virtual void trace_primitive_fanin(NLG_IPORT* port) = 0;
    // Ends the trace at this port (true), recording what the rule records.
    virtual bool stop_at_port(NLG_IPORT* port) = 0;
    // Empties the results and resets the marks; the instance stack stays.
    virtual void clear() = 0;
    virtual void set_verbose(bool verbose) = 0;
};

// The debug log of a tracer: one line per step, on its own stream.
struct TSL_TRACE_LOG {
    explicit TSL_TRACE_LOG(std::ostream& os) : m_os(&os) {}
    std::ostream* m_os;
    bool m_enabled = false;
};

// The net walk. Invariant of every operation: the top of the stack is the instance of the
// module that owns the port (for a port reference, the reference's own instance).
class TSL_RTL_TRACER : public TSL_RTL_ITRACE {
  public:
    explicit TSL_RTL_TRACER(NLG_IANNSS* annss);
    ~TSL_RTL_TRACER() override;

    std::vector<TSL_TRACED_PORT>& get_results() override { return m_res; }
    void set_instances(std::vector<NLG_IINSTANCE*> instances) override;
    void trace_net_fanin(NLG_IPORT_REF* ref) override;
    void trace_up_input(NLG_IPORT* port) override;
    void trace_net_fanout(NLG_IPORT_REF* ref) override;
    void trace_up_output(NLG_IPORT* port) override;
    void trace_down_input(NLG_IPORT* port) override;
    void trace_down_output(NLG_IPORT* port) override;
    void trace_primitive_fanout(NLG_IPORT* port) override;
    void trace_primitive_fanin(NLG_IPORT* port) override;
    bool stop_at_port(NLG_IPORT* port) override;
    void clear() override;
    void set_verbose(bool verbose) override;

    virtual void trace_ref_fanin(NLG_IPORT_REF* ref);
    virtual void trace_mux_fanout(NLG_IPORT* port, const PB::ICDB_MODULE& module);
    virtual void trace_mux_fanin(NLG_IPORT* port, const PB::ICDB_MODULE& module);

    // The instance stack, for clients that edit it in place instead of replacing it.
    std::vector<NLG_IINSTANCE*>& get_instances() { return m_instances; }
    bool is_inverted() const { return m_inverted; }
    bool is_through_path() const { return m_through_path; }
    // Attaches the debug log to a stream (replacing any log) and enables it.
    void set_trace_log(std::ostream& os);
    // From now on the stop rules read what they need of a port record from a table of flags
    // by port, filled on first ask: for a pass during which no record changes. A walk asks the
    // same ports again and again, and each record is a separate message far from the others.
    void keep_port_flags() { m_keep_port_flags = true; }

  protected:
    void push(NLG_IINSTANCE* instance) { m_instances.push_back(instance); }
    void pop();
    // The top instance's reference to a port of its module, or null (also on an empty stack).
    NLG_IPORT_REF* top_ref(NLG_IPORT* port) const;
    // Appends a result with a copy of the stack; results keep their buffers across clears.
    void record(std::vector<TSL_TRACED_PORT>& list, NLG_IPORT* port, bool inverted,
                bool through_path);
    void record(NLG_IPORT* port, bool inverted, bool through_path) {
        record(m_res, port, inverted, through_path);
    }
    // Appends an empty result, reusing a spare one with its instance buffer.
    TSL_TRACED_PORT& add_result(std::vector<TSL_TRACED_PORT>& list);
    void recycle(std::vector<TSL_TRACED_PORT>& list);
    bool is_re(NLG_IPORT* port) const;
    const PB::ICDB_APORT& port_record(NLG_IPORT* port) const;
    enum PORT_FLAG : uint8_t { PORT_KNOWN = 1, PORT_RE = 2, PORT_PRIMARY = 4, PORT_MERGE = 8 };
    // The port's flags from the table; only with keep_port_flags.
    uint8_t port_flags(NLG_IPORT* port) const;
    const PB::ICDB_MODULE& module_record(NLG_IMODULE* module) const;

    // The list walk over fan lists, shared by the variants that use it. Without ask_ports the
    // module ports of the lists are followed without a stop question.
    void list_up_input(NLG_IPORT* port, bool ask_ports);
    void list_up_output(NLG_IPORT* port);
    void list_down_input(NLG_IPORT* port);
    void list_down_output(NLG_IPORT* port, bool ask_ports);

    // Debug log.
    bool logging() const { return m_trace_log && m_trace_log->m_enabled; }
    void log_step(const char* tag, NLG_IPORT* port);
    void log_line(const char* text);
    void log_path();
    void log_primitive(const char* text, NLG_IPORT* port);
    void log_re(NLG_IPORT* port);

    bool m_through_path;
    NLG_ICDB_ANNS* m_anns;
    std::vector<TSL_TRACED_PORT> m_res;
    bool m_inverted;
    std::vector<NLG_IINSTANCE*> m_instances;
    std::unique_ptr<TSL_TRACE_LOG> m_trace_log;
    // Results given back by clear, reused with their instance buffers by record.
    std::vector<TSL_TRACED_PORT> m_spare;
    bool m_keep_port_flags = false;
    // By port serial; 0 for a port not asked yet.
    mutable std::vector<uint8_t> m_port_flags;
    // Set while a walk is being kept (TSL_RTL_TRACER_SIMPLE::keep_walks): the list walks then
    // note here each port by which they would climb out of the module where the walk began,
    // with the number of results before it, instead of following it.
    struct CLIMB {
        NLG_IPORT* m_port;
        size_t m_results;
    };
    std::vector<CLIMB>* m_climbs = nullptr;
};

// The list walk with the RE rule and no marks.
class TSL_RTL_TRACER_SIMPLE : public TSL_RTL_TRACER {
  public:
    explicit TSL_RTL_TRACER_SIMPLE(NLG_IANNSS* annss);

    void trace_net_fanin(NLG_IPORT_REF* ref) override;
    void trace_net_fanout(NLG_IPORT_REF* ref) override;
    void trace_ref_fanin(NLG_IPORT_REF* ref) override;
    ~TSL_RTL_TRACER_SIMPLE() override;
    void trace_up_input(NLG_IPORT* port) override {
        if (m_kept_walks)
            walk_kept(port, false);
        else
            list_up_input(port, true);
    }
    void trace_up_output(NLG_IPORT* port) override {
        if (m_kept_walks)
            walk_kept(port, true);
        else
            list_up_output(port);
    }
    void trace_down_input(NLG_IPORT* port) override { list_down_input(port); }
    void trace_down_output(NLG_IPORT* port) override { list_down_output(port, true); }
    bool stop_at_port(NLG_IPORT* port) override;

    // From now on the walk from a port reference (trace_up_input, trace_up_output) is kept the
    // first time, as the results it records inside the module of the reference and the ports
    // by which it leaves that module, and is replayed from there in every other place of the
    // module. For a pass that keeps the port flags, changes no fan list and whose stop rule
    // asks nothing of a port but its flags and whether the stack is empty.
    void keep_walks();

  private:
    struct KEPT_WALKS;
    void walk_kept(NLG_IPORT* port, bool forward);
    // Walks from the reference within its module alone and keeps what the walk did; gives the
    // kept steps as (first, count).
    std::pair<uint32_t, uint32_t> keep_walk(NLG_IPORT* port, bool forward);

    std::unique_ptr<KEPT_WALKS> m_kept_walks;
};

// REs, then primary ports that are not to be merged.
class TSL_RTL_TRACER_SIMPLE_MUX : public TSL_RTL_TRACER_SIMPLE {
  public:
    explicit TSL_RTL_TRACER_SIMPLE_MUX(NLG_IANNSS* annss) : TSL_RTL_TRACER_SIMPLE(annss) {}
    bool stop_at_port(NLG_IPORT* port) override;
};

// Ends at the ports of one module, whatever lies between; used to skip feed-through blocks.
class TSL_RTL_TRACER_FOR_OPTIMIZE_FANIN : public TSL_RTL_TRACER_SIMPLE {
  public:
    TSL_RTL_TRACER_FOR_OPTIMIZE_FANIN(NLG_IANNSS* annss, NLG_IMODULE* module)
        : TSL_RTL_TRACER_SIMPLE(annss), m_module(module) {}
    bool stop_at_port(NLG_IPORT* port) override;

  private:
    NLG_IMODULE* m_module;
};

// Ends at ports of top-level blocks; optionally records where the stack ran empty.
class TSL_RTL_TRACER_FOR_FCL : public TSL_RTL_TRACER_SIMPLE {
  public:
    TSL_RTL_TRACER_FOR_FCL(NLG_IANNSS* annss, bool record_top)
        : TSL_RTL_TRACER_SIMPLE(annss), m_record_top(record_top) {}
    bool stop_at_port(NLG_IPORT* port) override;

  private:
    bool m_record_top;
};

// REs with the walk's marks; a mux input stands for the mux output (port 0).
class TSL_TRACER_FOR_BLC : public TSL_RTL_TRACER_SIMPLE {
  public:
    explicit TSL_TRACER_FOR_BLC(NLG_IANNSS* annss) : TSL_RTL_TRACER_SIMPLE(annss) {}
    bool stop_at_port(NLG_IPORT* port) override;
};

// Net walk to the nearest ports of real blocks, through primitives and first-stage muxes: its
// results become the fan lists.
class TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT : public TSL_RTL_TRACER {
  public:
    explicit TSL_RTL_TRACER_FOR_POPULATE_FANIN_FANOUT(NLG_IANNSS* annss) : TSL_RTL_TRACER(annss) {}

    void trace_net_fanin(NLG_IPORT_REF* ref) override;
    void trace_net_fanout(NLG_IPORT_REF* ref) override;
    void trace_ref_fanin(NLG_IPORT_REF* ref) override;
    void trace_up_input(NLG_IPORT* port) override;
    void trace_up_output(NLG_IPORT* port) override;
    void trace_down_input(NLG_IPORT* port) override;
    void trace_down_output(NLG_IPORT* port) override;
    bool stop_at_port(NLG_IPORT* port) override;

  private:
    // The module's description if it is a template, else the top instance's; null if the
    // module has none.
    const PB::ICDB_MODULE_MUX_DESC* mux_desc(NLG_IMODULE* module) const;
    bool is_first_stage(NLG_IMODULE* module) const;
};

// Backward list walk to primary ports; REs end it silently. Climbing asks no stop question.
class TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR : public TSL_RTL_TRACER {
  public:
    explicit TSL_RTL_TRACER_FOR_BLC_NODE_GENERATOR(NLG_IANNSS* annss) : TSL_RTL_TRACER(annss) {}

    void trace_net_fanin(NLG_IPORT_REF* ref) override;
    void trace_net_fanout(NLG_IPORT_REF* ref) override;
    void trace_ref_fanin(NLG_IPORT_REF* ref) override;
    void trace_up_input(NLG_IPORT* port) override;
    void trace_up_output(NLG_IPORT* port) override;
    void trace_down_input(NLG_IPORT* port) override;
    void trace_down_output(NLG_IPORT* port) override { list_down_output(port, false); }
    bool stop_at_port(NLG_IPORT* port) override;
};

// Forward list walk that sorts its ends into REs and primary ports.
class TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR : public TSL_RTL_TRACER {
  public:
    explicit TSL_RTL_TRACER_FOR_CRF_NODE_GENERATOR(NLG_IANNSS* annss) : TSL_RTL_TRACER(annss) {}

    void trace_net_fanin(NLG_IPORT_REF* ref) override;
    void trace_net_fanout(NLG_IPORT_REF* ref) override;
    void trace_ref_fanin(NLG_IPORT_REF* ref) override;
    void trace_up_input(NLG_IPORT* port) override;
    void trace_up_output(NLG_IPORT* port) override { list_up_output(port); }
    void trace_down_input(NLG_IPORT* port) override { list_down_input(port); }
    void trace_down_output(NLG_IPORT* port) override;
    bool stop_at_port(NLG_IPORT* port) override;
    void clear() override;

    std::vector<TSL_TRACED_PORT>& get_traced_res() { return m_traced_res; }
    std::vector<TSL_TRACED_PORT>& get_traced_primary_ports() { return m_traced_primary_ports; }

  private:
    std::vector<TSL_TRACED_PORT> m_traced_res;
    std::vector<TSL_TRACED_PORT> m_traced_primary_ports;
};

// Net walk to the ports of sectors.
class TSL_RTL_TRACER_FOR_SECTOR_FCL : public TSL_RTL_TRACER {
  public:
    explicit TSL_RTL_TRACER_FOR_SECTOR_FCL(NLG_IANNSS* annss) : TSL_RTL_TRACER(annss) {}
    bool stop_at_port(NLG_IPORT* port) override;
};

// Factory of every variant: the annotation set, then what the variant adds. The caller owns
// the tracer.
template <class TRACER, class... ARGS>
TRACER* tsl_create_rtl_tracer(NLG_IANNSS* annss, ARGS... args) {
    return new TRACER(annss, args...);
}

namespace RTL {

// The narrow tracing interface handed to visitors: the visitor decides where a trace ends.
class ITRACE2 {
  public:
    class IVISITOR {
      public:
        // Ends the trace at this port when true; the visitor records what it likes.
        virtual bool visit_port(NLG_IPORT* port) = 0;

      protected:
        ~IVISITOR() = default;
    };
    enum DIRECTION { UP = 0, DOWN = 1 };
    enum KIND { INPUT = 0, OUTPUT = 1 };

    virtual ~ITRACE2() = default;
    virtual void set_instances(std::vector<NLG_IINSTANCE*> instances) = 0;
    virtual std::vector<NLG_IINSTANCE*>& get_instances() = 0;
    // Not owned.
    virtual void set_visitor(IVISITOR* visitor) = 0;
    virtual void trace(int direction, int kind, NLG_IPORT* port) = 0;
    virtual void clear() = 0;
};

// The net walk whose stop rule is the client's visitor.
class TRACER2 : public TSL_RTL_TRACER {
  public:
    explicit TRACER2(NLG_IANNSS* annss) : TSL_RTL_TRACER(annss), m_visitor(nullptr) {}
    bool stop_at_port(NLG_IPORT* port) override;
    void set_visitor(ITRACE2::IVISITOR* visitor) { m_visitor = visitor; }

  private:
    ITRACE2::IVISITOR* m_visitor;
};

class TRACE2 : public ITRACE2 {
  public:
    explicit TRACE2(NLG_IANNSS* annss) : m_tracer(annss) {}
    void set_instances(std::vector<NLG_IINSTANCE*> instances) override;
    std::vector<NLG_IINSTANCE*>& get_instances() override { return m_tracer.get_instances(); }
    void set_visitor(IVISITOR* visitor) override { m_tracer.set_visitor(visitor); }
    void trace(int direction, int kind, NLG_IPORT* port) override;
    void clear() override { m_tracer.clear(); }

  private:
    TRACER2 m_tracer;
};

// The caller owns the result.
ITRACE2* create_trace2(NLG_IANNSS* annss);

}  // namespace RTL
