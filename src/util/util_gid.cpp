// GID builders and converters.
//  1. The grid: cells are numbered x, then y, then z fastest, so (x, y, z) has index
//     (x * ny + y) * nz + z; m_xyz_to_index and m_index_to_xyz are the two directions.
//  2. 64-bit: cell index << 34 | type index << 17 | i. Building interns the type; converting
//     only looks it up, so an unknown type is a range violation there.
//  3. 32-bit: GLOBAL types pack cell, type and i (XYZ_T_I); other classes pack an index of the
//     (cell, type) pair and i (XYZT_I). Only XYZT_I decodes.
//  4. Every violation of a field width is listed in hexadecimal before the process ends.
//  5. Text: the type's text, ":", then X, Y, Z, I each with its number.
#include "util/util_gid.h"

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <sstream>
#include <string>

#include "util/util_indent.h"
#include "util/util_symbol_file.h"

namespace UTIL {

std::unique_ptr<IGID_CONVERTER> IGID_CONVERTER::s_current_gid_converter;

// ---------------------------------------------------------------------------------------------
// Range checks

namespace {

// One line per violation, as "Mask = 0x<mask> Illegal <what> = 0x<value>".
void add_violation(std::ostringstream& lines, uint64_t value, uint64_t mask, const char* what) {
    if (value > mask) {
        lines << "Mask = 0x" << std::hex << mask << " Illegal " << what << " = 0x" << value
              << std::dec << std::endl;
    }
}

[[noreturn]] void report_violations(const std::ostringstream& lines) {
    std::cout << lines.str();
    std::cout.flush();
    UTIL_ASSERT(false);
    __builtin_unreachable();
}

// The common case costs three compares; the text is built only on failure.
inline void check_gid64(uint64_t xyz, uint64_t t, uint64_t i) {
    if (xyz <= GID64_BITS::XYZ_MASK && t <= GID64_BITS::T_MASK && i <= GID64_BITS::I_MASK) return;
    std::ostringstream lines;
    add_violation(lines, xyz, GID64_BITS::XYZ_MASK, "xyz");
    add_violation(lines, t, GID64_BITS::T_MASK, "t");
    add_violation(lines, i, GID64_BITS::I_MASK, "i");
    report_violations(lines);
}

inline void check_gid_from_k(uint64_t xyz, uint64_t k) {
    if (xyz <= GID64_BITS::XYZ_MASK && k <= GID64_BITS::K_MASK) return;
    std::ostringstream lines;
    add_violation(lines, xyz, GID64_BITS::XYZ_MASK, "xyz");
    add_violation(lines, k, GID64_BITS::K_MASK, "k");
    report_violations(lines);
}

void check_xyz_t_i(uint64_t xyz, uint64_t t, uint64_t i) {
    std::ostringstream lines;
    add_violation(lines, xyz, GID32_BITS::XYZ_MASK, "xyz");
    add_violation(lines, t, GID32_BITS::T_MASK, "t");
    add_violation(lines, i, GID32_BITS::I_MASK, "i");
    if (!lines.str().empty()) report_violations(lines);
}

void check_xyzt_i(uint64_t xyzt, uint64_t i) {
    std::ostringstream lines;
    add_violation(lines, xyzt, GID32_BITS::XYZT_MASK, "xyzt");
    add_violation(lines, i, GID32_BITS::XYZT_I_MASK, "i");
    if (!lines.str().empty()) report_violations(lines);
}

uint32_t pack_xyz_t_i(uint32_t xyz, uint32_t t, uint32_t i) {
    check_xyz_t_i(xyz, t, i);
    return GID32_BITS::FORM_BIT | (xyz & GID32_BITS::XYZ_MASK) << GID32_BITS::XYZ_SHIFT |
           (t & GID32_BITS::T_MASK) << GID32_BITS::T_SHIFT | (i & GID32_BITS::I_MASK);
}

uint32_t pack_xyzt_i(uint32_t xyzt, uint32_t i) {
    check_xyzt_i(xyzt, i);
    return (xyzt & GID32_BITS::XYZT_MASK) << GID32_BITS::XYZT_SHIFT | (i & GID32_BITS::XYZT_I_MASK);
}

}  // namespace

uint64_t pack_gid64(uint64_t xyz, uint64_t t, uint64_t i) {
    check_gid64(xyz, t, i);
    return xyz << GID64_BITS::XYZ_SHIFT | (t & GID64_BITS::T_MASK) << GID64_BITS::T_SHIFT |
           (i & GID64_BITS::I_MASK);
}

// ---------------------------------------------------------------------------------------------
// BASE_GID_CONVERTER

void BASE_GID_CONVERTER::reset() {
    m_x = m_y = m_z = m_i = INVALID;
    m_gclass = PB::GID_TYPE::INVALID;
    m_name = SYM(0);
    m_length = -1;
}

bool BASE_GID_CONVERTER::is_valid() const {
    return m_x < INVALID && m_y < INVALID && m_z < INVALID && m_i < INVALID &&
           m_gclass != PB::GID_TYPE::INVALID && m_name.is_known();
}

bool BASE_GID_CONVERTER::equals(const IGID_CONVERTER& other) const {
    return m_x == other.get_x() && m_y == other.get_y() && m_z == other.get_z() &&
           m_i == other.get_i() && m_gclass == other.get_gclass() && m_name == other.get_name() &&
           m_length == other.get_length();
}

void BASE_GID_CONVERTER::set_fields(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                    SYM name, int32_t length) {
    m_x = x;
    m_y = y;
    m_z = z;
    m_i = i;
    m_gclass = gclass;
    m_name = name;
    m_length = length;
}

bool BASE_GID_CONVERTER::set_gid32(uint32_t) {
    UTIL_ASSERT(false);
}

uint32_t BASE_GID_CONVERTER::get_gid32() {
    UTIL_ASSERT(false);
}

uint32_t BASE_GID_CONVERTER::make_gid32(uint32_t, uint32_t, uint32_t, uint32_t, GCLASS, SYM,
                                        int32_t) {
    return GID32::VALUE_INVALID;
}

bool BASE_GID_CONVERTER::set_gid64(uint64_t) {
    UTIL_ASSERT(false);
}

uint64_t BASE_GID_CONVERTER::get_gid64() {
    UTIL_ASSERT(false);
}

uint64_t BASE_GID_CONVERTER::make_gid64(uint32_t, uint32_t, uint32_t, uint32_t, GCLASS, SYM,
                                        int32_t) {
    UTIL_ASSERT(false);
}

uint64_t BASE_GID_CONVERTER::get_k(uint64_t) const {
    UTIL_ASSERT(false);
}

uint64_t BASE_GID_CONVERTER::make_gid_from_k(uint32_t, uint32_t, uint32_t, uint64_t) {
    UTIL_ASSERT(false);
}

const IGID_TYPE& BASE_GID_CONVERTER::get_gid_type() const {
    UTIL_ASSERT(false);
}

// ---------------------------------------------------------------------------------------------
// GID64_BUILDER

GID64_BUILDER* create_gid64_builder() {
    GID64_BUILDER* builder = new GID64_BUILDER();
    IGID_CONVERTER::s_current_gid_converter.reset(builder->create_converter());
    return builder;
}

IGID_CONVERTER* GID64_BUILDER::create_converter() {
    return new GID64_CONVERTER(this);
}

void GID64_BUILDER::set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) {
    m_nx = static_cast<int32_t>(nx);
    m_ny = static_cast<int32_t>(ny);
    m_nz = static_cast<int32_t>(nz);
    m_index_to_xyz.reserve(static_cast<size_t>(nx) * ny * nz);
    m_xyz_to_index.assign(nx, std::vector<std::vector<uint32_t>>(ny, std::vector<uint32_t>(nz)));
    for (uint32_t x = 0; x < nx; ++x) {
        for (uint32_t y = 0; y < ny; ++y) {
            for (uint32_t z = 0; z < nz; ++z) {
                m_xyz_to_index[x][y][z] = static_cast<uint32_t>(m_index_to_xyz.size());
                m_index_to_xyz.push_back(
                    {static_cast<uint16_t>(x), static_cast<uint16_t>(y), static_cast<uint16_t>(z)});
            }
        }
    }
}

