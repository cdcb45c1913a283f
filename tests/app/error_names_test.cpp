#include "error_names.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace nuvra::test {

namespace {

TEST(ErrorNames, EveryErrorCodeOfTheHeadersHasAName) {
    // Other negative constants of the headers: build states, ends of lists and limits of numbers.
    const std::regex others("CL_BUILD_(NONE|ERROR|IN_PROGRESS)|.*_LIST_END_.*|CL_(FLT|DBL|HALF)_.*");
    const std::regex definition(R"(#define (CL_\w+)\s+(-\d+)\s*(/\*.*)?)");
    int count = 0;
    for (const auto& header : std::filesystem::directory_iterator(OPENCL_HEADERS)) {
        std::ifstream file(header.path());
        std::smatch match;
        for (std::string line; std::getline(file, line);) {
            if (!std::regex_match(line, match, definition) || std::regex_match(match[1].str(), others))
                continue;
            count++;
            const std::string_view name = app::FindErrorName(std::stoi(match[2]));
            // Two vendors' codes were taken over by Khronos under new names.
            EXPECT_TRUE(name == match[1].str() || (!name.empty() && name.ends_with("_KHR"))) << line;
        }
    }
    EXPECT_GT(count, 80);
    EXPECT_EQ(app::FindErrorName(-25), "");
    EXPECT_EQ(app::FindErrorName(7), "");
}

}  // namespace

}  // namespace nuvra::test
