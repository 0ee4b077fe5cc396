// GID encoding: grid numbering, 64-bit packing and decoding, range violations with their
// hexadecimal lines, keys, the text form both ways, the fatal operations of the base converter,
// the factory rule and the builder's file form.
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "gid_grid.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "symbol_section.h"
#include "util/util_gid.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"

using NS_SYMBOL::SYM;
using PB::GID_TYPE;
using UTIL::GID64;
using UTIL::GID64_BUILDER;
using UTIL::IGID_CONVERTER;
using UTIL::SYMBOL_FILE;
using UTIL::SYMBOL_TABLE;
using UTIL::symbol_tables;

namespace {

using GRID = GID_GRID;

// Runs a statement with standard output sent to standard error, so that a death test sees
// the lines printed before the fatal assertion.
#define ON_STDERR(stmt)                     \
    do {                                    \
        std::cout.rdbuf(std::cerr.rdbuf()); \
        stmt;                               \
    } while (0)

std::string gid_text(uint64_t value) {
    return text_of(GID64(value));
}

// The decoded fields of a converter: "x y z i gclass name length".
std::string fields(const IGID_CONVERTER& c) {
    std::ostringstream os;
    os << c.get_x() << " " << c.get_y() << " " << c.get_z() << " " << c.get_i() << " "
       << c.get_gclass() << " " << c.get_name() << " " << c.get_length();
    return os.str();
}

}  // namespace

TEST(Gid, GridNumberingAndPacking) {
    GRID g(2, 3, 4);
    EXPECT_EQ(g.m_builder->get_xyz_index(1, 2, 3), 23u);
    for (uint32_t x = 0; x < 2; ++x)
        for (uint32_t y = 0; y < 3; ++y)
            for (uint32_t z = 0; z < 4; ++z) {
                uint32_t index = g.m_builder->get_xyz_index(x, y, z);
                EXPECT_EQ(index, (x * 3 + y) * 4 + z);
                uint32_t rx, ry, rz;
                g.m_builder->get_xyz(index, rx, ry, rz);
                EXPECT_EQ(rx * 100 + ry * 10 + rz, x * 100 + y * 10 + z);
            }
    EXPECT_THROW(g.m_builder->get_xyz_index(2, 0, 0), std::out_of_range);
    EXPECT_THROW(g.m_builder->get_xyz_index(0, 0, 4), std::out_of_range);
    uint64_t gid = g.m_builder->make_gid64(1, 2, 3, 7, GID_TYPE::GLOBAL, g.sym("V"), 2);
    EXPECT_EQ(gid, (uint64_t(23) << 34) | (uint64_t(5) << 17) | 7);
    // A new type is interned by the builder, not by a converter.
    uint64_t spine = g.m_builder->make_gid64(0, 0, 1, 0, GID_TYPE::RE, g.sym("CLOCK_SPINE"), -1);
    EXPECT_EQ(spine, (uint64_t(1) << 34) | (uint64_t(6) << 17));
    uint32_t nx, ny, nz;
    g.m_builder->get_dimensions(nx, ny, nz);
    EXPECT_EQ(nx * 100 + ny * 10 + nz, 234u);
}

TEST(Gid, DecodeAndEncodeThroughConverter) {
    GRID g(2, 3, 4);
    IGID_CONVERTER& c = *g.m_conv;
    EXPECT_FALSE(c.is_valid());
    uint64_t gid = g.m_builder->make_gid64(1, 2, 3, 0x1ffff, GID_TYPE::GLOBAL, g.sym("H"), 4);
    EXPECT_TRUE(c.set_gid64(gid));
    EXPECT_TRUE(c.is_valid());
    EXPECT_EQ(fields(c), "1 2 3 131071 GLOBAL H 4");
    EXPECT_EQ(c.get_gid64(), gid);
    EXPECT_TRUE(c.get_gid_type() == UTIL::GID_TYPE(GID_TYPE::GLOBAL, g.sym("H"), 4));
    EXPECT_EQ(c.make_gid64(0, 0, 0, 1, GID_TYPE::GLOBAL, g.sym("H"), 1), 1u);

    // Key and cell restore the GID.
    uint64_t k = c.get_k(gid);
    EXPECT_EQ(k, (uint64_t(3) << 17) | 0x1ffff);
    EXPECT_EQ(c.make_gid_from_k(1, 2, 3, k), gid);

    c.reset();
    EXPECT_FALSE(c.is_valid());
    EXPECT_EQ(c.get_x(), IGID_CONVERTER::INVALID);
    EXPECT_EQ(c.get_gclass(), GID_TYPE::INVALID);
    EXPECT_THROW(c.get_gid64(), std::out_of_range);
}

