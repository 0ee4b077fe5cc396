// Typed tree: sizes, child steps, node and path round trips against a naive unfolding of random
// trees, parsing of named paths, the text form.
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <random>
#include <sstream>

#include "print_form.h"
#include "util/util_symbol.h"
#include "util/util_typedtree.h"

namespace {

using NS_SYMBOL::SYM;

UTIL::SYMBOL_TABLE* table() {
    static UTIL::SYMBOL_TABLE* s_table = [] {
        UTIL::SYMBOL_TABLE* t = UTIL::symbol_tables().new_table();
        t->init_name_fast();
        return t;
    }();
    return s_table;
}

class MEM_CHILD : public UTIL_ITYPEDTREE::IINSTANCE {
  public:
    MEM_CHILD(SYM name, SYM type_name, int32_t type)
        : m_name(name), m_type_name(type_name), m_type(type) {}
    SYM get_name() const override { return m_name; }
    SYM get_type_name() const override { return m_type_name; }
    int32_t get_type_index() const override { return m_type; }

  private:
    SYM m_name, m_type_name;
    int32_t m_type;
};

class MEM_TYPE : public UTIL_ITYPEDTREE::ITYPE {
  public:
    explicit MEM_TYPE(SYM name) : m_name(name) {}
    uint32_t get_n_instances() const override { return static_cast<uint32_t>(m_children.size()); }
    SYM get_name() const override { return m_name; }
    const UTIL_ITYPEDTREE::IINSTANCE* get_instance(uint32_t i) const override {
        return &m_children.at(i);
    }
    int32_t find_instance(SYM name) const override {
        for (size_t i = 0; i < m_children.size(); ++i) {
            if (m_children[i].get_name() == name) return static_cast<int32_t>(i);
        }
        return -1;
    }
    std::vector<MEM_CHILD> m_children;

  private:
    SYM m_name;
};

class MEM_TYPES : public UTIL_ITYPEDTREE::ITYPES {
  public:
    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return table(); }
    uint32_t get_n_types() const override { return static_cast<uint32_t>(m_types.size()); }
    const UTIL_ITYPEDTREE::ITYPE* get_type(uint32_t i) const override { return &m_types.at(i); }

    int32_t add_type(const std::string& name) {
        m_types.emplace_back(table()->add(name));
        return static_cast<int32_t>(m_types.size() - 1);
    }
    // A typed child, or a leaf when `type` is -1.
    void add_child(int32_t parent, const std::string& name, int32_t type) {
        const SYM type_name = type < 0 ? SYM() : m_types.at(type).get_name();
        m_types.at(parent).m_children.emplace_back(table()->add(name), type_name, type);
    }

    std::deque<MEM_TYPE> m_types;
};

// Root R: children a (type A: four leaves x0..x3, size 5), leaf l, b (type B: one leaf y,
// size 2); offsets 1, 6, 7 and size 9. Nodes: R 0, a 1, a/x0..x3 2..5, l 6, b 7, b/y 8.
// Type O is reachable from nowhere.
void build_mixed(MEM_TYPES& t) {
    const int32_t r = t.add_type("R");
    const int32_t a = t.add_type("A");
    const int32_t b = t.add_type("B");
    const int32_t o = t.add_type("O");
    for (int k = 0; k < 4; ++k) t.add_child(a, "x" + std::to_string(k), -1);
    t.add_child(b, "y", -1);
    t.add_child(o, "z", -1);
    t.add_child(o, "w", a);
    t.add_child(r, "a", a);
    t.add_child(r, "l", -1);
    t.add_child(r, "b", b);
}

std::string text(const TPATH& path) {
    return text_of(path);
}

struct NAIVE_NODE {
    std::vector<uint32_t> path;
    int32_t parent_type, type, child_index;
};

void unfold(const MEM_TYPES& t, int32_t type, std::vector<uint32_t>& path,
            std::vector<NAIVE_NODE>& out) {
    if (type < 0) return;
    const MEM_TYPE& node_type = t.m_types[type];
    for (uint32_t i = 0; i < node_type.m_children.size(); ++i) {
        path.push_back(i);
        const int32_t child = node_type.m_children[i].get_type_index();
        out.push_back({path, type, child, static_cast<int32_t>(i)});
        unfold(t, child, path, out);
        path.pop_back();
    }
}

}  // namespace

