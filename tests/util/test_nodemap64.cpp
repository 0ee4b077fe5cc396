// Node map: the forward and reverse tables, the seal, the cell-wise file form (exact records),
// a random map with every kind of alias before and after a round trip, cut and damaged files,
// bad GIDs and the print forms.
#include <gtest/gtest.h>

#include <google/protobuf/io/zero_copy_stream_impl.h>

#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>

#include "gid_grid.h"
#include "nlg_builders.h"
#include "mem_modules.h"
#include "nodemap.pb.h"
#include "print_form.h"
#include "util/util_nodemap64.h"
#include "symbol_section.h"

using NS_SYMBOL::SYM;
using PB::GID_TYPE;
using UTIL::ALIASES_BUILDER;
using UTIL::GID64_BUILDER;
using UTIL::NODEMAP64;

namespace {

constexpr uint64_t NONE = static_cast<uint64_t>(-1);

// Grids share the hierarchy's table, so that GIDs and paths print from one table.
struct GIDS : GID_GRID {
    GIDS(uint32_t nx, uint32_t ny, uint32_t nz) : GID_GRID(nx, ny, nz, TEST_HIER::test_table()) {}
};

// A node map in the filling state over the grid of `gids`.
std::unique_ptr<NODEMAP64> filling(GIDS& gids) {
    std::unique_ptr<NODEMAP64> map(new NODEMAP64());
    uint32_t nx, ny, nz;
    gids.m_builder->get_dimensions(nx, ny, nz);
    map->set_dimensions(nx, ny, nz);
    map->set_gid_builder(gids.m_builder.get());
    return map;
}

std::unique_ptr<NODEMAP64> read_back(GIDS& gids, const std::string& file, uint32_t format) {
    std::unique_ptr<NODEMAP64> map(new NODEMAP64());
    map->set_gid_builder(gids.m_builder.get());
    std::istringstream in(file);
    EXPECT_TRUE(map->read(in, format));
    return map;
}

// Reads a file into a fresh map over the grid of `gids`; for cut and damaged files.
void read_file(GIDS& gids, const std::string& data, uint32_t format = UTIL::PB_BIN) {
    NODEMAP64 map;
    map.set_gid_builder(gids.m_builder.get());
    std::istringstream in(data);
    map.read(in, format);
}

// A binary file of a head with the given grid and the given cells.
std::string file_of(uint32_t nx, uint32_t ny, uint32_t nz,
                    const std::vector<PB::UTIL::KEY_NODES64>& cells = {}) {
    std::ostringstream out;
    PB::UTIL::NODEMAP64 head;
    head.set_nx(nx);
    head.set_ny(ny);
    head.set_nz(nz);
    UTIL::write_message(head, out, UTIL::PB_BIN);
    for (const auto& cell : cells) UTIL::write_message(cell, out, UTIL::PB_BIN);
    return out.str();
}

}  // namespace

// Queries are swept by the random map below; here the states, the refusals and bad GIDs.
TEST(NodeMap, StatesAndBadGids) {
    GIDS gids(3, 2, 1);
    auto map = filling(gids);
    const uint64_t gid = gids.h5(1, 1, 0, 0);
    map->add_node(gid, 7);
    // A second node on an existing GID: the key keeps its first resource.
    map->add_node(gid, 8);
    EXPECT_EQ(map->get_n_cnodes(), 2u);
    uint64_t cached, driver;
    EXPECT_FATAL(map->get_gid(7), "m_seal");
    EXPECT_FATAL(map->get_nodes(cached, driver, gid), "m_seal");
    EXPECT_FATAL(map->add_node(gid, 8), "p.second");
    map->seal();
    EXPECT_FATAL(map->seal(), "!m_seal");
    ASSERT_TRUE(map->get_nodes(cached, driver, gid));
    EXPECT_EQ(cached, 7u);
    EXPECT_EQ(map->get_gid(8), gid);
    EXPECT_EQ(map->get_driver_node(gids.h5(2, 1, 0, 5)), NONE);
    // Type index past the table, cell index past the grid, the invalid GID.
    EXPECT_THROW(map->get_nodes(cached, driver, uint64_t(7) << 17), std::out_of_range);
    EXPECT_THROW(map->get_nodes(cached, driver, uint64_t(6) << 34), std::out_of_range);
    EXPECT_THROW(map->get_driver_node(uint64_t(6) << 34), std::out_of_range);
    EXPECT_FATAL(map->get_nodes(cached, driver, NONE), "value != GID64::VALUE_INVALID");
    EXPECT_FATAL(map->set_dimensions(1, 1, 1), "m_nx == (uint32_t) -1");
    map->set_hierarchy(nullptr);
    NODEMAP64 empty;
    std::ostringstream out;
    EXPECT_FATAL(empty.write(out, UTIL::PB_BIN), "m_nx != (uint32_t) -1");
    std::istringstream in(written(*map, UTIL::PB_BIN));
    EXPECT_FATAL(map->read(in, UTIL::PB_BIN), "m_nx == (uint32_t) -1");
    // A GID outside the grid cannot be added.
    auto other = filling(gids);
    EXPECT_THROW(other->add_node(uint64_t(6) << 34, 1), std::out_of_range);
}

