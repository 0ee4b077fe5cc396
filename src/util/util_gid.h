// GID encoding: the 64- and 32-bit layouts, the builders that own the grid tables and the GID
// type table and make GIDs, the converters that take a GID apart and put it together, and the
// text form of a GID ("H5:X3Y4Z0I2"). The type table itself is in util/util_gid_type.
#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include "fab_export.h"
#include "util/util_assert.h"
#include "util/util_gid_type.h"

namespace UTIL {

template <class T>
class GIDT {
  public:
    static constexpr T VALUE_INVALID = static_cast<T>(~static_cast<T>(0));

    GIDT() : m_value(VALUE_INVALID) {}
    explicit GIDT(T value) : m_value(value) {}

    T get_value() const { return m_value; }
    void set_value(T value) { m_value = value; }
    bool is_valid() const { return m_value != VALUE_INVALID; }
    bool operator==(const GIDT& other) const { return m_value == other.m_value; }
    bool operator!=(const GIDT& other) const { return m_value != other.m_value; }

  private:
    T m_value;
};

using GID32 = GIDT<uint32_t>;
using GID64 = GIDT<uint64_t>;

// Cell index in bits 63..34, type index in 33..17, i in 16..0; the low 34 bits are k.
struct GID64_BITS {
    static constexpr unsigned XYZ_SHIFT = 34;
    static constexpr unsigned T_SHIFT = 17;
    static constexpr uint64_t XYZ_MASK = 0x3fffffff;
    static constexpr uint64_t T_MASK = 0x1ffff;
    static constexpr uint64_t I_MASK = 0x1ffff;
    static constexpr uint64_t K_MASK = 0x3ffffffffULL;
    static constexpr uint64_t XYZ_INDEX_INVALID = 0x3fffffff;
};

// Bit 31 clear: XYZT_I, a (cell, type) index and i. Bit 31 set: XYZ_T_I, for GLOBAL types.
struct GID32_BITS {
    enum FORM { XYZT_I = 0, XYZ_T_I = 1 };
    static constexpr uint32_t FORM_BIT = 0x80000000u;

    static constexpr unsigned XYZT_SHIFT = 13;
    static constexpr uint32_t XYZT_MASK = 0x3ffff;
    static constexpr uint32_t XYZT_I_MASK = 0x1fff;
    static constexpr uint32_t XYZT_INDEX_INVALID = 0x3ffff;

    static constexpr unsigned XYZ_SHIFT = 14;
    static constexpr unsigned T_SHIFT = 10;
    static constexpr uint32_t XYZ_MASK = 0x1ffff;
    static constexpr uint32_t T_MASK = 0xf;
    static constexpr uint32_t I_MASK = 0x3ff;
    static constexpr uint32_t XYZ_INDEX_INVALID = 0x1ffff;
};

class IGID_TYPE;

// A cursor holding one decoded GID: cell coordinates, i, and the type's class, name, length.
class IGID_CONVERTER {
  public:
    static constexpr uint32_t INVALID = 4294967295u;
    using GCLASS = PB::GID_TYPE::GCLASS;

    // The converter behind the text operators of GIDs; owned, replaced by each 64-bit factory.
    static std::unique_ptr<IGID_CONVERTER> s_current_gid_converter;

    virtual ~IGID_CONVERTER() = default;
    virtual void reset() = 0;
    virtual bool is_valid() const = 0;
    virtual bool equals(const IGID_CONVERTER& other) const = 0;
    virtual bool set_gid32(uint32_t value) = 0;
    virtual uint32_t get_gid32() = 0;
    virtual uint32_t make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                SYM name, int32_t length) = 0;
    virtual bool set_gid64(uint64_t value) = 0;
    virtual uint64_t get_gid64() = 0;
    virtual uint64_t make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                SYM name, int32_t length) = 0;
    virtual void set_fields(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                            int32_t length) = 0;
    virtual void set_x(uint32_t x) = 0;
    virtual void set_y(uint32_t y) = 0;
    virtual void set_z(uint32_t z) = 0;
    virtual void set_i(uint32_t i) = 0;
    virtual void set_gclass(GCLASS gclass) = 0;
    virtual void set_name(SYM name) = 0;
    virtual void set_length(int32_t length) = 0;
    virtual uint32_t get_x() const = 0;
    virtual uint32_t get_y() const = 0;
    virtual uint32_t get_z() const = 0;
    virtual uint32_t get_i() const = 0;
    virtual GCLASS get_gclass() const = 0;
    virtual SYM get_name() const = 0;
    virtual int32_t get_length() const = 0;
    virtual uint64_t get_k(uint64_t gid) const = 0;
    virtual uint64_t make_gid_from_k(uint32_t x, uint32_t y, uint32_t z, uint64_t k) = 0;
    virtual const IGID_TYPE& get_gid_type() const = 0;
};

// The seven fields without a builder, gathered on the stack while a node is described. The
// two converters below share its fields and field operations.
class BASE_GID_CONVERTER : public IGID_CONVERTER {
  public:
    BASE_GID_CONVERTER() { BASE_GID_CONVERTER::reset(); }

