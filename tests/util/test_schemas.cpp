// Every record kind of the library's files survives the binary and the text form unchanged,
// and unset fields read back as the defaults the schemas declare.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>

#include "ann.pb.h"
#include "ann_fab.pb.h"
#include "ann_icdb.pb.h"
#include "edgecache.pb.h"
#include "edgemap.pb.h"
#include "gid.pb.h"
#include "graph.pb.h"
#include "modules.pb.h"
#include "mux.pb.h"
#include "nlg.pb.h"
#include "nodemap.pb.h"
#include "partitions.pb.h"
#include "portmaps.pb.h"
#include "symbol_table.pb.h"
#include "symbol_test.pb.h"
#include "tlblocks.pb.h"

namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;
using google::protobuf::util::MessageDifferencer;

// One message of each record kind, in the text form: the names of fields, enum values and
// extensions it uses must exist in the schemas, and the message must come back unchanged from
// the binary and the text form.
const std::vector<std::pair<const char*, const char*>> RECORDS = {
    {"PB.SYMBOL_TEST", R"(symbol_table { names: "<UNKNOWN>" names: "top" }
                          symbol0 { value: 1 } symbol1 { value: 0 })"},
    {"PB.EXTERNAL_SYMBOLS", "n_external_symbols: 2"},
    {"PB.EXTERNAL_SYMBOL", R"(name: "top")"},
    {"PB.NLG.GRAPH", R"(
        graph_objs { type: T_MODULE_DEFS module_defs { module_defs {
            name { value: 1 } unused_nonprimitive: true
            ports { name { value: 2 } direction: INOUT fileline: 17 } } } }
        graph_objs { type: T_MODULE_BODIES module_bodies { module_bodies {
            module_index: 0
            instances { name { value: 3 } module_index: 1
                        port_to_nets { port_index: 0 net_index: 4294967295 } }
            pr2pr_edges { src_i_index: 0 src_p_index: 1 dst_i_index: 2 dst_p_index: 3 } } } }
        graph_objs { type: T_TERMINATOR terminator {} })"},
    {"NLG.PB.GRAPH", R"(symbol_table { symbols { name: "top" index: 1 } }
        module_collection { module_defs { name { name: "top" index: 1 }
                                          ports { direction: OUTPUT name { name: "o" } } } })"},
    {"PB.ANNS", R"(type: ICDB [PB.ICDB.annotations] {
        modules { level: PRIM_MUX logical_name { value: 4 } mux_index: 2 paths { in: 0 out: 1 }
                  mux_desc { is_template: true mux_type: CLOCK_SPINE dir: UP }
                  flat_instance_nodes { node: 12 instance {
                      bposition { row: 3 col: 4 } physical_position { x: 1.5 y: 2.25 }
                      sid { stype: HSSI rowID: 1 colID: 2 } } } }
        instances { pnr_x: 0 eOffset { row: 1 col: 2 } }
        ports { re_name: H merge_type: POTENTIAL_MERGE }
        nets { direction: VBIDIR }
        graph { max_brow: 7 } })"},
    {"PB.ANNS", R"(type: FAB [PB.FAB.annotations] { modules { z: 5 } instances { w: 6 } })"},
    {"PB.ANNSS", R"(bounds { n_modules: 1 n_nets: 0 }
                    annotations { type: ICDB } annotations { type: FAB })"},
    {"PB.NAMED_ANNSS", R"(annotations { type: ICDB modules {
        name: "top" [PB.ICDB.NMODULE.module] { is_routing: true }
        instances { module: "blk" name: "u0" [PB.ICDB.NINSTANCE.instance] { pnr_y: 3 } } } })"},
    {"PB.MUX_DESCRIPTIONS", R"(mux_descriptions {
        is_template: true name: "rt_mux" hipi_mux_type: HIPI_LATCH
        mux_params { name: "CLASS" value: "H" } mux_ipaths { in: 0 out: 2 }
        subpaths { name: "stage0" }
        settings { path_index: 0 setting { subpath_index: 0 value: "muxin[0]" } } })"},
    {"PB.GID_TYPE", "gclass: RE name { value: 9 }"},
    {"PB.GID_DIMENSION", "nx: 2 ny: 3 nz: 4"},
    {"PB.UTIL.KEY_NODES64",
     "key_nodes { key: 17179869183 cached_node: 1099511627776 driver_node: 5 }"},
    {"PB.UTIL.NODEMAP", R"(x_width: 1 y_width: 1 z_width: 1
                           xy_nodes { x: 0 y: 0 key_nodes { key: 1 node: 2 } })"},
    {"PB.UTIL.EDGEMAP", R"(edges { node1: 1 node2: 2 mux_input: 3 } subedge_maps {}
                           subedge_maps { subedges { node1: 4 node2: 5 } })"},
    {"PB.UTIL.EC_GRAPH", "nodes { subnode: 7 mux_index: 65535 } edges { src_index: 4294967295 }"},
    {"PB.UTIL.PARTITIONS", "module_indexes: 0 module_indexes: 3"},
    {"PB.MODULES.MMODULE", R"(name { value: 1 } ports { direction: OUTPUT }
                              instances { module { value: 2 } })"},
    {"PB.TLBLOCKS.MODULE", R"(module_index: 4 uids { node: 100 uid { value: 3 } }
        subpaths { name { value: 5 } }
        settings { path_index: 0 setting { subpath_index: 0 value { value: 6 } } })"},
    {"PB.PORTMAPS", R"(specifications {
        parents { parent_module_indexes: 4 }
        children { mports { module_index: 8 port_index: 0 } }
        specs { name: "mux_ports_to_top_level_ip_ports" } }
        portmaps { module_to_subnode_to_ports { subnode_to_ports {
            child_subnode: 42 parent_ports { ports: 1 } } } })"},
};

