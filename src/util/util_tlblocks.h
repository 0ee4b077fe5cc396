// Top-level blocks: what the annotations said per module (mux modules with their subpaths and
// per-path settings, top-level block modules with their instances), and, after the seal, the
// tables that take a node to its block instance, block module and mux attribute. The mux
// descriptions themselves and the hierarchy are other tables'; this one only points at them.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tlblocks.pb.h"
#include "util/util_hierarchy.h"
#include "util/util_protobuf.h"
#include "util/util_range.h"

namespace UTIL {

class SYMBOL_FILE;
class TLBLOCKS_BUILDER;

// (subpath index, value): one sub-block setting.
using TL_SETTING_PAIR = std::pair<uint32_t, SYM>;

class ISUBATTRIBUTE {
  public:
    virtual ~ISUBATTRIBUTE() = default;
    // Instance names from the mux down to a sub-block.
    virtual const std::vector<SYM>& get_subpath() const = 0;
};

class ISUBATTRIBUTES {
  public:
    virtual ~ISUBATTRIBUTES() = default;
    virtual uint32_t get_n_subattributes() const = 0;
    virtual const ISUBATTRIBUTE& get_subattribute(uint32_t index) const = 0;
};

class ISUBATTRIBUTE_SETTING {
  public:
    virtual ~ISUBATTRIBUTE_SETTING() = default;
    virtual int32_t get_subattribute_index() const = 0;
    virtual void get_setting(SYM& result) const = 0;
};

class ISUBATTRIBUTE_SETTINGS {
  public:
    virtual ~ISUBATTRIBUTE_SETTINGS() = default;
    virtual const ISUBATTRIBUTE_SETTING& get_subattribute_setting(uint32_t index) const = 0;
    virtual uint32_t get_n_subattribute_settings() const = 0;
};

// A mux occurrence inside a block module, shared by all instances of the block.
class ITLATTRIBUTE {
  public:
    virtual ~ITLATTRIBUTE() = default;
    virtual uint32_t get_mux_index() const = 0;
    virtual uint32_t get_module_index() const = 0;
    virtual uint32_t get_tlattribute_index() const = 0;
    virtual uint32_t get_tlblocks_index() const = 0;
    // Path of the mux occurrence from the block module.
    virtual const IHIERARCHY::IPATH& get_path() const = 0;
    virtual uint64_t get_subnode() const = 0;
    virtual uint32_t get_n_settings() const = 0;
    // Settings that mux path `path_index` needs; a bad index throws the subscript error.
    virtual const ISUBATTRIBUTE_SETTINGS& get_settings(uint32_t path_index) const = 0;
    virtual const ISUBATTRIBUTES& get_subattributes() const = 0;
};

class ITLINSTANCE {
  public:
    virtual ~ITLINSTANCE() = default;
    virtual uint64_t get_node() const = 0;
    virtual void get_uid(SYM& result) const = 0;
};

class ITLBLOCK {
  public:
    virtual ~ITLBLOCK() = default;
    virtual uint32_t get_module_index() const = 0;
    virtual uint32_t get_n_tlinstances() const = 0;
    virtual const ITLINSTANCE& get_tlinstance(uint32_t index) const = 0;
    virtual uint32_t get_n_tlattributes() const = 0;
    virtual const ITLATTRIBUTE& get_tlattribute(uint32_t index) const = 0;
    // An absent subnode throws the map key error.
    virtual uint32_t get_tlattribute_index(uint64_t subnode) const = 0;
    virtual bool has_mux() const = 0;
};

class ITLBLOCKS {
  public:
    static constexpr uint32_t TLBLOCK_INDEX_INVALID = 0xFFFFFFFFu;
    static constexpr uint32_t MUX_INDEX_NONE = 0xFFFFFFFFu;

    // Takes a node apart into block instance, attribute and subattributes.
    class ITLSPLITTER {
      public:
        virtual ~ITLSPLITTER() = default;
        // A node outside all block instances, or inside one where no mux is, ends the process
        // or throws the map key error.
        virtual bool set_node(uint64_t node) = 0;
        virtual uint64_t get_node() const = 0;
        virtual const ITLBLOCKS* get_tlblocks() const = 0;
        virtual void get_uid(SYM& result) const = 0;
        virtual const ITLATTRIBUTE* get_tlattribute() const = 0;
        virtual const ISUBATTRIBUTES* get_subattributes() const = 0;
    };

