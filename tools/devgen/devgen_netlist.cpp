// DG_NETLIST: module definitions, ports, nets and instances of the generator's model, and the
// joining of ends into nets by name.
#include "devgen/devgen_netlist.h"

#include <algorithm>

#include "util/util_assert.h"

namespace DEVGEN {

std::string dg_bit(const std::string& base, int index, int width) {
    if (width == 1) return base;
    return base + "[" + std::to_string(index) + "]";
}

static uint64_t end_key(int32_t instance, int32_t port) {
    return (static_cast<uint64_t>(instance + 1) << 32) | static_cast<uint32_t>(port);
}

int32_t DG_NETLIST::add_module(const std::string& name, uint32_t primitive) {
    UTIL_ASSERT_MSG(m_module_map.count(name) == 0, "module %s defined twice", name.c_str());
    int32_t index = static_cast<int32_t>(m_modules.size());
    m_modules.emplace_back();
    m_modules.back().m_name = name;
    m_modules.back().m_primitive = primitive;
    m_module_map[name] = index;
    return index;
}

int32_t DG_NETLIST::find_module(const std::string& name) const {
    auto it = m_module_map.find(name);
    UTIL_ASSERT_MSG(it != m_module_map.end(), "no module %s", name.c_str());
    return it->second;
}

int32_t DG_NETLIST::add_port(int32_t module_index, const std::string& name, uint32_t dir) {
    DG_MODULE& m = module(module_index);
    UTIL_ASSERT_MSG(m.m_port_map.count(name) == 0, "port %s twice on %s", name.c_str(),
                    m.m_name.c_str());
    int32_t index = static_cast<int32_t>(m.m_ports.size());
    m.m_ports.emplace_back();
    m.m_ports.back().m_name = name;
    m.m_ports.back().m_dir = dir;
    m.m_port_map[name] = index;
    return index;
}

void DG_NETLIST::add_bus(int32_t module_index, const std::string& base, int width, uint32_t dir) {
    for (int i = 0; i < width; ++i) add_port(module_index, dg_bit(base, i, width), dir);
}

int32_t DG_NETLIST::add_instance(int32_t parent, const std::string& name, int32_t definition) {
    DG_MODULE& m = module(parent);
    UTIL_ASSERT_MSG(m.m_instance_map.count(name) == 0, "instance %s twice in %s", name.c_str(),
                    m.m_name.c_str());
    int32_t index = static_cast<int32_t>(m.m_instances.size());
    m.m_instances.emplace_back();
    m.m_instances.back().m_name = name;
    m.m_instances.back().m_module = definition;
    m.m_instance_map[name] = index;
    return index;
}

int32_t DG_NETLIST::port_index(int32_t module_index, const std::string& name) const {
    const DG_MODULE& m = module(module_index);
    auto it = m.m_port_map.find(name);
    UTIL_ASSERT_MSG(it != m.m_port_map.end(), "no port %s on %s", name.c_str(), m.m_name.c_str());
    return it->second;
}

int32_t DG_NETLIST::instance_index(int32_t module_index, const std::string& name) const {
    const DG_MODULE& m = module(module_index);
    auto it = m.m_instance_map.find(name);
    UTIL_ASSERT_MSG(it != m.m_instance_map.end(), "no instance %s in %s", name.c_str(),
                    m.m_name.c_str());
    return it->second;
}

std::pair<int32_t, int32_t> DG_NETLIST::parse_end(int32_t module_index,
                                                  const std::string& end) const {
    size_t dot = end.find('.');
    if (dot == std::string::npos) return {-1, port_index(module_index, end)};
    int32_t inst = instance_index(module_index, end.substr(0, dot));
    int32_t definition = module(module_index).m_instances[static_cast<size_t>(inst)].m_module;
    return {inst, port_index(definition, end.substr(dot + 1))};
}

void DG_NETLIST::connect(int32_t module_index, const std::vector<std::string>& ends) {
    std::vector<std::pair<int32_t, int32_t>> parsed;
    parsed.reserve(ends.size());
    for (const std::string& e : ends) parsed.push_back(parse_end(module_index, e));
    connect_ends(module_index, parsed);
}

void DG_NETLIST::connect_ends(int32_t module_index,
                              const std::vector<std::pair<int32_t, int32_t>>& ends) {
    DG_MODULE& m = module(module_index);
    int32_t net = -1;
    for (const auto& e : ends) {
        auto it = m.m_end_nets.find(end_key(e.first, e.second));
        if (it == m.m_end_nets.end()) continue;
        UTIL_ASSERT_MSG(net < 0 || net == it->second, "two nets meet in %s", m.m_name.c_str());
        net = it->second;
    }
    for (const auto& e : ends) {
        if (m.m_end_nets.count(end_key(e.first, e.second))) continue;
        if (net < 0) {
            net = static_cast<int32_t>(m.m_nets.size());
            m.m_nets.emplace_back();
            const std::string& port =
                e.first < 0 ? m.m_ports[static_cast<size_t>(e.second)].m_name
                            : module(m.m_instances[static_cast<size_t>(e.first)].m_module)
                                  .m_ports[static_cast<size_t>(e.second)]
                                  .m_name;
            m.m_nets.back().m_name =
                e.first < 0 ? port
                            : m.m_instances[static_cast<size_t>(e.first)].m_name + "_" + port;
        }
        m.m_end_nets[end_key(e.first, e.second)] = net;
        if (e.first < 0)
            m.m_nets[static_cast<size_t>(net)].m_ports.push_back(e.second);
        else
            m.m_instances[static_cast<size_t>(e.first)].m_conns.emplace_back(e.second, net);
    }
}

void DG_NETLIST::finish() {
    for (DG_MODULE& m : m_modules) {
        for (DG_INSTANCE& inst : m.m_instances) std::sort(inst.m_conns.begin(), inst.m_conns.end());
        m.m_end_nets.clear();
    }
}

uint64_t DG_NETLIST::count_ports() const {
    uint64_t n = 0;
    for (const DG_MODULE& m : m_modules) n += m.m_ports.size();
    return n;
}

uint64_t DG_NETLIST::count_nets() const {
    uint64_t n = 0;
    for (const DG_MODULE& m : m_modules) n += m.m_nets.size();
    return n;
}

uint64_t DG_NETLIST::count_instances() const {
    uint64_t n = 0;
    for (const DG_MODULE& m : m_modules) n += m.m_instances.size();
    return n;
}

uint64_t DG_NETLIST::count_portrefs() const {
    uint64_t n = 0;
    for (const DG_MODULE& m : m_modules)
        for (const DG_INSTANCE& i : m.m_instances) n += i.m_conns.size();
    return n;
}

}  // namespace DEVGEN
