#pragma once

#include <future>

#include "pictures/picture_file.h"

/// Pictures that pass through the program a band of rows at a time, each a `Picture` as high as the band:
/// while one is worked on, the next is read and the last is written.
namespace nuvra::app {

class BandReader {
public:
    /// Begins to read bands of `rows` rows, which is a multiple of the input's step.
    BandReader(PictureInput& in, Int64 rows) : _in(in), _rows(rows) { Start(); }
    BandReader(const BandReader&) = delete;
    BandReader& operator=(const BandReader&) = delete;

    /// Waits for the next band; `top` is its first row. An empty one after the last.
    Picture Take(Int64& top);

private:
    void Start();

    PictureInput& _in;
    const Int64 _rows;
    Int64 _top = 0;  ///< of what is being read
    std::future<Picture> _next;
};

class BandWriter {
public:
    explicit BandWriter(PictureOutput& out) : _out(out) {}
    BandWriter(const BandWriter&) = delete;
    BandWriter& operator=(const BandWriter&) = delete;

    /// Waits for the last band to be written and begins to write this one, which has a multiple of the
    /// output's step of rows or ends the picture.
    void Give(Picture band);
    /// Waits for the last band.
    void Finish();

private:
    PictureOutput& _out;
    Int64 _top = 0;
    std::future<void> _last;
};

}  // namespace nuvra::app