    virtual ~ITLBLOCKS() = default;
    virtual int32_t get_n_tlblocks() const = 0;
    virtual const ITLBLOCK& get_tlblock(uint32_t index) const = 0;
    virtual uint32_t get_n_tlattributes() const = 0;
    virtual const ITLATTRIBUTE* get_tlattribute(uint32_t index) const = 0;
    virtual uint32_t get_tlblock_index(uint32_t module_index) const = 0;
    virtual const IHIERARCHY* get_hierarchy() const = 0;
    virtual bool is_top_level(uint32_t module_index) const = 0;
    virtual uint32_t get_mux_index(uint32_t module_index) const = 0;
    virtual void get_subpaths(std::vector<std::vector<SYM>>& result,
                              uint32_t module_index) const = 0;
    // By path index, the (subpath index, value) pairs of that path.
    virtual void get_settings(std::vector<std::vector<TL_SETTING_PAIR>>& result,
                              uint32_t module_index) const = 0;
    // First node of the block instance holding `node`, or -1.
    virtual uint64_t get_tlnode(uint64_t node) const = 0;
    // `node` must be the first node of a block instance.
    virtual void get_uid(SYM& result, uint64_t node) const = 0;
    // A new TLSPLITTER, owned by the caller.
    virtual ITLSPLITTER* create_splitter() const = 0;
};

std::ostream& operator<<(std::ostream& os, const ITLBLOCKS& tlblocks);

class ITLBLOCKS_BUILDER : public ITLBLOCKS, public ISERIALIZABLE {
  public:
    // What was added for one module.
    struct MODULE_DATA {
        bool m_top_level = false;
        PB::TLBLOCKS::MODULE m_pb_module;
    };
    // The short name that the builder's checks speak of.
    using d = MODULE_DATA;

    virtual bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) = 0;
    virtual const MODULE_DATA& get_module_data(uint32_t module_index) const = 0;
    virtual void set_hierarchy(const IHIERARCHY* hierarchy) = 0;
    virtual void set_symbol_file(SYMBOL_FILE* file) = 0;
    virtual void add_mux_module(uint32_t module_index, uint32_t mux_index) = 0;
    virtual void add_instance(uint32_t module_index, uint64_t node, SYM uid) = 0;
    // The seal: builds the blocks, their attributes and the node-to-instance ranges.
    virtual void finish() = 0;
    virtual void add_subpath(uint32_t module_index, std::vector<SYM>& names) = 0;
    virtual void add_settings(uint32_t module_index, uint32_t path_index,
                              std::vector<TL_SETTING_PAIR>& pairs) = 0;
};

class SUBATTRIBUTE : public ISUBATTRIBUTE {
  public:
    explicit SUBATTRIBUTE(std::vector<SYM> subpath) : m_subpath(std::move(subpath)) {}
    const std::vector<SYM>& get_subpath() const override { return m_subpath; }

  private:
    std::vector<SYM> m_subpath;
};

class SUBATTRIBUTES : public ISUBATTRIBUTES {
  public:
    uint32_t get_n_subattributes() const override {
        return static_cast<uint32_t>(m_subattributes.size());
    }
    const ISUBATTRIBUTE& get_subattribute(uint32_t index) const override;
    std::vector<SUBATTRIBUTE>& get_vector() { return m_subattributes; }

  private:
    std::vector<SUBATTRIBUTE> m_subattributes;
};

class SUBATTRIBUTE_SETTING : public ISUBATTRIBUTE_SETTING {
  public:
    SUBATTRIBUTE_SETTING(SYM setting, int32_t subattribute_index)
        : m_setting(setting), m_subattribute_index(subattribute_index) {}
    int32_t get_subattribute_index() const override { return m_subattribute_index; }
    void get_setting(SYM& result) const override { result = m_setting; }

