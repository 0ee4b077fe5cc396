// Top-level blocks on a small hand-numbered hierarchy: blocks and attributes after the seal,
// node-to-instance look-ups, the splitter on every node, the file form through a symbol
// section, print forms and the fatal cases.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "mem_modules.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "symbol_section.h"
#include "util/util_indent.h"
#include "util/util_symbol_file.h"
#include "util/util_tlblocks.h"

using namespace TEST_HIER;
using UTIL::ITLATTRIBUTE;
using UTIL::ITLBLOCKS;
using UTIL::TL_SETTING_PAIR;
using UTIL::TLBLOCKS_BUILDER;

namespace {

SYM sym(const std::string& name) {
    return test_table()->add(name);
}

// mux2 is mux 10 with subpaths s and s/deep; mux4 is mux 11 with settings given out of path
// order; blocks: blkA twice, blkB and blkC once.
void add_tables(UTIL::ITLBLOCKS_BUILDER& t) {
    t.add_mux_module(3, 10);
    std::vector<SYM> names = {sym("s")};
    t.add_subpath(3, names);
    EXPECT_TRUE(names.empty());
    names = {sym("s"), sym("deep")};
    t.add_subpath(3, names);
    std::vector<TL_SETTING_PAIR> pairs = {{0, sym("V0")}, {1, sym("W0")}};
    t.add_settings(3, 0, pairs);
    EXPECT_TRUE(pairs.empty());
    pairs = {{0, sym("V1")}};
    t.add_settings(3, 1, pairs);
    t.add_mux_module(4, 11);
    names = {sym("r")};
    t.add_subpath(4, names);
    for (auto [path, value] : std::vector<std::pair<uint32_t, const char*>>{
             {1, "B"}, {0, "A"}, {3, "D"}, {2, nullptr}}) {
        pairs.clear();
        if (value != nullptr) pairs.push_back({0, sym(value)});
        t.add_settings(4, path, pairs);
    }
    t.add_instance(1, 1, sym("uidA0"));
    t.add_instance(2, 33, sym("uidB"));
    t.add_instance(8, 40, sym("uidC"));
    t.add_instance(1, 17, sym("uidA1"));
}

// Modules (index: name) and node numbers of one occurrence, in DEVICE:
//   0 top:   b0:blkA 1..16, b1:blkA 17..32, b2:blkB 33..39, c:blkC 40..42, p:plain 43..49,
//            port clk 50; 51 nodes
//   1 blkA:  m0:mux2 1..6 (m0/s 2..3), m1:mux2 7..12, x:leaf 13..14, port i 15; 16 nodes
//   2 blkB:  q:mux4 1..6; 7 nodes
//   3 mux2:  s:cell 1..2, ports a b o; 6 nodes
//   4 mux4:  ports a b c d o; 6 nodes
//   5 cell:  port z.  6 leaf: port y.  7 plain: m:mux2 1..6 (a mux outside all blocks).
//   8 blkC:  x:leaf 1..2; a block without muxes
struct DEVICE {
    MEM_MODULES modules;
    std::unique_ptr<UTIL::HIERARCHY> hierarchy;
    UTIL::SYMBOL_FILE file;
    DEVICE() {
        add_modules(
            modules,
            "top: b0:blkA b1:blkA b2:blkB c:blkC p:plain clk; blkA: m0:mux2 m1:mux2 x:leaf i;"
            "blkB: q:mux4; mux2: s:cell a b o; mux4: a b c d o; cell: z; leaf: y;"
            "plain: m:mux2; blkC: x:leaf");
        hierarchy = std::make_unique<UTIL::HIERARCHY>(&modules);
        file.set_internal_const(test_table());
    }
    std::unique_ptr<TLBLOCKS_BUILDER> make() {
        auto t = std::make_unique<TLBLOCKS_BUILDER>();
        t->set_hierarchy(hierarchy.get());
        t->set_symbol_file(&file);
        add_tables(*t);
        t->finish();
        return t;
    }
};

// What set_node must give for a node: "uid/subnode/mux/settings of path 0", or "" where the
// splitter ends in an error.
std::string expected_split(uint64_t node) {
    struct BLOCK {
        uint64_t start, end;
        const char* uid;
        std::vector<uint64_t> mux_subnodes;
        uint32_t mux;
        const char* path0;
    };
    const std::vector<BLOCK> blocks = {{1, 16, "uidA0", {1, 7}, 10, "V0,W0"},
                                       {17, 32, "uidA1", {1, 7}, 10, "V0,W0"},
                                       {33, 39, "uidB", {1}, 11, "A"},
                                       {40, 42, "uidC", {}, 0, ""}};
    for (const BLOCK& b : blocks) {
        if (node < b.start || node > b.end) continue;
        for (uint64_t s : b.mux_subnodes) {
            if (node - b.start == s) {
                return std::string(b.uid) + "/" + std::to_string(s) + "/" + std::to_string(b.mux) +
                       "/" + b.path0;
            }
        }
    }
    return "";
}

std::string split(ITLBLOCKS::ITLSPLITTER& splitter, uint64_t node) {
    try {
        EXPECT_TRUE(splitter.set_node(node));
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "invalid unordered_map<K, T> key");
        return "";
    }
    SYM uid;
    splitter.get_uid(uid);
    const ITLATTRIBUTE* a = splitter.get_tlattribute();
    EXPECT_EQ(splitter.get_subattributes(), &a->get_subattributes());
    EXPECT_EQ(splitter.get_node(), node);
    std::string out = uid.get_name() + "/" + std::to_string(a->get_subnode()) + "/" +
                      std::to_string(a->get_mux_index()) + "/";
    const UTIL::ISUBATTRIBUTE_SETTINGS& settings = a->get_settings(0);
    for (uint32_t k = 0; k < settings.get_n_subattribute_settings(); ++k) {
        SYM value;
        settings.get_subattribute_setting(k).get_setting(value);
        out += (k > 0 ? "," : "") + value.get_name();
    }
    return out;
}

}  // namespace

