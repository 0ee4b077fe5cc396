// Node numbering of the folded hierarchy: hand-checked trees, counts past 32 and 63 bits, path
// cursors by text, text forms, bad input. Random and wide designs are checked against a naive
// unfolding through the netlist's hierarchy description.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>

#include "mem_modules.h"
#include "print_form.h"
#include "util/util_assert.h"
#include "util/util_hierarchy.h"

using namespace TEST_HIER;
using UTIL::HIERARCHY;
using UTIL::HPATH_SETTABLE;
using UTIL::IHIERARCHY;

namespace {

const uint32_t INVALID = IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;

// The tiny tree, modules listed out of dependency order so that counting takes two passes:
//
//   top (ports clk, rst)                      node  0
//    +- u0 : mid (port o)                       1 .. 8
//    |   +- a : leaf (ports i, o)               2 .. 4   (a:i 3, a:o 4)
//    |   +- b : leaf                            5 .. 7
//    |   (u0:o 8)
//    +- u1 : mid                                9 .. 16
//    (clk 17, rst 18)
//
// n_nodes: leaf 3, mid 8, top 19. Module indexes: top 0, leaf 1, mid 2.
const char* const TINY = "top: u0:mid u1:mid clk rst; leaf: i o; mid: a:leaf b:leaf o";

struct TinyHierarchy : testing::Test {
    MEM_MODULES m;
    HIERARCHY h{(add_modules(m, TINY), &m)};
};

std::unique_ptr<HPATH_SETTABLE> make_path(const HIERARCHY& h,
                                          const std::vector<uint32_t>& instances,
                                          uint32_t port = INVALID, uint32_t base = 0) {
    auto path = std::make_unique<HPATH_SETTABLE>(&h);
    path->set_base_module_index(base);
    path->set_instances(instances);
    path->set_port_index(port);
    return path;
}

}  // namespace

TEST_F(TinyHierarchy, TinyTreeNumberingByHand) {
    EXPECT_EQ(h.get_num_nodes(), 19u);
    EXPECT_EQ(h.get_num_nodes(1), 3u);
    EXPECT_EQ(h.get_num_nodes(2), 8u);

    struct CASE {
        std::vector<uint32_t> instances;
        uint32_t port;
        uint64_t node;
        uint32_t module;
    };
    const std::vector<CASE> cases = {
        {{}, INVALID, 0, 0},  {{0}, INVALID, 1, 2},    {{0, 0}, INVALID, 2, 1}, {{0, 0}, 0, 3, 1},
        {{0, 0}, 1, 4, 1},    {{0, 1}, INVALID, 5, 1}, {{0, 1}, 1, 7, 1},       {{0}, 0, 8, 2},
        {{1}, INVALID, 9, 2}, {{1, 0}, 0, 11, 1},      {{1, 1}, 1, 15, 1},      {{1}, 0, 16, 2},
        {{}, 0, 17, 0},       {{}, 1, 18, 0},
    };
    auto back = h.create_path();
    for (const CASE& c : cases) {
        auto path = make_path(h, c.instances, c.port);
        uint32_t module = INVALID;
        EXPECT_EQ(h.get_node(module, *path), c.node) << text_of(*path);
        EXPECT_EQ(module, c.module);
        EXPECT_EQ(h.get_path(back, c.node), c.module) << c.node;
        EXPECT_EQ(text_of(*back), text_of(*path));
    }
    EXPECT_EQ(text_of(*make_path(h, {1, 0}, 1)), "/u1/a:o");
    delete back;

    // Past the last port of the top module.
    EXPECT_EQ(h.get_path(nullptr, 19), INVALID);
    EXPECT_EQ(h.get_path(nullptr, 25), INVALID);
    // Two occurrences of one module lie n_nodes apart.
    EXPECT_EQ(h.get_child_node(nullptr, 0, 0, 1) - h.get_child_node(nullptr, 0, 0, 0), 8u);
    // Relative numbering from another base module.
    auto in_mid = h.create_path();
    EXPECT_EQ(h.get_path(in_mid, 4, 2), 1u);
    EXPECT_EQ(in_mid->get_base_module_index(), 2u);
    EXPECT_EQ(text_of(*in_mid), "/b");
    EXPECT_EQ(h.get_node(*in_mid), 4u);
    delete in_mid;
}

