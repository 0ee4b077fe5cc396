// Aliases: declarations and their refusals, single- and multi-driver nets, the driver of each
// node, the fatal checks and the print form.
#include <gtest/gtest.h>

#include "nlg_builders.h"
#include "print_form.h"
#include "util/util_aliases.h"

using UTIL::ALIASES_BUILDER;

TEST(Aliases, DeclarationsAndRefusals) {
    ALIASES_BUILDER a;
    uint64_t state = 0;
    EXPECT_TRUE(a.add_driver(10, &state));
    EXPECT_EQ(state, ALIASES_BUILDER::NEW_DRIVER);
    EXPECT_TRUE(a.add_driver(10));
    EXPECT_TRUE(a.add_alias(11, &state));
    EXPECT_EQ(state, ALIASES_BUILDER::NEW_ALIAS);
    EXPECT_TRUE(a.add_alias(11, &state));
    // A node is a driver or an alias, never both.
    EXPECT_FALSE(a.add_driver(11));
    EXPECT_FALSE(a.add_alias(10));
    // Undeclared nodes and drivers in the alias's place are refused.
    EXPECT_FALSE(a.add_connection(11, 99));
    EXPECT_FALSE(a.add_connection(99, 10));
    EXPECT_FALSE(a.add_connection(10, 10));
    EXPECT_EQ(a.get_driver(99), uint64_t(-1));
    EXPECT_EQ(a.get_driver(10), 10u);
    EXPECT_EQ(a.get_driver(11), ALIASES_BUILDER::NEW_ALIAS);
    EXPECT_FALSE(a.is_multi_driver(99));
    EXPECT_FALSE(a.is_multi_driver(10));
}

TEST(Aliases, SinglyDrivenNet) {
    // Driver 1 with aliases 2 and 3.
    ALIASES_BUILDER a;
    a.add_driver(1);
    a.add_alias(2);
    a.add_alias(3);
    EXPECT_TRUE(a.add_connection(2, 1));
    EXPECT_TRUE(a.add_connection(3, 1));
    uint64_t state = 0;
    EXPECT_TRUE(a.add_driver(1, &state));
    EXPECT_EQ(state, ALIASES_BUILDER::SD_DRIVER);
    EXPECT_TRUE(a.add_alias(2, &state));
    EXPECT_EQ(state, ALIASES_BUILDER::SD_ALIAS);
    EXPECT_FALSE(a.add_driver(2));
    EXPECT_EQ(a.get_driver(1), 1u);
    EXPECT_EQ(a.get_driver(2), 1u);
    EXPECT_EQ(a.get_driver(3), 1u);
    EXPECT_FALSE(a.is_multi_driver(2));
    // An alias in the driver's place: new or connected.
    a.add_alias(4);
    EXPECT_FALSE(a.add_connection(4, 2));
    a.add_driver(5);
    EXPECT_FALSE(a.add_connection(5, 4));
    EXPECT_FALSE(a.add_connection(2, 4));
    EXPECT_FATAL(a.get_drivers(1), "(node_type == MD_DRIVER) || (node_type == MD_ALIAS)");
}

TEST(Aliases, MultiplyDrivenNet) {
    // Driver 1 with aliases 2 and 3; driver 7 then reaches alias 2; driver 8 reaches alias 3.
    ALIASES_BUILDER a;
    for (uint64_t d : {1, 7, 8, 9}) a.add_driver(d);
    for (uint64_t n : {2, 3, 4, 5}) a.add_alias(n);
    a.add_connection(2, 1);
    a.add_connection(3, 1);
    a.add_connection(5, 9);
    EXPECT_TRUE(a.add_connection(2, 7));
    for (uint64_t n : {1, 2, 3, 7}) {
        EXPECT_TRUE(a.is_multi_driver(n)) << n;
        EXPECT_EQ(a.get_driver(n), 1u) << n;
        EXPECT_EQ(a.get_drivers(n), (std::vector<uint64_t>{1, 7})) << n;
    }
    uint64_t state = 0;
    EXPECT_TRUE(a.add_alias(3, &state));
    EXPECT_EQ(state, ALIASES_BUILDER::MD_ALIAS);
    EXPECT_TRUE(a.add_driver(7, &state));
    EXPECT_EQ(state, ALIASES_BUILDER::MD_DRIVER);
    // An alias of the net reaching a third driver keeps the one net.
    EXPECT_TRUE(a.add_connection(3, 8));
    EXPECT_EQ(a.get_drivers(2), (std::vector<uint64_t>{1, 7, 8}));
    EXPECT_EQ(a.get_driver(8), 1u);
    // MD_ALIAS to MD_DRIVER is refused, on the same net too.
    EXPECT_FALSE(a.add_connection(3, 7));
    // A new alias joins the net in the state of a driver, outside the driver list.
    EXPECT_TRUE(a.add_connection(4, 7));
    EXPECT_TRUE(a.add_driver(4, &state));
    EXPECT_EQ(state, ALIASES_BUILDER::MD_DRIVER);
    EXPECT_EQ(a.get_driver(4), 1u);
    EXPECT_EQ(a.get_drivers(4).size(), 3u);
    // A singly driven alias reaching an MD_DRIVER brings its own driver onto the net.
    EXPECT_TRUE(a.add_connection(5, 8));
    EXPECT_EQ(a.get_drivers(5), (std::vector<uint64_t>{1, 7, 8, 9}));
    EXPECT_EQ(a.get_driver(5), 1u);
}

TEST(Aliases, StateValuesAreNotNodes) {
    ALIASES_BUILDER a;
    const char* const text =
        "(n != NEW_DRIVER) && (n != NEW_ALIAS) && (n != MD_ALIAS) && "
        "(n != MD_DRIVER) && (n != SD_DRIVER) && (n != SD_ALIAS)";
    for (uint64_t n = uint64_t(-6); n != 0; ++n) EXPECT_FATAL(a.add_driver(n), text);
    EXPECT_FATAL(a.add_alias(uint64_t(-4)), text);
    EXPECT_TRUE(a.add_driver(uint64_t(-7)));
}

TEST(Aliases, PrintForm) {
    // Net 0: drivers 1 and 7 with alias 2; driver 4 with alias 5; alias 6 unconnected.
    ALIASES_BUILDER a;
    for (uint64_t d : {1, 4, 7}) a.add_driver(d);
    for (uint64_t n : {2, 5, 6}) a.add_alias(n);
    a.add_connection(2, 1);
    a.add_connection(5, 4);
    a.add_connection(2, 7);
    EXPECT_EQ(text_of(a),
              "ALIASES_BUILDER {\n"
              "   new aliases: {6 } \n"
              "   singlely driven nets: (4) { 5 4 } \n"
              "   multiply driven nets: (1 7 ) {1 2 7 }\n"
              "   sd_driver_to_aliases: 4->5 \n"
              "}\n");
}