// The print forms show the blocks, attributes, settings and uids; these are the look-ups that
// the prints do not show.
TEST(TlBlocks, BlocksAndAttributesAfterTheSeal) {
    DEVICE d;
    std::unique_ptr<TLBLOCKS_BUILDER> t = d.make();
    ASSERT_EQ(t->get_n_tlblocks(), 3);
    // Only muxes have an index.
    for (auto [module, mux] :
         std::vector<std::pair<uint32_t, uint32_t>>{{1, ~0u}, {0, ~0u}, {3, 10}, {99, ~0u}})
        EXPECT_EQ(t->get_mux_index(module), mux) << module;
    const UTIL::ITLBLOCK& a = t->get_tlblock(0);
    EXPECT_TRUE(a.has_mux());
    EXPECT_FALSE(t->get_tlblock(2).has_mux());
    const ITLATTRIBUTE& m1 = a.get_tlattribute(1);
    EXPECT_EQ(m1.get_path().get_base_module_index(), 1u);
    EXPECT_THROW(m1.get_settings(2), std::out_of_range);

    // Settings land at their path index whatever the order of the adds.
    const ITLATTRIBUTE& q = t->get_tlblock(1).get_tlattribute(0);
    std::string values;
    for (uint32_t path = 0; path < 4; ++path) {
        const UTIL::ISUBATTRIBUTE_SETTINGS& settings = q.get_settings(path);
        SYM value = sym("-");
        if (settings.get_n_subattribute_settings() > 0)
            settings.get_subattribute_setting(0).get_setting(value);
        values += value.get_name();
    }
    EXPECT_EQ(values, "AB-D");

    // The flat list.
    ASSERT_EQ(t->get_n_tlattributes(), 3u);
    EXPECT_EQ(t->get_tlattribute(0), &a.get_tlattribute(0));
    EXPECT_EQ(t->get_tlattribute(2), &q);
    EXPECT_THROW(t->get_tlattribute(3), std::out_of_range);

    std::vector<std::vector<TL_SETTING_PAIR>> settings;
    t->get_settings(settings, 3);
    ASSERT_EQ(settings.size(), 2u);
    EXPECT_EQ(settings[0], (std::vector<TL_SETTING_PAIR>{{0, sym("V0")}, {1, sym("W0")}}));
}

