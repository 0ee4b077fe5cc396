// Instances: their port references and the table from a definition's port to its reference.
#include "nlg/nlg_instance.h"

#include "nlg/nlg_module.h"
#include "nlg/nlg_net.h"
#include "tsl_ivisitor.h"
#include "util/util_assert.h"

static const char* slow_name(NS_SYMBOL::SYM symbol, std::string& buffer) {
    buffer = symbol.get_name();
    return buffer.c_str();
}

// A copy keeps the reservation of the original, so that a template reserved by its
// constructor gives a stored instance whose references never move.
static std::vector<NLG_PORT_REF> copy_portrefs(const std::vector<NLG_PORT_REF>& portrefs) {
    std::vector<NLG_PORT_REF> copy;
    copy.reserve(portrefs.capacity());
    for (const NLG_PORT_REF& pr : portrefs) copy.push_back(pr);
    return copy;
}

NLG_INSTANCE::NLG_INSTANCE(NS_SYMBOL::SYM name, NLG_MODULE* module, NLG_ID id,
                           const NLG_FILELINE& fileline, uint32_t n_portrefs)
    : NLG_INSTANCE(name, module, module ? module->get_num_ports() : 0, id, fileline) {
    if (n_portrefs != 0) reserve_portrefs(n_portrefs);
}

NLG_INSTANCE::NLG_INSTANCE(NS_SYMBOL::SYM name, NLG_MODULE* module, uint32_t n_definition_ports,
                           NLG_ID id, const NLG_FILELINE& fileline)
    : m_parent(nullptr),
      m_module(module),
      m_id(id),
      m_name(name),
      m_index(-1),
      m_has_portrefs(false),
      m_port_to_portref(n_definition_ports, -1),
      m_fileline(fileline) {}

NLG_INSTANCE::NLG_INSTANCE(const NLG_INSTANCE& other)
    : NLG_IINSTANCE(other),
      m_portrefs(copy_portrefs(other.m_portrefs)),
      m_parent(other.m_parent),
      m_module(other.m_module),
      m_id(other.m_id),
      m_name(other.m_name),
      m_index(other.m_index),
      m_has_portrefs(other.m_has_portrefs),
      m_port_to_portref(other.m_port_to_portref),
      m_fileline(other.m_fileline) {
    for (NLG_PORT_REF& pr : m_portrefs) pr.m_instance = this;
}

NLG_INSTANCE::NLG_INSTANCE(NLG_INSTANCE&& other) noexcept
    : NLG_IINSTANCE(other),
      m_portrefs(std::move(other.m_portrefs)),
      m_parent(other.m_parent),
      m_module(other.m_module),
      m_id(other.m_id),
      m_name(other.m_name),
      m_index(other.m_index),
      m_has_portrefs(other.m_has_portrefs),
      m_port_to_portref(std::move(other.m_port_to_portref)),
      m_fileline(other.m_fileline) {
    for (NLG_PORT_REF& pr : m_portrefs) pr.m_instance = this;
}

NLG_INSTANCE::~NLG_INSTANCE() = default;

void NLG_INSTANCE::accept_enter(TSL_IVISITOR& visitor) {
    visitor.enter_instance(*this);
}

void NLG_INSTANCE::accept_exit(TSL_IVISITOR& visitor) {
    visitor.exit_instance(*this);
}

NLG_IMODULE* NLG_INSTANCE::get_parent() const {
    return m_parent;
}

NLG_IMODULE* NLG_INSTANCE::get_module() const {
    UTIL_ASSERT(m_module);
    return m_module;
}

NLG_IPORT_REF* NLG_INSTANCE::get_portref(const NLG_IPORT* port) const {
    if (port == nullptr || !m_has_portrefs) return nullptr;
    int32_t index = port->get_index();
    if (index < 0 || static_cast<size_t>(index) >= m_port_to_portref.size()) {
        std::string port_name, instance_name, module_name;
        UTIL_FAIL("port %s index %d is out of range of 0 ~ %d on instance %s of module %s",
                  slow_name(port->get_name(), port_name), index,
                  static_cast<int>(m_port_to_portref.size()) - 1, slow_name(m_name, instance_name),
                  slow_name(m_module ? m_module->get_name() : NS_SYMBOL::SYM(), module_name));
    }
    int32_t i = m_port_to_portref[static_cast<size_t>(index)];
    return i < 0 ? nullptr : const_cast<NLG_PORT_REF*>(&m_portrefs[static_cast<size_t>(i)]);
}

