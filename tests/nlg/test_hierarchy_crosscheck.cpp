// Agreement of three numberings on random designs, from every base module and on modules of
// every width up to 40: UTIL::HIERARCHY over the graph's hierarchy description, the instance
// tree as a port tree (and as an instance tree), and a naive unfolding that lists every
// occurrence in node order. Also the union of a netlist and a block-level graph against the
// naive unfolding of the union.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "nlg/nlg_hierarchy.h"
#include "nlg/nlg_instance_tree.h"
#include "nlg_sample_graphs.h"
#include "print_form.h"

using namespace NLG_TEST;

namespace {

constexpr uint32_t INVALID = UTIL::IHIERARCHY::IMODULES::MODULE_INDEX_INVALID;

// A random acyclic design: module i instantiates only modules of higher index, so that module
// 0 is the top and the last module is a leaf. Modules listed in `blocks` are never
// instantiated (they stand for block-level modules that have a netlist twin).
struct PLAN {
    std::vector<uint32_t> n_ports;
    std::vector<std::vector<uint32_t>> instances;
};

PLAN make_plan(std::mt19937& rng, uint32_t n_modules, uint32_t n_blocks) {
    PLAN plan;
    plan.n_ports.resize(n_modules);
    plan.instances.resize(n_modules);
    for (uint32_t m = 0; m < n_modules; ++m) {
        plan.n_ports[m] = std::uniform_int_distribution<uint32_t>(0, 3)(rng);
        const uint32_t first = std::max(m + 1, n_blocks);
        if (first >= n_modules) continue;
        const uint32_t n = std::uniform_int_distribution<uint32_t>(1, 3)(rng);
        // The first instance goes one level down, so that designs are as deep as they are long.
        plan.instances[m].push_back(first);
        for (uint32_t i = 1; i < n; ++i) {
            plan.instances[m].push_back(
                std::uniform_int_distribution<uint32_t>(first, n_modules - 1)(rng));
        }
    }
    return plan;
}

// Modules <prefix><i>, instances u<k>, ports p<k> with random directions, in a new table.
NLG_GRAPH* build(const PLAN& plan, const std::string& prefix, std::mt19937& rng) {
    const uint32_t n = static_cast<uint32_t>(plan.n_ports.size());
    NLG_GRAPH* g = new NLG_GRAPH(nullptr, prefix.c_str(), n);
    std::vector<NLG_MODULE*> modules;
    for (uint32_t m = 0; m < n; ++m) {
        modules.push_back(add_module(*g, prefix + std::to_string(m), 0, NLG_FILELINE(), false,
                                     plan.n_ports[m], 0,
                                     static_cast<uint32_t>(plan.instances[m].size())));
    }
    // Instances size their port tables from their definitions: ports first.
    for (uint32_t m = 0; m < n; ++m) {
        for (uint32_t p = 0; p < plan.n_ports[m]; ++p) {
            add_port(*g, modules[m], "p" + std::to_string(p),
                     std::uniform_int_distribution<uint32_t>(0, 2)(rng));
        }
    }
    for (uint32_t m = 0; m < n; ++m) {
        for (size_t i = 0; i < plan.instances[m].size(); ++i) {
            add_instance(*g, modules[m], "u" + std::to_string(i), modules[plan.instances[m][i]], 0);
        }
    }
    return g;
}

// How the naive unfolding sees a design: per module of the view, whose instances and whose
// ports it shows, and the view index of every module that an instance may name.
struct VIEW {
    std::vector<const NLG_IMODULE*> instance_source;
    std::vector<const NLG_IMODULE*> port_source;
    std::unordered_map<const NLG_IMODULE*, uint32_t> index_of;

