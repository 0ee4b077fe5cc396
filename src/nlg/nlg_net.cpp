// Nets: what they touch inside their module, and the connecting operations of a builder.
#include "nlg/nlg_net.h"

#include "nlg/nlg_instance.h"
#include "nlg/nlg_module.h"
#include "nlg/nlg_port_ref.h"
#include "tsl_ivisitor.h"
#include "util/util_assert.h"

NLG_NET::NLG_NET(NLG_ID id, NS_SYMBOL::SYM name, const NLG_FILELINE& fileline)
    : m_parent(nullptr), m_id(id), m_name(name), m_fileline(fileline) {}

NLG_NET::NLG_NET(const NLG_NET& other)
    : NLG_INET(other),
      m_parent(other.m_parent),
      m_portrefs(other.m_portrefs),
      m_ports(other.m_ports),
      m_id(other.m_id),
      m_name(other.m_name),
      m_fileline(other.m_fileline) {}

NLG_NET::~NLG_NET() = default;

void NLG_NET::accept_enter(TSL_IVISITOR& visitor) {
    visitor.enter_net(*this);
}

void NLG_NET::accept_exit(TSL_IVISITOR& visitor) {
    visitor.exit_net(*this);
}

NLG_IMODULE* NLG_NET::get_parent() const {
    return m_parent;
}

NLG_IPORT* NLG_NET::get_port(int32_t index) const {
    UTIL_ASSERT_MSG(index >= 0 && static_cast<size_t>(index) < m_ports.size(),
                    "Index is out of range 0 ~ %d", static_cast<int>(m_ports.size()) - 1);
    return m_ports[static_cast<size_t>(index)];
}

NLG_IPORT_REF* NLG_NET::get_portref(int32_t index) const {
    UTIL_ASSERT_MSG(index >= 0 && static_cast<size_t>(index) < m_portrefs.size(),
                    "Index is out of range 0 ~ %d", static_cast<int>(m_portrefs.size()) - 1);
    return m_portrefs[static_cast<size_t>(index)];
}

void NLG_NET::connect_port(int32_t port_index) {
    UTIL_ASSERT(m_parent);
    connect_port(m_parent->port(port_index));
}

void NLG_NET::connect_port(NLG_IPORT* port) {
    if (port == nullptr) return;
    UTIL_ASSERT(m_parent);
    NLG_PORT* p = static_cast<NLG_PORT*>(port);
    m_ports.push_back(p);
    p->m_net_index = m_parent->get_net_index(this);
}

void NLG_NET::connect(NLG_INSTANCE* instance, NLG_PORT* port) {
    if (instance == nullptr || port == nullptr) return;
    instance->add_portref(port, this, NLG_ID(0xFFFFFFFFu));
}

void NLG_NET::add_portref(NLG_PORT_REF* pr) {
    UTIL_ASSERT(pr);
    m_portrefs.push_back(pr);
}

void NLG_NET::add_portref(int32_t instance_index, int32_t portref_index) {
    UTIL_ASSERT(m_parent);
    NLG_PORT_REF* pr = m_parent->instance(instance_index)->portref(portref_index);
    UTIL_ASSERT(pr);
    m_portrefs.push_back(pr);
}
