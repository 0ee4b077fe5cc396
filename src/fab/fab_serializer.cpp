// The floorplan generator builds the floorplan in two passes of the protocol:
// 1. Definitions: each is stored at the next index, and its key (get_module_key, or the
//    module's own name for the device's "-") is indexed, a later definition taking the key
//    from an earlier one. Port lists are sized by module_ports_begin and filled by index.
// 2. Bodies: each body's instance list is sized once and filled by index; a netlist instance
//    finds its definition by the key of its module's record, a block-level instance by the
//    name of its module. Placed netlist instances grow the grid extents by their size.
// 3. end_serialize replaces columns and rows by the extents reached.
// Counters check that every list got as many elements as announced.
#include "fab/fab_serializer.h"

#include <algorithm>

#include "ann_icdb.pb.h"
#include "nlg_igraph.h"
#include "util/util_assert.h"
#include "util/util_symbol.h"

namespace {

const std::string& text_of(const PB::SYMBOL& symbol) {
    return UTIL::fast_name(NS_SYMBOL::SYM(symbol.value()));
}

}  // namespace

std::string get_module_key(const PB::ICDB::MODULE& record) {
    if (record.has_logical_name() && record.has_logical_impl()) {
        const std::string& name = text_of(record.logical_name());
        const std::string& impl = text_of(record.logical_impl());
        if (impl == "-" || impl == "DEFAULT") return name;
        return name + "__" + impl;
    }
    const std::string name = record.has_logical_name() ? text_of(record.logical_name()) : "UNKNOWN";
    const std::string impl = record.has_logical_impl() ? text_of(record.logical_impl()) : "UNKNOWN";
    UTIL_FAIL(
        "Block with unknown logical name or implementation, logical_name=%s, logical_impl=%s\n\t"
        "Ensure device level block AND blocks listed in floorplan (_attributes.xml or "
        "_elements.pb.txt) are listed in icd_to_pnr_mapping.txt.",
        name.c_str(), impl.c_str());
}

// Definitions

void FAB_FLOORPLAN_GENERATOR::module_defs_begin(int32_t n_modules) {
    UTIL_ASSERT(!num_modules);
    UTIL_ASSERT(!module_count);
    num_modules = static_cast<uint32_t>(n_modules);
    m_fp.size_modules(num_modules);
}

void FAB_FLOORPLAN_GENERATOR::add_module_def(NLG_IMODULE* module, const PB::ICDB::MODULE& record) {
    cur_module = &m_fp.module(module_count);
    cur_module->define(module, &record);
    const std::string key = get_module_key(record);
    // The device's own record says "-": it goes by its module name.
    m_module_index[key != "-" ? key : UTIL::fast_name(module->get_name())] = module_count;
    ++module_count;
}

void FAB_FLOORPLAN_GENERATOR::module_ports_begin(int32_t n_ports) {
    UTIL_ASSERT(!num_ports);
    UTIL_ASSERT(!port_count);
    UTIL_ASSERT(cur_module);
    num_ports = static_cast<uint32_t>(n_ports);
    cur_module->size_ports(num_ports);
}

void FAB_FLOORPLAN_GENERATOR::add_module_port(NLG_IPORT* port, const PB::ICDB::APORT& record) {
    UTIL_ASSERT(cur_module);
    cur_module->port(port_count).set(port, record.is_route_type_normal());
    ++port_count;
}

void FAB_FLOORPLAN_GENERATOR::module_ports_end() {
    UTIL_ASSERT(cur_module);
    UTIL_ASSERT_MSG(static_cast<uint32_t>(cur_module->get_n_ports()) == port_count,
                    "cur_module->get_n_ports() == port_count");
    if (port_count != num_ports) {
        const std::string key = get_module_key(*cur_module->get_annotation());
        UTIL_FAIL(
            "current module is %s, expected number of ports: %d, number of ports processed %d",
            key.c_str(), static_cast<int>(num_ports), static_cast<int>(port_count));
    }
    num_ports = 0;
    port_count = 0;
}