NLG_IPORT_REF* NLG_INSTANCE::get_portref(int32_t index) const {
    return portref(index);
}

NLG_PORT_REF* NLG_INSTANCE::portref(int32_t index) const {
    return const_cast<NLG_PORT_REF*>(&UTIL::at(m_portrefs, static_cast<size_t>(index)));
}

NLG_PORT_REF* NLG_INSTANCE::portref_of_port(int32_t port_index) const {
    int32_t i = UTIL::at(m_port_to_portref, static_cast<size_t>(port_index));
    return i < 0 ? nullptr : const_cast<NLG_PORT_REF*>(&m_portrefs[static_cast<size_t>(i)]);
}

int32_t NLG_INSTANCE::get_portref_index(const NLG_IPORT_REF* portref) const {
    // Reads as the check on the list itself did when the list was made on first use.
    UTIL_ASSERT_MSG(m_has_portrefs, "m_portrefs");
    return static_cast<int32_t>(static_cast<const NLG_PORT_REF*>(portref) - m_portrefs.data());
}

bool NLG_INSTANCE::is_leaf() const {
    UTIL_ASSERT(m_module);
    return m_module->is_leaf();
}

void NLG_INSTANCE::reserve_portrefs(size_t n) {
    m_has_portrefs = true;
    m_portrefs.reserve(n);
}

NLG_PORT_REF* NLG_INSTANCE::place_portref(NLG_PORT_REF&& portref, int32_t port_index) {
    m_has_portrefs = true;
    m_port_to_portref[static_cast<size_t>(port_index)] = static_cast<int32_t>(m_portrefs.size());
    m_portrefs.push_back(std::move(portref));
    return &m_portrefs.back();
}

void NLG_INSTANCE::append_portref(const NLG_PORT_REF& portref, int32_t port_index) {
    NLG_PORT_REF* placed = place_portref(NLG_PORT_REF(portref), port_index);
    if (placed->m_net) placed->m_net->add_portref(placed);
}

void NLG_INSTANCE::add_portref(NLG_PORT* p, NLG_NET* net, NLG_ID id) {
    if (p == nullptr || net == nullptr) return;
    UTIL_ASSERT(p->get_parent() == m_module);
    append_portref(NLG_PORT_REF(id, p, net, this), p->get_index());
}

void NLG_INSTANCE::check_port_index(int32_t port_index) const {
    if (port_index < 0 || static_cast<size_t>(port_index) >= m_port_to_portref.size()) {
        std::string instance_name, module_name, parent_name;
        UTIL_FAIL(
            "referencing index %d out of range 0 ~ %lu on instance %s of module %s in module %s",
            port_index, static_cast<unsigned long>(m_port_to_portref.size()) - 1,
            slow_name(m_name, instance_name),
            slow_name(m_module ? m_module->get_name() : NS_SYMBOL::SYM(), module_name),
            slow_name(m_parent ? m_parent->get_name() : NS_SYMBOL::SYM(), parent_name));
    }
}

void NLG_INSTANCE::add_portref(int32_t port_index, int32_t net_index, NLG_ID id) {
    check_port_index(port_index);
    append_portref(NLG_PORT_REF(id, m_parent, port_index, net_index < 0 ? -1 : net_index, m_index),
                   port_index);
}

NLG_PORT_REF* NLG_INSTANCE::add_portref_unlisted(NLG_PORT* ports, int32_t port_index,
                                                 int32_t net_index, NLG_ID id) {
    check_port_index(port_index);
    UTIL_ASSERT(m_parent);
    NLG_PORT_REF portref(id, &ports[port_index], nullptr, this);
    if (net_index >= 0) portref.m_net = m_parent->net(net_index);
    return place_portref(std::move(portref), port_index);
}
