// PREP_JSON_IMPORT: turns the JSON netlist that yosys writes into a netlist graph, sending the
// events of the library's graph builder (NLG_GRAPH_READ), and collects the mux cells in the form
// the mux translator takes them. It neither runs yosys nor opens files; a bad netlist is one
// line in its error record, never an assertion.
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "util/util_error.h"

class NLG_GRAPH;

// One mux cell module as the translator's add_mux takes it: string parameters carry their
// double quotes, integers are decimal, bus ports are one name per bit ("muxin[0]").
struct PREP_MUX_CELL {
    std::string m_module;
    bool m_is_template = false;
    std::string m_class;
    std::string m_length;
    std::string m_dir;
    std::vector<std::string> m_ports;
};

// What the import made, summed over module definitions.
struct PREP_IMPORT_COUNTS {
    uint64_t m_modules = 0;
    uint64_t m_instances = 0;
    uint64_t m_ports = 0;
    uint64_t m_nets = 0;
    uint64_t m_portrefs = 0;
};

class PREP_JSON_IMPORT {
  public:
    // How module 0 is chosen: by name, by the "top" attribute that yosys sets, or not at all
    // (a view of several roots such as the block-level one).
    enum TOP_RULE { TOP_BY_NAME = 0, TOP_BY_ATTRIBUTE = 1, NO_TOP = 2 };

    // The Verilog files as the JSON's source places name them, in numbering order (the flow
    // lists design files before cell libraries): modules and instances are numbered in the
    // order of their source places, file by file; the list is also the filename table.
    explicit PREP_JSON_IMPORT(std::vector<std::string> sources);

    // Parses the JSON and builds the graph, which must be empty. With a top, the graph holds the
    // top at index 0 and the modules it reaches; without one, every module. False with the
    // error record set when the JSON is not a netlist this system can take.
    bool import(std::istream& json, TOP_RULE rule, const std::string& top, NLG_GRAPH* graph);

    // Every module marked fab_mux in the JSON, reached or not, in source order.
    const std::vector<PREP_MUX_CELL>& get_mux_cells() const { return m_mux_cells; }
    const PREP_IMPORT_COUNTS& get_counts() const { return m_counts; }
    const UTIL::IERROR::ERROR& get_error() const { return m_error; }

  private:
    std::vector<std::string> m_sources;
    std::vector<PREP_MUX_CELL> m_mux_cells;
    PREP_IMPORT_COUNTS m_counts;
    UTIL::IERROR::ERROR m_error;
};

// Order of names that compares runs of digits by value, so that g[2] comes before g[10].
bool prep_natural_less(const std::string& a, const std::string& b);
