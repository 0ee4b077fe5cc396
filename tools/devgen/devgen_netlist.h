// DG_NETLIST: the generator's own model of one netlist view (RTL or BLC): module definitions in
// index order with ports, nets and instances, and beside each object the ICDB record it is meant
// to carry. It knows nothing of files; the direct writer and the Verilog writer read it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ann_icdb.pb.h"

namespace DEVGEN {

enum DG_DIR : uint32_t { DG_IN = 0, DG_OUT = 1, DG_INOUT = 2 };

// Symbol fields of the ICDB records are kept as text here; the writers intern them.
struct DG_PORT {
    std::string m_name;
    uint32_t m_dir = DG_IN;
    bool m_has_record = false;
    PB::ICDB::APORT m_record;
    std::string m_logical_name;
};

struct DG_NET {
    std::string m_name;
    std::vector<int32_t> m_ports;
};

struct DG_INSTANCE {
    std::string m_name;
    int32_t m_module = -1;
    // (port index in the definition, net index in the parent), sorted by port at the end.
    std::vector<std::pair<int32_t, int32_t>> m_conns;
    bool m_has_record = false;
    PB::ICDB::INSTANCE m_record;
};

struct DG_MODULE {
    std::string m_name;
    uint32_t m_primitive = 0;
    std::vector<DG_PORT> m_ports;
    std::vector<DG_NET> m_nets;
    std::vector<DG_INSTANCE> m_instances;
    std::unordered_map<std::string, int32_t> m_port_map;
    std::unordered_map<std::string, int32_t> m_instance_map;
    // Net of each connected end, keyed by (instance index + 1) << 32 | port index.
    std::unordered_map<uint64_t, int32_t> m_end_nets;
    PB::ICDB::MODULE m_record;
    std::string m_logical_name;
    std::string m_logical_impl;
    // Verilog attributes of a blackbox cell (empty for ordinary modules).
    std::vector<std::pair<std::string, std::string>> m_attributes;
    // Verilog parameters of a cell, with their RTL text (strings keep their quotes).
    std::vector<std::pair<std::string, std::string>> m_parameters;
};

// `name[i]` for a bus of several bits, the bare name for a single bit.
std::string dg_bit(const std::string& base, int index, int width);

class DG_NETLIST {
  public:
    int32_t add_module(const std::string& name, uint32_t primitive = 0);
    int32_t find_module(const std::string& name) const;
    DG_MODULE& module(int32_t index) { return m_modules.at(static_cast<size_t>(index)); }
    const DG_MODULE& module(int32_t index) const {
        return m_modules.at(static_cast<size_t>(index));
    }
    DG_MODULE& module(const std::string& name) { return module(find_module(name)); }
    size_t size() const { return m_modules.size(); }
    const std::vector<DG_MODULE>& modules() const { return m_modules; }

    int32_t add_port(int32_t module, const std::string& name, uint32_t dir);
    // A bus of `width` ports named by dg_bit.
    void add_bus(int32_t module, const std::string& base, int width, uint32_t dir);
    int32_t add_instance(int32_t parent, const std::string& name, int32_t definition);
    int32_t port_index(int32_t module, const std::string& name) const;
    int32_t instance_index(int32_t module, const std::string& name) const;

    // Joins the ends, each "port" or "instance.port" of the module, into one net; an end that
    // already has a net lends it to the others. The net is named after the first new end.
    void connect(int32_t module, const std::vector<std::string>& ends);
    // The same by indexes: instance -1 is a port of the module itself.
    void connect_ends(int32_t module, const std::vector<std::pair<int32_t, int32_t>>& ends);

    // Sorts every instance's connections by port index; call once when the model is complete.
    void finish();

    // Totals over definitions (the per-graph limits).
    uint64_t count_ports() const;
    uint64_t count_nets() const;
    uint64_t count_instances() const;
    uint64_t count_portrefs() const;

  private:
    std::pair<int32_t, int32_t> parse_end(int32_t module, const std::string& end) const;

    std::vector<DG_MODULE> m_modules;
    std::unordered_map<std::string, int32_t> m_module_map;
};

}  // namespace DEVGEN
