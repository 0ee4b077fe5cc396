// A small translation database built in memory through the builder face, without a netlist:
//
//   T (0): s0:S          port w (out)       core wire H2 at (0,1)
//   S (1): b0:BLK b1:BLK port p (in)        the one sector; p has no GID
//   BLK (2): m0:MUX      ports in0, in1 (in), o (out)      blocks at (0,0) and (1,0)
//   MUX (3):             ports a, b, c (in), y (out)       paths a->y, b->y; c on no path
//
// Every block port has a GID (b1:in0 as an atom pin, the others as block REs); each block's o
// is an alias of its mux output m0:y. The edge cache of BLK holds in0->o (path 0) and
// in1->o (path 1), whose settings are cfg=v0 and cfg=v1.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fab/fab_translate.h"
#include "mem_modules.h"
#include "print_form.h"
#include "util/util_hierarchy.h"
#include "util/util_modules.h"
#include "util/util_portmaps.h"

namespace TEST_TRANSLATE {

class VECTOR_FEDGES : public UTIL::IEDGECACHE::IFEDGES {
  public:
    explicit VECTOR_FEDGES(std::vector<UTIL::FEDGE> fedges) : m_fedges(std::move(fedges)) {}
    int32_t get_n_fedges() override { return static_cast<int32_t>(m_fedges.size()); }
    const UTIL::FEDGE& get_fedge(int32_t index) override { return m_fedges.at(index); }

  private:
    std::vector<UTIL::FEDGE> m_fedges;
};

struct SMALL_DB {
    UTIL::SYMBOL_TABLE* m_table = UTIL::symbol_tables().new_table();
    UTIL::MMODULES m_modules{m_table};
    std::unique_ptr<UTIL::HIERARCHY> m_hierarchy;
    std::unique_ptr<FAB::TRANSLATE> m_translate = std::make_unique<FAB::TRANSLATE>();

    NS_SYMBOL::SYM sym(const char* name) { return m_table->add(name); }

    // Node of a path such as "s0/b0/m0:y" from module `base`.
    uint64_t node(const std::string& path, uint32_t base = 0) const {
        UTIL::HPATH_SETTABLE p(m_hierarchy.get());
        if (!p.set_from_string(path, base)) return UTIL::IHIERARCHY::INVALID_NODE;
        return m_hierarchy->get_node(p);
    }

    SMALL_DB() {
        TEST_HIER::add_modules(
            m_modules, "T: s0:S >w; S: b0:BLK b1:BLK p; BLK: m0:MUX in0 in1 >o; MUX: a b c >y");
        m_hierarchy = std::make_unique<UTIL::HIERARCHY>(&m_modules);
        for (const char* name : {"H", "V", "cfg", "v0", "v1", "BLK_r0_c0", "BLK_r0_c1"}) sym(name);
        m_table->init_name_fast();
        build();
    }

    void build() {
        FAB::TRANSLATE& t = *m_translate;
        t.set_modules(&m_modules, m_hierarchy.get(), nullptr, nullptr);
        PB::MUX_DESCRIPTIONS descriptions;
        merge_text(descriptions,
                   "mux_descriptions { name: 'MUX' is_template: true"
                   "  mux_ipaths { in: 0 out: 3 } mux_ipaths { in: 1 out: 3 } }");
        t.set_mux_descriptions(descriptions);
        add_blocks(*t.get_tlblocks_builder());
        add_portmaps(*t.get_portmaps_builder());
        t.set_dimensions(2, 2, 2);
        t.set_global_types({{sym("H"), 2}, {sym("V"), 2}});
        t.set_sectors({sym("S")});
        add_gids();
        add_aliases(*t.get_aliases_builder());
        const uint64_t base = node("s0/b0");
        VECTOR_FEDGES fedges({{node("s0/b0:in0") - base, node("s0/b0:o") - base, 0, 0},
                              {node("s0/b0:in1") - base, node("s0/b0:o") - base, 1, 0}});
        t.add_module_edges(2, fedges);
        t.finish_nodes();
    }

    void add_blocks(UTIL::ITLBLOCKS_BUILDER& tl) {
        tl.add_mux_module(3, 0);
        std::vector<NS_SYMBOL::SYM> subpath{sym("cfg")};
        tl.add_subpath(3, subpath);
        std::vector<UTIL::TL_SETTING_PAIR> v0{{0, sym("v0")}}, v1{{0, sym("v1")}};
        tl.add_settings(3, 0, v0);
        tl.add_settings(3, 1, v1);
        tl.add_instance(2, node("s0/b0"), sym("BLK_r0_c0"));
        tl.add_instance(2, node("s0/b1"), sym("BLK_r0_c1"));
        tl.finish();
    }

    void add_portmaps(UTIL::IPORTMAPS_BUILDER& portmaps) {
        PB::PORTMAPS::SPECIFICATIONS specs;
        UTIL::mux_ports_to_top_level_ip_ports(*m_translate->get_tlblocks(),
                                              *m_translate->get_mux_descriptions(), specs);
        portmaps.set_specifications(specs);
        PB::PORTMAPS::PORTMAP map;
        auto* record = map.add_module_to_subnode_to_ports();
        record->set_parent_module_index(2);
        int block_port = 0;
        for (const char* mux_port : {"m0:a", "m0:b", "m0:y"}) {
            auto* entry = record->add_subnode_to_ports();
            entry->set_child_subnode(static_cast<int64_t>(node(mux_port, 2)));
            entry->mutable_parent_ports()->add_ports(block_port++);
        }
        portmaps.add_portmaps({map});
    }

    void add_gid(const std::string& path, uint32_t x, uint32_t y, uint32_t i, int re_class,
                 int direction = 0) {
        UTIL::BASE_GID_CONVERTER c;
        c.set_fields(x, y, 0, i, PB::GID_TYPE::INVALID, NS_SYMBOL::SYM(), -1);
        m_translate->fill_gid_type_fields(c, re_class, direction, sym("BLK"),
                                          PB::MUX_DESCRIPTION::H, 2);
        m_translate->add_gid(node(path), c);
    }

    void add_gids() {
        add_gid("s0/b0:in0", 0, 0, 0, 1);
        add_gid("s0/b0:in1", 0, 0, 1, 1);
        add_gid("s0/b0:o", 0, 0, 2, 1);
        add_gid("s0/b1:in0", 1, 0, 0, 0, 0);
        add_gid("s0/b1:in1", 1, 0, 1, 1);
        add_gid("s0/b1:o", 1, 0, 2, 1);
        add_gid(":w", 0, 1, 0, 3);
    }

    void add_aliases(UTIL::ALIASES_BUILDER& aliases) {
        for (const char* block : {"s0/b0", "s0/b1"}) {
            const uint64_t driver = node(std::string(block) + "/m0:y");
            const uint64_t alias = node(std::string(block) + ":o");
            aliases.add_driver(driver);
            aliases.add_alias(alias);
            aliases.add_connection(alias, driver);
        }
    }

    UTIL::GID64 gid(const std::string& path) const {
        return UTIL::GID64(m_translate->get_nodemap()->get_gid(node(path)));
    }
};

}  // namespace TEST_TRANSLATE