    void reset() override;
    bool is_valid() const override;
    bool equals(const IGID_CONVERTER& other) const override;
    bool set_gid32(uint32_t value) override;
    uint32_t get_gid32() override;
    uint32_t make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    bool set_gid64(uint64_t value) override;
    uint64_t get_gid64() override;
    uint64_t make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    void set_fields(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                    int32_t length) override;
    void set_x(uint32_t x) override { m_x = x; }
    void set_y(uint32_t y) override { m_y = y; }
    void set_z(uint32_t z) override { m_z = z; }
    void set_i(uint32_t i) override { m_i = i; }
    void set_gclass(GCLASS gclass) override { m_gclass = gclass; }
    void set_name(SYM name) override { m_name = name; }
    void set_length(int32_t length) override { m_length = length; }
    uint32_t get_x() const override { return m_x; }
    uint32_t get_y() const override { return m_y; }
    uint32_t get_z() const override { return m_z; }
    uint32_t get_i() const override { return m_i; }
    GCLASS get_gclass() const override { return m_gclass; }
    SYM get_name() const override { return m_name; }
    int32_t get_length() const override { return m_length; }
    uint64_t get_k(uint64_t gid) const override;
    uint64_t make_gid_from_k(uint32_t x, uint32_t y, uint32_t z, uint64_t k) override;
    const IGID_TYPE& get_gid_type() const override;

  protected:
    uint32_t m_x;
    uint32_t m_y;
    uint32_t m_z;
    uint32_t m_i;
    GCLASS m_gclass;
    SYM m_name;
    int32_t m_length;
};

class IGID_BUILDER : public ISERIALIZABLE {
  public:
    using GCLASS = PB::GID_TYPE::GCLASS;
    using GLOBAL_TYPES = std::vector<std::pair<SYM, int32_t>>;

    ~IGID_BUILDER() override = default;
    virtual bool is_gid32() const = 0;
    virtual GID_TYPE_BUILDER& get_gid_types() = 0;
    // A new converter bound to this builder; the caller owns it.
    virtual IGID_CONVERTER* create_converter() = 0;
    virtual bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) = 0;
    virtual void set_symbol_file(SYMBOL_FILE* file) = 0;
    virtual void set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) = 0;
    virtual void get_dimensions(uint32_t& nx, uint32_t& ny, uint32_t& nz) const = 0;
    virtual void add_global_types(const GLOBAL_TYPES& types) = 0;
    virtual uint32_t make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                SYM name, int32_t length) = 0;
    virtual uint64_t make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                SYM name, int32_t length) = 0;
};

// Coordinates of one cell, 16-bit each so that the reverse grid table stays small.
struct GID_XYZ {
    uint16_t m_x;
    uint16_t m_y;
    uint16_t m_z;
};

class GID64_BUILDER : public IGID_BUILDER {
  public:
    bool is_gid32() const override { return false; }
    GID_TYPE_BUILDER& get_gid_types() override { return m_gid_types; }
    const GID_TYPE_BUILDER& get_gid_types() const { return m_gid_types; }
    IGID_CONVERTER* create_converter() override;
    bool read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override;
    bool write_stream(google::protobuf::io::ZeroCopyOutputStream* output, uint32_t format);
    void set_symbol_file(SYMBOL_FILE* file) override { m_gid_types.set_symbol_file(file); }
    void set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) override;
    void get_dimensions(uint32_t& nx, uint32_t& ny, uint32_t& nz) const override;
    void add_global_types(const GLOBAL_TYPES& types) override {
        m_gid_types.add_global_types(types);
    }
    uint32_t make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    uint64_t make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;

    using ISERIALIZABLE::read;
    bool read(std::istream& input, uint32_t format) override;
    bool read(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) override {
        return read_stream(input, format);
    }
    bool write(std::ostream& output, uint32_t format) override;

    // Cell index of (x, y, z), each subscript checked.
    uint32_t get_xyz_index(uint32_t x, uint32_t y, uint32_t z) const {
        return at(at(at(m_xyz_to_index, x), y), z);
    }
    // Coordinates of a cell index, checked.
    const GID_XYZ& get_xyz(uint32_t xyz_index) const { return at(m_index_to_xyz, xyz_index); }
    void get_xyz(uint32_t xyz_index, uint32_t& x, uint32_t& y, uint32_t& z) const;
    uint32_t get_max_i() const { return m_max_i; }

    friend std::ostream& operator<<(std::ostream& os, const GID64_BUILDER& builder);

  private:
    int32_t m_nx = -1;
    int32_t m_ny = -1;
    int32_t m_nz = -1;
    GID_TYPE_BUILDER m_gid_types;
    uint32_t m_max_i = 0;
    std::vector<std::vector<std::vector<uint32_t>>> m_xyz_to_index;
    std::vector<GID_XYZ> m_index_to_xyz;
};

