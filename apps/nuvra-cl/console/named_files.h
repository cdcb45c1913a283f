#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <vector>

/// The files that a command line names.
namespace nuvra::app {

struct NamedFile {
    std::string option;  ///< "OUT", "--check"
    std::string name;
};

/// Those of a parsed command, with the options that every command takes: each positional argument is a file,
/// and so is the value of each option whose type is FILE. Throws `WrongArguments` for an empty name.
std::vector<NamedFile> ListNamedFiles(const CLI::App& command);

/// Where symbolic links lead from `path`, also where there is no file yet. Links that lead in a circle are
/// not followed to an end.
std::filesystem::path FollowLinks(std::filesystem::path path);

/// Whether both are one file, by whatever names, or would be as soon as it is made.
bool IsSameFile(const std::filesystem::path& one, const std::filesystem::path& other);

}  // namespace nuvra::app
