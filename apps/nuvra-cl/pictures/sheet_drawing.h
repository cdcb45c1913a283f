#pragma once

#include <optional>
#include <vector>

#include "pictures/picture.h"

/// What a contact sheet takes from the system's picture library.
namespace nuvra::app {

/// A shrunk picture: float RGBA, premultiplied.
struct Thumbnail {
    int width = 0;  ///< pixels
    int height = 0;
    std::vector<float> rgba{};
};

/// A line of text on an 8-bit RGB picture.
struct TextLine {
    std::string text;
    int middle;        ///< pixels from the left edge, where the text is centred
    int baseline;      ///< pixels from the upper edge
    int size;          ///< of the letters, in pixels
    int width;         ///< pixels; a longer text is shortened in its middle
    const float* ink;  ///< red, green and blue
};

/// The text, shortened in its middle until `measure` calls it no wider than `width`.
template <class Measure>
std::string FitText(const std::string& text, int width, const Measure& measure) {
    if (measure(text) <= width) return text;
    // UTF-8 continuation bytes stay with their lead byte.
    const auto isInside = [&](size_t at) { return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
    for (size_t kept = text.size() / 2;; kept--) {
        size_t head = kept;
        size_t tail = text.size() - kept;
        while (head > 1 && isInside(head)) head--;
        while (tail < text.size() && isInside(tail)) tail++;
        std::string shortened = text.substr(0, head) + "..." + text.substr(tail);
        if (kept <= 1 || measure(shortened) <= width) return shortened;
    }
}

}  // namespace nuvra::app
