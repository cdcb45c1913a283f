#pragma once

#include <string>

namespace CLI {
class App;
}

namespace nuvra::app {

/// What is wrong with a word of the command line that is no command, no option and no argument, with the
/// known word that it is nearest to: `unknown command "inver"; did you mean "invert"?`. Empty when every word
/// has its place. `app` has parsed the command line, maybe in vain.
std::string DescribeUnknownWord(const CLI::App& app);

}  // namespace nuvra::app
