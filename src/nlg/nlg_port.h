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

// A fan list is absent until its first entry; a copy of an object copies its lists.
template <class T>
std::vector<T>& make(std::unique_ptr<std::vector<T>>& list) {
    if (!list) list.reset(new std::vector<T>());
    return *list;
}

template <class T>
std::unique_ptr<std::vector<T>> copy(const std::unique_ptr<std::vector<T>>& list) {
    return list ? std::unique_ptr<std::vector<T>>(new std::vector<T>(*list)) : nullptr;
}

// The four fan lists of a module port or a port reference, in their field order. Null means
// empty, so an object the fan-list pass never touched carries four null pointers.
class LISTS {
  public:
    LISTS() = default;
    LISTS(LISTS&&) = default;
    LISTS& operator=(LISTS&&) = default;
    LISTS(const LISTS& other)
        : m_fanout_refs(copy(other.m_fanout_refs)),
          m_fanin_refs(copy(other.m_fanin_refs)),
          m_fanout_ports(copy(other.m_fanout_ports)),
          m_fanin_ports(copy(other.m_fanin_ports)) {}

    const REFS* get_fanout_refs() const { return m_fanout_refs.get(); }
    const REFS* get_fanin_refs() const { return m_fanin_refs.get(); }
    const PORTS* get_fanout_ports() const { return m_fanout_ports.get(); }
    const PORTS* get_fanin_ports() const { return m_fanin_ports.get(); }
    void add_fanout_ref(NLG_PORT_REF* ref) { make(m_fanout_refs).push_back(ref); }
    void add_fanin_ref(NLG_PORT_REF* ref) { make(m_fanin_refs).push_back(ref); }
    void add_fanout_port(NLG_PORT* port) { make(m_fanout_ports).push_back(port); }
    void add_fanin_port(NLG_PORT* port) { make(m_fanin_ports).push_back(port); }
    void delete_fanin_refs() { m_fanin_refs.reset(); }
    void delete_fanin_ports() { m_fanin_ports.reset(); }

  private:
    std::unique_ptr<REFS> m_fanout_refs;
    std::unique_ptr<REFS> m_fanin_refs;
    std::unique_ptr<PORTS> m_fanout_ports;
    std::unique_ptr<PORTS> m_fanin_ports;
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
