// GID types: interning and its range rules, the text forms both ways with their exceptions,
// a record written without a length, and the print form of the table. The file form's round
// trip and cut files are checked through the GID builder, which writes its types.
#include <gtest/gtest.h>

#include <sstream>

#include "print_form.h"
#include "nlg_builders.h"
#include "symbol_section.h"
#include "util/util_gid_type.h"
#include "util/util_protobuf.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"

using NS_SYMBOL::SYM;
using PB::GID_TYPE;
using UTIL::GID_TYPE_BUILDER;
using UTIL::SYMBOL_FILE;
using UTIL::SYMBOL_TABLE;
using UTIL::symbol_tables;
using TYPE = UTIL::GID_TYPE;

namespace {

// A symbol table with a few block kinds and wires, a writer's symbol file over it, and an
// empty type table that uses that file.
struct TYPES {
    SYMBOL_TABLE* m_table = symbol_tables().new_table();
    SYMBOL_FILE m_file;
    GID_TYPE_BUILDER m_builder;

    TYPES() {
        for (const char* name :
             {"H", "V", "CLOCK_SPINE", "IOB", "CC_DCM_GMUX_RE", "Hx", "A_B", "_X", "LUT"}) {
            m_table->add(name);
        }
        m_table->init_name_fast();
        m_file.set_internal_const(m_table);
        m_builder.set_symbol_file(&m_file);
    }
    SYM sym(const char* name) const { return m_table->find(name); }
};

TYPE read_type(const std::string& text) {
    std::istringstream in(text);
    TYPE type;
    in >> type;
    return type;
}

}  // namespace

TEST(GidType, InterningGivesOneEntryPerTypeAndFindsIt) {
    TYPES t;
    GID_TYPE_BUILDER& b = t.m_builder;
    EXPECT_EQ(b.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), 5), 0u);
    EXPECT_EQ(b.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), 6), 1u);
    EXPECT_EQ(b.add_gid_type(GID_TYPE::RE, t.sym("H"), -1), 2u);
    EXPECT_EQ(b.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), 5), 0u);
    EXPECT_EQ(b.get_n_gid_types(), 3u);
    EXPECT_EQ(b.find_gid_type(GID_TYPE::RE, t.sym("H"), -1), 2u);
    EXPECT_EQ(b.find_gid_type(GID_TYPE::INPUT, t.sym("H"), -1), static_cast<uint32_t>(-1));
    EXPECT_EQ(b.find_gid_type(GID_TYPE::GLOBAL, t.sym("V"), 5), static_cast<uint32_t>(-1));
    EXPECT_TRUE(b.find_gid_type_object(GID_TYPE::GLOBAL, t.sym("H"), 6) ==
                TYPE(GID_TYPE::GLOBAL, t.sym("H"), 6));
    EXPECT_THROW(b.find_gid_type_object(GID_TYPE::GLOBAL, t.sym("V"), 5), std::out_of_range);
    EXPECT_THROW(b.get_gid_type_at(3), std::out_of_range);
    EXPECT_EQ(b.get_gid_type(2).get_gclass(), GID_TYPE::RE);
}

TEST(GidType, LengthAndClassPositions) {
    TYPES t;
    GID_TYPE_BUILDER& b = t.m_builder;
    EXPECT_EQ(b.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), 63), 0u);
    EXPECT_EQ(b.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), -1), 1u);
    expect_out_of_range([&] { b.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), 64); },
                        "invalid vector<T> subscript");
    EXPECT_THROW(b.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), -2), std::out_of_range);
    // Position 5 of 5 maps.
    EXPECT_THROW(b.add_gid_type(GID_TYPE::INVALID, t.sym("H"), -1), std::out_of_range);
    EXPECT_THROW(b.find_gid_type(GID_TYPE::INVALID, t.sym("H"), -1), std::out_of_range);
    EXPECT_EQ(b.get_n_gid_types(), 2u);
    EXPECT_FATAL(b.add_gid_type(GID_TYPE::INPUT, t.sym("IOB"), 3),
                 "l == IGID_TYPE::LENGTH_INVALID");
}

TEST(GidType, GlobalTypesNeedKnownNames) {
    TYPES t;
    t.m_builder.add_global_types({{t.sym("H"), 5}, {t.sym("V"), 5}, {t.sym("H"), 5}});
    EXPECT_EQ(t.m_builder.get_n_gid_types(), 2u);
    EXPECT_FATAL(t.m_builder.add_global_types({{SYM(0), 2}}), "name.is_known()");
}

