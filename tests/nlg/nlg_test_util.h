// Death-test helper: the regular expression of a fatal assertion with a literal text.
#pragma once

#include <string>

namespace NLG_TEST {

inline std::string fatal(const std::string& text) {
    std::string escaped;
    for (char ch : text) {
        if (std::string(".[]{}()\\*+?^$|").find(ch) != std::string::npos) escaped += '\\';
        escaped += ch;
    }
    return "IE [^ ]+:[0-9]+  " + escaped + " \n";
}

}  // namespace NLG_TEST

#define EXPECT_FATAL(statement, text) \
    EXPECT_EXIT(statement, testing::ExitedWithCode(255), NLG_TEST::fatal(text))
