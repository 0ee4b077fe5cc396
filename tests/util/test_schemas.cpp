// Every record kind of the library's files survives the binary and the text form unchanged,
// and unset fields read back as the defaults the schemas declare.
#include <memory>
#include <string>

#include <gtest/gtest.h>
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

// Binary and text round trip of one message into a fresh one of the same type.
void expect_round_trip(const Message& m) {
    ASSERT_TRUE(m.IsInitialized()) << m.InitializationErrorString();

    std::string bin;
    ASSERT_TRUE(m.SerializeToString(&bin));
    std::unique_ptr<Message> from_bin(m.New());
    ASSERT_TRUE(from_bin->ParseFromString(bin));
    EXPECT_TRUE(MessageDifferencer::Equals(m, *from_bin)) << m.GetTypeName();
    std::string again;
    ASSERT_TRUE(from_bin->SerializeToString(&again));
    EXPECT_EQ(bin, again) << m.GetTypeName();

    std::string txt;
    ASSERT_TRUE(TextFormat::PrintToString(m, &txt));
    std::unique_ptr<Message> from_txt(m.New());
    ASSERT_TRUE(TextFormat::ParseFromString(txt, from_txt.get())) << txt;
    EXPECT_TRUE(MessageDifferencer::Equals(m, *from_txt)) << txt;
}

TEST(Schemas, SymbolRecords) {
    PB::SYMBOL_TEST t;
    t.mutable_symbol_table()->add_names("<UNKNOWN>");
    t.mutable_symbol_table()->add_names("top");
    t.mutable_symbol0()->set_value(1);
    t.mutable_symbol1()->set_value(0);
    expect_round_trip(t);

    PB::EXTERNAL_SYMBOLS head;
    head.set_n_external_symbols(2);
    expect_round_trip(head);
    PB::EXTERNAL_SYMBOL name;
    name.set_name("top");
    expect_round_trip(name);
}

TEST(Schemas, GraphRecords) {
    PB::NLG::GRAPH g;
    PB::NLG::GRAPH_OBJ* defs = g.add_graph_objs();
    defs->set_type(PB::NLG::GRAPH_OBJ::T_MODULE_DEFS);
    PB::NLG::MODULE_DEF* def = defs->mutable_module_defs()->add_module_defs();
    def->mutable_name()->set_value(1);
    def->set_unused_nonprimitive(true);
    PB::NLG::MPORT* port = def->add_ports();
    port->mutable_name()->set_value(2);
    port->set_direction(PB::NLG::MPORT::INOUT);
    port->set_fileline(17);

    PB::NLG::GRAPH_OBJ* bodies = g.add_graph_objs();
    bodies->set_type(PB::NLG::GRAPH_OBJ::T_MODULE_BODIES);
    PB::NLG::MODULE_BODY* body = bodies->mutable_module_bodies()->add_module_bodies();
    body->set_module_index(0);
    PB::NLG::INSTANCE* inst = body->add_instances();
    inst->mutable_name()->set_value(3);
    inst->set_module_index(1);
    PB::NLG::INSTANCE::PORT_TO_NET* p2n = inst->add_port_to_nets();
    p2n->set_port_index(0);
    p2n->set_net_index(4294967295u);  // unconnected
    PB::NLG::PR2PR_EDGE* e = body->add_pr2pr_edges();
    e->set_src_i_index(0);
    e->set_src_p_index(1);
    e->set_dst_i_index(2);
    e->set_dst_p_index(3);

    PB::NLG::GRAPH_OBJ* term = g.add_graph_objs();
    term->set_type(PB::NLG::GRAPH_OBJ::T_TERMINATOR);
    term->mutable_terminator();
    expect_round_trip(g);

    NLG::PB::GRAPH whole;
    NLG::PB::SYMBOL* s = whole.mutable_symbol_table()->add_symbols();
    s->set_name("top");
    s->set_index(1);
    NLG::PB::MODULE_DEF* wdef = whole.mutable_module_collection()->add_module_defs();
    *wdef->mutable_name() = *s;
    wdef->add_ports()->set_direction(NLG::PB::MPORT::OUTPUT);
    wdef->mutable_ports(0)->mutable_name()->set_name("o");
    expect_round_trip(whole);
}