TEST(GidType, TextWriter) {
    TYPES t;
    EXPECT_EQ(text_of(TYPE(GID_TYPE::GLOBAL, t.sym("H"), 5)), "H5");
    EXPECT_EQ(text_of(TYPE(GID_TYPE::GLOBAL, t.sym("H"), -1)), "H");
    EXPECT_EQ(text_of(TYPE(GID_TYPE::RE, t.sym("CLOCK_SPINE"), -1)), "CLOCK_SPINE_RE");
    EXPECT_EQ(text_of(TYPE(GID_TYPE::INPUT, t.sym("IOB"), -1)), "IOB_INPUT");
    EXPECT_EQ(text_of(TYPE(GID_TYPE::OUTPUT, t.sym("IOB"), -1)), "IOB_OUTPUT");
    std::ostringstream gclass;
    gclass << GID_TYPE::BLC_INTERNAL_RE << " " << GID_TYPE::GLOBAL;
    EXPECT_EQ(gclass.str(), "BLC_INTERNAL_RE GLOBAL");
    EXPECT_FATAL(text_of(TYPE(GID_TYPE::BLC_INTERNAL_RE, t.sym("LUT"), -1)),
                 "Should not reach here");
}

TEST(GidType, TextReaderRulesAndExceptions) {
    TYPES t;
    auto expect = [&](const char* text, GID_TYPE::GCLASS gclass, SYM name, int32_t length) {
        TYPE type = read_type(text);
        EXPECT_EQ(type.get_gclass(), gclass) << text;
        EXPECT_EQ(type.get_name(), name) << text;
        EXPECT_EQ(type.get_length(), length) << text;
    };
    expect("CC_DCM_GMUX_RE", GID_TYPE::GLOBAL, t.sym("CC_DCM_GMUX_RE"), -1);
    expect("CLOCK_SPINE_RE", GID_TYPE::RE, t.sym("CLOCK_SPINE"), -1);
    expect("  IOB_INPUT", GID_TYPE::INPUT, t.sym("IOB"), -1);
    expect("IOB_OUTPUT rest", GID_TYPE::OUTPUT, t.sym("IOB"), -1);
    expect("H5", GID_TYPE::GLOBAL, t.sym("H"), 5);
    expect("V12x", GID_TYPE::GLOBAL, t.sym("V"), 12);
    expect("H", GID_TYPE::GLOBAL, t.sym("H"), -1);
    expect("Hx", GID_TYPE::GLOBAL, t.sym("Hx"), -1);
    expect("_X", GID_TYPE::GLOBAL, t.sym("_X"), -1);
    expect("A_B", GID_TYPE::GLOBAL, t.sym("A_B"), -1);
    // Unknown names read as the unknown symbol, without a message.
    testing::internal::CaptureStdout();
    expect("NOPE_RE", GID_TYPE::RE, SYM(t.m_table->get_unknown()), -1);
    expect("L7", GID_TYPE::GLOBAL, SYM(t.m_table->get_unknown()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    expect_out_of_range([] { read_type("   "); }, "invalid string position");
    // Writer and reader are not inverse for every type.
    TYPE odd = read_type(text_of(TYPE(GID_TYPE::GLOBAL, t.sym("LUT"), 4)));
    EXPECT_EQ(odd.get_name(), t.m_table->get_unknown());
}

TEST(GidType, TextReaderNeedsSymbolFile) {
    EXPECT_FATAL(read_type("H5"), "s_current_symbol_file != NULL");
}

// Another writer may leave the length out: the record then reads as length 0, the field's
// plain default, not as "no length".
TEST(GidType, RecordWithoutLengthReadsAsLengthZero) {
    TYPES t;
    SECTIONED_FILE file =
        write_with_section(t.m_table, UTIL::PB_BIN, [&](SYMBOL_FILE& symbols, std::ostream& out) {
            PB::GID_TYPE record = TYPE(GID_TYPE::GLOBAL, t.sym("H"), 5).get_message();
            record.clear_length();
            symbols.message_internal_to_external(&record);
            PB::GID_TYPES head;
            head.set_num_gid_type(1);
            return UTIL::write_message(head, out, UTIL::PB_BIN) &&
                   UTIL::write_message(record, out, UTIL::PB_BIN);
        });
    SYMBOL_FILE reader;
    GID_TYPE_BUILDER fresh;
    fresh.set_symbol_file(&reader);
    ASSERT_TRUE(read_with_section(file.all(), UTIL::PB_BIN, reader, fresh));
    ASSERT_EQ(fresh.get_n_gid_types(), 1u);
    EXPECT_EQ(fresh.get_gid_type(0).get_length(), 0);
    EXPECT_EQ(fresh.get_gid_type(0).get_name().get_name(), "H");
}

TEST(GidType, WriteNeedsSymbolFileAndPrintForm) {
    GID_TYPE_BUILDER bare;
    std::ostringstream out;
    EXPECT_FATAL(bare.write(out, UTIL::PB_BIN), "m_symbol_file != NULL");
    TYPES t;
    t.m_builder.add_gid_type(GID_TYPE::GLOBAL, t.sym("H"), 5);
    t.m_builder.add_gid_type(GID_TYPE::RE, t.sym("CLOCK_SPINE"), -1);
    EXPECT_EQ(text_of(t.m_builder),
              "GID_TYPE_BUILDER {\n"
              "   m_gid_types = {(2)\n"
              "      [0] = (GLOBAL) H5\n"
              "      [1] = (RE) CLOCK_SPINE_RE\n"
              "   }\n"
              "}\n");
}
