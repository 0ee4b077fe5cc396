// Edge cache: compact layout on a hand-checked module, lazy source maps, cut and corrupt files,
// print forms, and random modules against plain lists of fedges before and after a round trip.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <sstream>

#include "edgecache.pb.h"
#include "nlg_builders.h"
#include "print_form.h"
#include "util/util_edgecache.h"
#include "symbol_section.h"

using UTIL::EC_GRAPH;
using UTIL::EDGECACHE_BUILDER;
using UTIL::FEDGE;
using UTIL::PB_BIN;
using UTIL::PB_TXT;

namespace {

FEDGE fe(uint64_t src, uint64_t dst, uint16_t ipath, uint16_t mux) {
    return {src, dst, ipath, mux};
}

// A module's fedges from a plain vector.
class VECTOR_FEDGES : public UTIL::IEDGECACHE::IFEDGES {
  public:
    explicit VECTOR_FEDGES(std::vector<FEDGE> fedges) : m_fedges(std::move(fedges)) {}
    int32_t get_n_fedges() override { return static_cast<int32_t>(m_fedges.size()); }
    const FEDGE& get_fedge(int32_t index) override {
        m_current = m_fedges.at(static_cast<size_t>(index));
        return m_current;
    }

  private:
    std::vector<FEDGE> m_fedges;
    FEDGE m_current;
};

// Module 7: muxes 3 (into 20) and 7 (into 40); 10 and 30 only drive; 10->20 twice.
//   nodes by subnode: 10, 11, 20, 30, 40 -> indexes 0..4
std::vector<FEDGE> small_module() {
    return {fe(10, 20, 0, 3), fe(30, 40, 5, 7), fe(11, 20, 1, 3), fe(20, 40, 6, 7),
            fe(10, 20, 9, 3)};
}

// Answer of a query, or "false".
std::string query(EDGECACHE_BUILDER& cache, uint64_t src, uint64_t dst, uint32_t module) {
    FEDGE f = fe(src, dst, 111, 222);
    if (!cache.get_fedge_info(f, module)) {
        EXPECT_EQ(f.m_ipath_index, 111);
        EXPECT_EQ(f.m_mux_index, 222);
        return "false";
    }
    return std::to_string(f.m_mux_index) + "/" + std::to_string(f.m_ipath_index);
}

}  // namespace

TEST(EdgeCache, CompactLayoutOfOneModule) {
    EDGECACHE_BUILDER cache;
    VECTOR_FEDGES fedges(small_module());
    ASSERT_TRUE(cache.add_module(7, fedges));
    const EC_GRAPH* g = cache.get_graph(7);
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(cache.get_graph(8), nullptr);
    EXPECT_EQ(g->get_module_index(), 7u);
    EXPECT_EQ(printed<UTIL::IEDGECACHE>(cache, 1),
              "IEDGECACHE (1){\n"
              "   [7] = EC_GRAPH {\n"
              "      m_nodes = \n"
              "         [0] = EC_NODE { m_subnode = 10 m_mux_index = 65535 m_edge_index = 0 "
              "m_edge_count = 0 }\n"
              "         [1] = EC_NODE { m_subnode = 11 m_mux_index = 65535 m_edge_index = 0 "
              "m_edge_count = 0 }\n"
              "         [2] = EC_NODE { m_subnode = 20 m_mux_index = 3 m_edge_index = 0 "
              "m_edge_count = 3 }\n"
              "         [3] = EC_NODE { m_subnode = 30 m_mux_index = 65535 m_edge_index = 3 "
              "m_edge_count = 0 }\n"
              "         [4] = EC_NODE { m_subnode = 40 m_mux_index = 7 m_edge_index = 3 "
              "m_edge_count = 2 }\n"
              "      m_edges = \n"
              "         [0] = EC_EDGE { m_ipath_index = 0 m_src_index = 0 }\n"
              "         [1] = EC_EDGE { m_ipath_index = 1 m_src_index = 1 }\n"
              "         [2] = EC_EDGE { m_ipath_index = 9 m_src_index = 0 }\n"
              "         [3] = EC_EDGE { m_ipath_index = 5 m_src_index = 3 }\n"
              "         [4] = EC_EDGE { m_ipath_index = 6 m_src_index = 2 }\n"
              "   }\n"
              "}");
    EXPECT_EQ(printed<UTIL::IEDGECACHE>(cache, 4),
              "IEDGECACHE_STATISTICS (n_nodes = 5, n_edges = 5) { [7] = (nodes = 5, edges = 5)}");
}