TEST(NodeMap, FileHoldsOneMessagePerCellWithSortedKeys) {
    // Grid 2 x 1 x 2: cell (0,0,1) holds keys of i 9 and 2, cell (1,0,0) one aliased node.
    GIDS gids(2, 1, 2);
    auto map = filling(gids);
    map->add_node(gids.h5(0, 0, 1, 9), 90);
    map->add_node(gids.h5(0, 0, 1, 2), 20);
    map->add_node(gids.h5(1, 0, 0, 1), 10);
    ALIASES_BUILDER aliases;
    aliases.add_driver(11);
    aliases.add_alias(10);
    aliases.add_connection(10, 11);
    map->apply_aliases(aliases);
    map->seal();

    std::istringstream in(written(*map, UTIL::PB_BIN));
    google::protobuf::io::IstreamInputStream stream(&in);
    PB::UTIL::NODEMAP64 head;
    ASSERT_TRUE(UTIL::read_message(&stream, &head, UTIL::PB_BIN));
    EXPECT_EQ(head.nx() * 100 + head.ny() * 10 + head.nz(), 212u);
    std::vector<PB::UTIL::KEY_NODES64> cells(4);
    for (auto& cell : cells) ASSERT_TRUE(UTIL::read_message(&stream, &cell, UTIL::PB_BIN));
    PB::UTIL::KEY_NODES64 extra;
    EXPECT_FALSE(UTIL::read_message(&stream, &extra, UTIL::PB_BIN));
    std::string text;
    for (const auto& cell : cells) text += cell.ShortDebugString() + "|";
    // Keys are the GIDs without their cell: type index above bit 17, i below.
    EXPECT_EQ(text,
              "|key_nodes { key: 524290 cached_node: 20 } key_nodes { key: 524297 cached_node: 90 }"
              "|key_nodes { key: 524289 cached_node: 10 driver_node: 11 }||");
}

namespace {

// A random map over an 8 x 6 x 2 grid: ~4000 resources of random cells and types with
// distinct i per (cell, type). A tenth of the nodes are declared drivers, a quarter are
// aliases of a fresh driver, a tenth sit on a net of two drivers, a twentieth share a driver
// with the node before; the rest have no alias.
struct RANDOM_MAP {
    std::unique_ptr<NODEMAP64> m_map;
    std::vector<uint64_t> m_gids;
    std::vector<uint64_t> m_nodes;
    std::set<uint64_t> m_second_drivers;
    std::set<uint64_t> m_shared_drivers;
    ALIASES_BUILDER m_aliases;

    explicit RANDOM_MAP(GIDS& gids) : m_map(filling(gids)) {
        std::mt19937 rng(12345);
        std::map<std::tuple<uint32_t, uint32_t, uint32_t, int>, uint32_t> next_i;
        uint64_t node = 1000;
        uint64_t fresh = 1u << 30;
        for (int n = 0; n < 4000; ++n) {
            uint32_t x = rng() % 8, y = rng() % 6, z = rng() % 2;
            int type = static_cast<int>(rng() % 3);
            uint32_t i = next_i[{x, y, z, type}]++;
            uint64_t gid = type == 2 ? gids.m_builder->make_gid64(x, y, z, i, GID_TYPE::RE,
                                                                  gids.sym("CLOCK_SPINE"), -1)
                                     : gids.m_builder->make_gid64(x, y, z, i, GID_TYPE::GLOBAL,
                                                                  gids.sym("H"), 1 + 4 * type);
            node += 1 + rng() % 5;
            m_map->add_node(gid, node);
            m_gids.push_back(gid);
            m_nodes.push_back(node);
            unsigned kind = rng() % 20;
            if (kind < 2) {
                m_aliases.add_driver(node);
            } else if (kind < 7) {
                connect(node, ++fresh);
            } else if (kind < 9) {
                connect(node, ++fresh);
                m_aliases.add_driver(++fresh);
                m_aliases.add_connection(node, fresh);
                m_second_drivers.insert(fresh);
            } else if (kind == 9 && n > 0) {
                connect(node, fresh);
                m_shared_drivers.insert(m_aliases.get_driver(node));
            }
        }
        m_map->apply_aliases(m_aliases);
        m_map->seal();
    }
    void connect(uint64_t alias, uint64_t driver) {
        m_aliases.add_driver(driver);
        m_aliases.add_alias(alias);
        m_aliases.add_connection(alias, driver);
    }
};

}  // namespace

