// NLG_PORT_REF: one connected port of an instance, held by value in its instance's vector. It
// ties (instance, port of the instantiated module, net of the containing module) and owns its
// four fan lists; it has no name and no file-line of its own.
#pragma once

#include <memory>

#include "nlg/nlg_port.h"

class NLG_INSTANCE;

class NLG_PORT_REF : public NLG_IPORT_REF {
  public:
    NLG_PORT_REF(NLG_ID id, NLG_PORT* p, NLG_NET* net, NLG_INSTANCE* inst);
    // From numbers: a net index of -1 means no net.
    NLG_PORT_REF(NLG_ID id, NLG_MODULE* parent, int32_t port_index, int32_t net_index,
                 int32_t instance_index);
    NLG_PORT_REF(const NLG_PORT_REF& other);
    NLG_PORT_REF(NLG_PORT_REF&& other) noexcept = default;
    NLG_PORT_REF& operator=(const NLG_PORT_REF&) = delete;
    ~NLG_PORT_REF() override;

    void accept_enter(TSL_IVISITOR& visitor) override;
    void accept_exit(TSL_IVISITOR& visitor) override;
    NLG_ID get_id() const override { return m_id; }
    NS_SYMBOL::SYM get_name() const override;
    const NLG_IFILELINE* get_fileline() const override;

    NLG_IPORT* get_port() const override;
    NLG_INET* get_net() const override;
    NLG_IINSTANCE* get_instance() const override;
    bool is_input() const override { return m_port->is_input(); }
    bool is_output() const override { return m_port->is_output(); }
    bool is_inout() const override { return m_port->is_inout(); }

    NLG_MODULE* get_module() const { return m_parent; }
    NLG_PORT* get_nlg_port() const { return m_port; }
    NLG_NET* get_nlg_net() const { return m_net; }
    NLG_INSTANCE* get_nlg_instance() const { return m_instance; }

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
    friend class NLG_INSTANCE;
    friend class NLG_MODULE;

    NLG_MODULE* m_parent;
    NLG_ID m_id;
    NLG_INSTANCE* m_instance;
    NLG_NET* m_net;
    NLG_PORT* m_port;
    NLG_FAN::LISTS m_fan;  // m_fanout_refs, m_fanin_refs, m_fanout_ports, m_fanin_ports
};
