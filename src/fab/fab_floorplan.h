// FAB_FLOORPLAN_IMPL, the floorplan as built by the floorplan generator: module definitions in
// one vector sized once, each with its port and instance vectors sized once, so that element
// addresses never move and an instance can point at its definition. It owns these vectors;
// the netlist objects and annotation records it points at belong to the run.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fab_floorplan_api.h"
#include "fab_iposition.h"

class NLG_IMODULE;
class NLG_IPORT;
class NLG_IINSTANCE;
namespace PB {
class ICDB_MODULE;
}

class FAB_FLOORPLAN_IMPL : public FAB::FLOORPLAN {
  public:
    class MODULE_IMPL;

    class INSTANCE_IMPL : public FAB::FLOORPLAN::INSTANCE {
      public:
        NS_SYMBOL::SYM get_name() const override;
        MODULE& get_module() const override;
        void get_location(int32_t& x, int32_t& y, int32_t& z) const override;
        void get_physical_location(float& x, float& y) const override;
        const std::string& get_uid() const override { return m_uid; }

        void set(NLG_IINSTANCE* instance, MODULE_IMPL* module, const FAB_LOCATION& location,
                 float phys_x, float phys_y, const std::string& uid);

      private:
        NLG_IINSTANCE* m_instance = nullptr;
        MODULE_IMPL* m_module = nullptr;
        int32_t m_x = -1;
        int32_t m_y = -1;
        int32_t m_z = -1;
        float m_phys_x = -1.0f;
        float m_phys_y = -1.0f;
        std::string m_uid;
    };

    class PORT_IMPL : public FAB::FLOORPLAN::MODULE_PORT {
      public:
        uint32_t get_direction() const override;
        bool is_route_type_normal() const override { return m_is_route_type_normal; }
        NS_SYMBOL::SYM get_name() const override;

        void set(NLG_IPORT* port, bool is_route_type_normal);

      private:
        NLG_IPORT* m_port = nullptr;
        bool m_is_route_type_normal = true;
    };

    class MODULE_IMPL : public FAB::FLOORPLAN::MODULE {
      public:
        std::string get_logical_name() const override;
        std::string get_logical_impl() const override;
        int32_t get_pnr_height() const override;
        int32_t get_pnr_width() const override;
        int32_t get_phys_height() const override;
        int32_t get_phys_width() const override;
        int32_t get_n_ports() const override;
        MODULE_PORT& get_port(int32_t index) override;
        int32_t get_n_instances() const override;
        INSTANCE& get_instance(int32_t index) override;

        // A definition with no lists yet.
        void define(NLG_IMODULE* module, const PB::ICDB_MODULE* annotation);
        // Make the list with n elements, or resize the one present.
        void size_ports(uint32_t n);
        void size_instances(uint32_t n);
        PORT_IMPL& port(uint32_t index);
        INSTANCE_IMPL& instance(uint32_t index);
        NLG_IMODULE* get_netlist_module() const { return m_module; }
        const PB::ICDB_MODULE* get_annotation() const { return m_annotation; }

      private:
        NLG_IMODULE* m_module = nullptr;
        const PB::ICDB_MODULE* m_annotation = nullptr;
        std::unique_ptr<std::vector<INSTANCE_IMPL>> m_instances;
        std::unique_ptr<std::vector<PORT_IMPL>> m_ports;
    };

    FAB_FLOORPLAN_IMPL() = default;
    FAB_FLOORPLAN_IMPL(const FAB_FLOORPLAN_IMPL&) = delete;
    FAB_FLOORPLAN_IMPL& operator=(const FAB_FLOORPLAN_IMPL&) = delete;
    ~FAB_FLOORPLAN_IMPL() override;

    int32_t get_n_modules() const override;
    MODULE& get_module(int32_t index) override { return module(static_cast<uint32_t>(index)); }
    uint32_t get_columns() const override { return m_columns; }
    uint32_t get_rows() const override { return m_rows; }

    // Make the module list with n elements, or resize the one present.
    void size_modules(uint32_t n);
    MODULE_IMPL& module(uint32_t index);
    void set_columns(uint32_t columns) { m_columns = columns; }
    void set_rows(uint32_t rows) { m_rows = rows; }

  private:
    std::unique_ptr<std::vector<MODULE_IMPL>> m_modules;
    uint32_t m_columns = 0;
    uint32_t m_rows = 0;
};
