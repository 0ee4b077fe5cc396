// Symbol walkers and symbol file sections: conversions both ways, round trips through a file,
// cut sections, and the print form.
#include <gtest/gtest.h>

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <sstream>

#include "print_form.h"
#include "symbol_section.h"
#include "nlg_builders.h"
#include "symbol_test.pb.h"
#include "util/util_symbol_file.h"

using NS_SYMBOL::SYM;
using UTIL::SYMBOL_FILE;
using UTIL::SYMBOL_TABLE;
using UTIL::symbol_tables;

namespace {

// A fixture message whose two symbols name "clk" and "data" of the given table.
PB::SYMBOL_TEST make_fixture(SYMBOL_TABLE* internal) {
    PB::SYMBOL_TEST message;
    message.mutable_symbol_table();
    internal->add_to_message("clk", message.mutable_symbol0());
    internal->add_to_message("data", message.mutable_symbol1());
    return message;
}

}  // namespace

TEST(SymbolWalk, MessageWithoutSymbolsIsUnchangedAndUnsetStaysUnset) {
    SYMBOL_TABLE* t = symbol_tables().new_table();
    PB::SYMBOL_TABLE names;
    names.add_names("q");
    PB::SYMBOL_TEST message;
    message.mutable_symbol_table()->add_names("q");
    std::string before = message.SerializePartialAsString();
    t->convert_message_to_internal(names, &message);
    EXPECT_EQ(message.SerializePartialAsString(), before);
    EXPECT_FALSE(message.has_symbol0());
}

TEST(SymbolWalk, BadSymbolsFail) {
    SYMBOL_TABLE* internal = symbol_tables().new_table();
    PB::SYMBOL_TEST message = make_fixture(internal);
    PB::SYMBOL_TABLE names;
    names.add_names("<UNKNOWN>");
    // A file id past the name list.
    PB::SYMBOL_TEST copy = message;
    copy.mutable_symbol0()->set_value(5);
    EXPECT_THROW(internal->convert_message_to_internal(names, &copy), std::out_of_range);
    // A symbol of another table.
    SYMBOL_TABLE* other = symbol_tables().new_table();
    SYMBOL_TABLE* external = symbol_tables().new_table();
    EXPECT_FATAL(external->convert_message_to_external(other, &names, &message),
                 "internal_symbol.get_table_id() == m_internal_id");
    SYMBOL_FILE file;
    file.set_internal_const(other);
    EXPECT_FATAL(file.message_internal_to_external(&message), "should not happen");
}

TEST(SymbolFile, RoundTripThroughSectionAndFreshReader) {
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        SYMBOL_TABLE* internal = symbol_tables().new_table();
        internal->add("never_used");
        internal->init_name_fast();
        PB::SYMBOL_TEST message = make_fixture(internal);

        SYMBOL_FILE writer;
        writer.set_internal_const(internal);
        writer.message_internal_to_external(&message);
        std::ostringstream out;
        ASSERT_TRUE(writer.write(out, format));
        ASSERT_TRUE(UTIL::write_message(message, out, format));
        EXPECT_EQ(writer.get_external_to_internal().size(), 3u);
        // "<UNKNOWN>", then the names in order of first use.
        EXPECT_EQ(writer.get_external_to_internal()[1], internal->find("clk"));
        EXPECT_EQ(writer.get_external_to_internal()[2], internal->find("data"));

        SYMBOL_TABLE* target = symbol_tables().new_table();
        target->add("already_there");
        SYMBOL_FILE reader;
        reader.set_internal(target);
        std::istringstream in(out.str());
        google::protobuf::io::IstreamInputStream zero_copy(&in);
        ASSERT_TRUE(reader.read(&zero_copy, format));
        PB::SYMBOL_TEST back;
        ASSERT_TRUE(UTIL::read_message(&zero_copy, &back, format));
        reader.message_external_to_internal(&back);
        EXPECT_EQ(SYM(back.symbol0().value()).str_fast(), "clk");
        EXPECT_EQ(SYM(back.symbol1().value()).str_fast(), "data");
        EXPECT_EQ(SYM(back.symbol1().value()).get_table_id(), target->get_table_id());
        util_clear_symbol_tables();
        symbol_tables().new_table();
    }
}

TEST(SymbolFile, CutSectionReturnsFalseAndReadingTwiceIsFatal) {
    SYMBOL_TABLE* internal = symbol_tables().new_table();
    internal->init_name_fast();
    PB::SYMBOL_TEST message = make_fixture(internal);
    SYMBOL_FILE writer;
    writer.set_internal_const(internal);
    std::ostringstream unused;
    EXPECT_FATAL(writer.write(unused, UTIL::PB_BIN), "m_external != NULL");
    writer.message_internal_to_external(&message);
    const std::string bytes = written(writer, UTIL::PB_BIN);
    for (size_t cut = 0; cut < bytes.size(); ++cut) {
        SYMBOL_FILE reader;
        reader.set_internal(internal);
        std::istringstream in(bytes.substr(0, cut));
        EXPECT_FALSE(reader.read(in, UTIL::PB_BIN)) << cut;
    }
    SYMBOL_FILE reader;
    reader.set_internal(internal);
    std::istringstream in(bytes);
    ASSERT_TRUE(reader.read(in, UTIL::PB_BIN));
    EXPECT_FATAL(reader.read(in, UTIL::PB_BIN), "m_external_to_internal.size() == 0");
    SYMBOL_FILE unset;
    EXPECT_FATAL(unset.read(in, UTIL::PB_BIN), "m_internal != NULL");
    EXPECT_FATAL(unset.message_internal_to_external(&message), "m_internal_id != -1");
}

TEST(SymbolFile, PrintForm) {
    SYMBOL_TABLE* internal = symbol_tables().new_table();
    internal->init_name_fast();
    SYMBOL_FILE file;
    file.set_internal_const(internal);
    EXPECT_EQ(
        text_of(file).rfind("SYMBOL_FILE {\n   m_internal_id = 1\n   m_external_to_internal = {}\n"
                            "   m_external = NULL << endlm_internal = NULL << endl"
                            "m_internal_const = SYMBOL_TABLE {\n",
                            0),
        0u);
}
