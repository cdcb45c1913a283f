#include "pictures/bands.h"

#include <algorithm>

namespace nuvra::app {

void BandReader::Start() {
    const Int64 height = _in.GetHead().GetHeight();
    const Int64 top = _top;
    const Int64 end = std::min(top + _rows, height);
    if (top == end) return;
    _top = end;
    _next = std::async(std::launch::async, [this, top, end] {
        Picture band = MakeBand(_in.GetHead(), end - top);
        _in.Read(top, end, band.samples.get());
        return band;
    });
}

Picture BandReader::Take(Int64& top) {
    if (!_next.valid()) return {};
    Picture band = _next.get();
    top = _top - band.GetHeight();
    Start();
    return band;
}

void BandWriter::Give(Picture band) {
    Finish();
    const Int64 top = _top;
    _top += band.GetHeight();
    _last = std::async(std::launch::async, [this, top, given = std::move(band)] {
        _out.Write(top, top + given.GetHeight(), given.samples.get());
    });
}

void BandWriter::Finish() {
    if (_last.valid()) _last.get();
}

}  // namespace nuvra::app