void GID64_BUILDER::get_dimensions(uint32_t& nx, uint32_t& ny, uint32_t& nz) const {
    UTIL_ASSERT(m_nx > 0);
    UTIL_ASSERT(m_ny > 0);
    UTIL_ASSERT(m_nz > 0);
    nx = static_cast<uint32_t>(m_nx);
    ny = static_cast<uint32_t>(m_ny);
    nz = static_cast<uint32_t>(m_nz);
}

void GID64_BUILDER::get_xyz(uint32_t xyz_index, uint32_t& x, uint32_t& y, uint32_t& z) const {
    const GID_XYZ& cell = get_xyz(xyz_index);
    x = cell.m_x;
    y = cell.m_y;
    z = cell.m_z;
}

uint32_t GID64_BUILDER::make_gid32(uint32_t, uint32_t, uint32_t, uint32_t, GCLASS, SYM, int32_t) {
    UTIL_FAIL("Should not reach here");
}

uint64_t GID64_BUILDER::make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                   SYM name, int32_t length) {
    uint32_t t = m_gid_types.add_gid_type(gclass, name, length);
    m_max_i = std::max(m_max_i, i);
    uint32_t xyz = get_xyz_index(x, y, z);
    return pack_gid64(xyz, t, i);
}

bool GID64_BUILDER::write_stream(google::protobuf::io::ZeroCopyOutputStream* output,
                                 uint32_t format) {
    PB::GID_DIMENSION dimension;
    dimension.set_nx(static_cast<uint32_t>(m_xyz_to_index.size()));
    dimension.set_ny(static_cast<uint32_t>(at(m_xyz_to_index, 0).size()));
    dimension.set_nz(static_cast<uint32_t>(at(at(m_xyz_to_index, 0), 0).size()));
    if (!write_message(dimension, output, format)) return false;
    return m_gid_types.write_stream(output, format);
}

