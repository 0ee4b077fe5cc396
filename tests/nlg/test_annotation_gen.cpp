// The annotation generator: the block-level data reader, every message of the four text files,
// the fatal texts of the block passes, and one device through every pass whose annotation sets
// are written, read back and compared.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "ann/annss.h"
#include "ann/blc_data.h"
#include "nlg/nlg_annotation_gen.h"
#include "nlg/nlg_mux_translator.h"
#include "annotation_device.h"
#include "print_form.h"
#include "symbol_section.h"

using NS_SYMBOL::SYM;
using MT = PB::MUX_DESCRIPTION;

namespace {

// The shared device; the data must read, else a fatal below could come from an empty table.
struct DEVICE : NLG_TEST::ANNOTATION_DEVICE {
    explicit DEVICE(const std::string& text = NLG_TEST::ANNOTATION_BLC_TEXT)
        : ANNOTATION_DEVICE(text) {
        EXPECT_TRUE(m_data.get_error().m_ok) << m_data.get_error().m_message;
    }
    std::string mux_file() {
        NLG_MUX_TRANSLATOR translator;
        translator.add_mux("mux_h", true, "\"H\"", "4", "\"L\"", false, {"muxin0", "muxout"});
        return written(translator, UTIL::PB_TXT);
    }
};

// The block-level data with one piece of text replaced.
std::string blc_with(const std::string& from, const std::string& to) {
    std::string text = NLG_TEST::ANNOTATION_BLC_TEXT;
    if (!from.empty()) text.replace(text.find(from), from.size(), to);
    return text;
}

std::string name_of(const PB::SYMBOL& symbol) {
    return SYM(symbol.value()).get_name();
}

// Runs one file pass on a text and returns what it printed.
template <class PASS>
std::string run_pass(PASS pass, const std::string& text) {
    std::istringstream in(text);
    return stdout_of([&] { pass(in); });
}

}  // namespace

TEST(BlcData, ReadAndReject) {
    DEVICE d;
    const BLC_DATA::ENTRY* entry = d.m_data.find("LOGIC");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->m_ports.begin()->first, "bin");  // name order
    EXPECT_EQ(entry->m_placements.at("imux")->pnr_z(), 1);
    EXPECT_EQ(d.m_data.find("IMUX")->m_ports.at("o")->first_re_index(), -1);
    EXPECT_EQ(d.m_data.find("nothing"), nullptr);

    struct CASE {
        const char* text;
        const char* message;
    };
    const CASE cases[] = {
        {"entries {\n  module: \"A\" logical_nam: \"x\" }",
         "Failed read of block-level data: 2:26: Message type \"PB.BLC_DATA.ENTRY\" has no "
         "field named \"logical_nam\"."},
        {"entries { module: \"A\" }",
         "Failed read of block-level data: Message missing "
         "required fields: entries[0].logical_name, "
         "entries[0].logical_impl"},
        {"entries { module: \"A\" logical_name: \"A\" logical_impl: \"B\" }\n"
         "entries { module: \"A\" logical_name: \"A\" logical_impl: \"B\" }",
         "Repeated block-level data of module A"},
    };
    for (const CASE& c : cases) {
        BLC_DATA data;
        std::istringstream in(c.text);
        EXPECT_FALSE(data.read(in));
        EXPECT_FALSE(data.get_error().m_ok);
        EXPECT_EQ(data.get_error().m_message, c.message);
        EXPECT_EQ(data.find("A"), nullptr);
    }
}

TEST(AnnotationGen, TopBlocks) {
    DEVICE d;
    NLG_MODULE* spaced = d.m_rtl.module("my blk");
    NLG_ANNOTATION_GEN gen = d.gen();
    std::string out = run_pass([&](std::istream& in) { gen.read_top_blocks(in); },
                               "ROUTE 1\n\nLOGIC_BOX 0 # not this\nLOGIC_BOX 0\n#x 1\nmy$blk 2\n"
                               "zz 1\n");
    EXPECT_EQ(out, "Warning: Can't find module zz listed in top_blocks.txt file in RTL\n");
    // Every non-routing block is marked as having ports with REs; a routing block is not.
    EXPECT_EQ(d.m_rtl.rec(d.m_route).ShortDebugString(), "is_routing: true level: TOP_LEVEL_IP");
    for (NLG_MODULE* m : {d.m_logic, spaced})
        EXPECT_EQ(d.m_rtl.rec(m).ShortDebugString(),
                  "is_routing: false level: TOP_LEVEL_IP has_port_with_re: true");
}

