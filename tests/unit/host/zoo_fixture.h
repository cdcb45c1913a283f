#pragma once

#include "nuvra/host/dynamic_library.h"
#include "test_host.h"
#include "zoo.h"

namespace nuvra::test {

inline std::string ZooFile(const std::string& name) {
    return ZOO_FOLDER "zoo_" + name + ZOO_SUFFIX;
}
inline Texts ZooFiles(Texts names) {
    for (std::string& name : names) name = ZooFile(name);
    return names;
}

inline Texts g_log;
inline constexpr zoo::OrderLog::Operations kLogTable{[](const char* event) { g_log.emplace_back(event); }};
inline constinit InterfaceRecord g_logImplementation =
    ImplementInterface<zoo::OrderLog>("test.OrderLog", "OrderLog", kLogTable);
inline const SourceUnit g_logUnit(g_program, "zoo_fixture", {&g_logImplementation});

/// The modules' starts, "+id", and ends, "-id"; "again id" where it had not been unloaded in between.
inline Texts TakeLog() {
    return std::exchange(g_log, {});
}

/// Takes a library's list of modules away. False where it has been away since the library was loaded.
inline bool TakeList(const std::string& file) {
    std::string reason;
    const auto library = host::DynamicLibrary::Open(file, host::LibraryUse::MODULE, reason);
    return std::exchange(*static_cast<void**>(library.Find("g_privateModules", reason)), nullptr) != nullptr;
}

inline std::string ReasonFor(const std::string& file) {
    std::string reason;
    EXPECT_FALSE(host::DynamicLibrary::Open(file, host::LibraryUse::RUNTIME, reason).IsOpen());
    EXPECT_TRUE(!reason.empty() && reason.find('%') == reason.npos) << reason;
    return reason;
}

inline void ExpectWords(const std::string& message, const Texts& words) {
    for (const std::string& word : words)
        EXPECT_NE(message.find(word), std::string::npos) << '"' << word << "\" is not in: " << message;
}

/// On a running host with two modules and other files for two names. Nothing may be left.
class HostTest : public testing::Test {
protected:
    void SetUp() override {
        before = host::CountAllocations();
        ASSERT_TRUE(IsOk(host.Start(ZooFiles({"base", "good"}))));
    }
    void TearDown() override {
        host.allocations.FailNone();
        EXPECT_EQ(host.host.Shutdown(), Texts()) << "objects of these modules are left";
        EXPECT_EQ(host::CountAllocations(), before) << "blocks are left";
        TakeLog();
    }

    TestHost host{{{"libsomething.so.1", ZooFile("runtime")}, {"libabsent.so.1", "/nowhere/at all"}}};
    Int before = 0;
};

}  // namespace nuvra::test
