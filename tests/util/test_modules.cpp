// Stored module descriptions: the compact form written through a symbol file and read back into
// a fresh object gives a hierarchy with the same node numbers; cut streams and bad input.
#include <gtest/gtest.h>

#include <sstream>

#include "mem_modules.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "symbol_section.h"
#include "util/util_symbol_file.h"

using UTIL::IHIERARCHY;

namespace {

// The compact form of the fixture.
SECTIONED_FILE write_form(const MODULES_FIXTURE& f, uint32_t format) {
    return write_with_section(f.m_table, format,
                              [&](UTIL::SYMBOL_FILE& symbols, std::ostream& out) {
                                  UTIL::MODULES_BUILDER builder;
                                  builder.set_modules(&f.m_modules);
                                  builder.set_symbol_file(&symbols);
                                  return builder.write(out, format);
                              });
}

void expect_same_numbering(const MODULES_FIXTURE& f, const IHIERARCHY::IMODULES& read_back) {
    ASSERT_EQ(read_back.get_n_modules(), 4u);
    EXPECT_EQ(read_back.get_module(0)->get_name().str(), "T");
    EXPECT_EQ(read_back.get_module(1)->get_port(1)->get_direction(), 1);
    EXPECT_EQ(read_back.get_module(2)->get_port(0)->get_direction(), 2);
    UTIL::HIERARCHY rebuilt(&read_back);
    ASSERT_EQ(rebuilt.get_num_nodes(), f.m_hierarchy->get_num_nodes());
    std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> p1(f.m_hierarchy->create_path());
    std::unique_ptr<IHIERARCHY::IPATH_SETTABLE> p2(rebuilt.create_path());
    for (uint64_t node = 0; node < f.m_hierarchy->get_num_nodes(); ++node) {
        ASSERT_EQ(f.m_hierarchy->get_path(p1.get(), node), rebuilt.get_path(p2.get(), node));
        ASSERT_EQ(rebuilt.get_node(*p2), node);
        ASSERT_EQ(p1->size(), p2->size());
        ASSERT_EQ(p1->get_port_index(), p2->get_port_index());
    }
}

}  // namespace

TEST(ModulesBuilder, RoundTripKeepsNodeNumbers) {
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        MODULES_FIXTURE f;
        const std::string compact = write_form(f, format).all();
        UTIL::SYMBOL_FILE symbols;
        UTIL::MODULES_BUILDER reader;
        reader.set_symbol_file(&symbols);
        ASSERT_TRUE(read_with_section(compact, format, symbols, reader));
        expect_same_numbering(f, *reader.get_modules());
        EXPECT_FATAL(reader.read(*new std::istringstream(compact), format), "m_modules == NULL");
        EXPECT_EQ(text_of(reader).rfind("MODULES_BUILDER {\n   m_modules = IMODULES {", 0), 0u);
    }
}

TEST(ModulesBuilder, CutStreamsFailWithTheirMessages) {
    MODULES_FIXTURE f;
    const SECTIONED_FILE file = write_form(f, UTIL::PB_BIN);
    const std::string bytes = file.all();
    testing::internal::CaptureStdout();
    for (size_t cut = file.m_section.size(); cut < bytes.size(); ++cut) {
        UTIL::SYMBOL_FILE symbols;
        UTIL::MODULES_BUILDER reader;
        reader.set_symbol_file(&symbols);
        EXPECT_FALSE(read_with_section(bytes.substr(0, cut), UTIL::PB_BIN, symbols, reader));
        EXPECT_EQ(reader.get_modules(), nullptr);
        if (cut % 4 == 0) {
            util_clear_symbol_tables();  // each read makes two tables
            UTIL::symbol_tables().new_table();
        }
    }
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("failed reading pb_modules\n"), std::string::npos);
    EXPECT_NE(printed.find("failed reading pb_module\n"), std::string::npos);
}

TEST(ModulesBuilder, WriteNeedsModules) {
    UTIL::MODULES_BUILDER builder;
    std::ostringstream out;
    EXPECT_FATAL(builder.write(out, UTIL::PB_BIN), "m_modules != NULL");
}