bool GID64_BUILDER::read_stream(google::protobuf::io::ZeroCopyInputStream* input, uint32_t format) {
    PB::GID_DIMENSION dimension;
    if (!read_message(input, &dimension, format)) return false;
    if (!m_gid_types.read_stream(input, format)) return false;
    // Coordinates are 16-bit and cell indexes 30-bit: larger dimensions were never written by
    // a builder, and building their grid would exhaust memory. Nor was a grid without cells,
    // which could not hold a GID, and whose empty rows alone could run to gigabytes.
    uint64_t cells = static_cast<uint64_t>(dimension.nx()) * dimension.ny() * dimension.nz();
    if (dimension.nx() > 0x10000 || dimension.ny() > 0x10000 || dimension.nz() > 0x10000 ||
        cells == 0 || cells > GID64_BITS::XYZ_MASK) {
        return false;
    }
    set_dimensions(dimension.nx(), dimension.ny(), dimension.nz());
    return true;
}

bool GID64_BUILDER::read(std::istream& input, uint32_t format) {
    google::protobuf::io::IstreamInputStream zero_copy(&input);
    return read_stream(&zero_copy, format);
}

bool GID64_BUILDER::write(std::ostream& output, uint32_t format) {
    google::protobuf::io::OstreamOutputStream zero_copy(&output);
    return write_stream(&zero_copy, format);
}

std::ostream& operator<<(std::ostream& os, const GID64_BUILDER& builder) {
    INDENT guard(os, 3);
    os << "GID64_BUILDER {" << std::endl << indent;
    os << "m_gid_types = " << builder.m_gid_types;
    os << outdent << "}" << std::endl;
    return os;
}

// ---------------------------------------------------------------------------------------------
// GID64_CONVERTER

bool GID64_CONVERTER::set_gid32(uint32_t) {
    UTIL_FAIL("Should not reach here");
}

uint32_t GID64_CONVERTER::get_gid32() {
    UTIL_FAIL("Should not reach here");
}

