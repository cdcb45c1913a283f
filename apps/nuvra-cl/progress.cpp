#include "progress.h"

#include <algorithm>

namespace nuvra::app {

namespace {

constexpr auto kPatience = std::chrono::milliseconds(300);
constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr std::int64_t kWidth = 30;

}  // namespace

Progress::Progress(std::FILE* terminal, std::string label, std::int64_t total)
    : _terminal(terminal),
      _label(std::move(label)),
      _total(std::max<std::int64_t>(total, 1)),
      _nextDrawing(Clock::now() + kPatience) {}

Progress::~Progress() {
    if (!_isDrawn) return;
    std::fputs("\r\033[K", _terminal);
    std::fflush(_terminal);
}

void Progress::Show(std::int64_t done) {
    _done = std::min(done, _total);
    if (_terminal == nullptr || Clock::now() < _nextDrawing) return;
    _nextDrawing = Clock::now() + kInterval;
    _isDrawn = true;
    const double part = static_cast<double>(_done) / static_cast<double>(_total);
    const auto filled = static_cast<size_t>(part * static_cast<double>(kWidth));
    const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
    std::fprintf(_terminal, "\r\033[K%s [%s] %3d %%", _label.c_str(), bar.c_str(),
                 static_cast<int>(part * 100));
    std::fflush(_terminal);
}

}  // namespace nuvra::app
