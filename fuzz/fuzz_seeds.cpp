// Writes the seed corpus of every fuzz target from the small in-memory devices and from the
// generator's tiny device: each seed is one format byte (0 binary, 1 text) and then the file,
// as the targets read it.
//   fuzz_seeds DIR  ->  DIR/<target>/seed_<n> and DIR/<target>/tiny_<n>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ann/annss.h"
#include "devgen/devgen_device.h"
#include "devgen/devgen_direct.h"
#include "devgen/devgen_files.h"
#include "devgen/devgen_params.h"
#include "edgecache.pb.h"
#include "fab/fab_translate.h"
#include "fab_api.h"
#include "fab_floorplan_api.h"
#include "fab_run_builder.h"
#include "edgemap.pb.h"
#include "fuzz_common.h"
#include "fuzz_device.h"
#include "support/annotation_device.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_mux_translator.h"
#include "nodemap.pb.h"
#include "partitions.pb.h"
#include "portmaps.pb.h"
#include "tlblocks.pb.h"
#include "util/util_mux_descriptions.h"
#include "util/util_nodemap64.h"

namespace {

std::string g_dir;

void put(const std::string& target, const std::vector<std::string>& seeds,
         const std::string& stem = "seed_") {
    std::string dir = g_dir + "/" + target;
    mkdir(dir.c_str(), 0755);
    for (size_t i = 0; i < seeds.size(); ++i) {
        std::ofstream out(dir + "/" + stem + std::to_string(i), std::ios::binary);
        out << seeds[i];
    }
}

std::string with_format(uint32_t format, const std::string& file) {
    return std::string(1, static_cast<char>(format)) + file;
}

// A table of the database in both formats: its symbol section first, then the table, as the
// database file has them. `write` writes the table through the given writer's symbol file.
void table_seeds(
    const std::string& target,
    const std::function<std::string(FUZZ::DEVICE&, UTIL::SYMBOL_FILE&, uint32_t)>& write) {
    std::vector<std::string> seeds;
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        FUZZ::reset_symbols();
        FUZZ::DEVICE device;
        UTIL::SYMBOL_FILE symbols;
        symbols.set_internal_const(device.m_table);
        // The writer's file table is made by its first symbol: every seed carries one.
        PB::TLBLOCKS::UID first;
        first.mutable_uid()->set_value(device.sym("T").get_value());
        symbols.message_internal_to_external(&first);
        std::string table = write(device, symbols, format);
        std::ostringstream head;
        symbols.write(head, format);
        seeds.push_back(with_format(format, head.str() + table));
    }
    put(target, seeds);
}

std::string message(const google::protobuf::Message& m, uint32_t format) {
    std::ostringstream out;
    UTIL::write_message(m, out, format);
    return out.str();
}

void graph_seeds() {
    std::vector<std::string> graphs, annss;
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        FUZZ::reset_symbols();
        NLG_TEST::ANNOTATION_DEVICE device;
        NLG_TESSEL api;
        std::ostringstream out;
        api.write_graph(&device.m_rtl.graph(), out,
                        format ? TESSEL_API::FORMAT_PB_TXT : TESSEL_API::FORMAT_PB_BIN);
        graphs.push_back(with_format(format, out.str()));

        NLG_ANNSS& ann = device.m_rtl.annotations();
        ann.add_type(PB::ANNS::FAB);
        NLG_IMODULE* top = device.m_rtl.graph().get_module(0);
        ann.get_icdb().get_module(*top).set_level(PB::ICDB_MODULE::TOP_LEVEL_IP);
        ann.get_icdb().get_instance(*top->get_instance(0)).set_pnr_x(2);
        ann.get_fab().get_module(*top).set_z(1);
        std::ostringstream ann_out;
        ann.get_annss()->write(ann_out, format);
        annss.push_back(with_format(format, ann_out.str()));
    }
    put("graph", graphs);
    put("annss", annss);
}

void text_seeds() {
    FUZZ::reset_symbols();
    NLG_MUX_TRANSLATOR translator;
    translator.add_mux("mux_h", true, "\"H\"", "4", "\"L\"", false, {"muxin0", "muxout"});
    translator.add_mux("mux_c", false, "\"H\"", "4", "", false,
                       {"clk_sel", "clk0", "clk1", "clkout"});
    std::ostringstream mux;
    translator.write(mux, UTIL::PB_TXT);
    put("mux_translator", {with_format(1, mux.str())});
    put("blc_data", {with_format(0, NLG_TEST::ANNOTATION_BLC_TEXT)});
    // The first byte's bits 1..2 pick the file: top blocks, IP mapping, fly-overs, insertions.
    put("annotation_files",
        {std::string(1, 0) + "top\nLOGIC_BOX\n# comment\n",
         std::string(1, 2) + "LOGIC_BOX LOGIC in out\nLOGIC_BOX LOGIC out bout\n",
         std::string(1, 4) + "ROUTE p p\nROUTE p q\n",
         std::string(1, 6) + "+ ROUTE p H\n- ROUTE p\n+ mux_h muxout RED\n"});
    put("gid_text",
        {with_format(0, "H5:X2Y1Z0I3 V2:X0Y0Z0I1 GID_INVALID"),
         with_format(1, "IOB_INPUT:X1Y1Z0I6"), with_format(1, "CLOCK_SPINE_RE:X2Y0Z0I9")});
}