TEST(NodeMap, RandomMapRoundTripsInBothFormats) {
    GIDS gids(8, 6, 2);
    RANDOM_MAP r(gids);
    // GIDs that nobody added: past the last i of a (cell, type).
    std::vector<uint64_t> absent;
    for (uint32_t x = 0; x < 8; ++x) absent.push_back(gids.h5(x, 5, 1, 5000));

    // The aliases moved the forward keys: a GID is known under its resource's driver, an
    // alias's own node knows none. Before writing every driver of a multiply driven net knows
    // it; after reading only the stored driver does, and a shared driver knows one of its GIDs,
    // whose resource has that driver.
    auto check = [&](NODEMAP64& map) {
        for (size_t n = 0; n < r.m_gids.size(); ++n) {
            uint64_t c = 0, d = 0, c1 = 0, d1 = 0;
            ASSERT_TRUE(map.get_nodes(c, d, r.m_gids[n]));
            ASSERT_TRUE(r.m_map->get_nodes(c1, d1, r.m_gids[n]));
            EXPECT_EQ(c, r.m_nodes[n]);
            EXPECT_EQ(d, d1);
            if (r.m_shared_drivers.count(d) == 0) {
                EXPECT_EQ(map.get_gid(d), r.m_gids[n]);
            } else {
                EXPECT_EQ(map.get_driver_node(map.get_gid(d)), d);
            }
            if (d != c) {
                EXPECT_EQ(map.get_gid(c), NONE);
            }
        }
    };
    check(*r.m_map);
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        auto fresh = read_back(gids, written(*r.m_map, format), format);
        EXPECT_TRUE(fresh->is_sealed());
        EXPECT_EQ(fresh->get_n_cnodes(), r.m_gids.size());
        check(*fresh);
        // After reading, only the stored driver of a multiply driven net knows its GID.
        for (uint64_t second : r.m_second_drivers) {
            EXPECT_NE(r.m_map->get_gid(second), NONE);
            EXPECT_EQ(fresh->get_gid(second), NONE);
        }
        for (uint64_t gid : absent) {
            uint64_t c = 0, d = 0;
            EXPECT_FALSE(r.m_map->get_nodes(c, d, gid));
            EXPECT_FALSE(fresh->get_nodes(c, d, gid));
        }
    }
    EXPECT_FALSE(r.m_second_drivers.empty());
    EXPECT_FALSE(r.m_shared_drivers.empty());
}

TEST(NodeMap, CutAndDamagedFilesEndTheProcess) {
    GIDS gids(8, 6, 2);
    RANDOM_MAP r(gids);
    const std::string file = written(*r.m_map, UTIL::PB_BIN);
    auto read_cut = [&](const std::string& data) { read_file(gids, data); };
    EXPECT_FATAL(read_cut(""), "Error reading pb_nodemap");
    EXPECT_FATAL(read_cut(file.substr(0, 3)), "Error reading pb_nodemap");
    for (size_t cut : {size_t(12), file.size() / 3, file.size() / 2, file.size() - 1}) {
        EXPECT_FATAL(read_cut(file.substr(0, cut)), "Error reading pb_key_nodes") << cut;
    }
    const std::string text = written(*r.m_map, UTIL::PB_TXT);
    EXPECT_FATAL(read_file(gids, text.substr(0, text.size() - 10), UTIL::PB_TXT),
                 "Error reading pb_key_nodes");

    // Hand-made damage: a head with an impossible grid, a key beyond 34 bits, a key twice.
    EXPECT_FATAL(read_cut(file_of(0xffffffffu, 1, 1)), "Error reading pb_nodemap");
    PB::UTIL::KEY_NODES64 wide;
    auto* entry = wide.add_key_nodes();
    entry->set_key(uint64_t(1) << 40);
    entry->set_cached_node(1);
    EXPECT_EXIT(
        {
            std::cout.rdbuf(std::cerr.rdbuf());
            read_cut(file_of(1, 1, 1, {wide}));
        },
        testing::ExitedWithCode(255), "^Mask = 0x3ffffffff Illegal k = 0x10000000000\n");
    PB::UTIL::KEY_NODES64 twice;
    for (int n = 0; n < 2; ++n) {
        auto* e = twice.add_key_nodes();
        e->set_key(5);
        e->set_cached_node(static_cast<uint64_t>(n));
    }
    EXPECT_FATAL(read_cut(file_of(1, 1, 1, {twice})), "p.second");
}