TEST(TlBlocks, NodeToInstanceAndSplitter) {
    DEVICE d;
    std::unique_ptr<TLBLOCKS_BUILDER> t = d.make();
    const uint64_t NONE = ~0ull;
    // 51, the node count, is inside the range and in no block.
    const std::vector<std::pair<uint64_t, uint64_t>> tlnodes = {
        {0, NONE}, {1, 1},   {16, 1},    {17, 17},   {32, 17},   {33, 33},  {39, 33},
        {40, 40},  {42, 40}, {43, NONE}, {49, NONE}, {50, NONE}, {51, NONE}};
    for (auto [node, tlnode] : tlnodes) EXPECT_EQ(t->get_tlnode(node), tlnode) << node;
    SYM uid;
    t->get_uid(uid, 33);
    EXPECT_EQ(uid, sym("uidB"));
    EXPECT_THROW(t->get_uid(uid, 34), std::out_of_range);

    // Every node inside a block: the right uid, attribute and settings, or the map key error
    // where the block has no mux at that offset.
    std::unique_ptr<ITLBLOCKS::ITLSPLITTER> splitter(t->create_splitter());
    EXPECT_EQ(splitter->get_tlblocks(), t.get());
    for (uint64_t node = 1; node <= 42; ++node) {
        EXPECT_EQ(split(*splitter, node), expected_split(node)) << node;
    }
    // Two instances of one block share the attribute and differ in uid.
    splitter->set_node(1 + 7);
    const ITLATTRIBUTE* first = splitter->get_tlattribute();
    splitter->set_node(17 + 7);
    EXPECT_EQ(splitter->get_tlattribute(), first);
    splitter->get_uid(uid);
    EXPECT_EQ(uid, sym("uidA1"));

    // Outside all blocks.
    EXPECT_FATAL(splitter->set_node(45), "i != IRANGE::SEGMENT_INDEX_UNDEFINED");
    EXPECT_FATAL(splitter->set_node(52), "i != IRANGE::SEGMENT_INDEX_INVALID");
    EXPECT_FATAL(t->get_tlnode(52), "i != IRANGE::SEGMENT_INDEX_INVALID");
    EXPECT_FATAL(t->get_tlnode(1ull << 32), "i != IRANGE::SEGMENT_INDEX_INVALID");
}

TEST(TlBlocks, MuxModuleWithInstancesIsNoBlock) {
    DEVICE d;
    TLBLOCKS_BUILDER t;
    t.set_hierarchy(d.hierarchy.get());
    t.add_mux_module(1, 5);
    t.add_instance(1, 1, sym("uidA0"));
    t.finish();
    EXPECT_EQ(t.get_n_tlblocks(), 0);
    EXPECT_EQ(t.get_tlnode(1), ~0ull);
    SYM uid;
    t.get_uid(uid, 1);
    EXPECT_EQ(uid, sym("uidA0"));
}

TEST(TlBlocks, FatalCases) {
    DEVICE d;
    {
        TLBLOCKS_BUILDER t;
        t.add_instance(3, 1, sym("u"));
        EXPECT_FATAL(t.add_mux_module(3, 1), "p.second");
        EXPECT_FATAL(t.add_instance(4, 1, sym("v")), "p.second");
        t.add_mux_module(5, 2);
        EXPECT_FATAL(t.add_mux_module(5, 2), "p.second");
        EXPECT_FATAL(t.get_n_tlblocks(), "m_seal");
        std::ostringstream out;
        EXPECT_FATAL(t.write(out, UTIL::PB_BIN), "m_seal");
    }
    std::unique_ptr<TLBLOCKS_BUILDER> t = d.make();
    EXPECT_FATAL(t->finish(), "!m_seal");
    EXPECT_FATAL(t->add_mux_module(50, 1), "!m_seal");
    EXPECT_FATAL(t->add_instance(50, 99, sym("w")), "!m_seal");
    std::vector<SYM> names;
    EXPECT_FATAL(t->add_subpath(3, names), "!m_seal");
    EXPECT_FATAL(t->set_hierarchy(d.hierarchy.get()), "!m_seal");
    std::istringstream in("");
    EXPECT_FATAL(t->read(in, UTIL::PB_BIN), "!m_seal");
    TLBLOCKS_BUILDER no_file;
    EXPECT_FATAL(no_file.read(in, UTIL::PB_BIN), "m_symbol_file != NULL");
    // Path indexes of a module's settings must run from 0 to n - 1.
    TLBLOCKS_BUILDER gap;
    std::vector<TL_SETTING_PAIR> pairs;
    gap.add_settings(3, 1, pairs);
    std::vector<std::vector<TL_SETTING_PAIR>> settings;
    EXPECT_THROW(gap.get_settings(settings, 3), std::out_of_range);
}

