#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace nuvra::app {

/// A bar on one line of a terminal for work that takes longer than a moment; it is cleared when the work
/// ends or fails. Nothing is shown without a terminal.
class Progress {
public:
    /// `terminal` may be null. `label` is UTF-8 and is cut where it does not fit. `total` is in any unit and
    /// at least 1.
    Progress(std::FILE* terminal, std::string label, std::int64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Advance(std::int64_t amount) { Show(_done + amount); }
    /// As if `done` of the total were done now.
    void Show(std::int64_t done);

private:
    void Wipe();

    using Clock = std::chrono::steady_clock;

    std::FILE* _terminal;
    std::string _label;
    std::int64_t _total;
    std::int64_t _done = 0;
    Clock::time_point _nextDrawing;
    int _drawn = 0;  ///< columns that the bar takes now
};

}  // namespace nuvra::app
