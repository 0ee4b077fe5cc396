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
    const NLG_FAN::REFS* get_fanout_refs() const { return m_fanout_refs.get(); }
    const NLG_FAN::REFS* get_fanin_refs() const { return m_fanin_refs.get(); }
    const NLG_FAN::PORTS* get_fanout_ports() const { return m_fanout_ports.get(); }
    const NLG_FAN::PORTS* get_fanin_ports() const { return m_fanin_ports.get(); }
    void add_fanout_ref(NLG_PORT_REF* ref) { NLG_FAN::make(m_fanout_refs).push_back(ref); }
    void add_fanin_ref(NLG_PORT_REF* ref) { NLG_FAN::make(m_fanin_refs).push_back(ref); }
    void add_fanout_port(NLG_PORT* port) { NLG_FAN::make(m_fanout_ports).push_back(port); }
    void add_fanin_port(NLG_PORT* port) { NLG_FAN::make(m_fanin_ports).push_back(port); }
    void delete_fanin_refs() { m_fanin_refs.reset(); }
    void delete_fanin_ports() { m_fanin_ports.reset(); }

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
    std::unique_ptr<NLG_FAN::REFS> m_fanout_refs;
    std::unique_ptr<NLG_FAN::REFS> m_fanin_refs;
    std::unique_ptr<NLG_FAN::PORTS> m_fanout_ports;
    std::unique_ptr<NLG_FAN::PORTS> m_fanin_ports;
};
