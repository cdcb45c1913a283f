#pragma once

#include <memory>
#include <string>

#include "console/environment.h"
#include "console/output_file.h"
#include "pictures/picture_library.h"

/// Pictures in files, by way of the picture library: bounded in memory, with messages of the program's own
/// whatever the library does. Every operation throws a `Failure`.
namespace nuvra::app {

/// A picture that is read from top to bottom, by one thread at a time.
class PictureInput {
public:
    /// Opens the first picture of a file. Throws where it is missing, no picture, damaged or beyond the
    /// limit.
    PictureInput(const std::string& name, const MemoryLimit& limit);
    ~PictureInput();
    PictureInput(const PictureInput&) = delete;
    PictureInput& operator=(const PictureInput&) = delete;

    const PictureHead& GetHead() const { return _reader->head; }
    /// Rows are read in multiples of so many.
    Int64 GetStep() const { return _reader->step; }
    void Read(Int64 begin, Int64 end, unsigned char* pixels);

private:
    template <class Work>
    auto Guard(const Work& work) const;

    const std::string _name;
    std::unique_ptr<PictureReader> _reader;
};

/// A picture that is written from top to bottom, by one thread at a time. Nothing is seen of it before
/// `Commit`.
class PictureOutput {
public:
    /// The format is that of the extension of `name`; without one, that of the picture, which lives longer
    /// than this object.
    PictureOutput(const std::string& name, const PictureHead& picture);
    ~PictureOutput();
    PictureOutput(const PictureOutput&) = delete;
    PictureOutput& operator=(const PictureOutput&) = delete;

    /// Rows are written in multiples of so many.
    Int64 GetStep() const { return _writer->step; }
    void Write(Int64 begin, Int64 end, const unsigned char* pixels);
    /// What was not kept is said in the environment's notes.
    void Commit(Environment& environment);

private:
    template <class Work>
    auto Guard(const Work& work) const;

    const std::string _name;
    const std::string _format;
    OutputFile _file;
    std::unique_ptr<PictureWriter> _writer;
};

/// How many rows of a picture are read or written at a time: some mebibytes, in multiples of `step`.
Int64 ChooseBand(const PictureHead& picture, Int64 step);

/// Reads a whole picture.
Picture ReadPicture(const std::string& name, const MemoryLimit& limit, const Environment& environment);
void WritePicture(const std::string& name, const Picture& picture, Environment& environment);

}  // namespace nuvra::app