    void add(const NLG_IMODULE* module, const NLG_IMODULE* twin) {
        index_of[module] = static_cast<uint32_t>(instance_source.size());
        instance_source.push_back(twin ? twin : module);
        port_source.push_back(module);
    }
};

VIEW view_of(const NLG_IGRAPH& g) {
    VIEW view;
    for (uint32_t m = 0; m < g.get_num_modules(); ++m)
        view.add(g.get_module(static_cast<int32_t>(m)), nullptr);
    return view;
}

// One occurrence: an instance (port INVALID) or a port of the occurrence of `module`.
struct OCC {
    std::vector<uint32_t> path;
    NLG_IGRAPH::IHPATH::INSTANCES stack;
    uint32_t port = INVALID;
    const NLG_IPORT* port_object = nullptr;
    uint32_t module = 0;
};

// Lists the occurrences in node order: the occurrence, its instances' subtrees, its ports.
void unfold(const VIEW& view, uint32_t module, const OCC& occ, std::vector<OCC>& out) {
    out.push_back(occ);
    out.back().module = module;
    const NLG_IMODULE* source = view.instance_source[module];
    for (uint32_t i = 0; i < source->get_num_instances(); ++i) {
        NLG_IINSTANCE* instance = source->get_instance(static_cast<int32_t>(i));
        OCC child = occ;
        child.path.push_back(i);
        child.stack.push_back(instance);
        unfold(view, view.index_of.at(instance->get_module()), child, out);
    }
    const NLG_IMODULE* ports = view.port_source[module];
    for (uint32_t p = 0; p < ports->get_num_ports(); ++p) {
        OCC port = occ;
        port.module = module;
        port.port = p;
        port.port_object = ports->get_port(static_cast<int32_t>(p));
        out.push_back(port);
    }
}

std::vector<OCC> unfold(const VIEW& view, uint32_t root = 0) {
    std::vector<OCC> out;
    unfold(view, root, OCC(), out);
    return out;
}

std::vector<uint32_t> instances_of(const UTIL::IHIERARCHY::IPATH& path) {
    std::vector<uint32_t> v;
    for (uint32_t i = 0; i < path.size(); ++i) v.push_back(path.get_instance(i));
    return v;
}

// Node of every instance occurrence by its instance path.
std::map<std::vector<uint32_t>, uint64_t> occurrence_nodes(const std::vector<OCC>& occs) {
    std::map<std::vector<uint32_t>, uint64_t> nodes;
    for (size_t k = 0; k < occs.size(); ++k)
        if (occs[k].port == INVALID) nodes[occs[k].path] = k;
    return nodes;
}

// Both directions for every occurrence: stack to node through the cursor, node to path and
// back, and the instance and port look-ups.
void check_every_node(const UTIL::HIERARCHY& hierarchy, NLG_IGRAPH& cursor_graph,
                      const std::vector<OCC>& occs) {
    ASSERT_EQ(hierarchy.get_num_nodes(), occs.size());
    std::unique_ptr<NLG_IGRAPH::IHPATH> cursor(cursor_graph.create_hpath());
    cursor->set_hierarchy(&hierarchy);
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> path(hierarchy.create_path());
    for (uint64_t k = 0; k < occs.size(); ++k) {
        const OCC& occ = occs[k];
        cursor->set(&occ.stack, occ.port_object, nullptr);
        uint32_t module = INVALID;
        ASSERT_EQ(hierarchy.get_node(module, *cursor), k);
        ASSERT_EQ(module, occ.module) << "node " << k;

        ASSERT_EQ(hierarchy.get_path(path.get(), k), occ.module) << "node " << k;
        ASSERT_EQ(instances_of(*path), occ.path) << "node " << k;
        ASSERT_EQ(path->get_port_index(), occ.port) << "node " << k;
        ASSERT_EQ(hierarchy.get_node(*path), k);

        uint32_t instance = 0, port = 0;
        const uint32_t of_instance = hierarchy.get_instance_of_node(instance, k);
        const uint32_t of_port = hierarchy.get_port_of_node(port, k);
        if (occ.port == INVALID) {
            EXPECT_EQ(of_instance, occ.module);
            EXPECT_EQ(instance, occ.path.empty() ? INVALID : occ.path.back());
            EXPECT_EQ(of_port, INVALID);
        } else {
            EXPECT_EQ(of_instance, INVALID);
            EXPECT_EQ(of_port, occ.module);
            EXPECT_EQ(port, occ.port);
        }
    }
    EXPECT_EQ(hierarchy.get_path(path.get(), occs.size()), INVALID);
}

// Numbering from the base module `root` through a path of indexes: path to node and back, the
// text form parsed back, and the node of a port from that of its occurrence and back.
void check_from_root(const UTIL::HIERARCHY& hierarchy, const std::vector<OCC>& occs,
                     uint32_t root) {
    ASSERT_EQ(static_cast<uint64_t>(hierarchy.get_num_nodes_64(root)), occs.size());
    const auto owners = occurrence_nodes(occs);
    UTIL::HPATH_SETTABLE path(&hierarchy), back(&hierarchy), parsed(&hierarchy);
    path.set_base_module_index(root);
    for (uint64_t k = 0; k < occs.size(); ++k) {
        const OCC& occ = occs[k];
        path.set_instances(occ.path);
        path.set_port_index(occ.port);
        uint32_t module = INVALID;
        ASSERT_EQ(hierarchy.get_node(module, path), k) << "root " << root << " " << text_of(path);
        ASSERT_EQ(module, occ.module);
        ASSERT_EQ(hierarchy.get_path(&back, k, root), occ.module);
        ASSERT_EQ(instances_of(back), occ.path);
        ASSERT_EQ(back.get_port_index(), occ.port);
        ASSERT_TRUE(parsed.set_from_string(text_of(path), root)) << text_of(path);
        ASSERT_EQ(hierarchy.get_node(parsed), k);
        if (occ.port == INVALID) continue;
        EXPECT_EQ(hierarchy.get_port_node(occ.module, owners.at(occ.path), occ.port), k);
        EXPECT_EQ(hierarchy.get_port_parent(occ.module, occ.port, k), owners.at(occ.path));
    }
    EXPECT_EQ(hierarchy.get_path(nullptr, occs.size(), root), INVALID);
}

// The deepest common occurrence of two nodes is the occurrence of the longest common prefix of
// their instance paths.
void check_common(const UTIL::HIERARCHY& hierarchy, const std::vector<OCC>& occs,
                  std::mt19937& rng) {
    const auto nodes = occurrence_nodes(occs);
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> common(hierarchy.create_path());
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> p1(hierarchy.create_path());
    std::unique_ptr<UTIL::IHIERARCHY::IPATH_SETTABLE> p2(hierarchy.create_path());
    std::uniform_int_distribution<uint64_t> any(0, occs.size() - 1);
    std::vector<std::pair<uint64_t, uint64_t>> pairs;
    for (uint64_t k = 0; k < occs.size(); ++k) {
        pairs.emplace_back(k, k);
        pairs.emplace_back(0, k);
        pairs.emplace_back(k, occs.size() - 1);
    }
    for (int i = 0; i < 2000; ++i) pairs.emplace_back(any(rng), any(rng));
    for (const auto& pair : pairs) {
        const OCC& a = occs[pair.first];
        const OCC& b = occs[pair.second];
        const size_t n = std::min(a.path.size(), b.path.size());
        const size_t lcp = std::mismatch(a.path.begin(), a.path.begin() + n, b.path.begin()).first -
                           a.path.begin();
        const std::vector<uint32_t> prefix(a.path.begin(), a.path.begin() + lcp);
        const uint64_t expected = nodes.at(prefix);

        uint64_t node = INVALID;
        const uint32_t module =
            hierarchy.get_common_path(common.get(), node, pair.first, pair.second, 0);
        ASSERT_EQ(node, expected) << pair.first << ", " << pair.second;
        ASSERT_EQ(module, occs[expected].module);
        ASSERT_EQ(instances_of(*common), prefix);

        p1->set_instances(a.path);
        p1->set_port_index(a.port);
        p2->set_instances(b.path);
        p2->set_port_index(b.port);
        uint64_t n1 = 0, n2 = 0, common_node = 0;
        uint32_t common_module = INVALID;
        ASSERT_TRUE(hierarchy.get_nodes(n1, n2, common_node, common_module, *p1, *p2));
        ASSERT_EQ(n1, pair.first);
        ASSERT_EQ(n2, pair.second);
        ASSERT_EQ(common_node, expected);
        ASSERT_EQ(common_module, occs[expected].module);
    }
}

// The port tree numbers like the hierarchy; the instance tree numbers the instance
// occurrences alone, in the same order.
void check_trees(NLG_IGRAPH& g, const std::vector<OCC>& occs) {
    std::unique_ptr<NLG_IINSTANCE_TREE> ports(g.create_instance_tree(false));
    std::unique_ptr<NLG_IINSTANCE_TREE> instances(g.create_instance_tree(true));
    ASSERT_EQ(static_cast<uint64_t>(ports->get_size()), occs.size());
    std::unique_ptr<NLG_IINSTANCE_TREE::IPATH> path(ports->create_path());
    uint64_t rank = 0;
    for (uint64_t k = 0; k < occs.size(); ++k) {
        const OCC& occ = occs[k];
        ASSERT_EQ(ports->get_node(occ.stack, occ.port_object), k);
        ASSERT_TRUE(ports->set_path(*path, k));
        std::vector<uint32_t> expected = occ.path;
        const NLG_IMODULE* owner = g.get_module(static_cast<int32_t>(occ.module));
        if (occ.port != INVALID) expected.push_back(owner->get_num_instances() + occ.port);
        ASSERT_EQ(dynamic_cast<NLG_TREE_PATH&>(*path).get_tpath().get_indexes(), expected);
        ASSERT_EQ(ports->get_node(*path), k);
        int32_t parent_type = 0, type = 0, child_index = 0;
        ASSERT_TRUE(ports->locate(k, parent_type, type, child_index));
        EXPECT_EQ(type, occ.port == INVALID ? static_cast<int32_t>(occ.module) : -1);
        EXPECT_EQ(child_index, expected.empty() ? -1 : static_cast<int32_t>(expected.back()));
        if (occ.port == INVALID) {
            ASSERT_EQ(instances->get_node(occ.stack, nullptr), rank);
            ++rank;
        }
    }
    EXPECT_EQ(static_cast<uint64_t>(instances->get_size()), rank);
    int32_t parent_type = 0, type = 0, child_index = 0;
    EXPECT_FALSE(ports->locate(occs.size(), parent_type, type, child_index));
}

}  // namespace

