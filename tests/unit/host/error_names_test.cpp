#include "nuvra/host/error_names.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace nuvra::test {

namespace {

/// Other negative constants of the headers: build states, ends of lists and limits of numbers.
bool IsError(const std::string& name, const std::string& value) {
    if (name.rfind("CL_", 0) != 0 || value.size() < 2 || value[0] != '-' ||
        value.find_first_not_of("0123456789", 1) != std::string::npos)
        return false;
    for (const char* other : {"CL_BUILD_NONE", "CL_BUILD_ERROR", "CL_BUILD_IN_PROGRESS", "_LIST_END_",
                              "CL_FLT_", "CL_DBL_", "CL_HALF_"})
        if (name.find(other) != std::string::npos) return false;
    return true;
}

TEST(ErrorNames, EveryErrorCodeOfTheHeadersHasAName) {
    int count = 0;
    for (const auto& header : std::filesystem::directory_iterator(OPENCL_HEADERS)) {
        std::ifstream file(header.path());
        for (std::string line; std::getline(file, line);) {
            std::istringstream words(line);
            std::string directive;
            std::string macro;
            std::string value;
            words >> directive >> macro >> value;
            if (directive != "#define" || !IsError(macro, value)) continue;
            count++;
            const std::string_view name = host::FindErrorName(std::stoi(value));
            // Two vendors' codes were taken over by Khronos under new names.
            EXPECT_TRUE(name == macro || name.ends_with("_KHR")) << line;
        }
    }
    EXPECT_GT(count, 80);
    EXPECT_EQ(host::FindErrorName(-25), "");
    EXPECT_EQ(host::FindErrorName(7), "");
}

}  // namespace

}  // namespace nuvra::test
