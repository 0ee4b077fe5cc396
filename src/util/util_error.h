// UTIL::IERROR, the error record of objects that judge a user's list, and ERROR_MSG, a string
// stream that opens with its category word ("GENERIC", "INTERNAL", "API").
#pragma once

#include <sstream>
#include <string>

namespace UTIL {

class IERROR {
  public:
    struct ERROR {
        bool m_ok = true;
        std::string m_message;
    };

    class ERROR_MSG : public std::ostringstream {
      public:
        enum CATEGORY { GENERIC = 0, INTERNAL = 1, API = 2 };
        explicit ERROR_MSG(int category = GENERIC);
        int get_category() const { return m_category; }
        static const std::string& category_word(int category);

      private:
        int m_category;
    };

    virtual ~IERROR() = default;
    virtual ERROR& get_error() = 0;
};

}  // namespace UTIL