  private:
    SYM m_setting;
    int32_t m_subattribute_index;
};

class SUBATTRIBUTE_SETTINGS : public ISUBATTRIBUTE_SETTINGS {
  public:
    const ISUBATTRIBUTE_SETTING& get_subattribute_setting(uint32_t index) const override;
    uint32_t get_n_subattribute_settings() const override {
        return static_cast<uint32_t>(m_settings.size());
    }
    std::vector<SUBATTRIBUTE_SETTING>& get_vector() { return m_settings; }

  private:
    std::vector<SUBATTRIBUTE_SETTING> m_settings;
};

class TLATTRIBUTE : public ITLATTRIBUTE {
  public:
    uint32_t get_mux_index() const override { return m_mux_index; }
    uint32_t get_module_index() const override { return m_module_index; }
    uint32_t get_tlattribute_index() const override { return m_tlattribute_index; }
    uint32_t get_tlblocks_index() const override { return m_tlblocks_index; }
    const IHIERARCHY::IPATH& get_path() const override { return *m_path; }
    uint64_t get_subnode() const override { return m_subnode; }
    uint32_t get_n_settings() const override { return static_cast<uint32_t>(m_settings.size()); }
    const ISUBATTRIBUTE_SETTINGS& get_settings(uint32_t path_index) const override;
    const ISUBATTRIBUTES& get_subattributes() const override { return m_subattributes; }

  private:
    friend class TLBLOCK;
    friend class TLBLOCKS_BUILDER;

    uint32_t m_module_index = 0;
    uint32_t m_mux_index = 0xFFFFFFFFu;
    uint32_t m_tlattribute_index = 0;
    uint32_t m_tlblocks_index = 0xFFFFFFFFu;
    std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> m_path;
    uint64_t m_subnode = ~0ull;
    SUBATTRIBUTES m_subattributes;
    std::vector<SUBATTRIBUTE_SETTINGS> m_settings;  // by mux path index
};

class TLINSTANCE : public ITLINSTANCE {
  public:
    TLINSTANCE(SYM uid, uint64_t node) : m_uid(uid), m_node(node) {}
    uint64_t get_node() const override { return m_node; }
    void get_uid(SYM& result) const override { result = m_uid; }

  private:
    SYM m_uid;
    uint64_t m_node;
};

class TLBLOCK : public ITLBLOCK {
  public:
    // Instances from the module's data; one attribute per mux occurrence in the module.
    TLBLOCK(TLBLOCKS_BUILDER* tlblocks, uint32_t module_index,
            const ITLBLOCKS_BUILDER::MODULE_DATA& d);

    uint32_t get_module_index() const override { return m_module_index; }
    uint32_t get_n_tlinstances() const override {
        return static_cast<uint32_t>(m_tlinstances.size());
    }
    const ITLINSTANCE& get_tlinstance(uint32_t index) const override;
    uint32_t get_n_tlattributes() const override {
        return static_cast<uint32_t>(m_tlattributes.size());
    }
    const ITLATTRIBUTE& get_tlattribute(uint32_t index) const override;
    uint32_t get_tlattribute_index(uint64_t subnode) const override;
    bool has_mux() const override { return m_has_mux; }

    std::vector<TLATTRIBUTE>& get_attributes() { return m_tlattributes; }
    const TLBLOCKS_BUILDER* get_tlblocks() const { return m_tlblocks; }
    const std::unordered_map<uint64_t, uint32_t>& get_subnode_map() const {
        return m_subnode_to_tlattribute_index;
    }

  private:
    void add_attribute(uint64_t subnode, uint32_t sub_module, uint32_t mux);

    TLBLOCKS_BUILDER* m_tlblocks;
    uint32_t m_module_index;
    std::vector<TLINSTANCE> m_tlinstances;
    std::vector<TLATTRIBUTE> m_tlattributes;
    std::unordered_map<uint64_t, uint32_t> m_subnode_to_tlattribute_index;
    bool m_has_mux = false;
};

class TLBLOCKS_BUILDER : public ITLBLOCKS_BUILDER {
  public:
    TLBLOCKS_BUILDER();
    ~TLBLOCKS_BUILDER() override;