TEST(NlgHierarchyCrossCheck, RandomDesignsAgreeEverywhere) {
    for (uint32_t seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 rng(seed);
        const uint32_t n_modules = std::uniform_int_distribution<uint32_t>(2, 7)(rng);
        std::unique_ptr<NLG_GRAPH> g(build(make_plan(rng, n_modules, 0), "m", rng));
        g->get_symbol_table()->init_name_fast();
        const std::vector<OCC> occs = unfold(view_of(*g));
        std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g->create_hmodules());
        UTIL::HIERARCHY hierarchy(modules.get());
        check_every_node(hierarchy, *g, occs);
        check_common(hierarchy, occs, rng);
        check_trees(*g, occs);
        for (uint32_t root = 0; root < n_modules; ++root)
            check_from_root(hierarchy, unfold(view_of(*g), root), root);
        if (HasFatalFailure()) return;
    }
}

// Modules of every fan-out from 0 to 40 under one top, each instance a leaf of 0 to 3 ports,
// so that the search for an instance sees narrow and wide modules alike.
TEST(NlgHierarchyCrossCheck, WideModulesAgreeWithTheUnfolding) {
    BUILDER b;
    NLG_MODULE* top = b.cell("top", "", 41);
    const char* const ports[] = {"", "p0", "p0 p1", "p0 p1 p2"};
    for (int p = 0; p < 4; ++p) b.cell("leaf" + std::to_string(p), ports[p]);
    std::string wides;
    for (uint32_t w = 0; w <= 40; ++w) {
        NLG_MODULE* wide = b.cell("w" + std::to_string(w), "out", w);
        std::string leaves;
        for (uint32_t k = 0; k < w; ++k)
            leaves += " i" + std::to_string(k) + ":leaf" + std::to_string((k * 7 + w) % 4);
        b.instances(wide, leaves);
        wides += " u" + std::to_string(w) + ":w" + std::to_string(w);
    }
    b.instances(top, wides);
    std::unique_ptr<NLG_GRAPH> g(b.graph());
    g->get_symbol_table()->init_name_fast();
    const std::vector<OCC> occs = unfold(view_of(*g));
    std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(g->create_hmodules());
    UTIL::HIERARCHY hierarchy(modules.get());
    check_every_node(hierarchy, *g, occs);
    check_from_root(hierarchy, occs, 0);
}

