#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// The files that a command line names.
namespace CLI {
class App;
}

namespace nuvra::app {

struct NamedFile {
    std::string option;  ///< "OUT", "--check"
    std::string name;
};

/// Those of a parsed command, with the options that every command takes: each positional argument is a file,
/// and so is the value of each option whose type is FILE. Throws `WrongArguments` for an empty name.
std::vector<NamedFile> ListNamedFiles(const CLI::App& command);

/// The target of the symbolic links at `path`, which need not exist. A cycle is not resolved.
std::filesystem::path FollowLinks(std::filesystem::path path);

/// Whether both names lead to the same file, existing or not.
bool IsSameFile(const std::filesystem::path& one, const std::filesystem::path& other);

}  // namespace nuvra::app
