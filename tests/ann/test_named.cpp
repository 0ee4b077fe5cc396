// The named annotation form: what write_named lists, a round trip into a graph whose modules
// lie in another order, and what read_named does with names it does not know.
#include <gtest/gtest.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "ann/annss.h"
#include "nlg_builders.h"
#include "print_form.h"

namespace {

using NLG_TEST::BUILDER;

// One device in two module orders:
//   natural:  top (0): u0:cell, u1:blk; blk (1): v:cell; cell (2)
//   shuffled: top (0), cell (1), blk (2), with the same instances.
NLG_GRAPH* make_graph(bool shuffled) {
    BUILDER b;
    NLG_MODULE* top = b.cell("top", "", 2);
    NLG_MODULE* blk = shuffled ? nullptr : b.cell("blk", "", 1);
    b.cell("cell", "p");
    if (shuffled) blk = b.cell("blk", "", 1);
    b.instances(top, "u0:cell u1:blk");
    b.instances(blk, "v:cell");
    return b.graph();
}

NLG_IMODULE* module(NLG_GRAPH& g, const std::string& name) {
    return g.get_module(g.get_symbol_table()->find(name));
}

// Records on every module and on two instances of the natural graph.
void annotate(NLG_GRAPH& g, NLG_ANNSS& annss) {
    NLG_ICDB_ANNS& icdb = annss.get_icdb();
    merge_text(icdb.get_module(*module(g, "top")), "level: DEVICE");
    merge_text(icdb.get_module(*module(g, "blk")),
               "level: TOP_LEVEL_IP pnr_height: 3 pnr_width: 4 "
               "flat_instance_nodes { node: 12 instance { uid: 'b' } }");
    merge_text(
        icdb.get_module(*module(g, "cell")),
        "level: PRIM_MUX mux_desc { is_template: true mux_type: LEIM } paths { in: 0 out: 0 }");
    merge_text(icdb.get_instance(*module(g, "top")->get_instance(0)), "pnr_x: 5");
    merge_text(icdb.get_instance(*module(g, "blk")->get_instance(0)), "phys_y: 2.5");
}

std::unique_ptr<NLG_ANNSS> make_annss(NLG_GRAPH& g) {
    std::unique_ptr<NLG_ANNSS> annss(new NLG_ANNSS(g));
    annss->add_type(PB::ANNS::ICDB);
    return annss;
}

TEST(NamedForm, WriteListsByNameAndReadsBackIntoAnotherModuleOrder) {
    std::unique_ptr<NLG_GRAPH> g(make_graph(false));
    std::unique_ptr<NLG_ANNSS> annss = make_annss(*g);
    annotate(*g, *annss);
    PB::NAMED_ANNSS out;
    EXPECT_TRUE(annss->write_named(&out));

    // Modules by name in graph order, their instances by name and module, each with its record.
    EXPECT_EQ(out.ShortDebugString(),
              "annotations { type: ICDB modules { name: \"top\" instances { module: \"cell\" name: "
              "\"u0\" [PB.ICDB.NINSTANCE.instance] { pnr_x: 5 } } instances { module: \"blk\" "
              "name: \"u1\" [PB.ICDB.NINSTANCE.instance] { } } [PB.ICDB.NMODULE.module] { level: "
              "DEVICE } } modules { name: \"blk\" instances { module: \"cell\" name: \"v\" "
              "[PB.ICDB.NINSTANCE.instance] { phys_y: 2.5 } } [PB.ICDB.NMODULE.module] { "
              "pnr_height: 3 pnr_width: 4 level: TOP_LEVEL_IP flat_instance_nodes { node: 12 "
              "instance { uid: \"b\" } } } } modules { name: \"cell\" [PB.ICDB.NMODULE.module] { "
              "level: PRIM_MUX paths { in: 0 out: 0 } mux_desc { is_template: true mux_type: LEIM "
              "} } } }");
    EXPECT_TRUE(out.IsInitialized());

    // Through the text form, as a tool would keep it, into the other module order.
    std::string text;
    ASSERT_TRUE(google::protobuf::TextFormat::PrintToString(out, &text));
    PB::NAMED_ANNSS in;
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &in));

    std::unique_ptr<NLG_GRAPH> other(make_graph(true));
    std::unique_ptr<NLG_ANNSS> back = make_annss(*other);
    ASSERT_TRUE(back->read_named(in));
    EXPECT_TRUE(back->get_error().m_ok);
    for (const char* name : {"top", "blk", "cell"}) {
        EXPECT_EQ(back->get_icdb().get_module(*module(*other, name)).SerializeAsString(),
                  annss->get_icdb().get_module(*module(*g, name)).SerializeAsString())
            << name;
    }
    // Instances are not read back.
    EXPECT_EQ(back->get_icdb().get_instance(*module(*other, "top")->get_instance(0)).pnr_x(), -1);
    EXPECT_FALSE(
        back->get_icdb().get_instance(*module(*other, "top")->get_instance(0)).has_pnr_x());

    // A second call appends a second list.
    EXPECT_TRUE(annss->write_named(&out));
    EXPECT_EQ(out.annotations_size(), 2);
}

TEST(NamedForm, ReadFailsOnUnknownModules) {
    std::unique_ptr<NLG_GRAPH> g(make_graph(false));

    auto named = [](const std::string& name, bool with_record, PB::ANNS::TYPE type) {
        PB::NAMED_ANNSS in;
        PB::NAMED_ANNS* anns = in.add_annotations();
        anns->set_type(type);
        PB::NAMED_MODULE* m = anns->add_modules();
        m->set_name(name);
        if (with_record)
            m->MutableExtension(PB::ICDB::NMODULE::module)->set_level(PB::ICDB::MODULE::SECTOR);
        return in;
    };

    // Name, whether it carries a record, kind of the list; the error text, "" for success.
    // A known name that is no module fails only when there is a record to put somewhere;
    // lists of another kind are skipped, whatever they name.
    const std::vector<std::tuple<const char*, bool, PB::ANNS::TYPE, const char*>> cases = {
        {"nope", true, PB::ANNS::ICDB, "Unknown module: nope"},
        {"nope", false, PB::ANNS::ICDB, "Unknown module: nope"},
        {"u0", true, PB::ANNS::ICDB, "Unknown module: u0"},
        {"u0", false, PB::ANNS::ICDB, ""},
        {"nope", true, PB::ANNS::FAB, ""},
        {"blk", true, PB::ANNS::ICDB, ""}};
    for (auto [name, with_record, type, error] : cases) {
        std::unique_ptr<NLG_ANNSS> a = make_annss(*g);
        EXPECT_EQ(a->read_named(named(name, with_record, type)), *error == 0) << name;
        EXPECT_EQ(a->get_error().m_ok, *error == 0) << name;
        if (*error != 0) {
            EXPECT_EQ(a->get_error().m_message, error);
        }
    }
    // A good record lands in its module.
    std::unique_ptr<NLG_ANNSS> e = make_annss(*g);
    EXPECT_TRUE(e->read_named(named("blk", true, PB::ANNS::ICDB)));
    EXPECT_EQ(e->get_icdb().get_module(*module(*g, "blk")).level(), PB::ICDB::MODULE::SECTOR);
}

}  // namespace
