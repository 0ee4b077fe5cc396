// SCOPE_TIMER: measures one piece of work on a monotonic nanosecond clock and prints
// the label, " : " and the elapsed milliseconds on its stream when stopped.
#pragma once

#include <cstdint>
#include <iostream>
#include <string>

class SCOPE_TIMER {
  public:
    explicit SCOPE_TIMER(const std::string& label, std::ostream& out = std::cout);
    // Stops the timer if it is still running.
    ~SCOPE_TIMER();

    // Prints "label : ms" followed by an end of line; only the first call prints.
    void stop();

    // Milliseconds as the timer prints them: (ticks * 1000 + 500) / ticks_per_second in
    // unsigned 64-bit arithmetic. The 500 is in ticks, not half a second of ticks.
    static uint64_t milliseconds(uint64_t elapsed_ticks, uint64_t ticks_per_second);
    static uint64_t ticks();
    static uint64_t ticks_per_second() { return 1000000000ull; }

  private:
    std::string m_label;
    uint64_t m_start;
    std::ostream* m_out;
    bool m_stopped = false;
};
