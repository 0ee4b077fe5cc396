// The graph tool as a script runs it: two graph files in the text frame format that differ in
// one module; diff names the difference and exits with status 1.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "nlg/nlg_api_impl.h"
#include "nlg_sample_graphs.h"

namespace {

std::string read_file(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void write_graph(NLG_GRAPH* graph, const std::string& path) {
    std::ofstream out(path, std::ios::binary);
    NLG_TESSEL api;
    ASSERT_TRUE(api.write_graph(graph, out, TESSEL_API::FORMAT_PB_TXT));
}

}  // namespace

TEST(FabGraphTool, DiffNamesTheFirstDifferenceAndExitsOne) {
    const std::string dir = testing::TempDir();
    const std::string a = dir + "fab_graph_a.txt";
    const std::string b = dir + "fab_graph_b.txt";
    std::unique_ptr<NLG_GRAPH> first(NLG_TEST::make_small_graph());
    write_graph(first.get(), a);
    NLG_TEST::add_module(*first, "extra", 0, NLG_FILELINE(), false, 0, 0, 0);
    write_graph(first.get(), b);

    const std::string out = dir + "fab_graph_out.txt";
    const std::string err = dir + "fab_graph_err.txt";
    const std::string command = std::string(FAB_GRAPH_TOOL) + " --format text diff " + a + " " + b +
                                " > " + out + " 2> " + err;
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status)) << command;
    EXPECT_EQ(WEXITSTATUS(status), 1) << read_file(err);
    EXPECT_EQ(read_file(out), "different number of modules 3 v.s. 4\nequal = false\n");
    EXPECT_NE(read_file(err).find("fab_graph: read graph " + b + " : "), std::string::npos);
    std::remove(a.c_str());
    std::remove(b.c_str());
    std::remove(out.c_str());
    std::remove(err.c_str());
}
