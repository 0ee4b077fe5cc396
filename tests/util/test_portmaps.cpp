// Port maps over the fixture hierarchy, with A (holding the mux C) and B as top-level blocks:
// the one request, the file form through a symbol section, prints, fatal cases.
#include <gtest/gtest.h>

#include "mem_modules.h"
#include "nlg_builders.h"
#include "mux.pb.h"
#include "print_form.h"
#include "symbol_section.h"
#include "util/util_mux_descriptions.h"
#include "util/util_portmaps.h"
#include "util/util_symbol_file.h"
#include "util/util_tlblocks.h"

using PORTMAP_PB = PB::PORTMAPS::PORTMAP;
using UTIL::PORTMAPS_BUILDER;

namespace {

// Blocks A (nodes 1 and 6, mux C inside) and B (node 11, no mux); descriptions of C (a hipi
// path and two paths sharing port 0), of B (hipi only) and of a name that is no module.
struct PORTMAPS_FIXTURE : MODULES_FIXTURE {
    UTIL::SYMBOL_FILE m_file;
    UTIL::TLBLOCKS_BUILDER m_tlblocks;
    UTIL::MUX_DESCRIPTIONS m_muxes;

    PORTMAPS_FIXTURE() {
        m_file.set_internal_const(m_table);
        m_tlblocks.set_hierarchy(m_hierarchy.get());
        m_tlblocks.set_symbol_file(&m_file);
        m_tlblocks.add_mux_module(3, 0);
        m_tlblocks.add_instance(1, 1, sym("uid_a0"));
        m_tlblocks.add_instance(1, 6, sym("uid_a1"));
        m_tlblocks.add_instance(2, 11, sym("uid_b0"));
        m_tlblocks.finish();
        PB::MUX_DESCRIPTIONS message;
        merge_text(message,
                   "mux_descriptions { name: 'C' mux_ipaths { in: 0 out: 1 is_hipi_path: false }"
                   "  mux_ipaths { in: 0 out: 1 is_hipi_path: false }"
                   "  mux_ipaths { in: 5 out: 6 is_hipi_path: true } }"
                   "mux_descriptions { name: 'B' mux_ipaths { in: 0 out: 1 is_hipi_path: true } }"
                   "mux_descriptions { name: '<UNKNOWN_MUX>'"
                   "  mux_ipaths { in: 0 out: 1 is_hipi_path: false } }");
        m_muxes.set_symbol_file(&m_file);
        m_muxes.set_pb_mux_descriptions(message);
    }
    PB::PORTMAPS::SPECIFICATIONS mux_ports_request() {
        PB::PORTMAPS::SPECIFICATIONS specs;
        UTIL::mux_ports_to_top_level_ip_ports(m_tlblocks, m_muxes, specs);
        return specs;
    }
    // Block A's map: c0/z (subnode 2) reaches port x; c0 (subnode 1) has an unset port list;
    // a repeated subnode 2 is ignored.
    static PORTMAP_PB block_map() {
        PORTMAP_PB map;
        merge_text(map,
                   "module_to_subnode_to_ports { parent_module_index: 1"
                   "  subnode_to_ports { child_subnode: 2 parent_ports { ports: 0 } }"
                   "  subnode_to_ports { child_subnode: 1 }"
                   "  subnode_to_ports { child_subnode: 2 parent_ports { ports: 1 } } }");
        return map;
    }
    void fill(PORTMAPS_BUILDER& portmaps) {
        portmaps.set_hierarchy(m_hierarchy.get());
        portmaps.set_symbol_file(&m_file);
        portmaps.set_specifications(mux_ports_request());
        portmaps.add_portmaps({block_map()});
    }
};

}  // namespace

TEST(PortMaps, SpecificationOfMuxPorts) {
    PORTMAPS_FIXTURE f;
    PB::PORTMAPS::SPECIFICATIONS specs = f.mux_ports_request();
    EXPECT_EQ(
        specs.ShortDebugString(),
        "parents { parent_module_indexes: 1 } children { mports { module_index: 3 port_index: "
        "0 port_index: 1 } mports { module_index: 2 } } specs { name: "
        "\"mux_ports_to_top_level_ip_ports\" parents_index: 0 children_index: 0 }");

    PB::MUX_DESCRIPTIONS bad;
    merge_text(bad,
               "mux_descriptions { name: 'C' mux_ipaths { in: -1 out: 1 is_hipi_path: false } }");
    UTIL::MUX_DESCRIPTIONS bad_muxes;
    bad_muxes.set_symbol_file(&f.m_file);
    bad_muxes.set_pb_mux_descriptions(bad);
    EXPECT_FATAL(UTIL::mux_ports_to_top_level_ip_ports(f.m_tlblocks, bad_muxes, specs),
                 "ipath.in() != IHIERARCHY::IMODULE::PORT_INDEX_INVALID");
}

TEST(PortMaps, FatalCases) {
    PORTMAPS_FIXTURE f;
    PORTMAPS_BUILDER short_of_maps;
    short_of_maps.set_hierarchy(f.m_hierarchy.get());
    short_of_maps.set_specifications(f.mux_ports_request());
    EXPECT_FATAL(short_of_maps.add_portmaps({}),
                 "(int)m_portmap_builders.size() == m_portmaps.portmaps_size()");
    PB::PORTMAPS::SPECIFICATIONS two_unknown = f.mux_ports_request();
    two_unknown.add_specs()->set_name("also unknown");
    EXPECT_FATAL(short_of_maps.set_specifications(two_unknown), "p.second");
}

TEST(PortMaps, FileRoundTrip) {
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        PORTMAPS_FIXTURE f;
        PORTMAPS_BUILDER portmaps;
        f.fill(portmaps);
        const SECTIONED_FILE file = write_with_section(
            f.m_table, format, [&](UTIL::SYMBOL_FILE& symbols, std::ostream& out) {
                portmaps.set_symbol_file(&symbols);
                return portmaps.write(out, format);
            });
        UTIL::SYMBOL_FILE symbols;
        PORTMAPS_BUILDER fresh;
        fresh.set_hierarchy(f.m_hierarchy.get());
        fresh.set_symbol_file(&symbols);
        ASSERT_TRUE(read_with_section(file.all(), format, symbols, fresh, f.m_table));
        EXPECT_EQ(text_of(static_cast<const UTIL::IPORTMAPS&>(fresh)),
                  text_of(static_cast<const UTIL::IPORTMAPS&>(portmaps)));
    }
}

TEST(PortMaps, PrintForms) {
    PORTMAPS_FIXTURE f;
    PORTMAPS_BUILDER portmaps;
    f.fill(portmaps);
    const std::string text = text_of(static_cast<const UTIL::IPORTMAPS&>(portmaps));
    EXPECT_EQ(text.rfind("PORTMAPS {\n   specifications = {\n      parents {\n", 0), 0u) << text;
    EXPECT_NE(text.find("   portmaps = {\n      [A] {[2:A:/c0:z] --> { x:0 } [1:A:/c0] --> { } "
                        "[2:A:/c0:z] --> { y:1 } }\n   }\n}\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(printed(static_cast<const UTIL::IPORTMAPS&>(portmaps), 4),
              "PORTMAPS_STATISTICS {\n}\n}\n");
}
