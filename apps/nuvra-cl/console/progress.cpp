#include "console/progress.h"

#include <algorithm>
#include <string_view>

#include "system/system.h"

namespace nuvra::app {

namespace {

constexpr auto kPatience = std::chrono::milliseconds(300);
constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr int kWidest = 30;     // columns of the bar
constexpr int kNarrowest = 10;  // what it gives way to for the label
constexpr int kFrame = 9;       // " [] 100 %"
constexpr int kUnknown = 40;    // columns of a terminal that does not say

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// The length in bytes of the character there; 0 for invalid UTF-8 and for control characters, which would
/// move the cursor.
size_t MeasureCharacter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) return first < 0x20 || first == 0x7F ? 0 : 1;
    const size_t size = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    const bool isWhole = text.size() >= size && std::ranges::all_of(text.substr(1, size - 1), IsContinuation);
    const bool isControl = first == 0xC2 && text.size() > 1 && static_cast<unsigned char>(text[1]) < 0xA0;
    return size > 0 && isWhole && !isControl ? size : 0;
}

std::string MakePrintable(std::string text) {
    for (size_t i = 0; i < text.size();) {
        const size_t size = MeasureCharacter(std::string_view(text).substr(i));
        if (size == 0) text[i] = '?';
        i += std::max<size_t>(size, 1);
    }
    return text;
}

/// The columns of the character that begins with this byte, at most: letters from Hangul on may take two.
int GetColumns(char first) {
    return static_cast<unsigned char>(first) >= 0xE1 ? 2 : IsContinuation(first) ? 0 : 1;
}

int CountColumns(std::string_view text) {
    int columns = 0;
    for (const char c : text) columns += GetColumns(c);
    return columns;
}

/// The text in at most `columns`, its end cut off between two characters.
std::string Cut(const std::string& text, int columns) {
    constexpr std::string_view kCut = "...";
    if (CountColumns(text) <= columns) return text;
    int left = columns - static_cast<int>(kCut.size());
    size_t end = 0;
    while (end < text.size() && (IsContinuation(text[end]) || GetColumns(text[end]) <= left))
        left -= GetColumns(text[end++]);
    return text.substr(0, end) + std::string(kCut);
}

/// "scaling on Device [####......]  42 %" in at most `columns`: the bar gives way first, then the label, then
/// both to the number. Empty where not even that fits.
std::string Draw(const std::string& label, double part, int columns) {
    const int percent = static_cast<int>(part * 100);
    const std::string number = std::string(percent < 10    ? 2
                                           : percent < 100 ? 1
                                                           : 0,
                                           ' ') +
                               std::to_string(percent) + " %";
    const int width = std::clamp(columns - kFrame - CountColumns(label), kNarrowest, kWidest);
    const int room = columns - kFrame - width;
    if (room < kNarrowest) return static_cast<int>(number.size()) <= columns ? number : "";
    const auto filled = static_cast<size_t>(part * width);
    return Cut(label, room) + " [" + std::string(filled, '#') +
           std::string(static_cast<size_t>(width) - filled, '.') + "] " + number;
}

}  // namespace

Progress::Progress(std::FILE* terminal, std::string label, std::int64_t total)
    : _terminal(terminal),
      _label(MakePrintable(std::move(label))),
      _total(std::max<std::int64_t>(total, 1)),
      _nextDrawing(Clock::now() + kPatience) {}

Progress::~Progress() {
    if (_drawn == 0) return;
    Wipe();
    std::fflush(_terminal);
}

void Progress::Show(std::int64_t done) {
    _done = std::min(done, _total);
    if (_terminal == nullptr || Clock::now() < _nextDrawing) return;
    _nextDrawing = Clock::now() + kInterval;
    Wipe();
    const int width = GetTerminalWidth(_terminal);
    // Some terminals wrap a line that fills the last column.
    const std::string line = Draw(_label, static_cast<double>(_done) / static_cast<double>(_total),
                                  (width > 0 ? width : kUnknown) - 1);
    _drawn = CountColumns(line);
    std::fputs(line.c_str(), _terminal);
    std::fflush(_terminal);
}

void Progress::Wipe() {
    // A terminal that was made narrower has wrapped the line, and the cursor stands in its last row.
    const int width = GetTerminalWidth(_terminal);
    if (width > 0 && _drawn > width)
        std::fprintf(_terminal, "\033[%dA\r\033[J", (_drawn - 1) / width);
    else
        std::fputs("\r\033[K", _terminal);
}

}  // namespace nuvra::app