uint32_t GID64_CONVERTER::make_gid32(uint32_t, uint32_t, uint32_t, uint32_t, GCLASS, SYM, int32_t) {
    UTIL_FAIL("Should not reach here");
}

bool GID64_CONVERTER::set_gid64(uint64_t value) {
    UTIL_ASSERT(value != GID64::VALUE_INVALID);
    m_i = static_cast<uint32_t>(value & GID64_BITS::I_MASK);
    uint64_t xyz = value >> GID64_BITS::XYZ_SHIFT;
    UTIL_ASSERT(xyz != GID64_BITS::XYZ_INDEX_INVALID);
    const GID_XYZ& cell = m_builder->get_xyz(static_cast<uint32_t>(xyz));
    m_x = cell.m_x;
    m_y = cell.m_y;
    m_z = cell.m_z;
    uint32_t t = static_cast<uint32_t>((value >> GID64_BITS::T_SHIFT) & GID64_BITS::T_MASK);
    const GID_TYPE& type = m_builder->get_gid_types().get_gid_type_at(t);
    m_gclass = type.get_gclass();
    m_name = type.get_name();
    m_length = type.get_length();
    return true;
}

uint64_t GID64_CONVERTER::get_gid64() {
    return make_gid64(m_x, m_y, m_z, m_i, m_gclass, m_name, m_length);
}

uint64_t GID64_CONVERTER::make_gid64(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                     SYM name, int32_t length) {
    uint32_t t = m_builder->get_gid_types().find_gid_type(gclass, name, length);
    uint32_t xyz = m_builder->get_xyz_index(x, y, z);
    return pack_gid64(xyz, t, i);
}

uint64_t GID64_CONVERTER::make_gid_from_k(uint32_t x, uint32_t y, uint32_t z, uint64_t k) {
    uint32_t xyz = m_builder->get_xyz_index(x, y, z);
    check_gid_from_k(xyz, k);
    return static_cast<uint64_t>(xyz) << GID64_BITS::XYZ_SHIFT | (k & GID64_BITS::K_MASK);
}

const IGID_TYPE& GID64_CONVERTER::get_gid_type() const {
    return m_builder->get_gid_types().find_gid_type_object(m_gclass, m_name, m_length);
}

// ---------------------------------------------------------------------------------------------
// GID32_BUILDER

GID32_BUILDER* create_gid32_builder() {
    return new GID32_BUILDER();
}

IGID_CONVERTER* GID32_BUILDER::create_converter() {
    return new GID32_CONVERTER(this);
}

void GID32_BUILDER::set_dimensions(uint32_t nx, uint32_t ny, uint32_t nz) {
    size_t cells = static_cast<size_t>(nx) * ny * nz;
    m_index_to_xyz.reserve(cells);
    m_index_to_xyzt.reserve(2 * cells);
    m_xyz_to_index.assign(nx, std::vector<std::vector<CELL>>(ny, std::vector<CELL>(nz)));
    for (uint32_t x = 0; x < nx; ++x) {
        for (uint32_t y = 0; y < ny; ++y) {
            for (uint32_t z = 0; z < nz; ++z) {
                m_xyz_to_index[x][y][z].m_xyz_index = static_cast<uint32_t>(m_index_to_xyz.size());
                m_index_to_xyz.push_back(
                    {static_cast<uint16_t>(x), static_cast<uint16_t>(y), static_cast<uint16_t>(z)});
            }
        }
    }
}

void GID32_BUILDER::get_dimensions(uint32_t&, uint32_t&, uint32_t&) const {
    UTIL_FAIL("NYI");
}

void GID32_BUILDER::get_xyz(uint32_t xyz_index, uint32_t& x, uint32_t& y, uint32_t& z) const {
    const GID_XYZ& cell = at(m_index_to_xyz, xyz_index);
    x = cell.m_x;
    y = cell.m_y;
    z = cell.m_z;
}