TEST(AnnotationGen, IcdToPnrMapping) {
    DEVICE d;
    NLG_ANNOTATION_GEN gen = d.gen();
    std::string out = run_pass([&](std::istream& in) { gen.read_icd_to_pnr_mapping(in); },
                               "zz a b\nLOGIC_BOX logic Default\ntop - -\nROUTE r r # skip\n");
    EXPECT_EQ(out,
              "Warning: can't find IP block zz listed in icd_to_pnr_mapping.txt file in RTL\n");
    EXPECT_EQ(name_of(d.m_rtl.rec(d.m_logic).logical_name()), "LOGIC");
    EXPECT_EQ(name_of(d.m_rtl.rec(d.m_logic).logical_impl()), "DEFAULT");
    EXPECT_EQ(name_of(d.m_rtl.rec(d.m_top).logical_impl()), "-");
    EXPECT_FALSE(d.m_rtl.rec(d.m_route).has_logical_name());
}

TEST(AnnotationGen, SpareRowFlyover) {
    DEVICE d;
    NLG_ANNOTATION_GEN gen = d.gen();
    std::string out =
        run_pass([&](std::istream& in) { gen.read_spare_row_flyover(in); },
                 "LOGIC_BOX in[0] out\nLOGIC_BOX in[0] out\nLOGIC_BOX in[1] nope\nzz a b\n"
                 "LOGIC_BOX q out\n");
    EXPECT_EQ(out,
              "setting spare row flyover to out on port in[0]\n"
              "Warning: ignoring port nope on module LOGIC_BOX in spare_row_flyover.txt due to "
              "unrecognized port name.\n"
              "Warning: ignoring port q on module LOGIC_BOX in spare_row_flyover.txt due to "
              "unrecognized port name.\n"
              "Warning: ignoring module zz in spare_row_flyover.txt due to unrecognized module "
              "name.\n");
    EXPECT_EQ(d.m_rtl.rec(d.m_logic->port(0)).spare_row_flyover_out(), 2);
    EXPECT_FALSE(d.m_rtl.rec(d.m_logic->port(1)).has_spare_row_flyover_out());

    std::istringstream conflict("LOGIC_BOX in[0] out\nLOGIC_BOX in[0] in[1]\n");
    EXPECT_FATAL(gen.read_spare_row_flyover(conflict),
                 "module_flyover_ports[module_name][port_in] == port_out");
}

TEST(AnnotationGen, InsertNode) {
    DEVICE d;
    NLG_ANNOTATION_GEN gen = d.gen();
    std::string out = run_pass([&](std::istream& in) { gen.read_insert_node(in); },
                               "ROUTE p LEIM\n+ ROUTE p LEIM\n+ ROUTE p\n- ROUTE\n"
                               "ROUTE q H\nzz p H\n- LOGIC_BOX out\n- LOGIC_BOX gone\n");
    EXPECT_EQ(out,
              "Warning: ignoring line: + ROUTE p due to illegal format.\n"
              "Warning: ignoring line: - ROUTE due to illegal format.\n"
              "Warning: ignoring port q on module ROUTE in insert_node.txt due to unrecognized "
              "port name.\n"
              "Warning: ignoring module zz in insert_node.txt due to unrecognized module name.\n"
              "Warning: ignoring port gone on module LOGIC_BOX in insert_node.txt due to "
              "unrecognized port name.\n");
    const PB::ICDB::APORT& p = d.m_rtl.rec(d.m_route->port(0));
    EXPECT_TRUE(p.is_inserted_re());
    EXPECT_EQ(p.re_name(), MT::LEIM);
    EXPECT_TRUE(d.m_rtl.rec(d.m_route).has_port_with_re());
    EXPECT_EQ(d.m_rtl.rec(d.m_logic->port(2)).merge_type(), PB::ICDB::APORT::MERGE);

    // Another name is another type, even where both fold to one kind.
    std::istringstream mismatch("ROUTE p L\nROUTE p LL\n");
    EXPECT_FATAL(gen.read_insert_node(mismatch),
                 "mismatching RE assignment in insert_node.txt file for module ROUTE, port p");
    std::istringstream red("ROUTE p RED\n");
    EXPECT_FATAL(gen.read_insert_node(red), "t != PB::MUX_DESCRIPTION::UNKNOWN");
    std::istringstream other("ROUTE p H\n");
    EXPECT_FATAL(gen.read_insert_node(other),
                 "Insterted RE H conflict with existing RE LEIM! Module ROUTE, port p.");
}

