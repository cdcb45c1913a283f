#include "console/unknown_word.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "console/failure.h"

namespace nuvra::app {

namespace {

/// The edit distance: letters inserted, deleted, replaced or swapped with their neighbours.
size_t MeasureDistance(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> distances(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); i++) {
        for (size_t j = 0; j <= b.size(); j++) {
            size_t& best = distances[i][j];
            best = std::max(i, j);
            if (i == 0 || j == 0) continue;
            best = std::min({distances[i - 1][j] + 1, distances[i][j - 1] + 1,
                             distances[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                best = std::min(best, distances[i - 2][j - 2] + 1);
        }
    }
    return distances[a.size()][b.size()];
}

/// `; did you mean "NAME"?` for the nearest name that is near enough, or nothing. The beginning of a name is
/// near to it.
std::string Suggest(std::string_view word, const std::vector<std::string>& names) {
    size_t limit = (word.size() + 1) / 3;
    const std::string* nearest = nullptr;
    for (const std::string& name : names) {
        const size_t distance = name.starts_with(word) ? 1 : MeasureDistance(word, name);
        if (distance > limit || (nearest != nullptr && distance == limit)) continue;
        limit = distance;
        nearest = &name;
    }
    return nearest == nullptr ? std::string() : "; did you mean " + Quote(*nearest) + "?";
}

std::vector<std::string> ListOptions(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-';
}

}  // namespace

std::string DescribeUnknownWord(const CLI::App& app) {
    std::vector<std::string> words = app.remaining(true);
    std::erase(words, "--");
    if (words.empty()) return {};
    const CLI::App* command = app.get_subcommands().empty() ? nullptr : app.get_subcommands().front();
    // The word behind a mistyped option is its value.
    const auto option = std::ranges::find_if(words, IsOption);
    if (option != words.end() && (command != nullptr || option == words.begin())) {
        const std::string name = option->substr(0, option->find('='));
        std::vector<std::string> names = ListOptions(app);
        if (command != nullptr) std::ranges::copy(ListOptions(*command), std::back_inserter(names));
        return "unknown option " + Quote(name) + Suggest(name, names);
    }
    if (command != nullptr) return "unexpected argument " + Quote(words.front());
    std::vector<std::string> names;
    for (const CLI::App* known : app.get_subcommands(nullptr)) names.push_back(known->get_name());
    return "unknown command " + Quote(words.front()) + Suggest(words.front(), names);
}

}  // namespace nuvra::app