uint32_t GID32_BUILDER::make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                   SYM name, int32_t length) {
    uint32_t t = m_gid_types.add_gid_type(gclass, name, length);
    if (gclass != PB::GID_TYPE::GLOBAL) {
        m_max_xyzt_i = std::max(m_max_xyzt_i, i);
        CELL& cell = at(at(at(m_xyz_to_index, x), y), z);
        uint32_t candidate = static_cast<uint32_t>(m_index_to_xyzt.size());
        auto inserted = cell.m_type_to_xyzt.emplace(t, candidate);
        if (inserted.second) {
            m_index_to_xyzt.push_back(
                {static_cast<uint16_t>(x), static_cast<uint16_t>(y), static_cast<uint16_t>(z), t});
        }
        return pack_xyzt_i(inserted.first->second, i);
    }
    m_max_xyz_i = std::max(m_max_xyz_i, i);
    return pack_xyz_t_i(get_xyz_index(x, y, z), t, i);
}

uint64_t GID32_BUILDER::make_gid64(uint32_t, uint32_t, uint32_t, uint32_t, GCLASS, SYM, int32_t) {
    UTIL_FAIL("should not reach here");
}

std::ostream& operator<<(std::ostream& os, const GID32_BUILDER& builder) {
    INDENT guard(os, 3);
    os << "GID32_BUILDER {" << std::endl << indent;
    os << "m_index_to_xyz.size() = " << builder.m_index_to_xyz.size() << std::endl;
    os << "m_index_to_xyzt.size() = " << builder.m_index_to_xyzt.size() << std::endl;
    os << "m_max_xyz_i =  " << builder.m_max_xyz_i << std::endl;
    os << "m_max_xyzt_i = " << builder.m_max_xyzt_i << std::endl;
    os << "m_gid_types = " << builder.m_gid_types;
    os << outdent << "}" << std::endl;
    return os;
}

// ---------------------------------------------------------------------------------------------
// GID32_CONVERTER

void GID32_CONVERTER::reset() {
    UTIL_ASSERT(false);
}

bool GID32_CONVERTER::is_valid() const {
    UTIL_ASSERT(false);
}

bool GID32_CONVERTER::equals(const IGID_CONVERTER&) const {
    UTIL_ASSERT(false);
}

bool GID32_CONVERTER::set_gid32(uint32_t value) {
    UTIL_ASSERT(value != GID32::VALUE_INVALID);
    if ((value & GID32_BITS::FORM_BIT) != 0) {
        m_i = value & GID32_BITS::I_MASK;
        // The XYZ_T_I form is built for GLOBAL types but never decoded.
        UTIL_FAIL("m_type == XYZT_I");
    }
    m_i = value & GID32_BITS::XYZT_I_MASK;
    uint32_t xyzt_index = (value >> GID32_BITS::XYZT_SHIFT) & GID32_BITS::XYZT_MASK;
    UTIL_ASSERT(xyzt_index != GID32_BITS::XYZT_INDEX_INVALID);
    const GID32_BUILDER::XYZT& xyzt = m_builder->get_xyzt(xyzt_index);
    m_x = xyzt.m_x;
    m_y = xyzt.m_y;
    m_z = xyzt.m_z;
    const GID_TYPE& type = m_builder->get_gid_types().get_gid_type_at(xyzt.m_t);
    m_gclass = type.get_gclass();
    m_name = type.get_name();
    m_length = type.get_length();
    return true;
}

uint32_t GID32_CONVERTER::get_gid32() {
    return make_gid32(m_x, m_y, m_z, m_i, m_gclass, m_name, m_length);
}

uint32_t GID32_CONVERTER::make_gid32(uint32_t x, uint32_t y, uint32_t z, uint32_t i, GCLASS gclass,
                                     SYM name, int32_t length) {
    uint32_t t = m_builder->get_gid_types().find_gid_type(gclass, name, length);
    const GID32_BUILDER::CELL& cell = m_builder->get_cell(x, y, z);
    if (gclass != PB::GID_TYPE::GLOBAL) {
        auto it = cell.m_type_to_xyzt.find(t);
        uint32_t xyzt =
            it == cell.m_type_to_xyzt.end() ? GID32_BITS::XYZT_INDEX_INVALID : it->second;
        return pack_xyzt_i(xyzt, i);
    }
    return pack_xyz_t_i(cell.m_xyz_index, t, i);
}

