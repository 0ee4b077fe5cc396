// The graph tool as a script runs it: two graph files in the text frame format that differ in
// one module; diff names the difference and exits with status 1.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

#include "nlg/nlg_api_impl.h"
#include "nlg_sample_graphs.h"
#include "test_scratch.h"

namespace {

void write_graph(NLG_GRAPH* graph, const std::string& path) {
    std::ofstream out(path, std::ios::binary);
    NLG_TESSEL api;
    ASSERT_TRUE(api.write_graph(graph, out, TESSEL_API::FORMAT_PB_TXT));
}

}  // namespace

TEST(FabGraphTool, DiffNamesTheFirstDifferenceAndExitsOne) {
    TEST_SCRATCH dir("fab_graph");
    std::unique_ptr<NLG_GRAPH> first(NLG_TEST::make_small_graph());
    write_graph(first.get(), dir.file("a.txt"));
    NLG_TEST::add_module(*first, "extra", 0, NLG_FILELINE(), false, 0, 0, 0);
    write_graph(first.get(), dir.file("b.txt"));

    const std::string command = std::string(FAB_GRAPH_TOOL) + " --format text diff " +
                                dir.file("a.txt") + " " + dir.file("b.txt") + " > " +
                                dir.file("out") + " 2> " + dir.file("err");
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status)) << command;
    EXPECT_EQ(WEXITSTATUS(status), 1) << dir.read("err");
    EXPECT_EQ(dir.read("out"), "different number of modules 3 v.s. 4\nequal = false\n");
    EXPECT_NE(dir.read("err").find("fab_graph: read graph " + dir.file("b.txt") + " : "),
              std::string::npos);
}