void FAB_FLOORPLAN_GENERATOR::module_defs_end() {
    UTIL_ASSERT_MSG(static_cast<uint32_t>(m_fp.get_n_modules()) == num_modules,
                    "number of module in fp (%d) mismatch with number of module expected(%d)",
                    static_cast<int>(m_fp.get_n_modules()), static_cast<int>(num_modules));
    UTIL_ASSERT(module_count == num_modules);
    num_modules = 0;
    module_count = 0;
    cur_module = nullptr;
}

// Bodies

void FAB_FLOORPLAN_GENERATOR::module_bodies_begin(uint32_t n_modules) {
    UTIL_ASSERT_MSG(static_cast<uint32_t>(m_fp.get_n_modules()) == n_modules,
                    "m_fp.get_n_modules() == n_modules");
    UTIL_ASSERT(!module_count);
    UTIL_ASSERT(!num_modules);
    num_modules = n_modules;
}

void FAB_FLOORPLAN_GENERATOR::add_module_body(uint32_t module_index) {
    FAB_FLOORPLAN_IMPL::MODULE_IMPL* body = &m_fp.module(module_index);
    UTIL_ASSERT(!cur_module);
    cur_module = body;
    ++module_count;
}

void FAB_FLOORPLAN_GENERATOR::module_instances_begin(int32_t n_instances) {
    UTIL_ASSERT(cur_module);
    UTIL_ASSERT(!num_instances);
    UTIL_ASSERT(!instance_count);
    num_instances = static_cast<uint32_t>(n_instances);
    cur_module->size_instances(num_instances);
}

FAB_FLOORPLAN_IMPL::MODULE_IMPL* FAB_FLOORPLAN_GENERATOR::find_definition(const std::string& key) {
    auto it = m_module_index.find(key);
    UTIL_ASSERT_MSG(it != m_module_index.end(), "module def has not been possessed. name:%s",
                    key.c_str());
    return &m_fp.module(it->second);
}

void FAB_FLOORPLAN_GENERATOR::add_rtl_module_instance(NLG_IINSTANCE* instance,
                                                      const PB::ICDB::MODULE& record,
                                                      const FAB_LOCATION& location, float phys_x,
                                                      float phys_y, const std::string& uid) {
    FAB_FLOORPLAN_IMPL::MODULE_IMPL* definition = find_definition(get_module_key(record));
    UTIL_ASSERT(cur_module);
    cur_module->instance(instance_count).set(instance, definition, location, phys_x, phys_y, uid);
    ++instance_count;
    // An unplaced block stays out of the extents.
    if (location.x != -1 && location.y != -1) {
        m_max_x = std::max(m_max_x, record.pnr_width() - 1 + location.x);
        m_max_y = std::max(m_max_y, record.pnr_height() - 1 + location.y);
    }
}

// Block-level instances lie inside a block, so they never move the extents.
void FAB_FLOORPLAN_GENERATOR::add_blc_module_instance(NLG_IINSTANCE* instance,
                                                      const FAB_LOCATION& location) {
    FAB_FLOORPLAN_IMPL::MODULE_IMPL* definition =
        find_definition(UTIL::fast_name(instance->get_module()->get_name()));
    UTIL_ASSERT(cur_module);
    cur_module->instance(instance_count).set(instance, definition, location, -1.0f, -1.0f, "");
    ++instance_count;
}

void FAB_FLOORPLAN_GENERATOR::module_instances_end() {
    cur_module = nullptr;
    UTIL_ASSERT(num_instances == instance_count);
    num_instances = 0;
    instance_count = 0;
}

void FAB_FLOORPLAN_GENERATOR::module_bodies_end() {
    UTIL_ASSERT_MSG(num_modules == module_count,
                    "Number of modules expected: %d. Number of module processed: %d",
                    static_cast<int>(num_modules), static_cast<int>(module_count));
    num_modules = 0;
    module_count = 0;
}

