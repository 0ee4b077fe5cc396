// Typed tree over hand-built types: parsing of named paths and the stop on recursive types. The
// numbering, child steps and text form are swept through the instance tree of random graphs.
#include <gtest/gtest.h>

#include <deque>
#include <memory>

#include "mem_modules.h"
#include "util/util_symbol.h"
#include "util/util_typedtree.h"

namespace {

using NS_SYMBOL::SYM;
using TEST_HIER::test_table;

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
    UTIL::SYMBOL_TABLE* get_symbol_table() const override { return test_table(); }
    uint32_t get_n_types() const override { return static_cast<uint32_t>(m_types.size()); }
    const UTIL_ITYPEDTREE::ITYPE* get_type(uint32_t i) const override { return &m_types.at(i); }

    int32_t add_type(const std::string& name) {
        m_types.emplace_back(test_table()->add(name));
        return static_cast<int32_t>(m_types.size() - 1);
    }
    // A typed child, or a leaf when `type` is -1.
    void add_child(int32_t parent, const std::string& name, int32_t type) {
        const SYM type_name = type < 0 ? SYM() : m_types.at(type).get_name();
        m_types.at(parent).m_children.emplace_back(test_table()->add(name), type_name, type);
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

}  // namespace

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
