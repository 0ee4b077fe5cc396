// Test support: the test table, the text form of descriptions and the hand-numbered fixture
// declared in mem_modules.h.
#include "mem_modules.h"

#include <sstream>

namespace TEST_HIER {

UTIL::SYMBOL_TABLE* test_table() {
    static UTIL::SYMBOL_TABLE* s_table = [] {
        UTIL::SYMBOL_TABLE* table = UTIL::symbol_tables().new_table();
        table->init_name_fast();
        return table;
    }();
    return s_table;
}

void add_modules(UTIL::MMODULES& modules, const std::string& text) {
    UTIL::SYMBOL_TABLE* table =
        modules.get_symbol_table() ? modules.get_symbol_table() : test_table();
    std::istringstream all(text);
    for (std::string one; std::getline(all, one, ';');) {
        std::istringstream words(one);
        std::string name, word;
        words >> name;
        UTIL::MMODULE& module = modules.add_module(table->add(name.substr(0, name.size() - 1)));
        while (words >> word) {
            const size_t colon = word.find(':');
            if (colon != std::string::npos) {
                module.add_instance(table->add(word.substr(0, colon)),
                                    table->add(word.substr(colon + 1)));
            } else {
                const int direction = word[0] == '>' ? 1 : word[0] == '=' ? 2 : 0;
                module.add_port(table->add(word.substr(direction ? 1 : 0)), direction);
            }
        }
    }
}

}  // namespace TEST_HIER

MODULES_FIXTURE::MODULES_FIXTURE() {
    m_table->init_name_fast();
    TEST_HIER::add_modules(m_modules, "T: a0:A a1:A b0:B p; A: c0:C x >y; B: =q; C: >z");
    m_hierarchy = std::make_unique<UTIL::HIERARCHY>(&m_modules);
}