TEST_F(TinyHierarchy, ChildNodeBounds) {
    uint32_t module = 99;
    EXPECT_EQ(h.get_child_node(&module, 0, 0, 1), 9u);
    EXPECT_EQ(module, 2u);
    // Without an out module the two extra entries of sum_left pass the bound.
    EXPECT_EQ(h.get_child_node(nullptr, 0, 0, 2), 17u);
    EXPECT_EQ(h.get_child_node(nullptr, 0, 0, 3), 19u);
    EXPECT_EQ(h.get_child_node(nullptr, 0, 0, 4), IHIERARCHY::INVALID_NODE);
    EXPECT_EQ(h.get_child_node(&module, 0, 0, 2), IHIERARCHY::INVALID_NODE);
    EXPECT_EQ(h.get_child_node(&module, 0, 0, INVALID), IHIERARCHY::INVALID_NODE);
    EXPECT_EQ(h.get_node(*make_path(h, {0, 2})), IHIERARCHY::INVALID_NODE);
    EXPECT_THROW(h.get_child_node(nullptr, 3, 0, 0), std::out_of_range);
    EXPECT_EQ(h.get_module_index(m.sym("mid")), 2u);
    EXPECT_EQ(h.get_module_index(m.sym("nothing")), INVALID);
    EXPECT_EQ(h.get_instance_index(2, m.sym("b")), 1u);
    EXPECT_EQ(h.get_instance_index(2, m.sym("u0")), INVALID);
    EXPECT_EQ(h.get_port_index(0, m.sym("rst")), 1u);
    EXPECT_EQ(h.get_port_index(0, m.sym("o")), INVALID);
}

TEST_F(TinyHierarchy, PathsByText) {
    HPATH_SETTABLE a(&h);
    // Text, base module, node or INVALID_NODE where parsing fails ("/" alone is kept whole, so
    // its empty names are unknown).
    const std::vector<std::tuple<const char*, uint32_t, uint64_t>> cases = {
        {"/u1/a:o", 0, 12},  {"u1/a:o", 0, 12},   {"u0/b", 0, 5},  {":rst", 0, 18},
        {"", 0, 0},          {"b:i", 2, 5},       {"/", 0, ~0ull}, {"u0/a:zz", 0, ~0ull},
        {"u0/a:", 0, ~0ull}, {"u0//a", 0, ~0ull}, {"a", 0, ~0ull}};
    for (auto [text, base, node] : cases) {
        const bool ok = node != ~0ull;
        ASSERT_EQ(a.set_from_string(text, base), ok) << text;
        if (ok) {
            EXPECT_EQ(h.get_node(a), node) << text;
        }
    }
    ASSERT_TRUE(a.set_from_string("u1/a:o", 0));
    EXPECT_EQ(a.get_path().get_instances(), (std::vector<uint32_t>{1, 0}));
    ASSERT_TRUE(a.set_from_string("u0/b", 0));
    EXPECT_EQ(a.get_port_index(), INVALID);
    // A failed parse keeps the instances read before the bad name.
    EXPECT_FALSE(a.set_from_string("u0/zz", 0));
    EXPECT_EQ(a.size(), 1u);

    // A description without a symbol table cannot resolve names.
    MEM_MODULES no_table(nullptr);
    add_modules(no_table, TINY);
    HIERARCHY h2(&no_table);
    HPATH_SETTABLE c(&h2);
    EXPECT_FALSE(c.set_from_string("u0", 0));
}

// A chain of binary fan-outs: module k has two instances of module k + 1, and module 62 is a
// leaf, so module k counts 2^(63 - k) - 1 nodes and module 0 exactly the 63-bit maximum.
static void build_binary_chain(MEM_MODULES& m, uint32_t first) {
    const uint32_t offset = m.get_n_modules();
    for (uint32_t k = first; k <= 62; ++k) m.add_module("L" + std::to_string(k));
    for (uint32_t k = first; k < 62; ++k) {
        m.add_instance(offset + k - first, "x", "L" + std::to_string(k + 1));
        m.add_instance(offset + k - first, "y", "L" + std::to_string(k + 1));
    }
}