// The head's grid is taken before any cell is read. A damaged head that claims a billion cells
// in a file of a few bytes ends at the end of the file, without first making a map per cell.
TEST(NodeMap, HugeGridInHeadIsNotBuiltBeforeItsCellsAreRead) {
    GIDS gids(2, 1, 1);
    EXPECT_FATAL(read_file(gids, file_of(1u << 15, (1u << 15) - 1, 1, {{}, {}})),
                 "Error reading pb_key_nodes");
}

// A grid with no cells, because one dimension is 0, reads as an empty table at once, however
// large the other two dimensions are.
TEST(NodeMap, ZeroDimensionDoesNotSpinOverTheOtherTwo) {
    GIDS gids(2, 1, 1);
    for (int zero = 0; zero < 3; ++zero) {
        const std::string file = file_of(zero == 0 ? 0 : 0xffffffffu, zero == 1 ? 0 : 0xffffffffu,
                                         zero == 2 ? 0 : 0xffffffffu);
        std::unique_ptr<NODEMAP64> map = read_back(gids, file, UTIL::PB_BIN);
        EXPECT_TRUE(map->is_sealed()) << zero;
        EXPECT_EQ(map->get_n_cnodes(), 0u) << zero;
    }
}

namespace {

// top holds u : leaf; leaf has 40 ports p0..p39. Nodes: top 0, u 1, u:p0..u:p39 2..41.
void build_ports(TEST_HIER::MEM_MODULES& m) {
    std::string text = "top: u:leaf; leaf:";
    for (int p = 0; p < 40; ++p) text += " p" + std::to_string(p);
    TEST_HIER::add_modules(m, text);
}

}  // namespace

TEST(NodeMap, PrintForms) {
    TEST_HIER::MEM_MODULES modules;
    build_ports(modules);
    UTIL::HIERARCHY hierarchy(&modules);
    GIDS gids(2, 1, 1);
    auto map = filling(gids);
    EXPECT_FATAL(printed<UTIL::INODEMAP>(*map, 1), "nodemap.m_hierarchy != NULL");
    map->set_hierarchy(&hierarchy);
    EXPECT_FATAL(map->set_hierarchy(&hierarchy), "m_hierarchy == NULL");
    // Node 2 has no alias; node 3 is an alias on a net driven by 1 and 0.
    map->add_node(gids.h5(0, 0, 0, 0), 2);
    map->add_node(gids.h5(1, 0, 0, 1), 3);
    ALIASES_BUILDER aliases;
    aliases.add_driver(1);
    aliases.add_driver(0);
    aliases.add_alias(3);
    aliases.add_connection(3, 1);
    aliases.add_connection(3, 0);
    map->apply_aliases(aliases);
    map->seal();
    EXPECT_EQ(printed<UTIL::INODEMAP>(*map, 2),
              "INODEMAP {\n"
              "   m_nx = 2\n"
              "   m_ny = 1\n"
              "   m_nz = 1\n"
              "   m_node_to_gid = (3){\n"
              "      [0:]->H5:X1Y0Z0I1*\n"
              "      [1:/u]->H5:X1Y0Z0I1*\n"
              "      [2:/u:p0]->H5:X0Y0Z0I0\n"
              "   }\n"
              "   m_xyz_to_cnode_index = {\n"
              "      524288->[cached = 2:/u:p0],[driver = 2:/u:p0]\n"
              "      524289->[cached = 3:/u:p1],[driver = 1:/u]\n"
              "   }\n"
              "}\n");
    EXPECT_EQ(printed<UTIL::INODEMAP>(*map, 4),
              "INODEMAP_STATISTICS {\n"
              "   m_nx = 2\n"
              "   m_ny = 1\n"
              "   m_nz = 1\n"
              "}\n");
}

TEST(NodeMap, PrintCutsLongListsBelowDetailThree) {
    TEST_HIER::MEM_MODULES modules;
    build_ports(modules);
    UTIL::HIERARCHY hierarchy(&modules);
    GIDS gids(1, 1, 1);
    auto map = filling(gids);
    map->set_hierarchy(&hierarchy);
    for (uint32_t n = 0; n < 40; ++n) map->add_node(gids.h5(0, 0, 0, n), 2 + n);
    map->seal();
    std::string two = printed<UTIL::INODEMAP>(*map, 2);
    EXPECT_EQ(count_of(two, "]->H5"), 34u);
    EXPECT_EQ(count_of(two, "...\n"), 1u);
    EXPECT_EQ(count_of(two, "[cached = "), 40u);
    std::string three = printed<UTIL::INODEMAP>(*map, 3);
    EXPECT_EQ(count_of(three, "]->H5"), 40u);
    EXPECT_EQ(count_of(three, "..."), 0u);
    EXPECT_NE(three.find("[41:/u:p39]->H5:X0Y0Z0I39\n"), std::string::npos);
}
