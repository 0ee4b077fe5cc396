// The floorplan protocol: FAB_ISERIALIZER, the calls that describe module definitions with
// their ports and then each module's body of instances; FAB_FLOORPLAN_GENERATOR, which builds
// a FAB_FLOORPLAN_IMPL from them; FAB_TRACE_SERIALIZER, which writes each call as a line and
// passes it on. get_module_key names a block by its logical name and implementation. None of
// these owns the floorplan, the netlist objects or the records it is given.
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>

#include "fab/fab_floorplan.h"
#include "fab_iposition.h"

class NLG_IMODULE;
class NLG_IPORT;
class NLG_IINSTANCE;
namespace PB {
class ICDB_MODULE;
class ICDB_APORT;
}  // namespace PB

// The calling grammar: begin_serialize; module_defs_begin; per definition add_module_def,
// optionally module_ports_begin, add_module_port per port, module_ports_end; module_defs_end;
// module_bodies_begin; per body add_module_body, module_instances_begin, an add_..._instance
// per instance, module_instances_end; module_bodies_end; end_serialize.
class FAB_ISERIALIZER {
  public:
    virtual ~FAB_ISERIALIZER() = default;
    virtual void begin_serialize() = 0;
    virtual void end_serialize() = 0;
    virtual void module_defs_begin(int32_t n_modules) = 0;
    virtual void add_module_def(NLG_IMODULE* module, const PB::ICDB_MODULE& record) = 0;
    virtual void module_ports_begin(int32_t n_ports) = 0;
    virtual void add_module_port(NLG_IPORT* port, const PB::ICDB_APORT& record) = 0;
    virtual void module_ports_end() = 0;
    virtual void module_defs_end() = 0;
    virtual void module_bodies_begin(uint32_t n_modules) = 0;
    virtual void add_module_body(uint32_t module_index) = 0;
    virtual void module_instances_begin(int32_t n_instances) = 0;
    virtual void add_rtl_module_instance(NLG_IINSTANCE* instance, const PB::ICDB_MODULE& record,
                                         const FAB_LOCATION& location, float phys_x, float phys_y,
                                         const std::string& uid) = 0;
    virtual void add_blc_module_instance(NLG_IINSTANCE* instance, const FAB_LOCATION& location) = 0;
    virtual void module_instances_end() = 0;
    virtual void module_bodies_end() = 0;
};

// The name that pairs a block with its definition: logical name, "__" and implementation,
// or the logical name alone when the implementation is "-" or "DEFAULT". A record without
// both names is fatal.
std::string get_module_key(const PB::ICDB_MODULE& record);

class FAB_FLOORPLAN_GENERATOR : public FAB_ISERIALIZER {
  public:
    explicit FAB_FLOORPLAN_GENERATOR(FAB_FLOORPLAN_IMPL& fp) : m_fp(fp) {}

    void begin_serialize() override {}
    void end_serialize() override;
    void module_defs_begin(int32_t n_modules) override;
    void add_module_def(NLG_IMODULE* module, const PB::ICDB_MODULE& record) override;
    void module_ports_begin(int32_t n_ports) override;
    void add_module_port(NLG_IPORT* port, const PB::ICDB_APORT& record) override;
    void module_ports_end() override;
    void module_defs_end() override;
    void module_bodies_begin(uint32_t n_modules) override;
    void add_module_body(uint32_t module_index) override;
    void module_instances_begin(int32_t n_instances) override;
    void add_rtl_module_instance(NLG_IINSTANCE* instance, const PB::ICDB_MODULE& record,
                                 const FAB_LOCATION& location, float phys_x, float phys_y,
                                 const std::string& uid) override;
    void add_blc_module_instance(NLG_IINSTANCE* instance, const FAB_LOCATION& location) override;
    void module_instances_end() override;
    void module_bodies_end() override;

  private:
    FAB_FLOORPLAN_IMPL::MODULE_IMPL* find_definition(const std::string& key);

    FAB_FLOORPLAN_IMPL& m_fp;
    std::map<std::string, uint32_t> m_module_index;
    FAB_FLOORPLAN_IMPL::MODULE_IMPL* cur_module = nullptr;
    uint32_t num_modules = 0;
    uint32_t module_count = 0;
    uint32_t num_instances = 0;
    uint32_t instance_count = 0;
    uint32_t num_ports = 0;
    uint32_t port_count = 0;
    int32_t m_max_x = 0;
    int32_t m_max_y = 0;
};

// Writes one line per call to a stream, names as their text, then passes the call on.
class FAB_TRACE_SERIALIZER : public FAB_ISERIALIZER {
  public:
    FAB_TRACE_SERIALIZER(std::ostream& os, FAB_ISERIALIZER& inner) : m_os(os), m_inner(inner) {}

    void begin_serialize() override;
    void end_serialize() override;
    void module_defs_begin(int32_t n_modules) override;
    void add_module_def(NLG_IMODULE* module, const PB::ICDB_MODULE& record) override;
    void module_ports_begin(int32_t n_ports) override;
    void add_module_port(NLG_IPORT* port, const PB::ICDB_APORT& record) override;
    void module_ports_end() override;
    void module_defs_end() override;
    void module_bodies_begin(uint32_t n_modules) override;
    void add_module_body(uint32_t module_index) override;
    void module_instances_begin(int32_t n_instances) override;
    void add_rtl_module_instance(NLG_IINSTANCE* instance, const PB::ICDB_MODULE& record,
                                 const FAB_LOCATION& location, float phys_x, float phys_y,
                                 const std::string& uid) override;
    void add_blc_module_instance(NLG_IINSTANCE* instance, const FAB_LOCATION& location) override;
    void module_instances_end() override;
    void module_bodies_end() override;

  private:
    std::ostream& m_os;
    FAB_ISERIALIZER& m_inner;
};
