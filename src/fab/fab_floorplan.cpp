// The floorplan's objects: definitions read their ICDB record, ports their netlist port,
// instances what the generator gave them. Lists are absent until sized, and asking an absent
// list for an element is fatal.
#include "fab/fab_floorplan.h"

#include "ann_icdb.pb.h"
#include "nlg_igraph.h"
#include "util/util_assert.h"
#include "util/util_symbol.h"

FAB::FLOORPLAN::~FLOORPLAN() = default;
FAB::FLOORPLAN::MODULE::~MODULE() = default;
FAB::FLOORPLAN::INSTANCE::~INSTANCE() = default;
FAB::FLOORPLAN::MODULE_PORT::~MODULE_PORT() = default;

FAB_FLOORPLAN_IMPL::~FAB_FLOORPLAN_IMPL() = default;

// Instances

NS_SYMBOL::SYM FAB_FLOORPLAN_IMPL::INSTANCE_IMPL::get_name() const {
    UTIL_ASSERT(m_instance);
    return m_instance->get_name();
}

FAB::FLOORPLAN::MODULE& FAB_FLOORPLAN_IMPL::INSTANCE_IMPL::get_module() const {
    UTIL_ASSERT(m_module);
    return *m_module;
}

void FAB_FLOORPLAN_IMPL::INSTANCE_IMPL::get_location(int32_t& x, int32_t& y, int32_t& z) const {
    x = m_x;
    y = m_y;
    z = m_z;
}

void FAB_FLOORPLAN_IMPL::INSTANCE_IMPL::get_physical_location(float& x, float& y) const {
    x = m_phys_x;
    y = m_phys_y;
}

void FAB_FLOORPLAN_IMPL::INSTANCE_IMPL::set(NLG_IINSTANCE* instance, MODULE_IMPL* module,
                                            const FAB_LOCATION& location, float phys_x,
                                            float phys_y, const std::string& uid) {
    m_instance = instance;
    m_module = module;
    m_x = location.x;
    m_y = location.y;
    m_z = location.z;
    m_phys_x = phys_x;
    m_phys_y = phys_y;
    m_uid = uid;
}

// Ports

uint32_t FAB_FLOORPLAN_IMPL::PORT_IMPL::get_direction() const {
    UTIL_ASSERT(m_port);
    if (m_port->is_input()) return INPUT;
    if (m_port->is_output()) return OUTPUT;
    return BIDIRECTIONAL;
}

NS_SYMBOL::SYM FAB_FLOORPLAN_IMPL::PORT_IMPL::get_name() const {
    UTIL_ASSERT(m_port);
    return m_port->get_name();
}

void FAB_FLOORPLAN_IMPL::PORT_IMPL::set(NLG_IPORT* port, bool is_route_type_normal) {
    m_port = port;
    m_is_route_type_normal = is_route_type_normal;
}

// Module definitions

std::string FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_logical_name() const {
    UTIL_ASSERT(m_annotation);
    return UTIL::fast_name(NS_SYMBOL::SYM(m_annotation->logical_name().value()));
}

std::string FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_logical_impl() const {
    UTIL_ASSERT(m_annotation);
    return UTIL::fast_name(NS_SYMBOL::SYM(m_annotation->logical_impl().value()));
}

int32_t FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_pnr_height() const {
    UTIL_ASSERT(m_annotation);
    return m_annotation->pnr_height();
}

int32_t FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_pnr_width() const {
    UTIL_ASSERT(m_annotation);
    return m_annotation->pnr_width();
}

int32_t FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_phys_height() const {
    UTIL_ASSERT(m_annotation);
    return m_annotation->phys_height();
}

int32_t FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_phys_width() const {
    UTIL_ASSERT(m_annotation);
    return m_annotation->phys_width();
}

int32_t FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_n_ports() const {
    return m_ports ? static_cast<int32_t>(m_ports->size()) : 0;
}

FAB::FLOORPLAN::MODULE_PORT& FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_port(int32_t index) {
    return port(static_cast<uint32_t>(index));
}

int32_t FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_n_instances() const {
    return m_instances ? static_cast<int32_t>(m_instances->size()) : 0;
}

FAB::FLOORPLAN::INSTANCE& FAB_FLOORPLAN_IMPL::MODULE_IMPL::get_instance(int32_t index) {
    return instance(static_cast<uint32_t>(index));
}

void FAB_FLOORPLAN_IMPL::MODULE_IMPL::define(NLG_IMODULE* module,
                                             const PB::ICDB_MODULE* annotation) {
    m_module = module;
    m_annotation = annotation;
    m_instances.reset();
    m_ports.reset();
}

void FAB_FLOORPLAN_IMPL::MODULE_IMPL::size_ports(uint32_t n) {
    if (m_ports) {
        m_ports->resize(n);
    } else {
        m_ports.reset(new std::vector<PORT_IMPL>(n));
    }
}

void FAB_FLOORPLAN_IMPL::MODULE_IMPL::size_instances(uint32_t n) {
    if (m_instances) {
        m_instances->resize(n);
    } else {
        m_instances.reset(new std::vector<INSTANCE_IMPL>(n));
    }
}

FAB_FLOORPLAN_IMPL::PORT_IMPL& FAB_FLOORPLAN_IMPL::MODULE_IMPL::port(uint32_t index) {
    UTIL_ASSERT(m_ports);
    return UTIL::at(*m_ports, index);
}

FAB_FLOORPLAN_IMPL::INSTANCE_IMPL& FAB_FLOORPLAN_IMPL::MODULE_IMPL::instance(uint32_t index) {
    UTIL_ASSERT(m_instances);
    return UTIL::at(*m_instances, index);
}

// The floorplan

int32_t FAB_FLOORPLAN_IMPL::get_n_modules() const {
    return m_modules ? static_cast<int32_t>(m_modules->size()) : 0;
}

void FAB_FLOORPLAN_IMPL::size_modules(uint32_t n) {
    if (m_modules) {
        m_modules->resize(n);
    } else {
        m_modules.reset(new std::vector<MODULE_IMPL>(n));
    }
}

FAB_FLOORPLAN_IMPL::MODULE_IMPL& FAB_FLOORPLAN_IMPL::module(uint32_t index) {
    UTIL_ASSERT(m_modules);
    return UTIL::at(*m_modules, index);
}
