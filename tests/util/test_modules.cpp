// Stored module descriptions: both forms written through a symbol file and read back into a
// fresh object give a hierarchy with the same node numbers; cut streams and bad input.
#include <gtest/gtest.h>

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <sstream>

#include "mem_modules.h"
#include "util/util_hierarchy_serializable.h"
#include "util/util_symbol_file.h"

using UTIL::IHIERARCHY;

namespace {

// Symbol section, then the modules, as an owner of a whole file writes them: the messages are
// prepared (their symbols noted) before the section, so the section goes first in the file.
template <class WRITER>
std::string write_with_symbols(const MODULES_FIXTURE& f, uint32_t format) {
    UTIL::SYMBOL_FILE symbols;
    symbols.set_internal_const(f.m_table);
    std::ostringstream body;
    WRITER writer_probe(&f.m_modules, &symbols);
    EXPECT_TRUE(writer_probe.write(body, format));
    std::ostringstream out;
    EXPECT_TRUE(symbols.write(out, format));
    return out.str() + body.str();
}

// The compact form's builder takes its modules by setter; adapt it to the same shape.
struct BUILDER_WRITER {
    UTIL::MODULES_BUILDER m_builder;
    BUILDER_WRITER(const IHIERARCHY::IMODULES* modules, UTIL::SYMBOL_FILE* symbols) {
        m_builder.set_modules(modules);
        m_builder.set_symbol_file(symbols);
    }
    bool write(std::ostream& out, uint32_t format) { return m_builder.write(out, format); }
};

// Reads the symbol section and then the modules into `reader`; false if either read fails.
template <class READER>
bool read_with_symbols(const std::string& bytes, uint32_t format, UTIL::SYMBOL_FILE& symbols,
                       READER& reader) {
    symbols.set_internal(UTIL::symbol_tables().new_table());
    std::istringstream in(bytes);
    google::protobuf::io::IstreamInputStream zero_copy(&in);
    return symbols.read(&zero_copy, format) && reader.read(&zero_copy, format);
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

TEST(ModulesBuilder, CompactFormRoundTripKeepsNodeNumbers) {
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        MODULES_FIXTURE f;
        std::string bytes = write_with_symbols<BUILDER_WRITER>(f, format);
        UTIL::SYMBOL_FILE symbols;
        UTIL::MODULES_BUILDER reader;
        reader.set_symbol_file(&symbols);
        ASSERT_TRUE(read_with_symbols(bytes, format, symbols, reader));
        expect_same_numbering(f, *reader.get_modules());
        EXPECT_EQ(reader.get_modules()->get_symbol_table(), symbols.get_internal());
        EXPECT_EXIT(reader.read(*new std::istringstream(bytes), format),
                    testing::ExitedWithCode(255), "m_modules == NULL");
        std::ostringstream printed;
        printed << reader;
        EXPECT_EQ(printed.str().rfind("MODULES_BUILDER {\n   m_modules = IMODULES {", 0), 0u);
    }
}

TEST(ModulesBuilder, GraphFormRoundTripKeepsNodeNumbers) {
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        MODULES_FIXTURE f;
        std::string bytes = write_with_symbols<UTIL::MODULES_SERIALIZABLE>(f, format);
        UTIL::SYMBOL_FILE symbols;
        UTIL::MODULES_SERIALIZABLE reader(nullptr, &symbols);
        ASSERT_TRUE(read_with_symbols(bytes, format, symbols, reader));
        expect_same_numbering(f, *reader.get_modules());
    }
}

TEST(ModulesBuilder, CutStreamsFailWithTheirMessages) {
    MODULES_FIXTURE f;
    std::string bytes = write_with_symbols<BUILDER_WRITER>(f, UTIL::PB_BIN);
    UTIL::SYMBOL_FILE probe_symbols;
    UTIL::MODULES_BUILDER probe;
    probe.set_symbol_file(&probe_symbols);
    // Where the module frames begin: the section's own length.
    std::ostringstream section;
    {
        UTIL::SYMBOL_FILE s;
        s.set_internal_const(f.m_table);
        UTIL::MODULES_BUILDER w;
        w.set_modules(&f.m_modules);
        w.set_symbol_file(&s);
        std::ostringstream ignored;
        w.write(ignored, UTIL::PB_BIN);
        s.write(section, UTIL::PB_BIN);
    }
    const size_t start = section.str().size();
    testing::internal::CaptureStdout();
    for (size_t cut = start; cut < bytes.size(); ++cut) {
        UTIL::SYMBOL_FILE symbols;
        UTIL::MODULES_BUILDER reader;
        reader.set_symbol_file(&symbols);
        EXPECT_FALSE(read_with_symbols(bytes.substr(0, cut), UTIL::PB_BIN, symbols, reader));
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

TEST(ModulesBuilder, EmptyDescriptionAndBadInput) {
    UTIL::symbol_tables().new_table();
    UTIL::MMODULES empty;
    EXPECT_EXIT(UTIL::HIERARCHY hierarchy(&empty), testing::ExitedWithCode(255),
                "modules_changed > 0");
    UTIL::MODULES_BUILDER builder;
    std::ostringstream out;
    EXPECT_EXIT(builder.write(out, UTIL::PB_BIN), testing::ExitedWithCode(255),
                "m_modules != NULL");

    MODULES_FIXTURE f;
    UTIL::MMODULES bad(f.m_table);
    bad.add_module(f.sym("T")).add_instance(f.sym("u"), f.sym("NOPE"));
    UTIL::SYMBOL_FILE symbols;
    symbols.set_internal_const(f.m_table);
    UTIL::MODULES_SERIALIZABLE writer(&bad, &symbols);
    EXPECT_EXIT(writer.write(out, UTIL::PB_BIN), testing::ExitedWithCode(255),
                "Missing module name");
    UTIL::MMODULES bad_direction(f.m_table);
    bad_direction.add_module(f.sym("T")).add_port(f.sym("p"), 3);
    UTIL::MODULES_SERIALIZABLE direction_writer(&bad_direction, &symbols);
    EXPECT_EXIT(direction_writer.write(out, UTIL::PB_BIN), testing::ExitedWithCode(255),
                "Unknown Direction");
}