TEST(Gid, BadGidsAreRejected) {
    GRID g(2, 3, 4);
    IGID_CONVERTER& c = *g.m_conv;
    // A cell index past the grid, a type index past the table.
    EXPECT_THROW(c.set_gid64(uint64_t(24) << 34), std::out_of_range);
    EXPECT_THROW(c.set_gid64(uint64_t(6) << 17), std::out_of_range);
    EXPECT_THROW(c.make_gid_from_k(2, 0, 0, 0), std::out_of_range);
    EXPECT_FATAL(c.set_gid64(GID64::VALUE_INVALID), "value != GID64::VALUE_INVALID");
    EXPECT_FATAL(c.set_gid64(uint64_t(0x3fffffff) << 34), "xyz != GID64_BITS::XYZ_INDEX_INVALID");
}

TEST(Gid, RangeViolationsPrintHexLines) {
    GRID g(2, 3, 4);
    EXPECT_NO_FATAL_FAILURE(
        g.m_builder->make_gid64(0, 0, 0, 0x1ffff, GID_TYPE::GLOBAL, g.sym("H"), 5));
    EXPECT_EXIT(
        ON_STDERR(g.m_builder->make_gid64(0, 0, 0, 0x20000, GID_TYPE::GLOBAL, g.sym("H"), 5)),
        testing::ExitedWithCode(255), "^Mask = 0x1ffff Illegal i = 0x20000\nIE .*  false \n$");
    // A converter never adds a type: an unknown one is t = -1.
    EXPECT_EXIT(ON_STDERR(g.m_conv->make_gid64(0, 0, 0, 0x30000, GID_TYPE::GLOBAL, g.sym("V"), 9)),
                testing::ExitedWithCode(255),
                "^Mask = 0x1ffff Illegal t = 0xffffffff\nMask = 0x1ffff Illegal i = 0x30000\n");
    EXPECT_EXIT(ON_STDERR(g.m_conv->make_gid_from_k(0, 0, 0, uint64_t(1) << 34)),
                testing::ExitedWithCode(255), "^Mask = 0x3ffffffff Illegal k = 0x400000000\n");
}

TEST(Gid, TextFormBothWays) {
    GRID g(5, 5, 1);
    uint64_t gid = g.m_builder->make_gid64(3, 4, 0, 2, GID_TYPE::GLOBAL, g.sym("H"), 5);
    EXPECT_EQ(gid_text(gid), "H5:X3Y4Z0I2");
    EXPECT_EQ(gid_text(GID64::VALUE_INVALID), "GID_INVALID");
    uint64_t spine = g.m_builder->make_gid64(1, 0, 0, 9, GID_TYPE::RE, g.sym("CLOCK_SPINE"), -1);
    EXPECT_EQ(gid_text(spine), "CLOCK_SPINE_RE:X1Y0Z0I9");

    std::istringstream in("  H5:X3Y4Z0I2 CLOCK_SPINE_RE:X1Y0Z0I9");
    GID64 a, b;
    in >> a >> b;
    EXPECT_EQ(a.get_value(), gid);
    EXPECT_EQ(b.get_value(), spine);

    // The converter's own operators.
    std::istringstream one("IOB_INPUT:X4Y1Z0I6");
    g.m_conv->reset();
    one >> *g.m_conv;
    EXPECT_EQ(fields(*g.m_conv), "4 1 0 6 INPUT IOB -1");
    EXPECT_EQ(text_of(*g.m_conv), "IOB_INPUT:X4Y1Z0I6");
}

