#include <algorithm>

#include "nuvra/diagnostic.h"
#include "nuvra/dll.h"
#include "nuvra/host/file_name.h"
#include "zoo_fixture.h"

namespace nuvra::test {
namespace {

const Class* FindCounter() {
    return Registry::FindClass("zoo.Classes", "counter");
}

AnyRef MakeCounter() {
    return Table<ObjectInterface>()->Create(FindCounter()).GetValue();
}

TEST(LifecycleTest, ModulesStartBehindWhatTheyNeedAndEndInReverse) {
    // The order of loading does not matter; "user" uses what "server" implements, and names it nowhere.
    const Texts tree{"+zoo.base", "+zoo.middle", "+zoo.top", "-zoo.top", "-zoo.middle", "-zoo.base"};
    const Texts pair{"+zoo.server", "+zoo.user", "served", "-zoo.user", "-zoo.server"};
    const Texts good{"+zoo.base", "+zoo.good", "-zoo.good", "-zoo.base"};
    for (const auto& [order, log] : {std::pair(Texts{"top", "base", "middle"}, tree),
                                     {{"user", "server"}, pair},
                                     {{"server", "user"}, pair},
                                     {{"good", "base"}, good},
                                     {{"good", "base"}, good}}) {
        TestHost host;
        const Int before = host::CountAllocations();
        EXPECT_TRUE(IsOk(host.Start(ZooFiles(order))));
        EXPECT_EQ(host.host.Shutdown(), Texts());
        EXPECT_EQ(TakeLog(), log);
        EXPECT_EQ(host.diagnostics, Texts());
        EXPECT_EQ(host::CountAllocations(), before);
    }
}

TEST(LifecycleTest, AModuleWithLiveObjectsStaysLoadedWithAllThatItNeeds) {
    const Texts kept = ZooFiles({"base", "good"});
    const Texts all = ZooFiles({"good", "base", "middle", "top"});
    AnyRef survivor;
    {
        TestHost host;
        ASSERT_TRUE(IsOk(host.Start(all)));
        survivor = MakeCounter();
        TakeLog();
        EXPECT_EQ(host.host.Shutdown(), (Texts{"zoo.good", "zoo.base"}));
        EXPECT_EQ(TakeLog(), (Texts{"-zoo.top", "-zoo.middle"})) << "what stays is not finalized";
        ASSERT_EQ(host.diagnostics.size(), 2U);
        ExpectWords(host.diagnostics[0], {"\"zoo.good\"", "1 of its objects"});
        ExpectWords(host.diagnostics[1], {"\"zoo.base\""});
        EXPECT_EQ(FindCounter(), nullptr) << "its registrations are gone all the same";
    }
    {
        TestHost next;
        for (const std::string& file : kept) ExpectWords(ErrorText(next.host.LoadModules(file)), {"in use"});
    }
    EXPECT_EQ(NewError<UnknownErrorObject>("text").GetMessage().GetView(), "text") << "without any host";
    EXPECT_TRUE(WeakRef<AnyRef>(survivor).Lock() == survivor);
    EXPECT_TRUE(TakeList(kept[0]));
    survivor = nullptr;
    {
        TestHost next;
        EXPECT_TRUE(TakeList(kept[0])) << "it was unloaded when the next host began";
        EXPECT_TRUE(IsOk(next.Start(kept)));
        survivor = MakeCounter();
        EXPECT_EQ(next.host.Shutdown().size(), 2U);
        EXPECT_EQ(TakeLog(), (Texts{"+zoo.base", "+zoo.good"}));
        survivor = nullptr;
        EXPECT_TRUE(IsOk(next.Start(all))) << "nor need there be another host";
    }
    EXPECT_EQ(TakeLog(), (Texts{"+zoo.base", "+zoo.good", "+zoo.middle", "+zoo.top", "-zoo.top",
                                "-zoo.middle", "-zoo.good", "-zoo.base"}));
}

TEST(LifecycleTest, BeforeThereIsAHostEveryCallIsAnError) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a process of its own, which has had no host
    const auto use = [] {
        Diagnostic::Write("nobody hears it", {});
        bool isRight = FindCounter() == nullptr;
        for (const ErrorRef& error :
             {UrlRef::Create().GetError(), String::FromCText("text").GetError(),
              BaseArray<Int>().Append(1).GetError(), DllRef::Load(UrlRef(), true).GetError()}) {
            error.SetMessage(String());
            isRight = isRight && error.GetMessage().GetView() == "there is no host" &&
                      std::string_view(error.GetClassId()) == "nuvra.NullPointerErrorObject" &&
                      error.GetLocation().line == 0 && !VirtualRef<zoo::Counter>(AnyRef(error.Get()));
        }
        std::exit(isRight ? 0 : 1);
    };
    EXPECT_EXIT(use(), testing::ExitedWithCode(0), "");
}

TEST(LifecycleTest, AnOutdatedComponentMakesItsClassesUnavailable) {
    TestHost host;
    EXPECT_TRUE(IsOk(host.Start(ZooFiles({"outdated"})))) << "the module itself runs";
    EXPECT_EQ(host.diagnostics,
              Texts{"Interface nuvra.ErrorInterface#1 is outdated in module zoo.outdated, so the module "
                    "can't define a component which implements the interface."});
    for (const char* id : {"zoo.OutdatedErrorObject", "zoo.DerivedErrorObject"})
        EXPECT_EQ(Registry::FindClass("nuvra.Classes", id), nullptr) << id;
    EXPECT_EQ(Registry::FindClass("zoo.Classes", "outdated"), nullptr);
    host.host.Shutdown();
    TakeLog();
}

TEST(LifecycleTest, StartNamesTheModuleAndWhatIsWrongAndTakesDownAll) {
    const struct {
        Texts libraries;
        Texts words;
        Texts log{};
    } cases[] = {
        {{"unknown_record"}, {"\"zoo.unknown_record\"", "zoo.from_the_future", "99"}},
        {{"missing_dependency"}, {"\"zoo.missing_dependency\"", "\"zoo.absent\""}},
        {{"cycle_a", "cycle_b"}, {"the module \"zoo.cycle_a\"", "zoo.cycle_a -> zoo.cycle_b -> zoo.cycle_a"}},
        {{"unresolved"}, {"\"zoo.unresolved\"", "\"zoo.Absent#1\" ()"}},
        {{"user"}, {"\"zoo.user\"", "\"zoo.Served#1\" (zoo.h)"}},
        {{"ambiguous"}, {"\"zoo.part.CounterImpl\" or \"zoo.part.ShoutImpl\""}},
        {{"operation_count"}, {"\"zoo.operation_count\"", "\"nuvra.System#1\"", "4 operations", "has 3"}},
        {{"base", "same_id"}, {"\"zoo.base\"", "zoo_base", "zoo_same_id"}},
        {{"second_implementation"},
         {"\"zoo.second_implementation\"", "\"nuvra.System#1\"", "\"net.nuvra.core.framework\""}},
        {{"base", "good", "registry_clash"}, {"\"zoo.registry_clash\"", "\"zoo.Classes\"", "\"counter\""}},
        {{"base", "good", "component_clash"},
         {"\"zoo.component_clash\"", "registers \"zoo.part.CounterImpl\""}},
        {{"base", "failing", "middle"},
         {"\"zoo.failing\"", "the weather is bad"},
         {"+zoo.base", "+zoo.middle", "-zoo.middle", "-zoo.base"}},
    };
    for (const auto& [libraries, words, log] : cases) {
        Texts files = ZooFiles(libraries);
        for (const bool isReversed : {false, true}) {
            TestHost host;
            const Result<void> result = host.Start(files);
            EXPECT_EQ(ErrorClass(result), "nuvra.UnknownErrorObject");
            if (!isReversed) ExpectWords(ErrorText(result), words);
            EXPECT_EQ(host.diagnostics, Texts());
            EXPECT_EQ(TakeLog(), log) << words[0];
            std::reverse(files.begin(), files.end());
        }
    }
}

TEST(LifecycleTest, AFileThatIsNoModuleLibraryIsRefused) {
    const std::string text = ZOO_SOURCES "zoo.h";
    for (const std::string& file : {text, ZooFile("that_nobody_built"), ZooFile("no_list")}) {
        const auto path = host::ToText(std::filesystem::absolute(host::ToPath(file)));
        const bool isLibrary = file == ZooFile("no_list");
        TestHost host;
        ExpectWords(ErrorText(host.host.LoadModules(file)),
                    {file, isLibrary ? "g_privateModules" : ReasonFor(path)});
        ExpectWords(ErrorText(host.host.AddModules(nullptr, "a program")), {"a program lists no modules"});
        EXPECT_TRUE(IsOk(host.Start(ZooFiles({"base"})))) << "the others are not harmed by " << file;
    }
    TakeLog();
}

TEST(LifecycleTest, ARunningHostIsAloneAndTakesNoMoreModules) {
    TestHost host;
    EXPECT_THROW(TestHost(), std::logic_error);
    ASSERT_TRUE(IsOk(host.Start()));
    EXPECT_FALSE(host.host.LoadModules(ZooFile("base")).IsOk());
    EXPECT_EQ(ErrorText(host.host.AddModules(nullptr, nullptr)).find("the program comes too late"), 0U);
    EXPECT_FALSE(host.host.Start().IsOk());
    EXPECT_NE(Registry::FindClass("nuvra.Classes", "nuvra.UnknownErrorObject"), nullptr) << "it still runs";
}

}  // namespace
}  // namespace nuvra::test
