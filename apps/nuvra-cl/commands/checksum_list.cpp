#include "commands/checksum_list.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <optional>

#include "console/failure.h"
#include "nuvra/host/file_name.h"

namespace nuvra::app {

namespace {

struct Escape {
    char meant;
    char written;  ///< behind a backslash
};
constexpr Escape kEscapes[] = {{'\\', '\\'}, {'\n', 'n'}, {'\r', 'r'}};

/// Nothing when a backslash is followed by what `EscapeName` does not write.
std::optional<std::string> UnescapeName(std::string_view text) {
    std::string name;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] != '\\') {
            name += text[i];
            continue;
        }
        const char written = ++i < text.size() ? text[i] : '\0';
        const auto* escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                          [&](const Escape& entry) { return entry.written == written; });
        if (escape == std::end(kEscapes)) return std::nullopt;
        name += escape->meant;
    }
    return name;
}

std::optional<ListedFile> ParseLine(std::string_view line) {
    constexpr size_t kDigits = 8;
    if (line.ends_with('\r')) line.remove_suffix(1);
    const bool isEscaped = line.starts_with('\\');
    if (isEscaped) line.remove_prefix(1);
    if (line.size() <= kDigits + 2 || line.substr(kDigits, 2) != "  " ||
        line.find_first_not_of("0123456789abcdef") != kDigits)
        return std::nullopt;
    const std::string_view text = line.substr(kDigits + 2);
    std::optional<std::string> name = isEscaped ? UnescapeName(text) : std::string(text);
    if (!name) return std::nullopt;
    const auto checksum = std::stoul(std::string(line.substr(0, kDigits)), nullptr, 16);
    return ListedFile{static_cast<UInt32>(checksum), *std::move(name)};
}

}  // namespace

EscapedName EscapeName(const std::string& name) {
    EscapedName escaped{"", {}};
    for (const char c : name) {
        const auto* escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                          [&](const Escape& entry) { return entry.meant == c; });
        if (escape == std::end(kEscapes)) {
            escaped.text += c;
            continue;
        }
        escaped.prefix = "\\";
        escaped.text += {'\\', escape->written};
    }
    return escaped;
}

std::vector<ListedFile> ReadChecksumList(const std::string& path) {
    std::ifstream list(host::ToPath(path));
    if (!list) throw Failure("cannot read " + Quote(path) + ": " + DescribeSystemError(errno));
    std::vector<ListedFile> files;
    std::string line;
    for (int number = 1; std::getline(list, line); number++) {
        std::optional<ListedFile> file = ParseLine(line);
        if (!file) throw Failure("line " + std::to_string(number) + " of " + Quote(path) + " is no checksum");
        files.push_back(*std::move(file));
    }
    if (list.bad()) throw Failure("cannot read " + Quote(path) + ": " + DescribeSystemError(errno));
    if (files.empty()) throw Failure(Quote(path) + " holds no checksums");
    return files;
}

}  // namespace nuvra::app
