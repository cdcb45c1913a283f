#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "pictures/picture.h"
#include "pictures/sheet_drawing.h"

/// What knows the formats of picture files. It may be a library of its own, which is of the same build as the
/// program: standard types pass between them, and the exceptions `Failure`, `std::bad_alloc` and
/// `std::length_error`.
namespace nuvra::app {

/// The first picture of an open file. Used by one thread at a time, whichever it is.
class PictureReader {
public:
    virtual ~PictureReader() = default;
    /// Fills the rows [begin, end), from where the last call ended; the first call begins with row 0. `end`
    /// is a multiple of `step`, or the height. Throws a `Failure` where the file is damaged.
    virtual void Read(Int64 begin, Int64 end, unsigned char* pixels) = 0;

    PictureHead head;
    Int64 step = 1;  ///< rows
};

/// A picture that is being written. Used by one thread at a time.
class PictureWriter {
public:
    virtual ~PictureWriter() = default;
    /// Appends the rows [begin, end), as with `PictureReader::Read`.
    virtual void Write(Int64 begin, Int64 end, const unsigned char* pixels) = 0;
    /// Completes the file and makes sure that it holds the picture; says what was not kept, if anything.
    virtual std::string Finish() = 0;

    Int64 step = 1;  ///< rows
};

/// Throws what is beyond the limit on a picture's memory.
using CheckClaim = std::function<void(const PictureClaim& claim)>;

/// The library's operations. Each throws a `Failure` for what cannot be done.
struct PictureLibrary {
    /// Opens a file; `check` is asked before memory is taken for a picture.
    std::unique_ptr<PictureReader> (*openReader)(const std::string& name, const CheckClaim& check);
    /// The format that the extension of `name` names; without one, that of the picture.
    std::string (*chooseFormat)(const std::string& name, const PictureHead& picture);
    /// Samples keep their type where the format has it, and get the closest that it has otherwise. `name` is
    /// for messages; `picture` lives longer than the writer.
    std::unique_ptr<PictureWriter> (*openWriter)(const std::filesystem::path& file, const std::string& format,
                                                 const std::string& name, const PictureHead& picture);
    Thumbnail (*shrink)(const Picture& picture, int width, int height);
    /// Draws the lines in one font. False where there is none.
    bool (*drawTexts)(Picture& sheet, const std::vector<TextLine>& lines);
};

/// The library, opened when it is first asked for. Throws the `Failure` that says what to install.
const PictureLibrary& GetPictureLibrary();

/// For the help, which does not open the library: the formats that can be read, those that can be written,
/// and what becomes of metadata.
extern const char* const kReadFormats;
extern const char* const kWrittenFormats;
extern const char* const kMetadataHelp;
/// How to get a font, as the end of a sentence.
extern const char* const kFontAdvice;

}  // namespace nuvra::app