TEST(Schemas, AnnotationRecords) {
    PB::ANNS anns;
    anns.set_type(PB::ANNS::ICDB);
    PB::ICDB* icdb = anns.MutableExtension(PB::ICDB::annotations);
    PB::ICDB::MODULE* mod = icdb->add_modules();
    mod->set_level(PB::ICDB::MODULE::PRIM_MUX);
    mod->mutable_logical_name()->set_value(4);
    mod->set_mux_index(2);
    PB::ICDB::MODULE::PATH* path = mod->add_paths();
    path->set_in(0);
    path->set_out(1);
    mod->mutable_mux_desc()->set_is_template(true);
    mod->mutable_mux_desc()->set_mux_type(PB::MUX_DESCRIPTION::CLOCK_SPINE);
    mod->mutable_mux_desc()->set_dir(PB::ICDB::NET::UP);
    PB::ICDB::FLAT_INSTANCE_NODE* flat = mod->add_flat_instance_nodes();
    flat->set_node(12);
    flat->mutable_instance()->mutable_bposition()->set_row(3);
    flat->mutable_instance()->mutable_bposition()->set_col(4);
    flat->mutable_instance()->mutable_physical_position()->set_x(1.5f);
    flat->mutable_instance()->mutable_physical_position()->set_y(2.25f);
    flat->mutable_instance()->mutable_sid()->set_stype(PB::ICDB::SID::HSSI);
    flat->mutable_instance()->mutable_sid()->set_rowid(1);
    flat->mutable_instance()->mutable_sid()->set_colid(2);
    icdb->add_instances()->set_pnr_x(0);
    icdb->mutable_instances(0)->mutable_eoffset()->set_row(1);
    icdb->mutable_instances(0)->mutable_eoffset()->set_col(2);
    PB::ICDB::APORT* aport = icdb->add_ports();
    aport->set_re_name(PB::MUX_DESCRIPTION::H);
    aport->set_merge_type(PB::ICDB::APORT::POTENTIAL_MERGE);
    icdb->add_nets()->set_direction(PB::ICDB::NET::VBIDIR);
    icdb->mutable_graph()->set_max_brow(7);
    expect_round_trip(anns);

    PB::ANNS fab;
    fab.set_type(PB::ANNS::FAB);
    fab.MutableExtension(PB::FAB::annotations)->add_modules()->set_z(5);
    fab.MutableExtension(PB::FAB::annotations)->add_instances()->set_w(6);
    expect_round_trip(fab);

    PB::ANNSS annss;
    annss.mutable_bounds()->set_n_modules(1);
    annss.mutable_bounds()->set_n_nets(0);
    annss.add_annotations()->set_type(PB::ANNS::ICDB);
    annss.add_annotations()->set_type(PB::ANNS::FAB);
    expect_round_trip(annss);

    PB::NAMED_ANNSS named;
    PB::NAMED_ANNS* nanns = named.add_annotations();
    nanns->set_type(PB::ANNS::ICDB);
    PB::NAMED_MODULE* nmod = nanns->add_modules();
    nmod->set_name("top");
    nmod->MutableExtension(PB::ICDB::NMODULE::module)->set_is_routing(true);
    PB::NAMED_INSTANCE* ninst = nmod->add_instances();
    ninst->set_module("blk");
    ninst->set_name("u0");
    ninst->MutableExtension(PB::ICDB::NINSTANCE::instance)->set_pnr_y(3);
    expect_round_trip(named);

    PB::MUX_DESCRIPTIONS muxes;
    PB::MUX_DESCRIPTION* mux = muxes.add_mux_descriptions();
    mux->set_is_template(true);
    mux->set_name("rt_mux");
    mux->set_hipi_mux_type(PB::MUX_DESCRIPTION::HIPI_LATCH);
    mux->add_mux_params()->set_name("CLASS");
    mux->mutable_mux_params(0)->set_value("H");
    mux->add_mux_ipaths()->set_in(0);
    mux->mutable_mux_ipaths(0)->set_out(2);
    mux->add_subpaths()->add_name("stage0");
    PB::MUX_DESCRIPTION::SETTINGS* settings = mux->add_settings();
    settings->set_path_index(0);
    settings->add_setting()->set_subpath_index(0);
    settings->mutable_setting(0)->set_value("muxin[0]");
    expect_round_trip(muxes);
}

