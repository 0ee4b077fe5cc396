// The run object: reads through TESSEL_API, guards, timers, ownership of a translate object and
// the release order of the destructor.
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <sstream>
#include <string>

#include "fab/tsl_fab.h"
#include "fab/fab_translate.h"
#include "fab_itranslate.h"
#include "nlg/nlg_api_impl.h"
#include "nlg/nlg_graph.h"
#include "nlg_sample_graphs.h"
#include "nlg_builders.h"
#include "ann/annss.h"

namespace {

// Objects that say on standard output when they go.
class LOGGED_GRAPH : public NLG_GRAPH {
  public:
    explicit LOGGED_GRAPH(std::string name) : NLG_GRAPH(nullptr, "root", 0), m_label(name) {}
    ~LOGGED_GRAPH() override { std::cout << "delete " << m_label << "\n"; }
    std::string m_label;
};

class LOGGED_ANNSS : public NLG_ANNSS {
  public:
    LOGGED_ANNSS(const NLG_IGRAPH& graph, std::string name) : NLG_ANNSS(graph), m_label(name) {}
    ~LOGGED_ANNSS() override { std::cout << "delete " << m_label << "\n"; }
    std::string m_label;
};

class LOGGED_TRANSLATE : public FAB::TRANSLATE {
  public:
    ~LOGGED_TRANSLATE() override { std::cout << "delete translate\n"; }
};

// The library's interface, with graphs and annotation sets that log their end.
class FAKE_TESSEL : public NLG_TESSEL {
  public:
    NLG_IGRAPH* create_graph(UTIL::SYMBOL_TABLE*) override {
        return new LOGGED_GRAPH("graph" + std::to_string(++m_graphs));
    }
    NLG_IANNSS* create_annss(NLG_IGRAPH* graph) override {
        m_annotated.push_back(graph);
        return new LOGGED_ANNSS(*graph, "annss" + std::to_string(++m_annss));
    }
    bool read_annss(NLG_IANNSS*, std::istream&, int format) override {
        m_formats.push_back(format);
        return true;
    }
    bool read_graph(NLG_IGRAPH* graph, std::istream& stream, int format) override {
        m_formats.push_back(format);
        return NLG_TESSEL::read_graph(graph, stream, format);
    }
    int m_graphs = 0;
    int m_annss = 0;
    std::vector<NLG_IGRAPH*> m_annotated;
    std::vector<int> m_formats;
};

std::string small_graph_file() {
    std::unique_ptr<NLG_GRAPH> g(NLG_TEST::make_small_graph());
    std::ostringstream out;
    NLG_TESSEL api;
    EXPECT_TRUE(api.write_graph(g.get(), out, TESSEL_API::FORMAT_PB_BIN));
    return out.str();
}

}  // namespace

TEST(FabApi, ReadsGoThroughTheGivenInterfaceInBinaryFormat) {
    FAKE_TESSEL tessel;
    std::string file = small_graph_file();
    std::unique_ptr<FAB::API> api(fab_create(&tessel, nullptr, false));
    FAB_IMPL* impl = static_cast<FAB_IMPL*>(api.get());
    std::istringstream rtl(file), blc(file), ann("");
    api->read_rtl_graph(rtl);
    api->read_blc_graph(blc);
    // Without annotation sets the floorplan step stops at the first missing input.
    EXPECT_FATAL(api->create_floorplan(), "m_rtl_annss");
    EXPECT_FATAL(api->create_routing_graph(),
                 "Can't create routing graph without a floorplan. Call "
                 "create_floorplan first.");
    api->read_rtl_annotation(ann);
    api->read_blc_annotation(ann);
    EXPECT_EQ(tessel.m_formats, std::vector<int>(4, TESSEL_API::FORMAT_PB_BIN));
    ASSERT_EQ(tessel.m_annotated.size(), 2u);
    EXPECT_EQ(tessel.m_annotated[0], impl->get_rtl_graph());
    EXPECT_EQ(tessel.m_annotated[1], impl->get_blc_graph());
    EXPECT_EQ(impl->get_rtl_graph()->get_num_modules(), 3u);
    EXPECT_FATAL(api->read_rtl_annotation(ann), "m_rtl_annss == NULL");
    EXPECT_FATAL(api->read_blc_annotation(ann), "m_blc_annss == NULL");

    // A second graph read replaces the first, which is not freed.
    testing::internal::CaptureStdout();
    NLG_IGRAPH* first = impl->get_rtl_graph();
    std::istringstream again(file);
    api->read_rtl_graph(again);
    EXPECT_NE(impl->get_rtl_graph(), first);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    delete first;
}

// Graphs and annotation sets go last read first, the owned translate object after them; with
// timers each read and the whole run print their times, without them nothing more.
TEST(FabApi, DestructorReleasesInOrderThenTimesTheRun) {
    FAKE_TESSEL tessel;
    std::string file = small_graph_file();
    for (bool timers : {true, false}) {
        testing::internal::CaptureStdout();
        FAB::API* api = fab_create(&tessel, timers ? new LOGGED_TRANSLATE() : nullptr, timers);
        std::istringstream blc(file), rtl(file), ann("");
        api->read_blc_graph(blc);
        api->read_blc_annotation(ann);
        api->read_rtl_graph(rtl);
        api->read_rtl_annotation(ann);
        delete api;
        tessel.m_graphs = tessel.m_annss = 0;
        const std::string out = testing::internal::GetCapturedStdout();
        const std::string deletes = "delete graph2\ndelete annss2\ndelete graph1\ndelete annss1\n";
        const std::string expected =
            timers ? "read blc graph takes  : [0-9]+\nread blc annotation takes  : [0-9]+\n"
                     "read rtl graph takes  : [0-9]+\nread rtl annotation takes  : [0-9]+\n" +
                         deletes + "delete translate\nFAB takes  : [0-9]+\n"
                   : deletes;
        EXPECT_TRUE(std::regex_match(out, std::regex(expected))) << out;
    }
}
