// The mux translator: turns the mux cells that an RTL reader hands over (module name, parameter
// values, port names) into PB::MUX_DESCRIPTION records, keeps them in one PB::MUX_DESCRIPTIONS
// (the text file mux.pb.txt), and merges multi-stage muxes (nlg/nlg_mux_merger). Beside it: the
// naming table of routing elements, the two process-wide cell sets, and the routine that applies
// a description to the ICDB records of its module. It reads no RTL itself and opens no files.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "ann_icdb.pb.h"
#include "mux.pb.h"
#include "nlg_iannss.h"
#include "util/util_protobuf.h"

class NLG_IGRAPH;
class NLG_IMODULE;
class NLG_IPORT;

class NLG_IMUX_TRANSLATOR : public UTIL::ISERIALIZABLE {
  public:
    using UTIL::ISERIALIZABLE::read;
    // Text format only.
    bool read(std::istream& input, uint32_t format) override = 0;
    bool write(std::ostream& output, uint32_t format) override = 0;
    virtual const PB::MUX_DESCRIPTIONS& get_mux_descriptions() const = 0;
    // Class, length and direction as the parameter values stand in the RTL, string values with
    // their double quotes; port names as the cell's RTL has them (one per bus bit).
    virtual void add_mux(const std::string& name, bool is_template, const std::string& mux_class,
                         const std::string& length, const std::string& dir, bool is_first_stage,
                         const std::vector<std::string>& ports) = 0;
    // After every add_mux or after read: appends one merged description per multi-stage
    // wrapper found in the graph.
    virtual void merge_muxes(NLG_IGRAPH* graph) = 0;
};

class NLG_MUX_TRANSLATOR : public NLG_IMUX_TRANSLATOR {
  public:
    bool read(std::istream& input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;
    const PB::MUX_DESCRIPTIONS& get_mux_descriptions() const override { return m_pb; }
    void add_mux(const std::string& name, bool is_template, const std::string& mux_class,
                 const std::string& length, const std::string& dir, bool is_first_stage,
                 const std::vector<std::string>& ports) override;
    void merge_muxes(NLG_IGRAPH* graph) override;

    // Where the merger appends its descriptions.
    PB::MUX_DESCRIPTIONS& get_pb() { return m_pb; }

  private:
    void add_template_paths(PB::MUX_DESCRIPTION& desc, const std::string& mux_class,
                            const std::vector<std::string>& ports);
    void add_clock_paths(PB::MUX_DESCRIPTION& desc, const std::vector<std::string>& ports);

    PB::MUX_DESCRIPTIONS m_pb;
};

// The four parameters of a template description, always in this order: CLASS, LENGTH, DIR,
// IS_FIRST_STAGE. The first two double quotes of class and direction are dropped.
void nlg_add_mux_params(PB::MUX_DESCRIPTION& desc, const std::string& mux_class,
                        const std::string& length, const std::string& dir,
                        const std::string& is_first_stage);

// The naming table of routing elements: a node type name of the hand-kept files, of a CLASS
// parameter or of an instance name. An unknown name is fatal.
PB::MUX_DESCRIPTION::MUXTYPE nlg_re_type(const std::string& name);

// The same table as a question: false for a name it does not hold.
bool nlg_find_re_type(const std::string& name, PB::MUX_DESCRIPTION::MUXTYPE& type);

// Direction of a DIR parameter: "L", "R", "U", "D" or the enumeration names; anything else
// is NO_DIR.
PB::ICDB::NET::DIRECTION nlg_mux_direction(const std::string& name);

// Decodes the instance name of a non-template mux, "prefix_dolsgn_type_dolsgn_number", into
// its type and first-stage mark; other names give a last-stage mux of type UNKNOWN.
void nlg_decode_mux_instance_name(const std::string& name, PB::ICDB::MODULE::MUX_DESC* mux_desc);

// Applies description `index` to the ICDB records of the module of its name (level, mux index,
// description, paths with primary ports, subpaths and settings), and to the records of its
// instances when it is not a template. Messages go to the standard output.
void nlg_apply_mux_description(NLG_IGRAPH& graph, NLG_ICDB_ANNS& anns,
                               const PB::MUX_DESCRIPTION& desc, uint32_t index);
// Every description of a file (mux.pb.txt or a translator's), each with its index.
void nlg_apply_mux_descriptions(NLG_IGRAPH& graph, NLG_ICDB_ANNS& anns,
                                const PB::MUX_DESCRIPTIONS& descriptions);

// Look-ups by name text; null when the name is unknown to the graph's symbol table.
NLG_IMODULE* nlg_find_module(NLG_IGRAPH& graph, const std::string& name);
NLG_IPORT* nlg_find_port(NLG_IMODULE& module, const std::string& name);

// The process-wide cell sets, filled by merge_muxes: clock cells and buffer cells are never
// merged as stages.
std::set<const NLG_IMODULE*>& nlg_clock_cell_set();
std::set<const NLG_IMODULE*>& nlg_buffer_cell_set();
