// Interning, lookups, the registry and their assertion texts.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "nlg_builders.h"
#include "print_form.h"
#include "util/util_indent.h"
#include "util/util_symbol.h"
#include "util/util_symbol_file.h"

using NS_SYMBOL::SYM;
using UTIL::SYMBOL_TABLE;
using UTIL::symbol_tables;

TEST(Symbol, InternFindAndLookups) {
    SYMBOL_TABLE* t = symbol_tables().new_table();
    EXPECT_EQ(t->get_table_id(), 1u);
    EXPECT_EQ(t->add("<UNKNOWN>"), t->get_unknown());
    SYM a = t->add("alpha");
    SYM b = t->add("beta");
    EXPECT_EQ(a.get_value(), (1u << 24) | 1u);
    EXPECT_EQ(b.get_name_id(), 2u);
    EXPECT_EQ(t->add("alpha"), a);
    EXPECT_EQ(t->find("gamma"), t->get_unknown());
    EXPECT_EQ(t->size(), 3u);
    EXPECT_EQ(t->symbol_at(2), b);
    EXPECT_EQ(b.get_name(), "beta");
    EXPECT_EQ(b.str(), "beta");
    // Name id 0 resolves through any existing table.
    EXPECT_EQ(SYM(0).get_name(), "<UNKNOWN>");
    EXPECT_EQ(t->name_of(SYM(0)), "<UNKNOWN>");

    t->init_name_fast();
    EXPECT_EQ(a.get_name_fast(), "alpha");
    SYM c = t->add("gamma");
    EXPECT_EQ(c.str_fast(), "gamma");
    EXPECT_EQ(*t->name_at_fast(3), "gamma");
}

// Names of every length up to past the longest kept in a slot, each differing from another
// in one byte (at every position) or only in trailing zero bytes, checked against a plain map
// through the table's growth.
TEST(Symbol, NamesOfEveryLengthStayApart) {
    SYMBOL_TABLE* t = symbol_tables().new_table();
    std::map<std::string, SYM> model;
    std::vector<std::string> names;
    for (size_t length = 0; length <= 40; ++length) {
        const std::string base(length, 'x');
        names.push_back(base);
        names.push_back(base + std::string(1, '\0'));
        for (size_t at = 0; at < length; ++at) {
            std::string other = base;
            other[at] = static_cast<char>(0x80 + at);
            names.push_back(other);
        }
    }
    for (const std::string& name : names) {
        auto it = model.emplace(name, t->add(name)).first;
        EXPECT_EQ(t->add(name), it->second) << name;
    }
    EXPECT_EQ(t->size(), model.size() + 1);
    std::set<uint32_t> ids;
    for (const auto& entry : model) {
        EXPECT_EQ(t->find(entry.first), entry.second) << entry.first;
        EXPECT_EQ(t->name_of(entry.second), entry.first);
        ids.insert(entry.second.get_name_id());
        EXPECT_EQ(t->find(entry.first + "y"), t->get_unknown()) << entry.first;
    }
    EXPECT_EQ(ids.size(), model.size());
}

TEST(Symbol, FailuresEndTheProcessWithTheirTexts) {
    SYMBOL_TABLE* t = symbol_tables().new_table();
    SYM a = t->add("alpha");
    EXPECT_FATAL(a.get_name_fast(),
                 "Fast symbol lookup is not initialized. Number of symbols initialized: 0. Call "
                 "init_name_fast() first!");
    EXPECT_FATAL(t->symbol_at(2), "index < m_map.size()");
    EXPECT_FATAL(SYM(0x01000009).get_name(), "Unknown symbol: name_id = 9 table_id = 1");
    EXPECT_FATAL(symbol_tables().get_table(0)->name_of(a),
                 "(symbol.get_name_id() == 0) || (symbol.get_table_id() == m_table_id)");
    t->init_name_fast();
    EXPECT_EXIT(symbol_tables().get_table(0)->init_name_fast();
                symbol_tables().get_table(0)->name_of_fast(a), testing::ExitedWithCode(255),
                "symbol.get_table_id\\(\\) == m_table_id");
    EXPECT_THROW(symbol_tables().get_table(7), std::out_of_range);
    EXPECT_THROW(SYM(0x07000001).get_name(), std::out_of_range);
    EXPECT_FATAL(symbol_tables().get_table(256), "table_id < MAX_TABLES");
}

TEST(Symbol, RegistryLimitAndClear) {
    for (size_t i = symbol_tables().size(); i < 255; ++i) symbol_tables().new_table();
    EXPECT_EQ(symbol_tables().new_table()->get_table_id(), 255u);
    EXPECT_FATAL(symbol_tables().new_table(), "i < MAX_TABLES");

    util_clear_symbol_tables();
    EXPECT_EQ(symbol_tables().size(), 0u);
    EXPECT_EQ(symbol_tables().new_table()->get_table_id(), 0u);
}

TEST(Symbol, DeletedTableLeavesNullSlot) {
    SYMBOL_TABLE* t = symbol_tables().new_table();
    uint32_t id = t->get_table_id();
    delete t;
    EXPECT_EQ(symbol_tables().get_table(id), nullptr);
    EXPECT_FATAL(SYM((id << 24) | 1).get_name(), "table != NULL");
    EXPECT_NE(print_form([](std::ostream& os) {
                  os << UTIL::symbol_detail << symbol_tables();
              }).find("table[1] = NULL\n"),
              std::string::npos);
}

TEST(Symbol, PrintForms) {
    SYMBOL_TABLE* t = symbol_tables().new_table();
    SYM a = t->add("alpha");
    t->init_name_fast();
    EXPECT_EQ(text_of(a), "alpha");
    EXPECT_EQ(print_form([&a](std::ostream& os) { os << UTIL::symbol_detail << a; }),
              "(1 : alpha)");
    std::ostringstream table;
    table << *t;
    EXPECT_EQ(table.str().rfind("SYMBOL_TABLE {\n   m_table_id = 1\n   m_unknown = <UNKNOWN>\n"
                                "   m_map = {\n",
                                0),
              0u);
    EXPECT_NE(table.str().find("      [alpha] = 1\n"), std::string::npos);
    EXPECT_EQ(table.str().substr(table.str().size() - 6), "   }\n}");
}
