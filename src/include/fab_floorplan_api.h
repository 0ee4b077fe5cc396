// FAB::FLOORPLAN, the caller's view of what stands where: a flat list of module definitions,
// the first of which is the device itself, each with its ports and the instances placed in
// it. The caller owns a floorplan; its names and records belong to the run that made it.
#pragma once

#include <cstdint>
#include <string>

#include "fab_export.h"
#include "ns_symbol.h"

namespace FAB {

class FAB_EXPORT FLOORPLAN {
  public:
    class MODULE;
    class INSTANCE;
    class MODULE_PORT;

    virtual ~FLOORPLAN();
    virtual int32_t get_n_modules() const = 0;
    // Bound-checked.
    virtual MODULE& get_module(int32_t index) = 0;
    virtual uint32_t get_columns() const = 0;
    virtual uint32_t get_rows() const = 0;
};

class FAB_EXPORT FLOORPLAN::MODULE {
  public:
    virtual ~MODULE();
    virtual std::string get_logical_name() const = 0;
    virtual std::string get_logical_impl() const = 0;
    virtual int32_t get_pnr_height() const = 0;
    virtual int32_t get_pnr_width() const = 0;
    virtual int32_t get_phys_height() const = 0;
    virtual int32_t get_phys_width() const = 0;
    // 0 when the module has no port list.
    virtual int32_t get_n_ports() const = 0;
    virtual MODULE_PORT& get_port(int32_t index) = 0;
    // 0 when the module has no instance list.
    virtual int32_t get_n_instances() const = 0;
    virtual INSTANCE& get_instance(int32_t index) = 0;
};

class FAB_EXPORT FLOORPLAN::INSTANCE {
  public:
    virtual ~INSTANCE();
    virtual NS_SYMBOL::SYM get_name() const = 0;
    // The definition of this instance in the same floorplan.
    virtual MODULE& get_module() const = 0;
    // Grid place; -1 where unknown.
    virtual void get_location(int32_t& x, int32_t& y, int32_t& z) const = 0;
    // Physical place; -1.0 where unknown.
    virtual void get_physical_location(float& x, float& y) const = 0;
    // Empty when the placement has no unique id.
    virtual const std::string& get_uid() const = 0;
};

class FAB_EXPORT FLOORPLAN::MODULE_PORT {
  public:
    enum DIRECTION : uint32_t { INPUT = 0, OUTPUT = 1, BIDIRECTIONAL = 2 };

    virtual ~MODULE_PORT();
    virtual uint32_t get_direction() const = 0;
    virtual bool is_route_type_normal() const = 0;
    virtual NS_SYMBOL::SYM get_name() const = 0;
};

}  // namespace FAB
