// Monotonic tick source (nanoseconds) and the millisecond arithmetic of SCOPE_TIMER.
#include "util/util_timer.h"

#include <chrono>

SCOPE_TIMER::SCOPE_TIMER(const std::string& label, std::ostream& out)
    : m_label(label), m_start(ticks()), m_out(&out) {}

SCOPE_TIMER::~SCOPE_TIMER() {
    stop();
}

void SCOPE_TIMER::stop() {
    if (m_stopped) return;
    m_stopped = true;
    uint64_t elapsed = ticks() - m_start;
    *m_out << m_label << " : " << milliseconds(elapsed, ticks_per_second()) << std::endl;
}

uint64_t SCOPE_TIMER::milliseconds(uint64_t elapsed_ticks, uint64_t ticks_per_second) {
    return (elapsed_ticks * 1000 + 500) / ticks_per_second;
}

uint64_t SCOPE_TIMER::ticks() {
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}
