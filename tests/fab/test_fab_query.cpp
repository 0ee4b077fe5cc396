// The query program on the small in-memory database written to a file: one answer per line,
// bad questions answered without stopping, a file that does not read named by its section.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <sstream>

#include "test_scratch.h"
#include "translate_fixture.h"

namespace {

struct RUN {
    std::string out;
    int status;
};

RUN run(const std::string& arguments) {
    const std::string command = std::string(FAB_QUERY_PATH) + " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    RUN result{"", -1};
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof(buffer), pipe)) > 0;) result.out.append(buffer, n);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace

TEST(FabQuery, AnswersEachLineAndNamesTheSectionOfABadFile) {
    TEST_TRANSLATE::SMALL_DB db;
    TEST_SCRATCH dir("fab_query");
    std::ostringstream bytes(std::ios::out | std::ios::binary);
    ASSERT_TRUE(db.m_translate->write(bytes, UTIL::PB_BIN));
    const std::string file = dir.write("small.db", bytes.str());
    const std::string queries = dir.write("queries.txt",
                                          "gid BLK_RE:X0Y0Z0I2\n"
                                          "gid BLK_RE:X0Y0Z0I9\n"
                                          "gid nonsense\n"
                                          "node /s0/b0:in0\n"
                                          "node /s0:p\n"
                                          "node /s0/nowhere\n"
                                          "edge BLK_RE:X0Y0Z0I0 BLK_RE:X0Y0Z0I2\n"
                                          "edge BLK_RE:X0Y0Z0I0 BLK_RE:X0Y0Z0I1\n"
                                          "what\n"
                                          "stats\n");
    const RUN r = run(file + " < " + queries);
    EXPECT_EQ(r.status, 0) << r.out;
    const std::string o = std::to_string(db.node("s0/b0/m0:y"));
    const std::string in0 = std::to_string(db.node("s0/b0:in0"));
    for (const std::string& line :
         {"gid BLK_RE:X0Y0Z0I2: BLK_RE:X0Y0Z0I2 value=" +
              std::to_string(db.gid("s0/b0/m0:y").get_value()) +
              " cell=(0,0,0) i=2 class=1 mux_type=0 node=" + o + " path=/s0/b0/m0:y cached=" +
              std::to_string(db.node("s0/b0:o")) + " cached_path=/s0/b0:o\n",
          std::string("gid BLK_RE:X0Y0Z0I9: unknown GID\n"),
          std::string("gid nonsense: malformed GID\n"),
          "node /s0/b0:in0: node=" + in0 + " gid=BLK_RE:X0Y0Z0I0 value=",
          "node /s0:p: node=" + std::to_string(db.node("s0:p")) + " has no GID\n",
          std::string("node /s0/nowhere: no such place\n"),
          std::string(
              "edge BLK_RE:X0Y0Z0I0 BLK_RE:X0Y0Z0I2: block=BLK_r0_c0 mux=MUX instance=/m0 path=0 "
              "input=a settings=cfg=v0\n"),
          "edge BLK_RE:X0Y0Z0I0 BLK_RE:X0Y0Z0I1: no block realises it (src_cached = " + in0,
          std::string("what: unknown query (gid TEXT, node PATH, edge GID GID, stats)\n"),
          std::string("stats section=\"symbol file\" bytes="),
          std::string("stats section=\"nodemap\" bytes="),
          std::string(" resources=7 nodes=7\nstats section=\"edgemap\" bytes=")}) {
        EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
    }
    // A query given as arguments is answered alone.
    EXPECT_NE(run(file + " node /s0/b1:in1").out.find("node /s0/b1:in1: node="), std::string::npos);

    const std::string& whole = bytes.str();
    const RUN cut = run(dir.write("cut.db", whole.substr(0, whole.size() / 3)));
    EXPECT_EQ(cut.status, 1) << cut.out;
    EXPECT_NE(cut.out.find("Failed read of"), std::string::npos) << cut.out;
    const RUN tail = run(dir.write("tail.db", whole.substr(0, whole.size() - 3)));
    EXPECT_EQ(tail.status, 1) << tail.out;
    EXPECT_NE(tail.out.find("IE "), std::string::npos) << tail.out;
    EXPECT_EQ(run("/nonexistent/db").status, 2);
    EXPECT_EQ(run("--format xml " + file).status, 2);
}
