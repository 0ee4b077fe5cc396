// NLG_INSTANCE: an instance of a module definition inside a module, held by value in its
// module's instance vector. It owns its port references by value (one per connected port of
// the definition) and the port-to-reference table; it owns neither module.
#pragma once

#include <memory>
#include <vector>

#include "nlg/nlg_port_ref.h"

class NLG_INSTANCE : public NLG_IINSTANCE {
  public:
    NLG_INSTANCE(NS_SYMBOL::SYM name, NLG_MODULE* module, NLG_ID id, const NLG_FILELINE& fileline,
                 uint32_t n_portrefs);
    // For a reader that keeps the definitions' port counts at hand: the same without reading
    // the definition, which may be cold in cache.
    NLG_INSTANCE(NS_SYMBOL::SYM name, NLG_MODULE* module, uint32_t n_definition_ports, NLG_ID id,
                 const NLG_FILELINE& fileline);
    // A copy re-points its port references at itself; nets keep listing the originals.
    NLG_INSTANCE(const NLG_INSTANCE& other);
    NLG_INSTANCE(NLG_INSTANCE&& other) noexcept;
    NLG_INSTANCE& operator=(const NLG_INSTANCE&) = delete;
    ~NLG_INSTANCE() override;

    void accept_enter(TSL_IVISITOR& visitor) override;
    void accept_exit(TSL_IVISITOR& visitor) override;
    NLG_ID get_id() const override { return m_id; }
    NS_SYMBOL::SYM get_name() const override { return m_name; }
    const NLG_IFILELINE* get_fileline() const override { return &m_fileline; }

    int32_t get_index() const override { return m_index; }
    NLG_IMODULE* get_parent() const override;
    NLG_IMODULE* get_module() const override;
    NLG_IPORT_REF* get_portref(const NLG_IPORT* port) const override;
    NLG_IPORT_REF* get_portref(int32_t index) const override;
    int32_t get_portref_index(const NLG_IPORT_REF* portref) const override;
    uint32_t get_num_portrefs() const override { return static_cast<uint32_t>(m_portrefs.size()); }
    bool is_leaf() const override;

    void set_name(NS_SYMBOL::SYM name) { m_name = name; }
    // Both must be non-null, or nothing happens; the reference goes onto the net as well.
    void add_portref(NLG_PORT* port, NLG_NET* net, NLG_ID id);
    // From numbers: a negative net index makes a reference that no net lists.
    void add_portref(int32_t port_index, int32_t net_index, NLG_ID id);
    // The same for a reader that keeps the definitions' ports at hand (ports is the first of
    // the definition's ports) and lists a whole body's references on their nets at once
    // afterwards: the reference is not put on its net. Returns the stored reference.
    NLG_PORT_REF* add_portref_unlisted(NLG_PORT* ports, int32_t port_index, int32_t net_index,
                                       NLG_ID id);
    // References are pointed at by nets: reserve before adding so that they never move.
    void reserve_portrefs(size_t n);

    NLG_MODULE* get_parent_module() const { return m_parent; }
    NLG_MODULE* get_definition() const { return m_module; }
    // Checked access to a reference by its index in this instance.
    NLG_PORT_REF* portref(int32_t index) const;
    // The reference of the definition's port at this index, or null when unconnected.
    NLG_PORT_REF* portref_of_port(int32_t port_index) const;

  private:
    friend class NLG_MODULE;

    void append_portref(const NLG_PORT_REF& portref, int32_t port_index);
    // Stores a reference as the one of its port, without putting it on its net.
    NLG_PORT_REF* place_portref(NLG_PORT_REF&& portref, int32_t port_index);
    void check_port_index(int32_t port_index) const;

    // Held in place, with a mark of whether the instance has a list of references at all (made
    // when first reserved or added to): a graph has millions of instances.
    std::vector<NLG_PORT_REF> m_portrefs;
    NLG_MODULE* m_parent;
    NLG_MODULE* m_module;
    NLG_ID m_id;
    NS_SYMBOL::SYM m_name;
    int32_t m_index;
    bool m_has_portrefs;
    std::vector<int32_t> m_port_to_portref;
    NLG_FILELINE m_fileline;
};
