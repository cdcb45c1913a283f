#pragma once

#include <string>

namespace nuvra::test {

/// Whether the library in that file is in memory.
bool IsLoaded(const std::string& file);

/// Part of what the system says of a file that is no library, of one that is not there, and of a library
/// without the symbol that it was asked for.
std::string WordsForNoLibrary();
std::string WordsForNoFile();
std::string WordsForNoSymbol();

/// A library that every search of the system finds.
extern const char* const kSystemLibrary;

}  // namespace nuvra::test