void FAB_FLOORPLAN_GENERATOR::end_serialize() {
    m_fp.set_columns(static_cast<uint32_t>(m_max_x + 1));
    m_fp.set_rows(static_cast<uint32_t>(m_max_y + 1));
}

// Trace

void FAB_TRACE_SERIALIZER::begin_serialize() {
    m_os << "begin serialize()\n";
    m_inner.begin_serialize();
}

void FAB_TRACE_SERIALIZER::end_serialize() {
    m_os << "end serialize()\n";
    m_inner.end_serialize();
}

void FAB_TRACE_SERIALIZER::module_defs_begin(int32_t n_modules) {
    m_os << "module_defs_begin(" << n_modules << ")\n";
    m_inner.module_defs_begin(n_modules);
}

void FAB_TRACE_SERIALIZER::add_module_def(NLG_IMODULE* module, const PB::ICDB::MODULE& record) {
    m_os << "add_module_def(" << UTIL::fast_name(module->get_name()) << ", "
         << text_of(record.logical_name()) << ", " << text_of(record.logical_impl()) << ")\n";
    m_inner.add_module_def(module, record);
}

void FAB_TRACE_SERIALIZER::module_ports_begin(int32_t n_ports) {
    m_os << "module_ports_begin(" << n_ports << ")\n";
    m_inner.module_ports_begin(n_ports);
}

void FAB_TRACE_SERIALIZER::add_module_port(NLG_IPORT* port, const PB::ICDB::APORT& record) {
    m_os << "add_module_port(" << UTIL::fast_name(port->get_name()) << ", "
         << record.is_route_type_normal() << ")\n";
    m_inner.add_module_port(port, record);
}

void FAB_TRACE_SERIALIZER::module_ports_end() {
    m_os << "module_ports_end()\n";
    m_inner.module_ports_end();
}

void FAB_TRACE_SERIALIZER::module_defs_end() {
    m_os << "module_defs_end()\n";
    m_inner.module_defs_end();
}

void FAB_TRACE_SERIALIZER::module_bodies_begin(uint32_t n_modules) {
    m_os << "module_bodies_begin(" << n_modules << ")\n";
    m_inner.module_bodies_begin(n_modules);
}

void FAB_TRACE_SERIALIZER::add_module_body(uint32_t module_index) {
    m_os << "add_module_body(" << module_index << ")\n";
    m_inner.add_module_body(module_index);
}

void FAB_TRACE_SERIALIZER::module_instances_begin(int32_t n_instances) {
    m_os << "module_instances_begin(" << n_instances << ")\n";
    m_inner.module_instances_begin(n_instances);
}

void FAB_TRACE_SERIALIZER::add_rtl_module_instance(NLG_IINSTANCE* instance,
                                                   const PB::ICDB::MODULE& record,
                                                   const FAB_LOCATION& location, float phys_x,
                                                   float phys_y, const std::string& uid) {
    m_os << "add_rtl_module_instance(" << UTIL::fast_name(instance->get_name()) << ", "
         << text_of(record.logical_name()) << ", " << text_of(record.logical_impl()) << ", "
         << location.x << ", " << location.y << ", " << location.z << ", " << phys_x << ", "
         << phys_y << ", " << uid << ")\n";
    m_inner.add_rtl_module_instance(instance, record, location, phys_x, phys_y, uid);
}

void FAB_TRACE_SERIALIZER::add_blc_module_instance(NLG_IINSTANCE* instance,
                                                   const FAB_LOCATION& location) {
    m_os << "add_blc_module_instance(" << UTIL::fast_name(instance->get_name()) << ", "
         << location.x << ", " << location.y << ", " << location.z << ")\n";
    m_inner.add_blc_module_instance(instance, location);
}

void FAB_TRACE_SERIALIZER::module_instances_end() {
    m_os << "module_instances_end()\n";
    m_inner.module_instances_end();
}

void FAB_TRACE_SERIALIZER::module_bodies_end() {
    m_os << "module_bodies_end()\n";
    m_inner.module_bodies_end();
}
