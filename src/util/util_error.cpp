// Category words of ERROR_MSG, put in a shared table on first use.
#include "util/util_error.h"

#include <vector>

#include "util/util_assert.h"

namespace UTIL {

const std::string& IERROR::ERROR_MSG::category_word(int category) {
    static const std::vector<std::string> s_words = {"GENERIC", "INTERNAL", "API"};
    return at(s_words, static_cast<size_t>(category));
}

IERROR::ERROR_MSG::ERROR_MSG(int category) : m_category(category) {
    *this << category_word(category) << ": ";
}

}  // namespace UTIL
