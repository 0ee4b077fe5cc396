// Stored forms of the module description that a hierarchy is numbered from, so that a hierarchy
// can be rebuilt without the netlist: the value holders MPORT, MINSTANCE, MMODULE, MMODULES and
// MODULES_BUILDER with its compact message form. The symbol file it writes through belongs to
// the owner of the whole file; the graph message form is in util_hierarchy_serializable.
#pragma once

#include <memory>
#include <ostream>
#include <vector>

#include "util/util_assert.h"
#include "util/util_hierarchy.h"
#include "util/util_protobuf.h"

namespace UTIL {

class SYMBOL_FILE;

class MPORT : public IHIERARCHY::IPORT {
  public:
    MPORT(SYM name, int direction) : m_name(name), m_direction(direction) {}
    SYM get_name() const override { return m_name; }
    int get_direction() const override { return m_direction; }

  private:
    SYM m_name;
    int m_direction;
};

class MINSTANCE : public IHIERARCHY::IINSTANCE {
  public:
    MINSTANCE(SYM name, SYM module_name) : m_name(name), m_module_name(module_name) {}
    SYM get_name() const override { return m_name; }
    SYM get_module_name() const override { return m_module_name; }

  private:
    SYM m_name;
    SYM m_module_name;
};

class MMODULE : public IHIERARCHY::IMODULE {
  public:
    explicit MMODULE(SYM name) : m_name(name) {}
    SYM get_name() const override { return m_name; }
    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_instances.size()); }
    const IHIERARCHY::IINSTANCE* get_instance(uint32_t index) const override {
        return &at(m_instances, index);
    }
    uint32_t get_n_ports() const override { return static_cast<uint32_t>(m_ports.size()); }
    const IHIERARCHY::IPORT* get_port(uint32_t index) const override { return &at(m_ports, index); }

    void add_instance(SYM name, SYM module_name) { m_instances.emplace_back(name, module_name); }
    void add_port(SYM name, int direction) { m_ports.emplace_back(name, direction); }
    void reserve(size_t n_instances, size_t n_ports) {
        m_instances.reserve(n_instances);
        m_ports.reserve(n_ports);
    }

  private:
    SYM m_name;
    std::vector<MINSTANCE> m_instances;
    std::vector<MPORT> m_ports;
};

class MMODULES : public IHIERARCHY::IMODULES {
  public:
    explicit MMODULES(SYMBOL_TABLE* symbol_table = nullptr) : m_symbol_table(symbol_table) {}
    SYMBOL_TABLE* get_symbol_table() const override { return m_symbol_table; }
    uint32_t get_n_modules() const override { return static_cast<uint32_t>(m_modules.size()); }
    const IHIERARCHY::IMODULE* get_module(uint32_t index) const override {
        return &at(m_modules, index);
    }

    void set_symbol_table(SYMBOL_TABLE* symbol_table) { m_symbol_table = symbol_table; }
    void reserve(size_t n_modules) { m_modules.reserve(n_modules); }
    MMODULE& add_module(SYM name) { return m_modules.emplace_back(name); }
    MMODULE& get_mutable_module(uint32_t index) { return at(m_modules, index); }

  private:
    SYMBOL_TABLE* m_symbol_table;  // not owned
    std::vector<MMODULE> m_modules;
};

class IMODULES_BUILDER : public ISERIALIZABLE {
  public:
    using ISERIALIZABLE::read;
    virtual void set_symbol_file(SYMBOL_FILE* symbol_file) = 0;
    // Modules to write; not owned.
    virtual void set_modules(const IHIERARCHY::IMODULES* modules) = 0;
    virtual const IHIERARCHY::IMODULES* get_modules() const = 0;
};

class MODULES_BUILDER : public IMODULES_BUILDER {
  public:
    bool read(std::istream& input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;
    void set_symbol_file(SYMBOL_FILE* symbol_file) override { m_symbol_file = symbol_file; }
    void set_modules(const IHIERARCHY::IMODULES* modules) override { m_modules = modules; }
    const IHIERARCHY::IMODULES* get_modules() const override { return m_modules; }
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;

  private:
    const IHIERARCHY::IMODULES* m_modules = nullptr;
    std::unique_ptr<MMODULES> m_owned;  // set when the modules were read
    SYMBOL_FILE* m_symbol_file = nullptr;
};

std::ostream& operator<<(std::ostream& os, const MODULES_BUILDER& builder);

}  // namespace UTIL
