// Module ports: identity, direction tests and the net they are tied to inside their module.
#include "nlg/nlg_port.h"

#include "nlg/nlg_module.h"
#include "tsl_ivisitor.h"

NLG_PORT::NLG_PORT(NLG_ID id, NS_SYMBOL::SYM name, uint32_t direction, const NLG_FILELINE& fileline)
    : m_parent(nullptr),
      m_net_index(-1),
      m_direction(direction),
      m_id(id),
      m_name(name),
      m_index(-1),
      m_fileline(fileline) {}

NLG_PORT::NLG_PORT(const NLG_PORT& other)
    : NLG_IPORT(other),
      m_parent(other.m_parent),
      m_net_index(other.m_net_index),
      m_direction(other.m_direction),
      m_id(other.m_id),
      m_name(other.m_name),
      m_index(other.m_index),
      m_fileline(other.m_fileline),
      m_fan(other.m_fan) {}

NLG_PORT::~NLG_PORT() = default;

void NLG_PORT::accept_enter(TSL_IVISITOR& visitor) {
    visitor.enter_port(*this);
}

void NLG_PORT::accept_exit(TSL_IVISITOR& visitor) {
    visitor.exit_port(*this);
}

NLG_IMODULE* NLG_PORT::get_parent() const {
    return m_parent;
}

NLG_INET* NLG_PORT::get_net() const {
    if (m_net_index < 0 || m_parent == nullptr) return nullptr;
    return m_parent->net(m_net_index);
}
