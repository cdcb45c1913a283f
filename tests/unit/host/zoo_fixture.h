#pragma once

#include "loaded_library.h"
#include "test_host.h"
#include "zoo.h"

namespace nuvra::test {

/// The file of a test module.
inline std::string ZooFile(const std::string& name) {
    return ZOO_FOLDER "zoo_" + name + ZOO_SUFFIX;
}

/// The files of several test modules.
Texts ZooFiles(const Texts& names);

/// What the modules logged since the last look: "+id" for a start, "-id" for an end.
Texts TakeLog();

/// A test on a running host without further modules.
class HostTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(IsOk(host.Start())); }

    TestHost host;
};

}  // namespace nuvra::test
