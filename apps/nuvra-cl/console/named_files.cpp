#include "console/named_files.h"

#include <CLI/CLI.hpp>

#include "console/failure.h"

namespace nuvra::app {

namespace fs = std::filesystem;

std::vector<NamedFile> ListNamedFiles(const CLI::App& command) {
    std::vector<NamedFile> files;
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            if (!option->get_positional() && option->get_type_name() != "FILE") continue;
            for (const std::string& name : option->results()) {
                if (name.empty()) throw WrongArguments(option->get_name() + " is an empty name");
                files.push_back({option->get_name(), name});
            }
        }
    }
    return files;
}

fs::path FollowLinks(fs::path path) {
    constexpr int kMostLinks = 40;  // the system's own limit for a cycle (ELOOP)
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(fs::symlink_status(path, error)); i++)
        path = path.parent_path() / fs::read_symlink(path, error);
    return path;
}

bool IsSameFile(const fs::path& one, const fs::path& other) {
    std::error_code error;
    if (fs::exists(one, error) && fs::exists(other, error)) return fs::equivalent(one, other, error);
    const auto locate = [&](const fs::path& path) {
        return fs::weakly_canonical(fs::absolute(FollowLinks(path), error), error);
    };
    return locate(one) == locate(other);
}

}  // namespace nuvra::app