TEST(NlgHierarchyCrossCheck, RandomUnionsAgreeWithTheirUnfolding) {
    for (uint32_t seed = 101; seed <= 125; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 rng(seed);
        const uint32_t n_rtl = std::uniform_int_distribution<uint32_t>(2, 5)(rng);
        const uint32_t n_blocks = std::uniform_int_distribution<uint32_t>(1, 2)(rng);
        const uint32_t n_blc = n_blocks + std::uniform_int_distribution<uint32_t>(1, 3)(rng);
        std::unique_ptr<NLG_GRAPH> rtl(build(make_plan(rng, n_rtl, 0), "m", rng));
        std::unique_ptr<NLG_GRAPH> blc(build(make_plan(rng, n_blc, n_blocks), "b", rng));

        // Some netlist modules get a block twin; the union lists the netlist modules, then the
        // block-level modules that are no twin.
        TEST_MATCH match;
        std::vector<bool> is_twin(n_blc, false);
        for (uint32_t m = 0; m < n_rtl; ++m) {
            if (std::uniform_int_distribution<int>(0, 1)(rng) == 0) continue;
            const uint32_t b = std::uniform_int_distribution<uint32_t>(0, n_blocks - 1)(rng);
            match.add(rtl->get_module(static_cast<int32_t>(m)),
                      blc->get_module(static_cast<int32_t>(b)));
            is_twin[b] = true;
        }
        VIEW view;
        for (uint32_t m = 0; m < n_rtl; ++m) {
            const NLG_IMODULE* module = rtl->get_module(static_cast<int32_t>(m));
            view.add(module, match.get_match(module));
        }
        for (uint32_t b = 0; b < n_blc; ++b)
            if (!is_twin[b]) view.add(blc->get_module(static_cast<int32_t>(b)), nullptr);

        std::unique_ptr<UTIL::IHIERARCHY::IMODULES> modules(
            rtl->create_hymodules(blc.get(), &match));
        ASSERT_EQ(modules->get_n_modules(), view.instance_source.size());
        for (uint32_t m = 0; m < modules->get_n_modules(); ++m) {
            EXPECT_EQ(modules->get_module(m)->get_name(), view.port_source[m]->get_name());
        }
        const std::vector<OCC> occs = unfold(view);
        UTIL::HIERARCHY hierarchy(modules.get());
        check_every_node(hierarchy, *rtl, occs);
        check_common(hierarchy, occs, rng);
        if (HasFatalFailure()) return;
    }
}