TEST(EdgeCache, LazySourceMapsAndSecondAdd) {
    EDGECACHE_BUILDER cache;
    VECTOR_FEDGES fedges(small_module());
    ASSERT_TRUE(cache.add_module(7, fedges));
    // The answers are checked on random modules; here, what they do not show. A repeated query
    // goes through the source map made by the first, and most nodes are never queried: only the
    // destinations asked for (20, 40, and 10 as 20 -> 10) get a source map.
    for (auto [src, dst] : std::vector<std::pair<uint64_t, uint64_t>>{
             {10, 20}, {11, 20}, {30, 40}, {20, 10}, {10, 20}})
        query(cache, src, dst, 7);
    EXPECT_EQ(query(cache, 10, 20, 7), "3/0");
    EXPECT_EQ(query(cache, 10, 20, 8), "false");
    size_t with_map = 0;
    for (const UTIL::EC_NODE& node : cache.get_graph(7)->get_nodes())
        with_map += node.m_src_index_to_edge != nullptr;
    EXPECT_EQ(with_map, 3u);
    // A second add of the module is refused and changes nothing.
    VECTOR_FEDGES other({fe(1, 2, 0, 0)});
    EXPECT_FALSE(cache.add_module(7, other));
    EXPECT_EQ(cache.get_graph(7)->get_nodes().size(), 5u);
    EXPECT_EQ(query(cache, 1, 2, 7), "false");
}

TEST(EdgeCache, TwoMuxesIntoOneDestinationEndTheProcess) {
    EDGECACHE_BUILDER cache;
    VECTOR_FEDGES fedges({fe(1, 5, 0, 2), fe(2, 6, 0, 1), fe(3, 5, 1, 4)});
    EXPECT_FATAL(cache.add_module(0, fedges), "node.m_mux_index == fedge.m_mux_index");
}

TEST(EdgeCache, CutFilesEndTheProcess) {
    EDGECACHE_BUILDER cache;
    VECTOR_FEDGES a(small_module()), b({fe(5, 1, 2, 0)});
    ASSERT_TRUE(cache.add_module(7, a));
    ASSERT_TRUE(cache.add_module(9, b));
    for (uint32_t format : {PB_BIN, PB_TXT}) {
        const std::string bytes = written(cache, format);
        PB::UTIL::EDGECACHE head;
        head.add_modules(7);
        head.add_modules(9);
        std::ostringstream head_out;
        ASSERT_TRUE(UTIL::write_message(head, head_out, format));
        const size_t head_size = head_out.str().size();
        // Cuts in the head, then in the graphs.
        for (size_t cut : {size_t(0), head_size / 2, head_size - 1, head_size, head_size + 5,
                           bytes.size() - 1}) {
            EXPECT_EXIT(
                {
                    EDGECACHE_BUILDER back;
                    std::istringstream in(bytes.substr(0, cut));
                    back.read(in, format);
                },
                testing::ExitedWithCode(255),
                cut < head_size ? "  Error reading pb_edgecache \n" : "  Error reading pb_graph \n")
                << cut;
        }
    }
}

