// The JSON netlist of yosys read in one streaming pass into plain records of what the import
// uses: per module its attributes, parameter defaults, ports in declaration order, cells and wire
// names. It knows nothing of netlist graphs; what it does not use it never stores.
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <utility>
#include <vector>

// A parameter or attribute with its value as the RTL wrote it (see prep_parameter_text).
struct PREP_JSON_VALUE {
    std::string m_name;
    std::string m_text;
};

// Signal bits of a port, wire or pin, from the LSB up; a constant bit is -1.
struct PREP_JSON_BITS {
    std::vector<int64_t> m_bits;
    int32_t m_offset = 0;
    bool m_upto = false;
};

struct PREP_JSON_PORT {
    std::string m_name;
    std::string m_direction;
    PREP_JSON_BITS m_bits;
};

struct PREP_JSON_NETNAME {
    std::string m_name;
    bool m_hidden = false;
    PREP_JSON_BITS m_bits;
};

struct PREP_JSON_CELL {
    std::string m_name;
    std::string m_type;
    std::string m_src;
    std::vector<PREP_JSON_VALUE> m_parameters;
    std::vector<std::pair<std::string, std::vector<int64_t>>> m_connections;
};

struct PREP_JSON_MODULE {
    std::string m_name;
    std::string m_src;
    std::vector<PREP_JSON_VALUE> m_attributes;  // but src
    std::vector<PREP_JSON_VALUE> m_defaults;    // parameter_default_values
    std::vector<PREP_JSON_PORT> m_ports;
    std::vector<PREP_JSON_CELL> m_cells;
    std::vector<PREP_JSON_NETNAME> m_netnames;

    // The value of a parameter or attribute list, or null.
    static const std::string* find(const std::vector<PREP_JSON_VALUE>& values,
                                   const std::string& name);
};

struct PREP_JSON_NETLIST {
    std::vector<PREP_JSON_MODULE> m_modules;
};

// Reads the whole stream. False with the parser's message when it is not JSON.
bool prep_read_json(std::istream& input, PREP_JSON_NETLIST* netlist, std::string* error);

// Text of a yosys parameter or attribute value as the RTL wrote it: a string gets its double
// quotes back (yosys marks a string that looks like bits with one trailing blank), a bit string
// becomes a decimal integer (32 bits read as signed), bits with x or z stay as they are.
std::string prep_parameter_text(const std::string& yosys_value);