TEST(TypedTree, RandomTreesAgreeWithUnfolding) {
    for (uint32_t seed = 1; seed <= 30; ++seed) {
        std::mt19937 rng(seed);
        MEM_TYPES t;
        const int32_t n = 2 + static_cast<int32_t>(rng() % 5);
        for (int32_t k = 0; k < n; ++k) t.add_type("T" + std::to_string(k));
        // Later types only, so the structure is acyclic; a type may be used several times.
        for (int32_t k = n - 1; k >= 0; --k) {
            const int n_children = static_cast<int>(rng() % 4);
            for (int c = 0; c < n_children; ++c) {
                const bool leaf = k == n - 1 || rng() % 3 == 0;
                const int32_t type = leaf ? -1 : k + 1 + static_cast<int32_t>(rng() % (n - 1 - k));
                t.add_child(k, "c" + std::to_string(c), type);
            }
        }
        TTREE tree(&t);
        std::vector<NAIVE_NODE> naive = {{{}, -1, 0, -1}};
        std::vector<uint32_t> stack;
        unfold(t, 0, stack, naive);
        ASSERT_EQ(static_cast<size_t>(tree.get_size(0)), naive.size()) << seed;
        for (int32_t k = 1; k < n; ++k) {
            std::vector<NAIVE_NODE> below;
            unfold(t, k, stack, below);
            EXPECT_EQ(static_cast<size_t>(tree.get_size(k)), below.size() + 1) << seed << " " << k;
        }
        EXPECT_THROW(tree.get_size(n), std::out_of_range);
        // Node numbers by path, for the child steps.
        std::map<std::vector<uint32_t>, uint64_t> node_of;
        for (uint64_t node = 0; node < naive.size(); ++node) node_of[naive[node].path] = node;
        TPATH path(&tree), parsed(&tree);
        int32_t parent, type, index;
        for (uint64_t node = 0; node < naive.size(); ++node) {
            ASSERT_TRUE(tree.set_path(path, node));
            EXPECT_EQ(path.get_indexes(), naive[node].path);
            if (naive[node].type >= 0) {
                const uint32_t n_children = tree.get_n_children(naive[node].type);
                EXPECT_EQ(n_children, t.m_types[naive[node].type].m_children.size());
                for (uint32_t i = 0; i < n_children; ++i) {
                    std::vector<uint32_t> child = naive[node].path;
                    child.push_back(i);
                    int32_t child_type = 0;
                    uint64_t child_node = 0;
                    tree.get_child(naive[node].type, node, i, child_type, child_node);
                    EXPECT_EQ(child_node, node_of.at(child));
                    EXPECT_EQ(child_type, naive[child_node].type);
                }
                int32_t past_type = 0;
                uint64_t past_node = 0;
                EXPECT_THROW(
                    tree.get_child(naive[node].type, node, n_children, past_type, past_node),
                    std::out_of_range);
            }
            EXPECT_EQ(tree.get_node(path), node);
            ASSERT_TRUE(tree.locate(node, parent, type, index));
            EXPECT_EQ(std::make_tuple(parent, type, index),
                      std::make_tuple(naive[node].parent_type, naive[node].type,
                                      naive[node].child_index));
            ASSERT_TRUE(parsed.set_from_string(text(path), '/')) << text(path);
            EXPECT_EQ(parsed.get_indexes(), naive[node].path);
        }
        // Past the end: false, and the out values are left alone.
        parent = 9;
        EXPECT_FALSE(tree.locate(naive.size(), parent, type, index));
        EXPECT_EQ(parent, 9);
        EXPECT_FALSE(tree.set_path(path, naive.size()));
    }
}

TEST(TypedTree, ParsingNamedPaths) {
    MEM_TYPES t;
    build_mixed(t);
    TTREE tree(&t);
    std::unique_ptr<UTIL_ITYPEDTREE::IPATH> owned(tree.create_path());
    TPATH& path = dynamic_cast<TPATH&>(*owned);
    ASSERT_TRUE(path.set_from_string("a/x2", '/'));
    EXPECT_EQ(tree.get_node(path), 4u);
    ASSERT_TRUE(path.set_from_string("b.y", '.'));
    EXPECT_EQ(tree.get_node(path), 8u);
    ASSERT_TRUE(path.set_from_string("", '/'));
    EXPECT_TRUE(path.get_indexes().empty());
    EXPECT_EQ(tree.get_node(path), 0u);

    // Second token unknown: false, with the first kept.
    EXPECT_FALSE(path.set_from_string("a/never_seen_name", '/'));
    EXPECT_EQ(path.get_indexes(), (std::vector<uint32_t>{0}));
    // Known symbol, but not a child here.
    EXPECT_FALSE(path.set_from_string("a/y", '/'));
    EXPECT_EQ(path.get_indexes().size(), 1u);
    // Nothing below a leaf.
    EXPECT_FALSE(path.set_from_string("l/x0", '/'));
    EXPECT_FALSE(path.set_from_string("a//x0", '/'));
}

TEST(TypedTree, TextForm) {
    // Root with two children of one type S (a leaf and a typed child of type U with two
    // leaves): S has size 5, so the second occurrence starts at 6; total 11.
    MEM_TYPES t;
    const int32_t r = t.add_type("root");
    const int32_t s = t.add_type("S");
    const int32_t u = t.add_type("U");
    t.add_child(u, "q0", -1);
    t.add_child(u, "q1", -1);
    t.add_child(s, "leaf", -1);
    t.add_child(s, "inner", u);
    t.add_child(r, "s0", s);
    t.add_child(r, "s1", s);
    TTREE tree(&t);
    std::ostringstream os;
    os << tree;
    EXPECT_EQ(os.str(),
              "\n{\n"
              "   [0] = root(size = 11, S: s0, S: s1 | size = 11, children = {1:1 1:6 })\n"
              "   [1] = S(size = 5, <>: leaf, U: inner | size = 5, children = {-1:1 2:2 })\n"
              "   [2] = U(size = 3, <>: q0, <>: q1 | size = 3, children = {-1:1 -1:2 })\n"
              "}");
}

TEST(TypedTree, RecursiveTypesStop) {
    EXPECT_EXIT(
        {
            MEM_TYPES t;
            const int32_t a = t.add_type("A");
            const int32_t b = t.add_type("B");
            t.add_child(a, "b", b);
            t.add_child(b, "a", a);
            TTREE tree(&t);
        },
        testing::ExitedWithCode(255), "Recursive type structure at type 0");
}