TEST(Hierarchy, NodesPast32And63Bits) {
    MEM_MODULES m;
    build_binary_chain(m, 0);
    HIERARCHY h(&m);
    EXPECT_EQ(h.get_num_nodes_64(0), INT64_MAX);
    EXPECT_EQ(h.get_num_nodes(), 0xFFFFFFFFu);
    std::mt19937 rng(3);
    HPATH_SETTABLE back(&h);
    for (int k = 0; k < 100; ++k) {
        std::vector<uint32_t> instances(rng() % 63);
        for (uint32_t& i : instances) i = rng() % 2;
        const uint64_t node = h.get_node(*make_path(h, instances));
        EXPECT_EQ(h.get_path(&back, node), instances.size());
        EXPECT_EQ(back.get_path().get_instances(), instances);
    }
    EXPECT_EQ(h.get_node(*make_path(h, std::vector<uint32_t>(62, 1))),
              static_cast<uint64_t>(INT64_MAX) - 1);

    // top2 has one instance of L30 (2^33 - 1 nodes) and one port at node 2^33.
    MEM_MODULES m2;
    const uint32_t top = m2.add_module("top2");
    build_binary_chain(m2, 30);
    m2.add_instance(top, "big", "L30");
    m2.add_port(top, "p");
    HIERARCHY h2(&m2);
    const uint64_t port_node = uint64_t(1) << 33;
    EXPECT_EQ(h2.get_node(*make_path(h2, {}, 0)), port_node);
    uint32_t port = INVALID;
    EXPECT_EQ(h2.get_port_of_node(port, port_node), 0u);
    EXPECT_EQ(port, 0u);
}

TEST(Hierarchy, BadDescriptionsStopConstruction) {
    const std::vector<std::pair<std::function<void(MEM_MODULES&)>, const char*>> cases = {
        {[](MEM_MODULES& m) { m.add_instance(m.add_module("top"), "u", "missing"); },
         "IE .*util_hierarchy.cpp:[0-9]+  it != m_module_map.end\\(\\) \n"},
        {[](MEM_MODULES&) {}, "  modules_changed > 0 \n"},
        // A cycle beside a module that can be counted.
        {[](MEM_MODULES& m) { add_modules(m, "top: u:a; a: u:b; b: u:a v:leaf; leaf:"); },
         "  modules_changed > 0 \n"},
        {[](MEM_MODULES& m) { add_modules(m, "self: u:self"); }, "  modules_changed > 0 \n"},
        // 1 + 2 * (2^62 - 1) is the 63-bit maximum; its one port overflows on the last addition.
        {[](MEM_MODULES& m) {
             const uint32_t top = m.add_module("top");
             m.add_instance(top, "u", "L1");
             m.add_instance(top, "v", "L1");
             m.add_port(top, "p");
             build_binary_chain(m, 1);
         },
         "  Overflowed number of nodes on module 0 \n"},
        // An overflow before the last addition goes on with a negative count.
        {[](MEM_MODULES& m) {
             const uint32_t top = m.add_module("top");
             m.add_instance(top, "u", "L0");
             m.add_instance(top, "v", "L0");
             build_binary_chain(m, 0);
         },
         "  \\(a >= 0\\) && \\(b >= 0\\) \n"},
    };
    for (const auto& [build, text] : cases) {
        EXPECT_EXIT(
            {
                MEM_MODULES m;
                build(m);
                HIERARCHY h(&m);
            },
            testing::ExitedWithCode(255), text);
    }
}

TEST_F(TinyHierarchy, TextForms) {
    auto print = [&](int detail) { return printed(h, detail); };
    EXPECT_EQ(print(2),
              "IHIERARCHY {\n"
              "   m_modules = IMODULES {\n"
              "      n_modules = 3\n"
              "      IMODULE top {\n"
              "      }\n"
              "      IMODULE leaf {\n"
              "      }\n"
              "      IMODULE mid {\n"
              "      }\n"
              "   }\n"
              "   num_nodes = 19\n"
              "   m_module_infos = {\n"
              "      top {\n"
              "         m_num_nodes = 19\n"
              "         # instances = 2# ports = 2\n"
              "      }\n"
              "      leaf {\n"
              "         m_num_nodes = 3\n"
              "         # instances = 0# ports = 2\n"
              "      }\n"
              "      mid {\n"
              "         m_num_nodes = 8\n"
              "         # instances = 2# ports = 1\n"
              "      }\n"
              "   }\n"
              "   m_module_map = { top:0, leaf:1, mid:2 }\n"
              "}");
    EXPECT_EQ(print(4),
              "IHIERARCHY_STATISTICS {\n"
              "   m_modules = IMODULES_STATISTICS {\n"
              "      n_modules = 3\n"
              "      n_instances = 4\n"
              "      n_ports = 5\n"
              "   }\n"
              "   num_nodes = 19\n"
              "   max_nodes 32 bit = 4294967295\n"
              "   % remaining 32 bit = 99\n"
              "}");
}