TEST(Schemas, TableRecords) {
    PB::GID_TYPE type;
    type.set_gclass(PB::GID_TYPE::RE);
    type.mutable_name()->set_value(9);
    expect_round_trip(type);
    PB::GID_DIMENSION dim;
    dim.set_nx(2);
    dim.set_ny(3);
    dim.set_nz(4);
    expect_round_trip(dim);

    PB::UTIL::KEY_NODES64 cell;
    cell.add_key_nodes()->set_key(0x3ffffffffull);
    cell.mutable_key_nodes(0)->set_cached_node(1ull << 40);
    cell.mutable_key_nodes(0)->set_driver_node(5);
    expect_round_trip(cell);
    PB::UTIL::NODEMAP nodemap;
    nodemap.set_x_width(1);
    nodemap.set_y_width(1);
    nodemap.set_z_width(1);
    PB::UTIL::XY_NODES* xy = nodemap.add_xy_nodes();
    xy->set_x(0);
    xy->set_y(0);
    xy->add_key_nodes()->set_key(1);
    xy->mutable_key_nodes(0)->set_node(2);
    expect_round_trip(nodemap);

    PB::UTIL::EDGEMAP edgemap;
    edgemap.add_edges()->set_node1(1);
    edgemap.mutable_edges(0)->set_node2(2);
    edgemap.mutable_edges(0)->set_mux_input(3);
    edgemap.add_subedge_maps();
    PB::UTIL::SUBEDGE* sub = edgemap.add_subedge_maps()->add_subedges();
    sub->set_node1(4);
    sub->set_node2(5);
    expect_round_trip(edgemap);

    PB::UTIL::EC_GRAPH ec;
    ec.add_nodes()->set_subnode(7);
    ec.mutable_nodes(0)->set_mux_index(65535);
    ec.add_edges()->set_src_index(4294967295u);
    expect_round_trip(ec);

    PB::UTIL::PARTITIONS partitions;
    partitions.add_module_indexes(0);
    partitions.add_module_indexes(3);
    expect_round_trip(partitions);

    PB::MODULES::MMODULE mmodule;
    mmodule.mutable_name()->set_value(1);
    mmodule.add_ports()->set_direction(PB::MODULES::MPORT::OUTPUT);
    mmodule.add_instances()->mutable_module()->set_value(2);
    expect_round_trip(mmodule);

    PB::TLBLOCKS::MODULE block;
    block.set_module_index(4);
    block.add_uids()->set_node(100);
    block.mutable_uids(0)->mutable_uid()->set_value(3);
    block.add_subpaths()->add_name()->set_value(5);
    block.add_settings()->set_path_index(0);
    block.mutable_settings(0)->add_setting()->set_subpath_index(0);
    block.mutable_settings(0)->mutable_setting(0)->mutable_value()->set_value(6);
    expect_round_trip(block);

    PB::PORTMAPS portmaps;
    PB::PORTMAPS::SPECIFICATIONS* specs = portmaps.mutable_specifications();
    specs->add_parents()->add_parent_module_indexes(4);
    PB::PORTMAPS::SPECIFICATIONS::CHILDREN::MPORTS* mports = specs->add_children()->add_mports();
    mports->set_module_index(8);
    mports->add_port_index(0);
    specs->add_specs()->set_name("mux_ports_to_top_level_ip_ports");
    PB::PORTMAPS::PORTMAP::SUBNODE_TO_PORTS* s2p =
        portmaps.add_portmaps()->add_module_to_subnode_to_ports()->add_subnode_to_ports();
    s2p->set_child_subnode(42);
    s2p->mutable_parent_ports()->add_ports(1);
    expect_round_trip(portmaps);
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