TEST(AnnotationGen, BlockPassFatals) {
    struct CASE {
        const char* from;
        const char* to;
        const char* fatal;
    };
    const CASE cases[] = {
        {"module: \"CORE\"", "module: \"CORE2\"",
         "Non-empty module CORE is not processed by BLC_DATA\n"},
        {"first_re_index: 3", "first_re_index: -1", "RE index on port a of module CORE is unset!"},
        {"placements { instance: \"core\" pnr_x: 1 pnr_y: 0 pnr_z: 0 }", "",
         "instance core in module LOGIC is not processed by BLC_DATA"},
        {"ports { name: \"y\" first_re_index: 4 }", "ports { name: \"z\" first_re_index: 4 }",
         "port z on block CORE is not defined by BLC"},
    };
    for (const CASE& c : cases) {
        DEVICE d(blc_with(c.from, c.to));
        NLG_ANNOTATION_GEN gen = d.gen();
        std::istringstream mux(d.mux_file());
        EXPECT_FATAL(gen.generate(mux), c.fatal);
    }
    DEVICE bidir;
    bidir.m_blc.port(bidir.m_bcore, "io", NLG_IPORT::INOUT);
    PB::BLC_DATA pb = bidir.m_data.get_pb();
    merge_text(*pb.mutable_entries(1), "ports { name: 'io' first_re_index: 9 }");
    ASSERT_TRUE(bidir.m_data.set_pb(pb));
    NLG_ANNOTATION_GEN gen = bidir.gen();
    std::istringstream mux(bidir.mux_file());
    EXPECT_FATAL(gen.generate(mux), "BIDIR port is not allowed on atoms! (CORE:io)");

    DEVICE unlisted;
    unlisted.m_blc.module("EXTRA");
    NLG_ANNOTATION_GEN gen2 = unlisted.gen();
    std::istringstream mux2(unlisted.mux_file());
    EXPECT_FATAL(gen2.generate(mux2), "module EXTRA is not processed by BLC_DATA");
}

TEST(AnnotationGen, TopLevelPortFatals) {
    struct CASE {
        const char* from;
        const char* to;
        const char* mapping;
        const char* fatal;
    };
    const CASE cases[] = {
        {"", "", "LOGIC_BOX logic other\n",
         "Top level IP LOGIC(OTHER) is not defined by BLC. Please check icd_to_pnr_mapping.txt "
         "file."},
        {"icd_port_name: \"out\"", "", "LOGIC_BOX logic default\n",
         "top-level port bout on module LOGIC_BOX does not have a icd_port_name!"},
        {"icd_msb: 1", "icd_msb: 2", "LOGIC_BOX logic default\n",
         "Mismatche between icd port bus width and logical port bus with. Logical port name is "
         "bin, module name is LOGIC_BOX."},
        {"icd_port_name: \"out\"", "icd_port_name: \"in\" icd_msb: 0 icd_lsb: 0",
         "LOGIC_BOX logic default\n",
         "More than one logical port maps to ICD port in[0] on moulde LOGIC_BOX!"},
    };
    for (const CASE& c : cases) {
        DEVICE d(blc_with(c.from, c.to));
        NLG_ANNOTATION_GEN gen = d.gen();
        std::istringstream top("LOGIC_BOX 0\n"), map(c.mapping), mux(d.mux_file());
        EXPECT_FATAL(gen.run(&top, &map, nullptr, nullptr, mux), c.fatal);
    }
    // A route-0 port still needs its index when it stands for an RTL port.
    DEVICE d(blc_with("first_re_index: 2 ", "route: false "));
    NLG_ANNOTATION_GEN gen = d.gen();
    std::istringstream top("LOGIC_BOX 0\n"), map("LOGIC_BOX logic default\n"), mux(d.mux_file());
    EXPECT_FATAL(gen.run(&top, &map, nullptr, nullptr, mux),
                 "RE index on port bout of module LOGIC was not set!");
}

TEST(AnnotationGen, MuxFileFaults) {
    DEVICE d;
    NLG_ANNOTATION_GEN gen = d.gen();
    std::istringstream closed;
    closed.setstate(std::ios::failbit);
    EXPECT_FATAL(gen.generate(closed), "i_mux.good()");
    std::istringstream garbage("mux_descriptions { is_template: 1 nme: \"x\" }");
    EXPECT_FATAL(gen.generate(garbage), "i_mux.good()");
}