TEST(TlBlocks, FileRoundTrip) {
    DEVICE d;
    std::unique_ptr<TLBLOCKS_BUILDER> t = d.make();
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        // The table's symbols become ids of the file's own section.
        const SECTIONED_FILE file = write_with_section(
            test_table(), format, [&](UTIL::SYMBOL_FILE& symbols, std::ostream& out) {
                t->set_symbol_file(&symbols);
                return t->write(out, format);
            });
        UTIL::SYMBOL_FILE symbols;
        TLBLOCKS_BUILDER back;
        back.set_hierarchy(d.hierarchy.get());
        back.set_symbol_file(&symbols);
        ASSERT_TRUE(read_with_section(file.all(), format, symbols, back, test_table()));
        EXPECT_EQ(printed(back, 3), printed(*t, 3));
    }
}

TEST(TlBlocks, PrintForms) {
    DEVICE d;
    std::unique_ptr<TLBLOCKS_BUILDER> t = d.make();
    EXPECT_EQ(printed(*t, 4),
              "TLBLOCKS_STATISTICS {\n"
              "   num tlblocks (hierarchical size) = 3\n"
              "   num uids (flattened size)  = 4\n"
              "}");
    EXPECT_EQ(printed(*t, 1),
              "TLBLOCKS {\n"
              "   mux modules = { 3 4 }\n"
              "   m_tlblocks = {\n"
              "      [0] = TLBLOCK {\n"
              "         m_module_index = 1 (blkA)\n"
              "         m_tlattributes = {\n"
              "            [0] = [1:/m0]\n"
              "            [1] = [7:/m1]\n"
              "         }\n"
              "         m_subnode_to_tlattribute_index = {1->0 7->1 }\n"
              "      }\n"
              "      [1] = TLBLOCK {\n"
              "         m_module_index = 2 (blkB)\n"
              "         m_tlattributes = {\n"
              "            [0] = [1:/q]\n"
              "         }\n"
              "         m_subnode_to_tlattribute_index = {1->0 }\n"
              "      }\n"
              "      [2] = TLBLOCK {\n"
              "         m_module_index = 8 (blkC)\n"
              "         m_tlattributes = {\n"
              "         }\n"
              "         m_subnode_to_tlattribute_index = {}\n"
              "      }\n"
              "   }\n"
              "   m_node_to_uid = {\n"
              "      [1:/b0] = uidA0\n"
              "      [17:/b1] = uidA1\n"
              "      [33:/b2] = uidB\n"
              "      [40:/c] = uidC\n"
              "   }\n"
              "}");
    EXPECT_EQ(printed(t->get_tlblock(0).get_tlattribute(0), 3),
              "[1:/m0], mux_index = 10, module_index = 3, tlblocks_index = 0\n"
              "SUBATTRIBUTES {\n"
              "   [0] = SUBATTRIBUTE {m_subpath = s}\n"
              "   [1] = SUBATTRIBUTE {m_subpath = s/deep}\n"
              "}\n"
              "PATH[0] {\n"
              "   subattribute_index = 0 setting = V0\n"
              "   subattribute_index = 1 setting = W0\n"
              "}\n"
              "PATH[1] {\n"
              "   subattribute_index = 0 setting = V1\n"
              "}");
    EXPECT_EQ(text_of(t->get_tlblock(1).get_tlinstance(0)),
              "TLINSTANCE {\n   m_uid = uidB\n   m_node = 33\n}");
}
