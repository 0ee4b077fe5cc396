// Fatal assertion, warning, checked subscripts and the timer arithmetic.
#include <gtest/gtest.h>

#include <sstream>

#include "print_form.h"
#include "util/util_assert.h"
#include "nlg_builders.h"
#include "util/util_timer.h"

TEST(Assert, FatalPrintsConditionAndExitsWithMinusOne) {
    EXPECT_EXIT(UTIL_ASSERT(1 + 1 == 3), testing::ExitedWithCode(255),
                "^IE .*test_assert.cpp:[0-9]+  1 \\+ 1 == 3 \n$");
    EXPECT_EXIT(UTIL_ASSERT_MSG(false, "count %d of %s", 7, "x"), testing::ExitedWithCode(255),
                "IE .*:[0-9]+  count 7 of x \n");
    EXPECT_FATAL(UTIL_FAIL("plain"), "plain");
}

TEST(Assert, WarningGoesOn) {
    testing::internal::CaptureStderr();
    UTIL_WARNING_MSG(false, "odd %d", 3);
    UTIL_WARNING(true);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("Warning "), std::string::npos);
    EXPECT_NE(err.find("  odd 3 \n"), std::string::npos);
    EXPECT_EQ(err.find("Warning", 1), std::string::npos);
}

TEST(Assert, CheckedSubscriptsThrowStandardTexts) {
    std::vector<int> v = {1, 2};
    EXPECT_EQ(UTIL::at(v, 1), 2);
    UTIL::at(v, 0) = 5;
    EXPECT_EQ(v[0], 5);
    expect_out_of_range([&] { UTIL::at(v, 2); }, "invalid vector<T> subscript");
    std::unordered_map<int, int> m = {{1, 10}};
    EXPECT_EQ(UTIL::at_key(m, 1), 10);
    expect_out_of_range([&] { UTIL::at_key(m, 2); }, "invalid unordered_map<K, T> key");
}

TEST(Timer, ArithmeticAddsFiveHundredTicks) {
    // 1.5 ms in nanosecond ticks rounds down: the 500 is ticks, not half a millisecond.
    EXPECT_EQ(SCOPE_TIMER::milliseconds(1500000, 1000000000), 1u);
    EXPECT_EQ(SCOPE_TIMER::milliseconds(0, 1000000000), 0u);
    // With a 1 kHz counter the 500 does round half up.
    EXPECT_EQ(SCOPE_TIMER::milliseconds(3, 1000), 3u);
    EXPECT_EQ(SCOPE_TIMER::milliseconds(1, 2000), 0u);
    EXPECT_EQ(SCOPE_TIMER::milliseconds(1, 1000), 1u);

    std::ostringstream out;
    {
        SCOPE_TIMER timer("read rtl graph takes ", out);
        timer.stop();
        timer.stop();
    }
    EXPECT_EQ(out.str(), "read rtl graph takes  : 0\n");
}
