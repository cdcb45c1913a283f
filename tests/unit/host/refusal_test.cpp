#include <algorithm>

#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

void ExpectWords(const std::string& message, const Texts& words) {
    for (const std::string& word : words)
        EXPECT_NE(message.find(word), std::string::npos) << '"' << word << "\" is not in: " << message;
}

TEST(LoadModulesTest, StartNamesTheModuleAndWhatIsWrongAndUnloadsAll) {
    // The libraries, and what the message has to say.
    const std::pair<Texts, Texts> cases[] = {
        {{"unknown_record"}, {"\"zoo.unknown_record\"", "zoo.from_the_future", "99"}},
        {{"missing_dependency"}, {"\"zoo.missing_dependency\"", "\"zoo.absent\""}},
        {{"cycle_a", "cycle_b"}, {"the module \"zoo.cycle_a\"", "zoo.cycle_a -> zoo.cycle_b -> zoo.cycle_a"}},
        {{"unresolved"}, {"\"zoo.unresolved\"", "\"zoo.Absent#1\"", "zoo/absent.h"}},
        {{"operation_count"}, {"\"zoo.operation_count\"", "\"nuvra.System#1\"", "4 operations", "has 3"}},
        {{"base", "same_id"}, {"\"zoo.base\"", "zoo_base", "zoo_same_id"}},
        {{"base", "base"}, {"\"zoo.base\""}},
        {{"second_implementation"},
         {"\"zoo.second_implementation\"", "\"nuvra.System#1\"", "\"net.nuvra.core.framework\""}},
        {{"base", "good", "registry_clash"}, {"\"zoo.registry_clash\"", "\"zoo.Classes\"", "\"counter\""}},
    };
    for (const auto& [libraries, words] : cases) {
        Texts files = ZooFiles(libraries);
        TestHost host;
        const Result<void> result = host.Start(files);
        EXPECT_EQ(ErrorClass(result), "nuvra.UnknownErrorObject");
        ExpectWords(ErrorText(result), words);
        for (const std::string& file : files) EXPECT_FALSE(IsLoaded(file)) << file;
        EXPECT_EQ(host.diagnostics, Texts());
        EXPECT_EQ(TakeLog(), Texts()) << "nothing was to start";
    }
    for (const auto& [libraries, words] : cases) {
        Texts files = ZooFiles(libraries);
        std::reverse(files.begin(), files.end());
        EXPECT_FALSE(TestHost().Start(files).IsOk()) << "whatever the order: " << words[0];
    }
    EXPECT_TRUE(IsOk(TestHost().Start(ZooFiles({"base"})))) << "the refused modules are in nobody's way";
    TakeLog();
}

TEST(LoadModulesTest, AFileThatIsNoModuleLibraryIsRefusedAndNotLeftLoaded) {
    const std::string text = ZOO_SOURCES "no_library.txt";
    const std::string missing = ZooFile("that_nobody_built");
    const std::pair<std::string, Texts> cases[] = {
        {text, {text, WordsForNoLibrary()}},
        {missing, {missing, WordsForNoFile()}},
        {ZooFile("no_list"), {ZooFile("no_list"), "g_privateModules"}},
        {ZooFile("empty_list"), {ZooFile("empty_list"), "no modules"}},
    };
    for (const auto& [file, words] : cases) {
        TestHost host;
        const Result<void> result = host.host.LoadModules(file);
        EXPECT_FALSE(result.IsOk()) << file;
        ExpectWords(ErrorText(result), words);
        EXPECT_FALSE(IsLoaded(file)) << file;
        EXPECT_TRUE(IsOk(host.Start(ZooFiles({"base"})))) << "the others are not harmed by " << file;
    }
    TakeLog();
}

TEST(LoadModulesTest, ARunningHostTakesNoMoreModules) {
    TestHost host;
    ASSERT_TRUE(IsOk(host.Start()));
    EXPECT_FALSE(host.host.LoadModules(ZooFile("base")).IsOk());
    EXPECT_FALSE(IsLoaded(ZooFile("base")));
    EXPECT_EQ(ErrorText(host.host.AddModules(nullptr, nullptr)).find("the program comes too late"), 0U);
    EXPECT_FALSE(host.host.Start().IsOk());
    EXPECT_NE(Registry::FindClass("nuvra.Classes", "nuvra.UnknownErrorObject"), nullptr) << "it still runs";
}

TEST(HostTest, AProcessHasOneHostAtATime) {
    TestHost first;
    EXPECT_THROW(TestHost(), std::logic_error);
    EXPECT_TRUE(IsOk(first.Start()));
}

}  // namespace
}  // namespace nuvra::test
