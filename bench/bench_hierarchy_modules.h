// A device-sized module description in plain vectors, for hierarchy benchmarks: levels of
// modules, each module instantiating random modules of the next level, with random ports, so
// that a few thousand definitions fold hundreds of millions of occurrences.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "util/util_hierarchy.h"
#include "util/util_symbol.h"

namespace BENCH_HIER {

using NS_SYMBOL::SYM;
using UTIL::IHIERARCHY;

class GEN_PORT : public IHIERARCHY::IPORT {
  public:
    explicit GEN_PORT(SYM name) : m_name(name) {}
    SYM get_name() const override { return m_name; }
    int get_direction() const override { return 0; }

  private:
    SYM m_name;
};

class GEN_INSTANCE : public IHIERARCHY::IINSTANCE {
  public:
    GEN_INSTANCE(SYM name, SYM module_name) : m_name(name), m_module_name(module_name) {}
    SYM get_name() const override { return m_name; }
    SYM get_module_name() const override { return m_module_name; }

  private:
    SYM m_name;
    SYM m_module_name;
};

class GEN_MODULE : public IHIERARCHY::IMODULE {
  public:
    explicit GEN_MODULE(SYM name) : m_name(name) {}
    SYM get_name() const override { return m_name; }
    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_instances.size()); }
    const IHIERARCHY::IINSTANCE* get_instance(uint32_t i) const override { return &m_instances[i]; }
    uint32_t get_n_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    const IHIERARCHY::IPORT* get_port(uint32_t i) const override { return &m_ports[i]; }

    std::vector<GEN_INSTANCE> m_instances;
    std::vector<GEN_PORT> m_ports;

  private:
    SYM m_name;
};

class GEN_MODULES : public IHIERARCHY::IMODULES {
  public:
    explicit GEN_MODULES(UTIL::SYMBOL_TABLE* table) : m_table(table) {}
    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return m_table; }
    uint32_t get_n_modules() const override { return static_cast<uint32_t>(m_modules.size()); }
    const IHIERARCHY::IMODULE* get_module(uint32_t i) const override { return &m_modules[i]; }

    std::vector<GEN_MODULE> m_modules;
    UTIL::SYMBOL_TABLE* m_table;
};

// Module 0 on level 0 instantiates level-1 modules, and so on down to `depth`, whose modules
// are leaves with ports only. The other modules are spread evenly over levels 1..depth.
// Fan-out and port counts are random around the given means; the top's fan-out is chosen
// last so that the whole tree comes close to `target_nodes`. The levels are interleaved in
// index order, so counting takes several passes, as for a netlist in file order.
inline void generate(GEN_MODULES& out, uint32_t n_modules, uint32_t depth, uint64_t target_nodes,
                     uint32_t seed) {
    std::mt19937 rng(seed);
    auto pick = [&](uint32_t lo, uint32_t hi) {
        return std::uniform_int_distribution<uint32_t>(lo, hi)(rng);
    };
    UTIL::SYMBOL_TABLE& table = *out.m_table;
    // levels[k]: module indexes on level k.
    std::vector<std::vector<uint32_t>> levels(depth + 1);
    levels[0].push_back(0);
    out.m_modules.reserve(n_modules);
    out.m_modules.emplace_back(table.add("top"));
    for (uint32_t i = 1; i < n_modules; ++i) {
        const uint32_t level = depth - (i - 1) % depth;
        levels[level].push_back(i);
        out.m_modules.emplace_back(table.add("m" + std::to_string(i)));
    }
    std::vector<SYM> instance_names;
    std::vector<SYM> port_names;
    for (uint32_t k = 0; k < 64; ++k) port_names.push_back(table.add("p" + std::to_string(k)));
    auto instance_name = [&](uint32_t k) {
        while (instance_names.size() <= k) {
            instance_names.push_back(table.add("u" + std::to_string(instance_names.size())));
        }
        return instance_names[k];
    };
    std::vector<double> nodes(n_modules, 0.0);
    for (uint32_t level = depth; level >= 1; --level) {
        for (uint32_t m : levels[level]) {
            GEN_MODULE& module = out.m_modules[m];
            const uint32_t n_ports = pick(2, 16);
            for (uint32_t p = 0; p < n_ports; ++p) module.m_ports.emplace_back(port_names[p]);
            nodes[m] = 1.0 + n_ports;
            if (level == depth) continue;
            const uint32_t n_instances = pick(4, 14);
            const auto& below = levels[level + 1];
            for (uint32_t k = 0; k < n_instances; ++k) {
                const uint32_t child = below[pick(0, static_cast<uint32_t>(below.size() - 1))];
                module.m_instances.emplace_back(instance_name(k), out.m_modules[child].get_name());
                nodes[m] += nodes[child];
            }
        }
    }
    double mean_level1 = 0;
    for (uint32_t m : levels[1]) mean_level1 += nodes[m];
    mean_level1 /= static_cast<double>(levels[1].size());
    const uint32_t n_top = std::max<uint32_t>(1, static_cast<uint32_t>(target_nodes / mean_level1));
    GEN_MODULE& top = out.m_modules[0];
    for (uint32_t k = 0; k < n_top; ++k) {
        const uint32_t child = levels[1][pick(0, static_cast<uint32_t>(levels[1].size() - 1))];
        top.m_instances.emplace_back(instance_name(k), out.m_modules[child].get_name());
    }
    top.m_ports.emplace_back(port_names[0]);
}

}  // namespace BENCH_HIER