void database_seeds() {
    table_seeds("symbol_file",
                [](FUZZ::DEVICE& device, UTIL::SYMBOL_FILE& symbols, uint32_t format) {
                    UTIL::MODULES_BUILDER modules;
                    modules.set_modules(&device.m_modules);
                    modules.set_symbol_file(&symbols);
                    std::ostringstream out;
                    modules.write(out, format);
                    return std::string();
                });
    table_seeds("modules", [](FUZZ::DEVICE& device, UTIL::SYMBOL_FILE& symbols, uint32_t format) {
        UTIL::MODULES_BUILDER modules;
        modules.set_modules(&device.m_modules);
        modules.set_symbol_file(&symbols);
        std::ostringstream out;
        modules.write(out, format);
        return out.str();
    });
    table_seeds("mux_descriptions", [](FUZZ::DEVICE&, UTIL::SYMBOL_FILE& symbols, uint32_t format) {
        NLG_MUX_TRANSLATOR translator;
        translator.add_mux("A", true, "\"H\"", "4", "\"L\"", false, {"muxin0", "muxout"});
        translator.add_mux("C", false, "\"H\"", "4", "", false, {"clk0", "clkout"});
        UTIL::MUX_DESCRIPTIONS descriptions;
        descriptions.set_symbol_file(&symbols);
        descriptions.set_pb_mux_descriptions(translator.get_mux_descriptions());
        std::ostringstream out;
        descriptions.write(out, format);
        return out.str();
    });
    table_seeds("gidmap", [](FUZZ::DEVICE& device, UTIL::SYMBOL_FILE& symbols, uint32_t format) {
        FUZZ::GRID grid(device);
        grid.m_builder->set_symbol_file(&symbols);
        std::ostringstream out;
        grid.m_builder->write(out, format);
        return out.str();
    });
    table_seeds("nodemap64", [](FUZZ::DEVICE& device, UTIL::SYMBOL_FILE& symbols, uint32_t format) {
        FUZZ::GRID grid(device);
        grid.m_builder->set_symbol_file(&symbols);
        UTIL::NODEMAP64 map;
        map.set_dimensions(3, 2, 1);
        map.set_gid_builder(grid.m_builder.get());
        for (uint32_t i = 0; i < 4; ++i) {
            map.add_node(grid.m_builder->make_gid64(i % 3, i % 2, 0, i, PB::GID_TYPE::GLOBAL,
                                                    device.sym("H"), 5),
                         i + 1);
        }
        map.seal();
        std::ostringstream out;
        grid.m_builder->write(out, format);
        map.write(out, format);
        return out.str();
    });
    table_seeds("tlblocks", [](FUZZ::DEVICE& device, UTIL::SYMBOL_FILE& symbols, uint32_t format) {
        PB::TLBLOCKS head;
        head.set_n_modules(1);
        PB::TLBLOCKS::MODULE module;
        module.set_module_index(1);
        PB::TLBLOCKS::UID* uid = module.add_uids();
        uid->set_node(1);
        uid->mutable_uid()->set_value(device.sym("a0").get_value());
        module.add_uids()->set_node(6);
        PB::TLBLOCKS::SUBPATH* path = module.add_subpaths();
        path->add_name()->set_value(device.sym("c0").get_value());
        PB::TLBLOCKS::SETTINGS* settings = module.add_settings();
        settings->set_path_index(0);
        PB::TLBLOCKS::SETTING* setting = settings->add_setting();
        setting->set_subpath_index(0);
        setting->mutable_value()->set_value(device.sym("H").get_value());
        symbols.message_internal_to_external(&module);
        return message(head, format) + message(module, format);
    });
    table_seeds("portmaps", [](FUZZ::DEVICE&, UTIL::SYMBOL_FILE&, uint32_t format) {
        PB::PORTMAPS portmaps;
        PB::PORTMAPS::SPECIFICATIONS* specs = portmaps.mutable_specifications();
        specs->add_parents()->add_parent_module_indexes(0);
        PB::PORTMAPS::SPECIFICATIONS::CHILDREN::MPORTS* mports =
            specs->add_children()->add_mports();
        mports->set_module_index(1);
        mports->add_port_index(0);
        mports->add_port_index(1);
        PB::PORTMAPS::SPECIFICATIONS::SPECIFICATION* spec = specs->add_specs();
        spec->set_name("A");
        spec->set_parents_index(0);
        spec->set_children_index(0);
        PB::PORTMAPS::PORTMAP* map = portmaps.add_portmaps();
        map->set_specification_index(0);
        PB::PORTMAPS::PORTMAP::MODULE_TO_SUBNODE_TO_PORTS* m2s =
            map->add_module_to_subnode_to_ports();
        m2s->set_parent_module_index(0);
        PB::PORTMAPS::PORTMAP::SUBNODE_TO_PORTS* s2p = m2s->add_subnode_to_ports();
        s2p->set_child_subnode(1);
        s2p->mutable_parent_ports()->add_ports(0);
        return message(portmaps, format);
    });
    std::vector<std::string> partitions, edgemaps, edgecaches;
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        PB::UTIL::PARTITIONS p;
        for (uint32_t m : {0, 1, 3}) p.add_module_indexes(m);
        partitions.push_back(with_format(format, message(p, format)));
        PB::UTIL::EDGEMAP e;
        PB::UTIL::EDGE* edge = e.add_edges();
        edge->set_node1(1);
        edge->set_node2(6);
        edge->set_mux_type(2);
        for (int i = 0; i < 3; ++i) {
            PB::UTIL::SUBEDGE* sub = e.add_subedge_maps()->add_subedges();
            sub->set_node1(0);
            sub->set_node2(static_cast<uint32_t>(i + 1));
        }
        edgemaps.push_back(with_format(format, message(e, format)));
        PB::UTIL::EDGECACHE head;
        head.add_modules(1);
        head.add_modules(3);
        PB::UTIL::EC_GRAPH a, c;
        PB::UTIL::EC_NODE* n = a.add_nodes();
        n->set_subnode(1);
        n->set_edge_count(1);
        a.add_nodes()->set_subnode(4);
        PB::UTIL::EC_EDGE* ed = a.add_edges();
        ed->set_ipath_index(0);
        ed->set_src_index(1);
        edgecaches.push_back(
            with_format(format, message(head, format) + message(a, format) + message(c, format)));
    }
    put("partitions", partitions);
    put("edgemap", edgemaps);
    put("edgecache", edgecaches);
}

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The generator's tiny device: its four run files, its text files, and its translation
// database as the run writes it, cut into the sections the single-table targets read.
void tiny_seeds() {
    FUZZ::reset_symbols();
    DEVGEN::DG_PARAMS params;
    if (!DEVGEN::dg_preset("tiny", params)) {
        fprintf(stderr, "fuzz_seeds: no tiny preset\n");
        exit(1);
    }
    DEVGEN::DG_DEVICE device(params);
    const std::string text_dir = g_dir + "/tiny_device";
    std::string error;
    mkdir(text_dir.c_str(), 0755);
    if (!DEVGEN::dg_write_files(device, text_dir, error)) {
        fprintf(stderr, "fuzz_seeds: %s\n", error.c_str());
        exit(1);
    }
    put("blc_data", {with_format(0, slurp(text_dir + "/blc_data.pb.txt"))}, "tiny_");
    put("mux_translator", {with_format(1, slurp(text_dir + "/mux.pb.txt"))}, "tiny_");
    // The first byte's bits 1..2 pick the file, as for the hand-made seeds.
    put("annotation_files",
        {std::string(1, 0) + slurp(text_dir + "/top_blocks.txt"),
         std::string(1, 2) + slurp(text_dir + "/icd_to_pnr_mapping.txt"),
         std::string(1, 4) + slurp(text_dir + "/spare_row_flyover.txt"),
         std::string(1, 6) + slurp(text_dir + "/insert_node.txt")},
        "tiny_");

    std::stringstream rtl_graph, rtl_ann, blc_graph, blc_ann;
    std::vector<std::string> graphs, annss;
    {
        DEVGEN::DG_VIEW rtl = DEVGEN::dg_make_rtl(device);
        DEVGEN::DG_VIEW blc = DEVGEN::dg_make_blc(device);
        NLG_TESSEL tessel;
        for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
            const int api_format = format ? TESSEL_API::FORMAT_PB_TXT : TESSEL_API::FORMAT_PB_BIN;
            for (DEVGEN::DG_VIEW* view : {&rtl, &blc}) {
                std::ostringstream graph, ann;
                tessel.write_graph(view->m_graph.get(), graph, api_format);
                tessel.write_annss(view->m_annss.get(), ann, api_format);
                graphs.push_back(with_format(format, graph.str()));
                annss.push_back(with_format(format, ann.str()));
            }
        }
        tessel.write_graph(rtl.m_graph.get(), rtl_graph, TESSEL_API::FORMAT_PB_BIN);
        tessel.write_annss(rtl.m_annss.get(), rtl_ann, TESSEL_API::FORMAT_PB_BIN);
        tessel.write_graph(blc.m_graph.get(), blc_graph, TESSEL_API::FORMAT_PB_BIN);
        tessel.write_annss(blc.m_annss.get(), blc_ann, TESSEL_API::FORMAT_PB_BIN);
    }
    put("graph", graphs, "tiny_");
    put("annss", annss, "tiny_");

    // The run, as fab_run makes its database: the API object owns the translate object.
    std::string databases[2];
    {
        FAB::ITRANSLATE* translate = fab_create_translate();
        std::unique_ptr<FAB::API> api(fab_create(nullptr, translate, false));
        api->read_rtl_graph(rtl_graph);
        api->read_rtl_annotation(rtl_ann);
        api->read_blc_graph(blc_graph);
        api->read_blc_annotation(blc_ann);
        std::unique_ptr<FAB::FLOORPLAN> floorplan(api->create_floorplan());
        std::unique_ptr<FAB::ROUTING_GRAPH> graph(api->create_routing_graph());
        FAB_RUN::CSR_BUILDER builder;
        graph->generate(builder);
        for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
            std::ostringstream out;
            translate->write(out, format);
            databases[format] = out.str();
        }
    }
    put("database", {with_format(0, databases[0]), with_format(1, databases[1])}, "tiny_");

    // Each section of the database, after the symbol section where its target reads one.
    const char* targets[] = {"modules",    "mux_descriptions", "tlblocks",  "portmaps",
                             "partitions", "gidmap",           "nodemap64", "edgecache"};
    std::vector<std::string> sections[8];
    std::vector<std::string> symbols, gids;
    for (uint32_t format : {UTIL::PB_BIN, UTIL::PB_TXT}) {
        FUZZ::reset_symbols();
        const std::string& db = databases[format];
        FAB::TRANSLATE reader;
        google::protobuf::io::ArrayInputStream in(db.data(), static_cast<int>(db.size()));
        std::string failure;
        std::vector<int64_t> ends;
        if (!reader.read_sections(&in, format, failure, &ends) || ends.size() != 9) {
            fprintf(stderr, "fuzz_seeds: tiny database: %s\n", failure.c_str());
            exit(1);
        }
        auto part = [&](size_t from, size_t to) {
            const size_t begin = from ? static_cast<size_t>(ends[from - 1]) : 0;
            return db.substr(begin, static_cast<size_t>(ends[to]) - begin);
        };
        const std::string head = part(0, 0);
        symbols.push_back(with_format(format, head));
        for (size_t t = 0; t < 8; ++t) {
            const size_t section = t + 1;
            std::string bytes;
            if (t == 4 || t == 7) {
                bytes = part(section, section);  // partitions and edge cache: no symbol section
            } else if (t == 6) {
                bytes = head + part(6, 7);  // the node map follows its GID map
            } else {
                bytes = head + part(section, section);
            }
            sections[t].push_back(with_format(format, bytes));
        }
        // GID text as the tiny device's GIDs print.
        if (format == UTIL::PB_BIN) {
            std::ostringstream text;
            int found = 0;
            for (uint64_t node = 0; node < 100000 && found < 8; ++node) {
                const uint64_t gid = reader.get_nodemap()->get_gid(node);
                if (gid == static_cast<uint64_t>(-1)) continue;
                text << UTIL::GID64(gid) << " ";
                gids.push_back(with_format(found % 2, text.str()));
                ++found;
            }
        }
    }
    put("symbol_file", symbols, "tiny_");
    for (size_t t = 0; t < 8; ++t) put(targets[t], sections[t], "tiny_");
    put("gid_text", gids, "tiny_");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || std::string(argv[1]) == "--help") {
        fprintf(stderr, "usage: fuzz_seeds DIR  (writes DIR/<target>/seed_<n>)\n");
        return 2;
    }
    g_dir = argv[1];
    if (mkdir(g_dir.c_str(), 0755) != 0 && errno != EEXIST) {
        fprintf(stderr, "fuzz_seeds: cannot make %s\n", argv[1]);
        return 2;
    }
    FUZZ::quiet_stdout();
    graph_seeds();
    text_seeds();
    database_seeds();
    tiny_seeds();
    FUZZ::reset_symbols();
    return 0;
}
