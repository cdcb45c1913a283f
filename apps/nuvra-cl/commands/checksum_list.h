#pragma once

#include <string>
#include <vector>

#include "nuvra/types.h"

/// Lists of checksums: on each line eight hex digits, two spaces and the name of a file.
namespace nuvra::app {

/// A name in a line of the list: backslashes and line ends are escaped, and then the line begins with
/// `prefix`.
struct EscapedName {
    const char* prefix;  ///< a backslash, or empty where nothing is escaped
    std::string text;
};

EscapedName EscapeName(const std::string& name);

struct ListedFile {
    UInt32 checksum;
    std::string name;
};

/// Reads a list, whose lines may end as those of Windows do. Throws a `Failure` for a file that cannot be
/// read, a line that is no checksum, and a list without any.
std::vector<ListedFile> ReadChecksumList(const std::string& path);

}  // namespace nuvra::app