bool GID32_CONVERTER::set_gid64(uint64_t) {
    UTIL_FAIL("Should not reach here");
}

uint64_t GID32_CONVERTER::get_gid64() {
    UTIL_FAIL("Should not reach here");
}

uint64_t GID32_CONVERTER::make_gid64(uint32_t, uint32_t, uint32_t, uint32_t, GCLASS, SYM, int32_t) {
    UTIL_FAIL("Should not reach here");
}

uint64_t GID32_CONVERTER::get_k(uint64_t) const {
    UTIL_FAIL("NI");
}

uint64_t GID32_CONVERTER::make_gid_from_k(uint32_t, uint32_t, uint32_t, uint64_t) {
    UTIL_FAIL("NI");
}

const IGID_TYPE& GID32_CONVERTER::get_gid_type() const {
    return m_builder->get_gid_types().find_gid_type_object(m_gclass, m_name, m_length);
}

// ---------------------------------------------------------------------------------------------
// Text form

std::ostream& operator<<(std::ostream& os, const IGID_CONVERTER& converter) {
    print_gid_type(os, converter.get_gclass(), converter.get_name(), converter.get_length());
    os << ":X" << converter.get_x() << "Y" << converter.get_y() << "Z" << converter.get_z() << "I"
       << converter.get_i();
    return os;
}

std::ostream& operator<<(std::ostream& os, const GIDT<uint64_t>& gid) {
    IGID_CONVERTER* s_current_gid_converter = IGID_CONVERTER::s_current_gid_converter.get();
    UTIL_ASSERT(s_current_gid_converter != NULL);
    if (gid.get_value() == GID64::VALUE_INVALID) return os << "GID_INVALID";
    s_current_gid_converter->set_gid64(gid.get_value());
    return os << *s_current_gid_converter;
}

// Kept from the text reader's contract: a 32-bit field is compared with the largest 32-bit
// value, which it can never exceed.
static bool above_u32(uint64_t value) {
    return value > 4294967295u;
}

std::istream& operator>>(std::istream& is, IGID_CONVERTER& converter) {
    while (std::isspace(is.peek())) is.get();
    std::string word;
    for (int c = is.peek(); c != EOF && !std::isspace(c) && c != ':'; c = is.peek()) {
        word += static_cast<char>(is.get());
    }
    PB::GID_TYPE::GCLASS gclass;
    SYM name;
    int32_t length;
    parse_gid_type(word, gclass, name, length);
    if (is.peek() != ':') {
        std::cout << "missing :" << std::endl;
        return is;
    }
    is.get();
    char xchar = 0, ychar = 0, zchar = 0, ichar = 0;
    uint32_t x = 0, y = 0, z = 0, i = 0;
    is >> xchar >> x >> ychar >> y >> zchar >> z >> ichar >> i;
    if (xchar != 'X' || ychar != 'Y' || zchar != 'Z' || ichar != 'I') {
        std::cout << "xchar = " << xchar << "ychar = " << ychar << "zchar = " << zchar
                  << "ichar = " << ichar << "missing x, y, z or i" << std::endl;
        return is;
    }
    if (is.rdstate() != std::ios::goodbit && (is.rdstate() & std::ios::eofbit) == 0) {
        std::cout << "stream not good" << std::endl;
        return is;
    }
    if (above_u32(x) || above_u32(y) || above_u32(z) || above_u32(i)) {
        std::cout << "invalid value x=" << x << " y=" << y << " z=" << z << " i=" << i << std::endl;
        return is;
    }
    converter.set_fields(x, y, z, i, gclass, name, length);
    return is;
}

std::istream& operator>>(std::istream& is, GIDT<uint64_t>& gid) {
    IGID_CONVERTER* s_current_gid_converter = IGID_CONVERTER::s_current_gid_converter.get();
    UTIL_ASSERT(s_current_gid_converter != NULL);
    s_current_gid_converter->reset();
    is >> *s_current_gid_converter;
    gid.set_value(s_current_gid_converter->get_gid64());
    return is;
}

}  // namespace UTIL