TEST(AnnotationGen, DeviceThroughEveryPass) {
    DEVICE d;
    // The BLC port of a logical port that the RTL lacks: a critical warning, no stop.
    d.m_rtl.port(d.m_logic, "spare", NLG_IPORT::INPUT);
    NLG_ANNOTATION_GEN gen = d.gen();
    std::istringstream top("ROUTE 1\nLOGIC_BOX 0\n");
    std::istringstream map("top - -\nLOGIC_BOX logic default\n");
    std::istringstream flyover("LOGIC_BOX in[0] out\n");
    std::istringstream insert("ROUTE p LEIM\n");
    std::string mux_text = d.mux_file();
    std::istringstream mux(mux_text);
    EXPECT_EQ(stdout_of([&] { gen.run(&top, &map, &flyover, &insert, mux); }),
              "setting spare row flyover to out on port in[0]\n");

    // The records as lines, logical names by name (implementations: see IcdToPnrMapping).
    auto line = [](auto r) {
        const std::string name = r.has_logical_name() ? name_of(r.logical_name()) + " " : "";
        r.clear_logical_name();
        return name + r.ShortDebugString() + "\n";
    };
    PB::ICDB::MODULE bl = d.m_blc.rec(d.m_blogic), rl = d.m_rtl.rec(d.m_logic);
    bl.clear_logical_impl();
    rl.clear_logical_impl();
    std::string records = line(bl) + line(rl);
    // Atoms: core a, y and the internal mux's i, o; then the BLC block's ports, whose twins on
    // the RTL side carry their RE; the RTL port without a twin has none.
    for (NLG_MODULE* m : {d.m_bcore, d.m_bimux})
        for (int p = 0; p < 2; ++p) records += line(d.m_blc.rec(m->port(p)));
    for (int p = 0; p < 3; ++p) records += line(d.m_blc.rec(d.m_blogic->port(p)));
    for (int p = 0; p < 4; ++p) records += line(d.m_rtl.rec(d.m_logic->port(p)));
    EXPECT_EQ(records,
              "LOGIC pnr_height: 1 pnr_width: 2 level: TOP_LEVEL_IP has_port_with_re: true\n"
              "LOGIC is_routing: false pnr_height: 1 pnr_width: 2 level: TOP_LEVEL_IP "
              "has_port_with_re: true\n"
              "a re_name: ATOM_INPUT re_index: 3 is_route_type_normal: true\n"
              "y re_name: ATOM_OUTPUT re_index: 4 is_route_type_normal: true\n"
              "i re_name: BLC_INTERNAL_RE re_index: 5 is_route_type_normal: true\n"
              "o is_route_type_normal: false\n"
              "bin[0] re_name: BLOCK_PORT re_index: 0 is_route_type_normal: true\n"
              "bin[1] re_name: BLOCK_PORT re_index: 1 is_route_type_normal: true\n"
              "bout re_name: BLOCK_PORT re_index: 2 is_route_type_normal: true\n"
              "bin[0] re_name: BLOCK_PORT re_index: 0 is_route_type_normal: true "
              "spare_row_flyover_out: 2\n"
              "bin[1] re_name: BLOCK_PORT re_index: 1 is_route_type_normal: true\n"
              "bout re_name: BLOCK_PORT re_index: 2 is_route_type_normal: true\n"
              "\n");
    EXPECT_EQ(d.m_blc.rec(d.m_bimux).level(), PB::ICDB::MODULE::PRIM_MUX);
    EXPECT_EQ(d.m_blc.rec(d.m_blogic->instance(0)).pnr_x(), 1);
    EXPECT_EQ(d.m_blc.rec(d.m_blogic->instance(1)).pnr_z(), 1);
    EXPECT_EQ(d.m_rtl.rec(d.m_mux).level(), PB::ICDB::MODULE::PRIM_MUX);
    EXPECT_EQ(d.m_rtl.rec(d.m_mux).mux_desc().dir(), PB::ICDB::NET::LEFT);
    EXPECT_EQ(d.m_rtl.rec(d.m_route->port(0)).re_name(), MT::LEIM);
    EXPECT_EQ(name_of(d.m_rtl.rec(d.m_top).logical_name()), "-");

    // Both sets survive their file.
    for (NLG_TEST::TRACE_GRAPH* t : {&d.m_rtl, &d.m_blc}) {
        std::stringstream file;
        ASSERT_TRUE(t->annotations().get_annss()->write(file, UTIL::PB_BIN));
        NLG_ANNSS copy(t->graph());
        ASSERT_TRUE(copy.get_annss()->read(file, UTIL::PB_BIN));
        EXPECT_TRUE(copy.get_annss()->equals(*t->annotations().get_annss()));
        if (t == &d.m_rtl) {
            EXPECT_EQ(name_of(copy.get_icdb().get_port(*d.m_logic->port(2)).logical_name()),
                      "bout");
        }
    }
}

TEST(AnnotationGen, CriticalWarnings) {
    DEVICE d(blc_with("icd_port_name: \"out\"", "icd_port_name: \"gone\""));
    NLG_ANNOTATION_GEN gen = d.gen();
    std::istringstream top("LOGIC_BOX 0\n"), map("LOGIC_BOX logic default\n"), mux(d.mux_file());
    EXPECT_EQ(stdout_of([&] { gen.run(&top, &map, nullptr, nullptr, mux); }),
              "Critical Warning: top-level icd_port gone on module LOGIC_BOX specified in BLC can "
              "not be found in RTL!\n"
              "Critical Warning: There are mismatches between BLC ports and RTL ports on block "
              "LOGIC(DEFAULT). Please check "
              "work/pnrsuite/devices/$FAMILY/$DEVICE/device_tessel/$DEVICE_work.out file for "
              "detail.\n");
    EXPECT_EQ(d.m_blc.rec(d.m_blogic->port(2)).re_index(), 2);
}