TEST(Gid, TextReaderStopsOnBadInput) {
    GRID g(5, 5, 1);
    auto read_into = [&](const char* text) {
        g.m_conv->reset();
        std::istringstream in(text);
        return stdout_of([&] { in >> *g.m_conv; });
    };
    EXPECT_EQ(read_into("H5:X3Y4Q0I2"),
              "xchar = Xychar = Yzchar = Qichar = Imissing x, y, z or i\n");
    EXPECT_FALSE(g.m_conv->is_valid());
    EXPECT_EQ(read_into("H5 X3Y4Z0I2"), "missing :\n");
    EXPECT_FALSE(g.m_conv->is_valid());
    EXPECT_EQ(read_into("H5:X3Y4Z0I2"), "");
    EXPECT_TRUE(g.m_conv->is_valid());
    // A GID read that stopped leaves the converter reset, whose GID is out of range.
    std::istringstream bad("H5:X3Y4Q0I2");
    GID64 gid;
    stdout_of([&] { EXPECT_THROW(bad >> gid, std::out_of_range); });
}

TEST(Gid, FactoryReplacesTheCurrentConverter) {
    EXPECT_FATAL(gid_text(5), "s_current_gid_converter != NULL");
    GRID first(2, 2, 1);
    IGID_CONVERTER* before = IGID_CONVERTER::s_current_gid_converter.get();
    ASSERT_NE(before, nullptr);
    GRID second(3, 1, 1);
    EXPECT_NE(IGID_CONVERTER::s_current_gid_converter.get(), before);
    // The text form now decodes against the second grid.
    uint64_t gid = second.m_builder->make_gid64(2, 0, 0, 1, GID_TYPE::GLOBAL, second.sym("V"), 2);
    EXPECT_EQ(gid_text(gid), "V2:X2Y0Z0I1");
}

TEST(Gid, BaseConverterHoldsFieldsOnly) {
    GRID g(1, 1, 1);
    UTIL::BASE_GID_CONVERTER c;
    EXPECT_FALSE(c.is_valid());
    c.set_fields(1, 2, 3, 4, GID_TYPE::RE, g.sym("IOB"), -1);
    EXPECT_TRUE(c.is_valid());
    EXPECT_FATAL(c.set_gid64(0), "false");
    EXPECT_FATAL(c.get_k(0), "false");
    EXPECT_FATAL(c.get_gid_type(), "false");
    EXPECT_EQ(text_of(c), "IOB_RE:X1Y2Z3I4");
}

// A damaged head with a zero dimension once built gigabytes of empty rows (65536 x 65536 x 0)
// before it could fail; a grid without cells never came from a builder and now reads false.
TEST(Gid, BuilderHeadWithAZeroDimensionReadsFalse) {
    GRID g(3, 4, 2);
    std::string file = written(*g.m_builder, UTIL::PB_TXT);
    for (auto [from, to] : {std::pair<const char*, const char*>{"nx: 3", "nx: 65536"},
                            {"ny: 4", "ny: 65536"},
                            {"nz: 2", "nz: 0"}}) {
        size_t at = file.find(from);
        ASSERT_NE(at, std::string::npos) << file;
        file.replace(at, std::string(from).size(), to);
    }
    GID64_BUILDER damaged;
    damaged.set_symbol_file(&g.m_file);
    std::istringstream in(file);
    EXPECT_FALSE(damaged.read(in, UTIL::PB_TXT));
}

TEST(Gid, BuilderWithoutDimensionsAndPrintForm) {
    GID64_BUILDER bare;
    SYMBOL_FILE file;
    bare.set_symbol_file(&file);
    std::ostringstream out;
    EXPECT_THROW(bare.write(out, UTIL::PB_BIN), std::out_of_range);
    uint32_t nx, ny, nz;
    EXPECT_FATAL(bare.get_dimensions(nx, ny, nz), "m_nx > 0");
    GRID g(1, 1, 1);
    bare.get_gid_types().add_gid_type(GID_TYPE::GLOBAL, g.sym("V"), 2);
    EXPECT_EQ(text_of(bare),
              "GID64_BUILDER {\n"
              "   m_gid_types = GID_TYPE_BUILDER {\n"
              "      m_gid_types = {(1)\n"
              "         [0] = (GLOBAL) V2\n"
              "      }\n"
              "   }\n"
              "}\n");
}