TEST(Schemas, EveryRecordKindRoundTrips) {
    for (const auto& [type, text] : RECORDS) {
        const google::protobuf::Descriptor* d =
            google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(type);
        ASSERT_NE(d, nullptr) << type;
        std::unique_ptr<Message> m(
            google::protobuf::MessageFactory::generated_factory()->GetPrototype(d)->New());
        ASSERT_TRUE(TextFormat::ParseFromString(text, m.get())) << type;
        ASSERT_TRUE(m->IsInitialized()) << m->InitializationErrorString();

        std::string bin, again, txt;
        ASSERT_TRUE(m->SerializeToString(&bin));
        std::unique_ptr<Message> from_bin(m->New()), from_txt(m->New());
        ASSERT_TRUE(from_bin->ParseFromString(bin));
        EXPECT_TRUE(MessageDifferencer::Equals(*m, *from_bin)) << type;
        ASSERT_TRUE(from_bin->SerializeToString(&again));
        EXPECT_EQ(bin, again) << type;
        ASSERT_TRUE(TextFormat::PrintToString(*m, &txt));
        ASSERT_TRUE(TextFormat::ParseFromString(txt, from_txt.get())) << txt;
        EXPECT_TRUE(MessageDifferencer::Equals(*m, *from_txt)) << txt;
    }
}

TEST(Schemas, UnsetFieldsReadAsDeclaredDefaults) {
    const PB::ICDB::INSTANCE inst;
    EXPECT_FALSE(inst.has_pnr_x());
    EXPECT_EQ(-1, inst.pnr_x());
    EXPECT_EQ(-1, inst.pnr_y());
    EXPECT_EQ(-1, inst.pnr_z());
    EXPECT_EQ(0.0f, inst.phys_x());
    EXPECT_EQ(std::string(), inst.SerializeAsString());  // defaults never travel

    const PB::GID_TYPE type;
    EXPECT_EQ(PB::GID_TYPE::GLOBAL, type.gclass());
    EXPECT_EQ(0, type.length());  // no declared default: an absent length is 0
    EXPECT_FALSE(type.has_length());

    const PB::TLBLOCKS::MODULE block;
    EXPECT_EQ(-1, block.mux_index());
    EXPECT_FALSE(block.has_mux_index());

    // A value set equal to the default is present and travels.
    PB::ICDB::INSTANCE set;
    set.set_pnr_x(-1);
    PB::ICDB::INSTANCE back;
    ASSERT_TRUE(back.ParseFromString(set.SerializeAsString()));
    EXPECT_TRUE(back.has_pnr_x());
    EXPECT_FALSE(back.has_pnr_y());
}

TEST(Schemas, NumbersOutOfOrderAndExtensions) {
    const auto* mod = PB::ICDB::MODULE::descriptor();
    EXPECT_EQ(11, mod->FindFieldByName("level")->number());
    EXPECT_EQ(2, mod->FindFieldByName("is_routing")->number());
    EXPECT_EQ(nullptr, mod->FindFieldByNumber(1));
    EXPECT_EQ(nullptr, PB::MUX_DESCRIPTION::descriptor()->FindFieldByNumber(8));
    EXPECT_EQ(2, PB::NAMED_ANNSS::descriptor()->FindFieldByName("annotations")->number());
    EXPECT_EQ(nullptr, PB::PORTMAPS::SPECIFICATIONS::CHILDREN::descriptor()->FindFieldByNumber(1));

    for (const auto* d : {PB::ANNS::descriptor(), PB::NAMED_MODULE::descriptor(),
                          PB::NAMED_INSTANCE::descriptor()}) {
        ASSERT_EQ(1, d->extension_range_count()) << d->full_name();
        EXPECT_EQ(1000, d->extension_range(0)->start);
        EXPECT_EQ(536870912, d->extension_range(0)->end);  // exclusive
    }
    EXPECT_EQ(1000, PB::ICDB::annotations.number());
    EXPECT_EQ(1001, PB::FAB::annotations.number());
    EXPECT_EQ(1000, PB::ICDB::NMODULE::module.number());
    EXPECT_EQ(1000, PB::ICDB::NINSTANCE::instance.number());
    EXPECT_EQ(21, PB::MUX_DESCRIPTION::MUXTYPE_ARRAYSIZE);
    EXPECT_EQ("PB.UTIL.EDGECACHE", PB::UTIL::EDGECACHE::descriptor()->full_name());
    EXPECT_EQ("NLG.PB.GRAPH", NLG::PB::GRAPH::descriptor()->full_name());
}

}  // namespace
