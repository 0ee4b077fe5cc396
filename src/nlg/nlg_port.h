// NLG_PORT: a port of a module definition, held by value in its module's port vector. It owns
// its four fan lists (nearest hierarchical neighbours), each made on first use; it does not own
// its module, its net or the neighbours the lists name.
#pragma once

#include <memory>
#include <vector>

#include "nlg/nlg_fileline.h"

class NLG_MODULE;
class NLG_NET;
class NLG_PORT;
class NLG_PORT_REF;

namespace NLG_FAN {

using PORTS = std::vector<NLG_PORT*>;
using REFS = std::vector<NLG_PORT_REF*>;

// The four fan lists of a module port or a port reference, in their field order. A list is
// absent (null) until its first entry, and a deleted list is absent again. The four share one
// block made on first use, so an object the fan-list pass never touched carries one null
// pointer: graphs without fan lists hold millions of such objects. A copy copies the lists.
class LISTS {
  public:
    LISTS() = default;
    LISTS(LISTS&&) = default;
    LISTS& operator=(LISTS&&) = default;
    LISTS(const LISTS& other) : m_block(other.m_block ? new BLOCK(*other.m_block) : nullptr) {}

    const REFS* get_fanout_refs() const { return get(&BLOCK::m_fanout_refs); }
    const REFS* get_fanin_refs() const { return get(&BLOCK::m_fanin_refs); }
    const PORTS* get_fanout_ports() const { return get(&BLOCK::m_fanout_ports); }
    const PORTS* get_fanin_ports() const { return get(&BLOCK::m_fanin_ports); }
    void add_fanout_ref(NLG_PORT_REF* ref) { block().m_fanout_refs.push_back(ref); }
    void add_fanin_ref(NLG_PORT_REF* ref) { block().m_fanin_refs.push_back(ref); }
    void add_fanout_port(NLG_PORT* port) { block().m_fanout_ports.push_back(port); }
    void add_fanin_port(NLG_PORT* port) { block().m_fanin_ports.push_back(port); }
    void delete_fanin_refs() { drop(&BLOCK::m_fanin_refs); }
    void delete_fanin_ports() { drop(&BLOCK::m_fanin_ports); }

  private:
    struct BLOCK {
        REFS m_fanout_refs;
        REFS m_fanin_refs;
        PORTS m_fanout_ports;
        PORTS m_fanin_ports;
    };
    BLOCK& block() {
        if (!m_block) m_block.reset(new BLOCK());
        return *m_block;
    }
    // Every present list has an entry, so an empty one reads as absent.
    template <class LIST>
    const LIST* get(LIST BLOCK::*list) const {
        return m_block && !((*m_block).*list).empty() ? &((*m_block).*list) : nullptr;
    }
    template <class LIST>
    void drop(LIST BLOCK::*list) {
        if (m_block) LIST().swap((*m_block).*list);
    }
    std::unique_ptr<BLOCK> m_block;
};

}  // namespace NLG_FAN

class NLG_PORT : public NLG_IPORT {
  public:
    NLG_PORT(NLG_ID id, NS_SYMBOL::SYM name, uint32_t direction, const NLG_FILELINE& fileline);
    NLG_PORT(const NLG_PORT& other);
    NLG_PORT(NLG_PORT&& other) noexcept = default;
    NLG_PORT& operator=(const NLG_PORT&) = delete;
    ~NLG_PORT() override;

    void accept_enter(TSL_IVISITOR& visitor) override;
    void accept_exit(TSL_IVISITOR& visitor) override;
    NLG_ID get_id() const override { return m_id; }
    NS_SYMBOL::SYM get_name() const override { return m_name; }
    const NLG_IFILELINE* get_fileline() const override { return &m_fileline; }

    NLG_IMODULE* get_parent() const override;
    int32_t get_index() const override { return m_index; }
    NLG_INET* get_net() const override;
    uint32_t get_direction() const override { return m_direction; }
    bool is_input() const override { return m_direction == INPUT; }
    bool is_output() const override { return m_direction == OUTPUT; }
    bool is_inout() const override { return m_direction == INOUT; }

    NLG_MODULE* get_module() const { return m_parent; }
    int32_t get_net_index() const { return m_net_index; }

    // Fan lists: null means empty.
    const NLG_FAN::REFS* get_fanout_refs() const { return m_fan.get_fanout_refs(); }
    const NLG_FAN::REFS* get_fanin_refs() const { return m_fan.get_fanin_refs(); }
    const NLG_FAN::PORTS* get_fanout_ports() const { return m_fan.get_fanout_ports(); }
    const NLG_FAN::PORTS* get_fanin_ports() const { return m_fan.get_fanin_ports(); }
    void add_fanout_ref(NLG_PORT_REF* ref) { m_fan.add_fanout_ref(ref); }
    void add_fanin_ref(NLG_PORT_REF* ref) { m_fan.add_fanin_ref(ref); }
    void add_fanout_port(NLG_PORT* port) { m_fan.add_fanout_port(port); }
    void add_fanin_port(NLG_PORT* port) { m_fan.add_fanin_port(port); }
    void delete_fanin_refs() { m_fan.delete_fanin_refs(); }
    void delete_fanin_ports() { m_fan.delete_fanin_ports(); }

  private:
    friend class NLG_MODULE;
    friend class NLG_NET;

    NLG_MODULE* m_parent;
    int32_t m_net_index;
    uint32_t m_direction;
    NLG_ID m_id;
    NS_SYMBOL::SYM m_name;
    int32_t m_index;
    NLG_FILELINE m_fileline;
    NLG_FAN::LISTS m_fan;  // m_fanout_refs, m_fanin_refs, m_fanout_ports, m_fanin_ports
};
