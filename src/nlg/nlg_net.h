// NLG_NET: a net of a module, held by value in its module's net vector. It owns the two lists
// of the module ports and the port references it touches, but not what they point to.
#pragma once

#include <memory>
#include <vector>

#include "nlg/nlg_fileline.h"

class NLG_MODULE;
class NLG_PORT;
class NLG_PORT_REF;
class NLG_INSTANCE;

class NLG_NET : public NLG_INET {
  public:
    NLG_NET(NLG_ID id, NS_SYMBOL::SYM name, const NLG_FILELINE& fileline);
    NLG_NET(const NLG_NET& other);
    NLG_NET(NLG_NET&& other) noexcept = default;
    NLG_NET& operator=(const NLG_NET&) = delete;
    ~NLG_NET() override;

    void accept_enter(TSL_IVISITOR& visitor) override;
    void accept_exit(TSL_IVISITOR& visitor) override;
    NLG_ID get_id() const override { return m_id; }
    NS_SYMBOL::SYM get_name() const override { return m_name; }
    const NLG_IFILELINE* get_fileline() const override { return &m_fileline; }

    NLG_IMODULE* get_parent() const override;
    uint32_t get_num_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    uint32_t get_num_portrefs() const override { return static_cast<uint32_t>(m_portrefs.size()); }
    NLG_IPORT* get_port(int32_t index) const override;
    NLG_IPORT_REF* get_portref(int32_t index) const override;

    // Ties a port of this net's module to it: listed here, and the port records the net.
    void connect_port(int32_t port_index);
    void connect_port(NLG_IPORT* port);
    // Makes a port reference (id -1) of the instance for the port, on this net.
    void connect(NLG_INSTANCE* instance, NLG_PORT* port);
    void add_portref(NLG_PORT_REF* pr);
    void add_portref(int32_t instance_index, int32_t portref_index);
    void reserve_ports(size_t n) { m_ports.reserve(n); }
    void reserve_portrefs(size_t n) { m_portrefs.reserve(n); }

    NLG_MODULE* get_module() const { return m_parent; }

  private:
    friend class NLG_MODULE;

    NLG_MODULE* m_parent;
    // Held in place: every net has both lists, and a graph has millions of nets.
    std::vector<NLG_PORT_REF*> m_portrefs;
    std::vector<NLG_PORT*> m_ports;
    NLG_ID m_id;
    NS_SYMBOL::SYM m_name;
    NLG_FILELINE m_fileline;
};
