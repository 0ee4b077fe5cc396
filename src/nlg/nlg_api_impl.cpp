// The default TESSEL_API: graph creation, graph files and annotation sets, with the API's
// format mapping; and the named form of an annotation set:
// 1. write_named walks each module definition once (flat walk) and lists the ICDB records of
//    modules and instances under their names;
// 2. read_named merges the module records back by name; instances are not read back.
#include "nlg/nlg_api_impl.h"

#include "ann/annss.h"

#include "nlg/nlg_graph.h"
#include "nlg/nlg_graph_traverse.h"
#include "nlg/nlg_readwrite.h"
#include "util/util_assert.h"
#include "util/util_protobuf.h"
#include "util/util_symbol.h"

const char* NLG_TESSEL::get_version() {
    return "Tessel_api_impl/1.0";
}

uint32_t NLG_TESSEL::to_frame_format(int format) {
    if (format == FORMAT_PB_BIN) return UTIL::PB_BIN;
    if (format == FORMAT_PB_TXT) return UTIL::PB_TXT;
    if (format == FORMAT_BIN) UTIL_FAIL("FORMAT_BIN not supported");
    UTIL_FAIL("Unknown format");
}

NLG_IGRAPH* NLG_TESSEL::create_graph(UTIL::SYMBOL_TABLE* table) {
    return new NLG_GRAPH(table, "root", 0);
}

UTIL::SYMBOL_TABLE* NLG_TESSEL::get_symbol_table(NLG_IGRAPH* graph) {
    return graph->get_symbol_table();
}

bool NLG_TESSEL::read_graph(NLG_IGRAPH* graph, std::istream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    NLG_GRAPH* stored = dynamic_cast<NLG_GRAPH*>(graph);
    UTIL_ASSERT(stored != NULL);
    return nlg_graph_readwrite().read(stored, stream, frame_format);
}

bool NLG_TESSEL::write_graph(NLG_IGRAPH* graph, std::ostream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    return nlg_graph_readwrite().write(*graph, stream, frame_format);
}

NLG_IANNSS* NLG_TESSEL::create_annss(NLG_IGRAPH* graph) {
    return new NLG_ANNSS(*graph);
}

bool NLG_TESSEL::write_annss(NLG_IANNSS* annss, std::ostream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    return static_cast<NLG_ANNSS*>(annss)->get_annss()->write(stream, frame_format);
}

bool NLG_TESSEL::read_annss(NLG_IANNSS* annss, std::istream& stream, int format) {
    uint32_t frame_format = to_frame_format(format);
    return static_cast<NLG_ANNSS*>(annss)->get_annss()->read(stream, frame_format);
}

namespace {

// Lists the ICDB records of a flat walk under names; each event appends to the current level.
class WRITE_NAMED : public TSL_VISITOR_BASE {
  public:
    WRITE_NAMED(PB::NAMED_ANNSS* out, NLG_ICDB_ANNS* icdb) : m_out(out), m_icdb(icdb) {}

    void enter_graph(NLG_IGRAPH&) override {
        m_named_anns = m_out->add_annotations();
        m_named_anns->set_type(PB::ANNS::ICDB);
    }
    void enter_module(NLG_IMODULE& module) override {
        m_named_module = m_named_anns->add_modules();
        m_named_module->set_name(module.get_name().str_fast());
        m_named_module->MutableExtension(PB::ICDB::NMODULE::module)
            ->MergeFrom(m_icdb->get_module(module));
    }
    void enter_instance(NLG_IINSTANCE& instance) override {
        m_named_instance = m_named_module->add_instances();
        m_named_instance->set_name(instance.get_name().str_fast());
        m_named_instance->set_module(instance.get_module()->get_name().str_fast());
        m_named_instance->MutableExtension(PB::ICDB::NINSTANCE::instance)
            ->MergeFrom(m_icdb->get_instance(instance));
    }
    void exit_instance(NLG_IINSTANCE&) override { m_named_instance = nullptr; }
    void exit_module(NLG_IMODULE&) override { m_named_module = nullptr; }
    void exit_graph(NLG_IGRAPH&) override { m_named_anns = nullptr; }

  private:
    PB::NAMED_ANNSS* m_out;
    PB::NAMED_ANNS* m_named_anns = nullptr;
    PB::NAMED_MODULE* m_named_module = nullptr;
    PB::NAMED_INSTANCE* m_named_instance = nullptr;
    NLG_ICDB_ANNS* m_icdb;
};

}  // namespace

// Always true: the walk only copies records that exist.
bool NLG_ANNSS::write_named(PB::NAMED_ANNSS* out) {
    // Names are printed once per definition: the table's id-to-name array makes that cheap.
    m_graph->get_symbol_table()->init_name_fast();
    WRITE_NAMED visitor(out, &get_icdb());
    // The walk only reads the graph; the dispatch interface is not const.
    NLG_IGRAPH* graph = const_cast<NLG_IGRAPH*>(m_graph);
    TSL_TRAVERSE_BASE traverse(&visitor, nullptr, false);
    visitor.set_traverse(&traverse);
    traverse.traverse_flat(graph);
    return true;
}

namespace {

bool fail_unknown_module(UTIL::IERROR::ERROR& error, const std::string& name) {
    error.m_ok = false;
    error.m_message = "Unknown module: " + name;
    return false;
}

}  // namespace

bool NLG_ANNSS::read_named(const PB::NAMED_ANNSS& in) {
    UTIL::SYMBOL_TABLE* table = m_graph->get_symbol_table();
    for (const PB::NAMED_ANNS& anns : in.annotations()) {
        if (anns.type() != PB::ANNS::ICDB) continue;
        for (const PB::NAMED_MODULE& named : anns.modules()) {
            NS_SYMBOL::SYM name = table->find(named.name());
            if (name.is_unknown()) return fail_unknown_module(m_error, named.name());
            if (!named.HasExtension(PB::ICDB::NMODULE::module)) continue;
            NLG_IMODULE* module = m_graph->get_module(name);
            if (!module) return fail_unknown_module(m_error, named.name());
            get_icdb().get_module(*module).MergeFrom(named.GetExtension(PB::ICDB::NMODULE::module));
        }
    }
    return true;
}