    int32_t get_n_tlblocks() const override;
    const ITLBLOCK& get_tlblock(uint32_t index) const override;
    uint32_t get_n_tlattributes() const override;
    const ITLATTRIBUTE* get_tlattribute(uint32_t index) const override;
    uint32_t get_tlblock_index(uint32_t module_index) const override;
    const IHIERARCHY* get_hierarchy() const override { return m_hierarchy; }
    bool is_top_level(uint32_t module_index) const override;
    uint32_t get_mux_index(uint32_t module_index) const override;
    void get_subpaths(std::vector<std::vector<SYM>>& result, uint32_t module_index) const override;
    void get_settings(std::vector<std::vector<TL_SETTING_PAIR>>& result,
                      uint32_t module_index) const override;
    uint64_t get_tlnode(uint64_t node) const override;
    void get_uid(SYM& result, uint64_t node) const override;
    ITLSPLITTER* create_splitter() const override;

    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    const MODULE_DATA& get_module_data(uint32_t module_index) const override;
    void set_hierarchy(const IHIERARCHY* hierarchy) override;
    void set_symbol_file(SYMBOL_FILE* file) override { m_symbol_file = file; }
    void add_mux_module(uint32_t module_index, uint32_t mux_index) override;
    void add_instance(uint32_t module_index, uint64_t node, SYM uid) override;
    void finish() override;
    void add_subpath(uint32_t module_index, std::vector<SYM>& names) override;
    void add_settings(uint32_t module_index, uint32_t path_index,
                      std::vector<TL_SETTING_PAIR>& pairs) override;

    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    bool write(std::ostream& output, uint32_t format) override;

    bool is_sealed() const { return m_seal; }
    // Module indexes with an entry, ascending.
    std::vector<uint32_t> get_module_indexes() const;
    const std::unordered_map<uint64_t, SYM>& get_node_to_uid() const { return m_node_to_uid; }

  private:
    friend class TLSPLITTER;
    // The module's data whether sealed or not, m_default_module when it has none.
    const MODULE_DATA& data_of(uint32_t module_index) const;
    MODULE_DATA& entry_of(uint32_t module_index);

    const IHIERARCHY* m_hierarchy = nullptr;
    SYMBOL_FILE* m_symbol_file = nullptr;
    bool m_seal = false;
    MODULE_DATA m_default_module;
    std::unordered_map<uint32_t, MODULE_DATA> m_modules;
    std::unordered_map<uint32_t, uint32_t> m_module_to_tlblock_index;
    std::unordered_map<uint64_t, SYM> m_node_to_uid;
    std::vector<TLBLOCK> m_tlblocks;
    std::vector<TLATTRIBUTE*> m_tlattributes;
    std::unique_ptr<IRANGE> m_tlrange;
};

class TLSPLITTER : public ITLBLOCKS::ITLSPLITTER {
  public:
    explicit TLSPLITTER(const TLBLOCKS_BUILDER* tlblocks) : m_tlblocks(tlblocks) {}
    bool set_node(uint64_t node) override;
    uint64_t get_node() const override { return m_node; }
    const ITLBLOCKS* get_tlblocks() const override { return m_tlblocks; }
    void get_uid(SYM& result) const override { result = m_uid; }
    const ITLATTRIBUTE* get_tlattribute() const override { return m_tlattribute; }
    const ISUBATTRIBUTES* get_subattributes() const override { return m_subattributes; }
    uint64_t get_subnode() const { return m_subnode; }

  private:
    const TLBLOCKS_BUILDER* m_tlblocks;
    uint64_t m_node = ~0ull;
    SYM m_uid;
    uint64_t m_subnode = ~0ull;
    const ITLATTRIBUTE* m_tlattribute = nullptr;
    const ISUBATTRIBUTES* m_subattributes = nullptr;
};

std::ostream& operator<<(std::ostream& os, const ITLBLOCK& block);
std::ostream& operator<<(std::ostream& os, const ITLATTRIBUTE& attribute);
std::ostream& operator<<(std::ostream& os, const ITLINSTANCE& instance);

}  // namespace UTIL
