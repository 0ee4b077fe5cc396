// Stored forms beside the hierarchy: MODULES_SERIALIZABLE keeps a module description in the
// netlist graph's message form (definitions and bodies, no nets), PARTITIONS_SERIALIZABLE keeps
// a partition set as its list of module indexes. Neither owns the symbol file it writes through.
#pragma once

#include <memory>

#include "util/util_modules.h"
#include "util/util_partitions.h"

namespace UTIL {

// The module description as read from the graph message form; same shape as the M* holders.
class PBPORT : public MPORT {
    using MPORT::MPORT;
};
class PBINSTANCE : public MINSTANCE {
    using MINSTANCE::MINSTANCE;
};
class PBMODULE : public MMODULE {
    using MMODULE::MMODULE;
};
class PBMODULES : public MMODULES {
    using MMODULES::MMODULES;
};

class IMODULES_SERIALIZABLE : public ISERIALIZABLE {
  public:
    using ISERIALIZABLE::read;
    virtual const IHIERARCHY::IMODULES* get_modules() const = 0;
    virtual SYMBOL_FILE* get_symbol_file() const = 0;
};

class MODULES_SERIALIZABLE : public IMODULES_SERIALIZABLE {
  public:
    // Modules to write (not owned), or none to read into; the symbol file is the owner's.
    MODULES_SERIALIZABLE(const IHIERARCHY::IMODULES* modules, SYMBOL_FILE* symbol_file)
        : m_modules(modules), m_symbol_file(symbol_file) {}

    bool read(std::istream& input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;
    const IHIERARCHY::IMODULES* get_modules() const override { return m_modules; }
    SYMBOL_FILE* get_symbol_file() const override { return m_symbol_file; }
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;

  private:
    const IHIERARCHY::IMODULES* m_modules;
    std::unique_ptr<PBMODULES> m_owned;
    SYMBOL_FILE* m_symbol_file;
};

class IPARTITIONS_SERIALIZABLE : public ISERIALIZABLE {
  public:
    using ISERIALIZABLE::read;
    virtual IHIERARCHY::IPARTITIONS* get_partitions() const = 0;
};

class PARTITIONS_SERIALIZABLE : public IPARTITIONS_SERIALIZABLE {
  public:
    // A writer is given the partitions to write, a reader the (empty) partitions to fill.
    PARTITIONS_SERIALIZABLE(const IHIERARCHY::IPARTITIONS* to_write,
                            IHIERARCHY::IPARTITIONS* to_fill)
        : m_to_write(to_write), m_to_fill(to_fill) {}

    bool read(std::istream& input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;
    IHIERARCHY::IPARTITIONS* get_partitions() const override { return m_to_fill; }
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;

  private:
    const IHIERARCHY::IPARTITIONS* m_to_write;
    IHIERARCHY::IPARTITIONS* m_to_fill;
};

}  // namespace UTIL
