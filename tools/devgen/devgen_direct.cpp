// Direct mode: model to library graphs, records and files.
//  1. Drive NLG_GRAPH_READ with the model's events (definitions, then bodies), so that the
//     graph is numbered exactly as a read file would number it.
//  2. Copy each object's record into the ICDB store, interning the symbol fields.
//  3. RTL: the flat placements go through ICDB::INSTANCE_TREE (hierarchy nodes, store with the
//     sector modules). BLC: fan lists are populated, the RTL graph's never are.
//  4. Write graph and annotations through the library's file interface, binary frames.
#include "devgen/devgen_direct.h"

#include <fstream>

#include "ann/annss.h"
#include "icdb/icdb_instance_tree.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "nlg/nlg_readwrite.h"
#include "util/util_symbol.h"
#include "util/util_timer.h"

namespace DEVGEN {

DG_VIEW::DG_VIEW() = default;
DG_VIEW::DG_VIEW(DG_VIEW&&) noexcept = default;
// The records go before the graph they describe.
DG_VIEW::~DG_VIEW() {
    m_annss.reset();
}

namespace {

NLG_GRAPH* make_graph(const DG_NETLIST& n) {
    NLG_GRAPH* g = new NLG_GRAPH(nullptr, "root", static_cast<uint32_t>(n.size()));
    NLG_GRAPH_READ sink;
    sink.set_graph(g);
    sink.begin_graph();
    sink.begin_module_defs(static_cast<int32_t>(n.size()));
    for (const DG_MODULE& m : n.modules()) {
        sink.add_module_def(sink.intern(m.m_name), m.m_primitive, nullptr, false);
        sink.begin_module_ports(static_cast<int32_t>(m.m_ports.size()));
        for (const DG_PORT& p : m.m_ports)
            sink.add_module_port(sink.intern(p.m_name), p.m_dir, nullptr);
        sink.end_module_ports();
    }
    sink.end_module_defs();
    sink.begin_module_bodies(static_cast<int32_t>(n.size()));
    for (size_t k = 0; k < n.size(); ++k) {
        const DG_MODULE& m = n.module(static_cast<int32_t>(k));
        sink.begin_module_body(static_cast<int32_t>(k));
        sink.begin_nets(static_cast<int32_t>(m.m_nets.size()));
        for (const DG_NET& net : m.m_nets) {
            std::vector<int32_t> ports = net.m_ports;
            sink.add_net(sink.intern(net.m_name), std::move(ports), nullptr);
        }
        sink.end_nets();
        sink.begin_instances(static_cast<int32_t>(m.m_instances.size()));
        for (const DG_INSTANCE& i : m.m_instances) {
            std::vector<NLG_PORT_TO_NET> conns(i.m_conns.begin(), i.m_conns.end());
            sink.add_instance(sink.intern(i.m_name), i.m_module, std::move(conns), nullptr);
        }
        sink.end_instances();
        sink.begin_edges();
        sink.end_module_body();
    }
    sink.end_module_bodies();
    sink.add_filename_table({});
    sink.end_graph();
    return g;
}

void set_symbol(UTIL::SYMBOL_TABLE* table, PB::SYMBOL* field, const std::string& text) {
    field->set_value(table->add(text).get_value());
}

// Copies the model's records into the store; ids of a graph built from the model follow the
// model's order, so the k-th port of the model is the k-th port record.
void fill_records(const DG_NETLIST& n, NLG_GRAPH& g, NLG_ANNSS& annss) {
    annss.add_type(PB::ANNS::ICDB);
    auto& icdb = annss.get_icdb();
    UTIL::SYMBOL_TABLE* table = g.get_symbol_table();
    for (size_t k = 0; k < n.size(); ++k) {
        const DG_MODULE& m = n.module(static_cast<int32_t>(k));
        NLG_MODULE* gm = g.module(static_cast<int32_t>(k));
        PB::ICDB::MODULE& r = icdb.get_module(*gm);
        r.CopyFrom(m.m_record);
        if (!m.m_logical_name.empty())
            set_symbol(table, r.mutable_logical_name(), m.m_logical_name);
        if (!m.m_logical_impl.empty())
            set_symbol(table, r.mutable_logical_impl(), m.m_logical_impl);
        for (size_t p = 0; p < m.m_ports.size(); ++p) {
            const DG_PORT& port = m.m_ports[p];
            if (!port.m_has_record) continue;
            PB::ICDB::APORT& pr = icdb.get_port(*gm->get_port(static_cast<int32_t>(p)));
            pr.CopyFrom(port.m_record);
            if (!port.m_logical_name.empty())
                set_symbol(table, pr.mutable_logical_name(), port.m_logical_name);
        }
        for (size_t i = 0; i < m.m_instances.size(); ++i)
            if (m.m_instances[i].m_has_record)
                icdb.get_instance(*gm->get_instance(static_cast<int32_t>(i)))
                    .CopyFrom(m.m_instances[i].m_record);
    }
}

PB::ICDB::FLAT_INSTANCE flat_record(const DG_PLACEMENT& pl) {
    PB::ICDB::FLAT_INSTANCE r;
    r.mutable_bposition()->set_col(pl.m_col);
    r.mutable_bposition()->set_row(pl.m_row);
    r.mutable_physical_position()->set_x(12.5f * static_cast<float>(pl.m_col));
    r.mutable_physical_position()->set_y(20.0f * static_cast<float>(pl.m_row));
    r.set_is_spare_row(pl.m_spare);
    if (!pl.m_uid.empty()) r.set_uid(pl.m_uid);
    return r;
}

void store_placements(const DG_DEVICE& d, NLG_GRAPH& g, NLG_ANNSS& annss) {
    ICDB::INSTANCE_TREE tree(&g);
    UTIL::IHIERARCHY* h = tree.get_hierarchy();
    for (const DG_PLACEMENT& pl : d.placements()) {
        uint64_t node = 0;
        uint32_t module = 0;
        for (int32_t i : pl.m_path) {
            uint32_t child = 0;
            node = h->get_child_node(&child, module, node, static_cast<uint32_t>(i));
            module = child;
        }
        tree.add_flat_instance(node, flat_record(pl));
    }
    std::vector<uint32_t> sectors;
    for (const std::string& s : d.sector_modules())
        sectors.push_back(static_cast<uint32_t>(d.rtl().find_module(s)));
    tree.store(annss.get_icdb(), sectors);
}

bool write_view(DG_VIEW& v, const std::string& dir, const std::string& stem, std::string& error) {
    NLG_TESSEL api;
    std::string graph_path = dir + "/" + stem + ".graph", ann_path = dir + "/" + stem + ".ann";
    std::ofstream graph(graph_path, std::ios::binary);
    if (!graph || !api.write_graph(v.m_graph.get(), graph, TESSEL_API::FORMAT_PB_BIN) ||
        !graph.flush()) {
        error = "cannot write " + graph_path;
        return false;
    }
    std::ofstream ann(ann_path, std::ios::binary);
    if (!ann || !api.write_annss(v.m_annss.get(), ann, TESSEL_API::FORMAT_PB_BIN) || !ann.flush()) {
        error = "cannot write " + ann_path;
        return false;
    }
    return true;
}

}  // namespace

DG_VIEW dg_make_rtl(const DG_DEVICE& device) {
    DG_VIEW v;
    v.m_graph.reset(make_graph(device.rtl()));
    v.m_annss.reset(new NLG_ANNSS(*v.m_graph));
    fill_records(device.rtl(), *v.m_graph, *v.m_annss);
    store_placements(device, *v.m_graph, *v.m_annss);
    return v;
}

DG_VIEW dg_make_blc(const DG_DEVICE& device) {
    DG_VIEW v;
    v.m_graph.reset(make_graph(device.blc()));
    v.m_annss.reset(new NLG_ANNSS(*v.m_graph));
    fill_records(device.blc(), *v.m_graph, *v.m_annss);
    v.m_graph->populate_fanin_fanout(v.m_annss.get());
    return v;
}

bool dg_write_direct(const DG_DEVICE& device, const std::string& dir, std::string& error) {
    {
        SCOPE_TIMER timer("devgen: direct rtl");
        DG_VIEW rtl = dg_make_rtl(device);
        if (!write_view(rtl, dir, "rtl", error)) return false;
    }
    SCOPE_TIMER timer("devgen: direct blc");
    DG_VIEW blc = dg_make_blc(device);
    return write_view(blc, dir, "blc", error);
}

}  // namespace DEVGEN