TEST(EdgeCache, CorruptGraphsEndTheProcess) {
    // Each case breaks one invariant of a stored graph of two nodes and one edge.
    auto file_with = [](const std::function<void(PB::UTIL::EC_GRAPH&)>& spoil) {
        PB::UTIL::EDGECACHE head;
        head.add_modules(1);
        PB::UTIL::EC_GRAPH g;
        merge_text(g,
                   "nodes { subnode: 3 mux_index: 65535 edge_index: 0 edge_count: 0 }"
                   "nodes { subnode: 4 mux_index: 2 edge_index: 0 edge_count: 1 }"
                   "edges { ipath_index: 1 src_index: 0 }");
        spoil(g);
        std::ostringstream out;
        UTIL::write_message(head, out, PB_BIN);
        UTIL::write_message(g, out, PB_BIN);
        return out.str();
    };
    auto read = [](const std::string& bytes) {
        EDGECACHE_BUILDER back;
        std::istringstream in(bytes);
        back.read(in, PB_BIN);
        FEDGE f = fe(3, 4, 0, 0);
        return back.get_fedge_info(f, 1) && f.m_ipath_index == 1 && f.m_mux_index == 2;
    };
    EXPECT_TRUE(read(file_with([](PB::UTIL::EC_GRAPH&) {})));
    const std::vector<std::function<void(PB::UTIL::EC_GRAPH&)>> spoils = {
        [](PB::UTIL::EC_GRAPH& g) { g.mutable_edges(0)->set_src_index(2); },
        [](PB::UTIL::EC_GRAPH& g) { g.mutable_nodes(1)->set_edge_count(2); },
        [](PB::UTIL::EC_GRAPH& g) { g.mutable_nodes(1)->set_edge_index(1); },
        [](PB::UTIL::EC_GRAPH& g) { g.mutable_nodes(1)->set_subnode(3); },
        [](PB::UTIL::EC_GRAPH& g) { g.mutable_nodes(1)->set_mux_index(65536); },
        [](PB::UTIL::EC_GRAPH& g) { g.mutable_edges(0)->set_ipath_index(70000); },
        [](PB::UTIL::EC_GRAPH& g) { g.add_edges(); },
    };
    for (const auto& spoil : spoils) {
        EXPECT_FATAL(read(file_with(spoil)), "Error reading pb_graph");
    }
    // A module listed twice.
    PB::UTIL::EDGECACHE head;
    head.add_modules(1);
    head.add_modules(1);
    std::ostringstream out;
    UTIL::write_message(head, out, PB_BIN);
    EXPECT_FATAL(read(out.str()), "Error reading pb_edgecache");
    // The good graph laid out as other writers may: its edge first, with its source given
    // twice (the later value counts), then its nodes, then a field this schema does not know.
    PB::UTIL::EC_GRAPH nodes;
    merge_text(nodes,
               "nodes { subnode: 3 mux_index: 65535 edge_index: 0 edge_count: 0 }"
               "nodes { subnode: 4 mux_index: 2 edge_index: 0 edge_count: 1 }");
    const std::string body =
        std::string("\x12\x06\x08\x01\x10\x07\x10\x00", 8) + nodes.SerializeAsString() + "\x48\x05";
    head.clear_modules();
    head.add_modules(1);
    std::ostringstream laid_out;
    UTIL::write_message(head, laid_out, PB_BIN);
    EXPECT_TRUE(read(laid_out.str() + char(body.size()) + body));
}