class GID32_BUILDER : public IGID_BUILDER {
  public:
    // A cell of the grid: its index for XYZ_T_I, and the XYZT_I index of each type used in it.
    struct CELL {
        uint32_t m_xyz_index;
        std::map<uint32_t, uint32_t> m_type_to_xyzt;
    };
    struct XYZT {
        uint16_t m_x;
        uint16_t m_y;
        uint16_t m_z;
        uint32_t m_t;
    };

    bool is_gid32() const override { return true; }
    GID_TYPE_BUILDER& get_gid_types() override { return m_gid_types; }
    const GID_TYPE_BUILDER& get_gid_types() const { return m_gid_types; }
    IGID_CONVERTER* create_converter() override;
    bool read_stream(google::protobuf::io::ZeroCopyInputStream*, uint32_t) override {
        return false;
    }
    void set_symbol_file(SYMBOL_FILE* file) override { m_gid_types.set_symbol_file(file); }
    void set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) override;
    void get_dimensions(uint32_t& nx, uint32_t& ny, uint32_t& nz) const override;
    void add_global_types(const GLOBAL_TYPES& types) override {
        m_gid_types.add_global_types(types);
    }
    uint32_t make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    uint64_t make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;

    // The 32-bit form has no file form.
    using ISERIALIZABLE::read;
    bool read(std::istream&, uint32_t) override { return false; }
    bool write(std::ostream&, uint32_t) override { return false; }

    const CELL& get_cell(uint32_t x, uint32_t y, uint32_t z) const {
        return at(at(at(m_xyz_to_index, x), y), z);
    }
    uint32_t get_xyz_index(uint32_t x, uint32_t y, uint32_t z) const {
        return get_cell(x, y, z).m_xyz_index;
    }
    void get_xyz(uint32_t xyz_index, uint32_t& x, uint32_t& y, uint32_t& z) const;
    const XYZT& get_xyzt(uint32_t xyzt_index) const { return at(m_index_to_xyzt, xyzt_index); }

    friend std::ostream& operator<<(std::ostream& os, const GID32_BUILDER& builder);

  private:
    GID_TYPE_BUILDER m_gid_types;
    uint32_t m_max_xyz_i = 0;
    uint32_t m_max_xyzt_i = 0;
    std::vector<std::vector<std::vector<CELL>>> m_xyz_to_index;
    std::vector<XYZT> m_index_to_xyzt;
    std::vector<GID_XYZ> m_index_to_xyz;
};

class GID64_CONVERTER final : public BASE_GID_CONVERTER {
  public:
    explicit GID64_CONVERTER(const GID64_BUILDER* builder) : m_builder(builder) {}

    bool set_gid32(uint32_t value) override;
    uint32_t get_gid32() override;
    uint32_t make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    bool set_gid64(uint64_t value) override;
    uint64_t get_gid64() override;
    uint64_t make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    uint64_t get_k(uint64_t gid) const override { return gid & GID64_BITS::K_MASK; }
    uint64_t make_gid_from_k(uint32_t x, uint32_t y, uint32_t z, uint64_t k) override;
    const IGID_TYPE& get_gid_type() const override;

  private:
    const GID64_BUILDER* m_builder;
};

class GID32_CONVERTER final : public BASE_GID_CONVERTER {
  public:
    explicit GID32_CONVERTER(const GID32_BUILDER* builder) : m_builder(builder) {}

    void reset() override;
    bool is_valid() const override;
    bool equals(const IGID_CONVERTER& other) const override;
    bool set_gid32(uint32_t value) override;
    uint32_t get_gid32() override;
    uint32_t make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    bool set_gid64(uint64_t value) override;
    uint64_t get_gid64() override;
    uint64_t make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass, SYM name,
                        int32_t length) override;
    uint64_t get_k(uint64_t gid) const override;
    uint64_t make_gid_from_k(uint32_t x, uint32_t y, uint32_t z, uint64_t k) override;
    const IGID_TYPE& get_gid_type() const override;

  private:
    const GID32_BUILDER* m_builder;
};

// Factories; the caller owns the builder. The 64-bit one also replaces s_current_gid_converter
// by a converter of the new builder.
GID64_BUILDER* create_gid64_builder();
GID32_BUILDER* create_gid32_builder();

// The 64-bit packing after the range checks; t and i are masked to their fields.
uint64_t pack_gid64(uint64_t xyz, uint64_t t, uint64_t i);

std::ostream& operator<<(std::ostream& os, const GID64_BUILDER& builder);
std::ostream& operator<<(std::ostream& os, const GID32_BUILDER& builder);

FAB_EXPORT std::ostream& operator<<(std::ostream& os, const GIDT<uint64_t>& gid);
FAB_EXPORT std::istream& operator>>(std::istream& is, GIDT<uint64_t>& gid);
FAB_EXPORT std::ostream& operator<<(std::ostream& os, const IGID_CONVERTER& converter);
FAB_EXPORT std::istream& operator>>(std::istream& is, IGID_CONVERTER& converter);

}  // namespace UTIL
