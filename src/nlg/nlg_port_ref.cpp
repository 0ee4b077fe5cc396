// Port references: the pin of an instance on a net of the containing module.
#include "nlg/nlg_port_ref.h"

#include "nlg/nlg_instance.h"
#include "nlg/nlg_module.h"
#include "nlg/nlg_net.h"
#include "tsl_ivisitor.h"
#include "util/util_assert.h"

NLG_PORT_REF::NLG_PORT_REF(NLG_ID id, NLG_PORT* p, NLG_NET* net, NLG_INSTANCE* inst)
    : m_parent(nullptr), m_id(id), m_instance(inst), m_net(net), m_port(p) {
    UTIL_ASSERT(inst && p);
    m_parent = inst->get_parent_module();
}

NLG_PORT_REF::NLG_PORT_REF(NLG_ID id, NLG_MODULE* parent, int32_t port_index, int32_t net_index,
                           int32_t instance_index)
    : m_parent(parent), m_id(id), m_instance(nullptr), m_net(nullptr), m_port(nullptr) {
    if (parent) m_instance = parent->instance(instance_index);
    if (m_instance && m_instance->get_definition())
        m_port = m_instance->get_definition()->port(port_index);
    UTIL_ASSERT(parent && m_instance && m_port);
    if (net_index >= 0) m_net = parent->net(net_index);
}

NLG_PORT_REF::NLG_PORT_REF(const NLG_PORT_REF& other)
    : NLG_IPORT_REF(other),
      m_parent(other.m_parent),
      m_id(other.m_id),
      m_instance(other.m_instance),
      m_net(other.m_net),
      m_port(other.m_port),
      m_fan(other.m_fan) {}

NLG_PORT_REF::~NLG_PORT_REF() = default;

void NLG_PORT_REF::accept_enter(TSL_IVISITOR& visitor) {
    visitor.enter_port_ref(*this);
}

void NLG_PORT_REF::accept_exit(TSL_IVISITOR& visitor) {
    visitor.exit_port_ref(*this);
}

NS_SYMBOL::SYM NLG_PORT_REF::get_name() const {
    UTIL_FAIL("Portref does not have a name!");
}

const NLG_IFILELINE* NLG_PORT_REF::get_fileline() const {
    UTIL_FAIL("Portref does fileline!");
}

NLG_IPORT* NLG_PORT_REF::get_port() const {
    return m_port;
}

NLG_INET* NLG_PORT_REF::get_net() const {
    return m_net;
}

NLG_IINSTANCE* NLG_PORT_REF::get_instance() const {
    return m_instance;
}
