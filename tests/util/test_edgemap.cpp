// Two-level edge map over the fixture's partition {A}: shared sub-edges, map states, the file
// form and its cuts.
#include <gtest/gtest.h>

#include <sstream>

#include "edgemap.pb.h"
#include "mem_modules.h"
#include "print_form.h"
#include "util/util_edgemap.h"
#include "util/util_protobuf.h"

using UTIL::EDGE_KEY;
using UTIL::EDGEMAP;

namespace {

struct EDGEMAP_FIXTURE : MODULES_FIXTURE {
    std::unique_ptr<UTIL::IHIERARCHY::IPARTITIONS> m_partitions{m_hierarchy->create_partitions()};
    EDGEMAP_FIXTURE() { EXPECT_TRUE(m_partitions->set_partitions({1})); }
};

// Edges: 0->13 and 11->12 at the top, z->x inside both occurrences of A, a0.x->a1.x across.
void fill(EDGEMAP& map) {
    EXPECT_NE(map.add_edge({0, 13}, {1, 0}), nullptr);
    EXPECT_NE(map.add_edge({11, 12}, {2, 1}), nullptr);
    EXPECT_NE(map.add_edge({3, 4}, {5, 3}), nullptr);
    EXPECT_EQ(map.add_edge({8, 9}, {6, 6}), nullptr);  // same sub-edge (2, 3)
    EXPECT_NE(map.add_edge({4, 9}, {7, 2}), nullptr);
    EXPECT_EQ(map.add_edge({0, 13}, {9, 9}), nullptr);
    map.end_adds(0);
    map.end_adds(1);
}

void expect_answers(const EDGEMAP& map) {
    EXPECT_EQ(map.find_edge({0, 13})->get_mux_type(), 1);
    EXPECT_EQ(map.find_edge({11, 12})->get_mux_input(), 1);
    const UTIL::IEDGEMAP::IEDGEINFO* shared = map.find_edge({3, 4});
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(shared, map.find_edge({8, 9}));
    EXPECT_NE(dynamic_cast<const UTIL::SUBEDGEINFO*>(shared), nullptr);
    EXPECT_EQ(shared->get_mux_type(), 5);
    EXPECT_EQ(map.find_edge({4, 9})->get_mux_type(), 7);
    EXPECT_EQ(map.find_edge({4, 5}), nullptr);
    EXPECT_EQ(map.find_edge({1, 99}), nullptr);
}

}  // namespace

TEST(EdgeMap, SubEdgesAreSharedByOccurrences) {
    EDGEMAP_FIXTURE f;
    EDGEMAP map(f.m_partitions.get());
    EDGE_KEY subedge{77, 77};
    uint16_t occurence = 77;
    EXPECT_EQ(map.get_edge_partition(subedge, occurence, {8, 9}), 1);
    EXPECT_EQ(occurence, 1);
    EXPECT_EQ(subedge.m_node1, 2u);
    EXPECT_EQ(subedge.m_node2, 3u);
    subedge = {77, 77};
    EXPECT_EQ(map.get_edge_partition(subedge, occurence, {4, 9}), 0);
    EXPECT_EQ(subedge.m_node1, 77u);
    fill(map);
    expect_answers(map);
}

TEST(EdgeMap, ClosedAndOpenMapsEndTheProcess) {
    EDGEMAP_FIXTURE f;
    EDGEMAP map(f.m_partitions.get());
    EXPECT_EXIT(map.find_subedge(1, {2, 3}), testing::ExitedWithCode(255),
                "  !m_subedge_map_add_ok \n");
    EXPECT_EXIT(map.add_subedge(0, {2, 3}, {1, 1}), testing::ExitedWithCode(255),
                "partition_index > 0");
    map.end_adds(0);
    EXPECT_EXIT(map.add_edge({0, 13}, {1, 1}), testing::ExitedWithCode(255),
                "  m_edge_map_add_ok \n");
    EXPECT_EXIT(map.add_edge({0, 14}, {1, 1}), testing::ExitedWithCode(255),
                "partition_index != IPARTITIONS::PARTITION_INDEX_INVALID");
}

TEST(EdgeMap, FileRoundTripClosesEveryMap) {
    EDGEMAP_FIXTURE f;
    EDGEMAP map(f.m_partitions.get());
    fill(map);
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        std::ostringstream out;
        ASSERT_TRUE(map.write(out, format));
        EDGEMAP fresh(f.m_partitions.get());
        std::istringstream in(out.str());
        ASSERT_TRUE(fresh.read(in, format));
        expect_answers(fresh);
        EXPECT_EXIT(fresh.add_edge({0, 5}, {1, 1}), testing::ExitedWithCode(255),
                    "  m_edge_map_add_ok \n");
        EXPECT_EXIT(fresh.add_subedge(1, {0, 1}, {1, 1}), testing::ExitedWithCode(255),
                    "  m_subedge_map_add_ok \n");
        std::istringstream again(out.str());
        EXPECT_EXIT(fresh.read(again, format), testing::ExitedWithCode(255),
                    "m_edge_map.size\\(\\) == 0 && m_edge_map_add_ok == true");

        const std::string bytes = out.str();
        for (size_t cut = 0; cut < bytes.size(); ++cut) {
            EDGEMAP partial(f.m_partitions.get());
            std::istringstream cut_in(bytes.substr(0, cut));
            EXPECT_FALSE(partial.read(cut_in, format)) << cut;
        }
    }
}

TEST(EdgeMap, PrintForms) {
    EDGEMAP_FIXTURE f;
    EDGEMAP map(f.m_partitions.get());
    fill(map);
    const UTIL::IEDGEMAP& as_map = map;
    EXPECT_EQ(printed(as_map),
              "IEDGEMAP {\n   m_edge_map = {\n      (T: 3)\n   }\n   m_subedge_maps = {\n"
              "      (A: 1)\n   }\n}\n");
    const std::string detailed = printed(as_map, 2);
    EXPECT_NE(detailed.find("(T: 3){{[0:]->[13::p]},{[4:/a0:x]->[9:/a1:x]},"), std::string::npos)
        << detailed;
    EXPECT_EQ(printed(as_map, 4), "IEDGEMAP_STATISTICS {\n}\n");
}

// A file may name a node that the hierarchy does not have; it reads, and the detailed print
// stops at the path look-up with the look-up's own text.
TEST(EdgeMap, PrintOfAnEdgeOutsideTheHierarchyStopsWithTheLookUpText) {
    EDGEMAP_FIXTURE f;
    PB::UTIL::EDGEMAP message;
    PB::UTIL::EDGE* edge = message.add_edges();
    edge->set_node1(0);
    edge->set_node2(99);
    message.add_subedge_maps();
    message.add_subedge_maps();
    std::ostringstream out;
    ASSERT_TRUE(UTIL::write_message(message, out, UTIL::PB_BIN));
    EDGEMAP map(f.m_partitions.get());
    std::istringstream in(out.str());
    ASSERT_TRUE(map.read(in, UTIL::PB_BIN));
    EXPECT_EXIT(printed(static_cast<const UTIL::IEDGEMAP&>(map), 2), testing::ExitedWithCode(255),
                "  hierarchy\\.get_path\\(path, node\\) != "
                "IHIERARCHY::IMODULES::MODULE_INDEX_INVALID \n");
}