TEST(EdgeCache, RandomModulesAgainstPlainLists) {
    // Modules of random fedges over a few subnodes, one of them empty; each destination has one
    // mux. Every (src, dst) pair is checked against the first matching fedge, before and after
    // a file in each format; the file keeps empty modules, lists modules ascending and is
    // written again byte for byte.
    std::mt19937 rng(7);
    EDGECACHE_BUILDER cache;
    std::map<uint32_t, std::vector<FEDGE>> lists;
    for (uint32_t m : {7, 0, 3, 12, 6, 9, 2, 11, 1, 4, 5, 8, 10, 13, 14, 15, 16, 17, 18, 19}) {
        const uint64_t span = 1 + rng() % 40;
        const size_t n = m == 3 ? 0 : rng() % 200;
        std::vector<FEDGE> list;
        for (size_t i = 0; i < n; ++i) {
            uint64_t s = 1000 + rng() % span, d = 1000 + rng() % span;
            list.push_back(
                fe(s, d, static_cast<uint16_t>(rng() % 50), static_cast<uint16_t>(d % 13)));
        }
        VECTOR_FEDGES fedges(list);
        ASSERT_TRUE(cache.add_module(m * 3, fedges));
        lists[m * 3] = list;
    }
    const std::string before_queries = written(cache, PB_BIN);
    for (uint32_t format : {PB_BIN, PB_TXT}) {
        const std::string bytes = written(cache, format);
        std::istringstream in(bytes);
        EDGECACHE_BUILDER back;
        ASSERT_TRUE(back.read(in, format));
        EXPECT_EQ(written(back, format), bytes);
        EXPECT_EQ(printed<UTIL::IEDGECACHE>(back, 1), printed<UTIL::IEDGECACHE>(cache, 1));
        ASSERT_NE(back.get_graph(9), nullptr);
        EXPECT_TRUE(back.get_graph(9)->get_nodes().empty());
        std::vector<uint32_t> modules;
        for (const auto& entry : lists) modules.push_back(entry.first);
        EXPECT_EQ(back.get_module_indexes(), modules);
        for (const auto& [m, list] : lists) {
            for (uint64_t s = 1000; s < 1040; ++s) {
                for (uint64_t d = 1000; d < 1040; ++d) {
                    std::string expected = "false";
                    for (const FEDGE& f : list) {
                        if (f.m_src == s && f.m_dst == d) {
                            expected = std::to_string(f.m_mux_index) + "/" +
                                       std::to_string(f.m_ipath_index);
                            break;
                        }
                    }
                    ASSERT_EQ(query(cache, s, d, m), expected) << m << " " << s << " " << d;
                    ASSERT_EQ(query(back, s, d, m), expected) << m << " " << s << " " << d;
                }
            }
        }
    }
    // The lazy source maps made by the queries are no part of the file.
    EXPECT_EQ(written(cache, PB_BIN), before_queries);
    EDGECACHE_BUILDER none;
    EXPECT_EQ(written(none, PB_BIN), std::string(1, '\0'));
}

TEST(EdgeCache, KeyIndexAgainstStdMap) {
    // Random 64-bit keys (some all ones, some small) stored at positions of a key array, with
    // growth from an empty map, and a map sized up front for positions of a wide range.
    std::mt19937_64 rng(3);
    for (size_t n : {0, 1, 2, 3, 5, 100, 5000}) {
        std::vector<uint64_t> keys;
        std::map<uint64_t, uint32_t> expected;
        UTIL::EC_INDEX grown;
        auto key_at = [&keys](uint32_t p) { return keys[p]; };
        for (size_t i = 0; i < n; ++i) {
            uint64_t key = (i % 3 == 0) ? rng() : (i % 3 == 1) ? rng() % 64 : ~0ull - rng() % 4;
            if (expected.count(key)) continue;
            expected[key] = static_cast<uint32_t>(keys.size());
            keys.push_back(key);
            grown.insert(key, static_cast<uint32_t>(keys.size() - 1), key_at);
        }
        EXPECT_EQ(grown.size(), keys.size());
        UTIL::EC_INDEX sized;
        sized.reset(keys.size(), 3000000000u);  // positions need all 32 bits: no tag
        auto wide_at = [&keys](uint32_t p) { return keys[p - 2999990000u]; };
        for (size_t p = 0; p < keys.size(); ++p)
            sized.insert(keys[p], static_cast<uint32_t>(p + 2999990000u), wide_at);
        for (const auto& [key, p] : expected) {
            EXPECT_EQ(grown.find(key, key_at), p);
            EXPECT_EQ(sized.find(key, wide_at), p + 2999990000u);
        }
        for (int i = 0; i < 1000; ++i) {
            uint64_t key = rng() % 200 + 64;
            if (!expected.count(key)) {
                EXPECT_EQ(grown.find(key, key_at), UTIL::EC_INDEX::ABSENT);
                EXPECT_EQ(sized.find(key, wide_at), UTIL::EC_INDEX::ABSENT);
            }
        }
    }
}
