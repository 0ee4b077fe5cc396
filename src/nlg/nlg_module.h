// NLG_MODULE: a module definition. It owns its ports, nets and instances by value, in vectors
// that are made on first use and must be reserved to their final size before anything points
// into them; it also keeps the list of places where it is instantiated. It does not own the
// graph, nor the modules that its instances instantiate.
#pragma once

#include <absl/container/flat_hash_map.h>
#include <absl/hash/hash.h>

#include <memory>
#include <utility>
#include <vector>

#include "nlg/nlg_instance.h"
#include "nlg/nlg_net.h"
#include "nlg/nlg_port.h"

struct TSL_TRACED_PORT;
class TSL_RTL_TRACER;

class NLG_MODULE : public NLG_IMODULE {
  public:
    NLG_MODULE(NS_SYMBOL::SYM name, uint32_t primitive_type, NLG_ID id,
               const NLG_FILELINE& fileline, bool unused_nonprimitive, uint32_t n_ports,
               uint32_t n_nets, uint32_t n_instances);
    NLG_MODULE(const NLG_MODULE&) = delete;
    NLG_MODULE& operator=(const NLG_MODULE&) = delete;
    ~NLG_MODULE() override;

    void accept_enter(TSL_IVISITOR& visitor) override;
    void accept_exit(TSL_IVISITOR& visitor) override;
    NLG_ID get_id() const override { return m_id; }
    NS_SYMBOL::SYM get_name() const override { return m_name; }
    const NLG_IFILELINE* get_fileline() const override { return &m_fileline; }

    NLG_IGRAPH* get_graph() const override;
    int32_t get_index() const override { return m_index; }
    NLG_IPORT* get_port(NS_SYMBOL::SYM name) const override;
    NLG_IPORT* get_port(int32_t index) const override;
    NLG_INET* get_net(int32_t index) const override;
    NLG_IINSTANCE* get_instance(NS_SYMBOL::SYM name) const override;
    NLG_IINSTANCE* get_instance(int32_t index) const override;
    NLG_IINSTANCE* get_reference(int32_t index) const override;
    uint32_t get_num_ports() const override { return count(m_ports); }
    uint32_t get_num_nets() const override { return count(m_nets); }
    uint32_t get_num_instances() const override { return count(m_instances); }
    uint32_t get_num_references() const override { return count(m_references); }
    int32_t get_port_index(const NLG_IPORT* port) const override;
    int32_t get_instance_index(NS_SYMBOL::SYM name) const override;
    int32_t get_instance_index(const NLG_IINSTANCE* instance) const override;
    int32_t get_net_index(const NLG_INET* net) const override;
    bool is_leaf() const override;
    bool is_primitive() const override { return get_primitive_type() != 0; }
    uint32_t get_primitive_type() const override { return m_primitive_type; }

    // Copy the template into this module; the caller keeps and destroys the template.
    void add_port(NLG_PORT& p);
    void add_net(NLG_NET& n);
    void add_instance(NLG_INSTANCE& inst);
    // The same, taking over a template that the caller drops right after.
    void add_port(NLG_PORT&& p);
    void add_net(NLG_NET&& n);
    void add_instance(NLG_INSTANCE&& inst);
    void set_name(NS_SYMBOL::SYM name) { m_name = name; }

    void reserve_ports(size_t n);
    void reserve_nets(size_t n);
    void reserve_instances(size_t n);

    // Checked access to the objects themselves, with the index messages of the interface.
    NLG_PORT* port(int32_t index) const;
    NLG_NET* net(int32_t index) const;
    NLG_INSTANCE* instance(int32_t index) const;
    NLG_GRAPH* get_nlg_graph() const { return m_graph; }

    // Fan lists of this module's ports and of its instances' references, from the fan-list
    // tracer (nearest ports of real blocks). Only for modules that are not primitive and have
    // no mux description.
    void populate_fanin_fanout(TSL_RTL_TRACER& tracer);
    // Replaces the fan-in of each port fed by one feed-through block with the module port
    // behind it; the tracer ends at ports of this module.
    void optimize_fanin(TSL_RTL_TRACER& tracer);
    // Adds the ends of a trace from this module to a fan-in or fan-out list pair: ends without
    // instances are ports of this module, ends with one are pins of its instances.
    void add_fan_ports(NLG_PORT& port, bool fanin, const std::vector<TSL_TRACED_PORT>& ends);
    void add_fan_ports(NLG_PORT_REF& ref, bool fanin, const std::vector<TSL_TRACED_PORT>& ends);
    bool get_unused_nonprimitive() const { return m_unused_nonprimitive; }
    // For a reader that adds a whole graph's instances: each is added without touching its
    // definition, and the definitions get their references afterwards in one pass: each
    // definition appends its count of empty references at once (append_references returns the
    // first) for the reader to fill in the order the instances were added. Appending per
    // instance costs cache misses on thousands of definitions.
    using REFERENCE = std::pair<uint32_t, uint32_t>;
    void add_instance_unreferenced(NLG_INSTANCE&& inst);
    REFERENCE* append_references(size_t n);

  private:
    friend class NLG_GRAPH;

    template <class V>
    static uint32_t count(const std::unique_ptr<V>& v) {
        return v ? static_cast<uint32_t>(v->size()) : 0;
    }
    const char* slow_name(std::string& buffer) const;
    NLG_PORT* own_port(NLG_IPORT* port) const;
    NLG_PORT_REF* instance_ref(const TSL_TRACED_PORT& end) const;
    template <class OBJ>
    void add_fan(OBJ& obj, bool fanin, const std::vector<TSL_TRACED_PORT>& ends);
    template <class PORT>
    void add_port_as(PORT&& p);
    template <class NET>
    void add_net_as(NET&& n);
    template <class INSTANCE>
    void add_instance_as(INSTANCE&& inst, bool reference);

    // (module index of the parent, instance index in it), one per instantiation.
    std::unique_ptr<std::vector<REFERENCE>> m_references;
    std::unique_ptr<std::vector<NLG_PORT>> m_ports;
    std::unique_ptr<std::vector<NLG_NET>> m_nets;
    std::unique_ptr<std::vector<NLG_INSTANCE>> m_instances;
    NLG_GRAPH* m_graph;
    // Name to index. Flat tables: a graph holds millions of instances, and a node per name
    // would cost an allocation and a cache miss each.
    struct NAME_HASH {
        size_t operator()(NS_SYMBOL::SYM s) const { return absl::Hash<uint32_t>()(s.get_value()); }
    };
    using NAME_INDEX = absl::flat_hash_map<NS_SYMBOL::SYM, int32_t, NAME_HASH>;
    NAME_INDEX m_instance_map;
    NAME_INDEX m_port_map;
    NLG_ID m_id;
    NS_SYMBOL::SYM m_name;
    uint32_t m_primitive_type;
    int32_t m_index;
    NLG_FILELINE m_fileline;
    bool m_unused_nonprimitive;
};
